/* The main thread waits for SIGTERM and SIGINT instead of being interrupted by them, so that everything is torn down in
   order. The only place in the tools that calls the system itself: the layer has nothing for this. */
#pragma once

namespace wdlt {

/* Blocks the signals. Call before the first thread is started: threads inherit the mask. */
void holdEndSignals();
/* Returns when one of the signals arrives, or has arrived since holdEndSignals. */
void waitForEndSignal();
/* As if a user had sent one; from any thread. */
void sendEndSignal();

} // namespace wdlt
