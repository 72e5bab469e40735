/* Named steps inside the locks, for tests that end a process at each of them. Only objects built with WDLT_STEPS call
   the function, which the test program defines; everywhere else nothing is left of a step. */
#ifndef PLATFORM_STEPS_H
#define PLATFORM_STEPS_H

#ifdef WDLT_STEPS
void wdStep(const char* name);
#define WD_STEP(name) wdStep(name)
#else
#define WD_STEP(name) static_cast<void>(0)
#endif

#endif
