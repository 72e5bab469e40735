#include "StandIn.h"

#include "ExchangeObjects.h"
#include "LayerError.h"
#include "RunTool.h"

namespace wdlt {
namespace {

constexpr DWORD kLookMs = 100;   /* between two looks whether there is a service, or it is to end */
constexpr DWORD kRetryMs = 1000; /* whether there is none any more */

/* The service's alone: nobody else makes it. */
bool isServiceThere() {
    return hasMemory(kActionStem);
}

} // namespace

StandIn::StandIn() : m_stopping(createLatch()), m_thread([this] { run(); }) {}

StandIn::~StandIn() {
    SetEvent(m_stopping.get());
    m_thread.join();
}

void StandIn::run() {
    for (bool hasFailed = false; !isStopping();) {
        try {
            serveWhileAlone();
            hasFailed = false;
        } catch (const std::exception& error) {
            if (!hasFailed)
                printRemark(error.what());
            hasFailed = true;
        }
        WaitForSingleObject(m_stopping.get(), kRetryMs);
    }
}

void StandIn::serveWhileAlone() {
    const HeldMutex claim = takeIfFree(kStandInMutex);
    if (claim == nullptr || isServiceThere() || hasMemory(kConfigStem))
        return;
    ExchangeObjects objects; // closed before the claim is given up
    objects.makeEvents(kConfigStem, kRequestEnd, kReplyEnd);
    objects.makeMemory(kConfigStem, kConfigBytes);
    if (objects.foundMemory)
        return;
    while (!isStopping()) {
        const DWORD result = WaitForSingleObject(objects.request.get(), kLookMs);
        if (result != WAIT_OBJECT_0 && result != WAIT_TIMEOUT)
            throw LayerError(kConfigStem, static_cast<LONG>(GetLastError()));
        const bool isAsked = result == WAIT_OBJECT_0;
        if (isServiceThere()) {
            if (isAsked)
                SetEvent(objects.request.get()); // the record is where the service reads it
            return;
        }
        if (isAsked) {
            ++m_heard;
            SetEvent(objects.reply.get());
        }
    }
}

} // namespace wdlt
