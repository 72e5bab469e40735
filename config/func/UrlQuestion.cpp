#include "UrlQuestion.h"

#include "Mutex.h"
#include "SecurityAttributes.h"
#include "ShareMemory.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/addresses.h>

#include <cstddef>
#include <cstring>

namespace wdlt {
namespace {

// The shared memory: what the service reads, and the number in which it answers.
struct Question {
    std::uint32_t listType;
    WdpeUrlfUrlRecord url;
    std::uint32_t isFound; // set to 1 by the service for a URL that is on the list
    std::uint8_t reserved;
};
constexpr std::size_t kQuestionBytes = 2093; // without the padding that ends the structure
static_assert(offsetof(Question, isFound) == 2088 && offsetof(Question, reserved) + 1 == kQuestionBytes);

constexpr std::uint32_t kIsUrlOnList = 300;

} // namespace

std::optional<bool> askService(CCfgHelper& family, std::uint32_t listType, const WdpeUrlfUrlRecord& url) {
    const SharedSecAttr security; // callers of all accounts take turns
    CWdMutex mutex(createMutex("wdlt_urlfilter_question_mutex", security.m_pAttributes));
    const WdltSingleLock lock(&mutex);
    if (!lock.isHeld()) // logged; the memory may be in use by another caller
        return std::nullopt;
    CWdShareMemory memory;
    if (!memory.Create("wdlt_urlfilter_action_data_map", kQuestionBytes, true)) {
        WDLOG_ERROR("CFuncUrlf::IsUrlRecordExists - Failed to create shared memory.");
        return std::nullopt;
    }
    void* view = nullptr;
    if (!memory.Map(&view, false, kQuestionBytes)) {
        WDLOG_ERROR("CFuncUrlf::IsUrlRecordExists - Failed to lock shared memory.");
        return std::nullopt;
    }
    if (view == nullptr) {
        WDLOG_ERROR("CFuncUrlf::IsUrlRecordExists - Failed to read shared memory.");
        return std::nullopt;
    }
    const Question question{listType, url, 0, 0};
    const auto layDown = [&] {
        std::memcpy(view, &question, kQuestionBytes - sizeof question.reserved);
        memory.Unmap();
        return true;
    };
    layDown();
    // Writes the question again: an answer to somebody else's may have set isFound.
    const auto layAgain = [&] { return memory.Map(&view, false, kQuestionBytes) && layDown(); };
    if (family.ActionEventSender({WDLT_PROTOCOL_HTTP, WDLT_SCAN_URL_FILTER, kIsUrlOnList, 1}, layAgain) != 0)
        return std::nullopt;
    if (!memory.Map(&view, false, kQuestionBytes)) {
        WDLOG_ERROR("CFuncUrlf::IsUrlRecordExists - Failed to lock shared memory for result.");
        return std::nullopt;
    }
    std::uint32_t isFound = 0;
    std::memcpy(&isFound, static_cast<const std::byte*>(view) + offsetof(Question, isFound), sizeof isFound);
    std::memset(view, 0, kQuestionBytes); // don't leave the URL where others can read it
    return isFound == 1;
}

} // namespace wdlt
