/* Several registry writes in one transaction and one sync: private to this layer, on Windows an empty shell. A batch
   belongs to the thread that began it. Inside it that thread's reads see its own writes; other threads and processes
   see nothing before the end. The registry's writer lock is held from the first write to the end, so nothing that waits
   or touches files belongs inside. */
#ifndef PLATFORM_REGISTRY_BATCH_H
#define PLATFORM_REGISTRY_BATCH_H

#include <platform/registry.h>

#include <exception>

/* What a failing write inside the batch does. */
inline constexpr DWORD WD_BATCH_KEEP_WRITTEN = 0; /* what succeeded before it is committed at once, the batch is over */
inline constexpr DWORD WD_BATCH_ALL_OR_NOTHING = 1; /* the end discards all and returns the write's error */

/* Begins a batch on the calling thread. A batch inside a batch joins the outer one. */
WD_API void WdRegBeginBatch(DWORD mode);
/* Ends it; returns 0 when all that was written is on disk, else the error. */
WD_API LONG WdRegEndBatch();
/* Ends it and keeps nothing that was written in it, whatever its mode. Inside an outer batch, the outer one keeps
   nothing either: its further writes and its end fail with ERROR_OPERATION_ABORTED. */
WD_API void WdRegAbandonBatch();

/* Scoped form: ends the batch when it goes out of scope, if not before. One that an exception leaves keeps nothing. */
class RegistryBatch {
  public:
    explicit RegistryBatch(DWORD mode = WD_BATCH_KEEP_WRITTEN) { WdRegBeginBatch(mode); }
    ~RegistryBatch() {
        if (m_open && std::uncaught_exceptions() > m_exceptions)
            WdRegAbandonBatch();
        else if (m_open)
            WdRegEndBatch();
    }
    RegistryBatch(const RegistryBatch&) = delete;
    RegistryBatch& operator=(const RegistryBatch&) = delete;

    LONG end() {
        m_open = false;
        return WdRegEndBatch();
    }
    void abandon() {
        m_open = false;
        WdRegAbandonBatch();
    }

  private:
    bool m_open = true;
    const int m_exceptions = std::uncaught_exceptions();
};

#endif
