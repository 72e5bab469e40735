// Nothing of its own: a program of the headers that the tests share, where those are precompiled.
