#include "UrlQuestion.h"

#include "Objects.h"

#include <cstring>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {
namespace {

constexpr const char* kQuestionName = "Global\\wdlt_urlfilter_action_data_map";
constexpr std::uint32_t kIsUrlOnList = 300;
constexpr std::size_t kUrlAt = 4;
constexpr std::size_t kFoundAt = 2088;
constexpr std::size_t kQuestionBytes = 2093;

} // namespace

bool isUrlQuestion(std::uint32_t protocol, std::uint32_t scan, std::uint32_t action) {
    return protocol == WDLT_PROTOCOL_HTTP && scan == WDLT_SCAN_URL_FILTER && action == kIsUrlOnList;
}

UrlAnswer answerUrlQuestion() {
    UrlAnswer answer{WDLT_E_GENERAL, 0, {}, false};
    const Object mapping(OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, kQuestionName));
    if (mapping == nullptr)
        return answer;
    const Memory question(static_cast<BYTE*>(MapViewOfFile(mapping.get(), FILE_MAP_ALL_ACCESS, 0, 0, kQuestionBytes)));
    if (question == nullptr)
        return answer;
    std::memcpy(&answer.listType, question.get(), sizeof answer.listType);
    WdpeUrlfQueryEntry entry{};
    std::memcpy(entry.szUrl, question.get() + kUrlAt, sizeof entry.szUrl - 1);
    answer.url = entry.szUrl;
    WdpeUrlfQuery query{answer.listType, 1, &entry};
    std::uint64_t size = sizeof query;
    answer.status = WdltReadConfig(0, WDLT_SCAN_URL_FILTER, WDLT_CONFIG_URLF_QUERY, &query, &size);
    answer.isFound = answer.status == WDLT_OK && entry.dwExists == 1;
    const std::uint32_t found = answer.isFound ? 1 : 0;
    std::memcpy(question.get() + kFoundAt, &found, sizeof found);
    return answer;
}

} // namespace wdlt
