// Empty: a target for precompiling the headers that the tests share.
