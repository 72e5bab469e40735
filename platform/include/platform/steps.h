/* Named steps inside the locks, for tests that kill a process at each of them. Only objects built with WDLT_STEPS call
   the function, which the test program defines; everywhere else a step compiles to nothing. */
#ifndef PLATFORM_STEPS_H
#define PLATFORM_STEPS_H

#ifdef WDLT_STEPS
void wdStep(const char* name);
#define WD_STEP(name) wdStep(name)
#else
#define WD_STEP(name) static_cast<void>(0)
#endif

#endif
