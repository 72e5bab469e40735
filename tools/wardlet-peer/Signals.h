/* SIGTERM and SIGINT as a wait of the main thread instead of as an interruption, so that everything is taken down in
   order. The one place of the tools that speaks to the system itself: the layer has no name for this. */
#pragma once

namespace wdlt {

/* For the whole process: before the first thread is started, which inherits it. */
void holdEndSignals();
/* Returns when one of the signals has come, or came since they were held. */
void waitForEndSignal();
/* From any thread: as if a user had sent one. */
void sendEndSignal();

} // namespace wdlt
