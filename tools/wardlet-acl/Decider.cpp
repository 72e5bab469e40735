#include "Decider.h"

#include "HomeLook.h"
#include "ToolError.h"

#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <string_view>
#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {
namespace {

constexpr std::size_t kMostKnown = 65536;
constexpr std::size_t kMostKnownBytes = std::size_t{16} << 20;
constexpr std::size_t kKnownOverhead = 128; // of each, beside its text
constexpr std::size_t kSearchedAtOnce = 256;

/* Two changes of a file within the resolution of its times may leave the same mark. */
constexpr auto kSettles = std::chrono::milliseconds(20);

constexpr std::string_view kListNames[] = {"white", "black"};
static_assert(WDLT_LIST_WHITE == 0 && WDLT_LIST_BLACK == 1);

constexpr Answer kUrlFilterIsOff = {Outcome::No, "off", "the URL filter is off"};
constexpr Answer kHostFilterIsOff = {Outcome::No, "off", "the host filter is off"};
constexpr Answer kNotOnList = {Outcome::No, "none", "not on the list"};

Answer undecided(std::string_view why) {
    return {Outcome::Undecided, "undecided", why};
}

std::string listFailure(std::string_view list, std::int32_t status) {
    return status == WDLT_OK || status == WDLT_E_FILE_NOT_FOUND
               ? ""
               : fmt::format("the {} list: status {} ({})", list, status, wdltStatusText(status));
}

/* Without a handler the switches would tell that everything is off. */
void needHandler() {
    std::uint64_t size = 0;
    if (WdltReadConfig(WDLT_PROTOCOL_SYSTEM + WDLT_PROTOCOL_HTTP, WDLT_SCAN_NONE, WDLT_CONFIG_DEFAULT, nullptr,
                       &size) != WDLT_E_BUFFER_SIZE)
        throw ToolError(ExitStatus::Unknown, "the HTTP handler can't be read: wdltctl check tells more");
}

std::string needHome() {
    std::string path;
    if (!lookAtHome(path, HomeUse::Read))
        throw ToolError(ExitStatus::Unknown, "no home is at " + path);
    return path;
}

} // namespace

std::span<const Answer> Decider::decide(std::span<const Question> questions, std::uint64_t notices) {
    m_answers.clear();
    m_failure.clear();
    try {
        follow(notices);
        findOut(questions);
        for (std::size_t i = 0; i < questions.size(); ++i)
            m_answers.push_back(answerTo(questions[i], m_found[i]));
    } catch (const std::exception& error) {
        m_failure = error.what();
        m_answers.clear();
        for (const Question& question : questions)
            m_answers.push_back(undecided(question.problem.empty() ? std::string_view(m_failure) : question.problem));
    }
    if (!m_failure.empty() || !m_hostFailure.empty() ||
        std::ranges::any_of(m_listFailures, [](const std::string& failure) { return !failure.empty(); }))
        forget();
    return m_answers;
}

void Decider::forget() {
    m_state.reset();
    m_switches.reset();
    m_hosts.clear();
    m_known.clear();
    m_knownBytes = 0;
}

void Decider::follow(std::uint64_t notices) {
    if (isOver())
        throw ToolError(ExitStatus::Unknown, "the home was replaced");
    std::optional<HomeIdentity> home; // before anything of it is read
    if (!m_home)
        home.emplace(needHome());
    ListState state = m_files.look();
    const auto now = std::chrono::steady_clock::now();
    const bool hasChanged = m_state != state || m_notices != notices;
    const bool settles = m_settlesAt != decltype(m_settlesAt)() && now >= m_settlesAt;
    if (hasChanged || settles)
        forget();
    if (hasChanged)
        m_settlesAt = now + kSettles;
    else if (settles)
        m_settlesAt = {};
    m_state = std::move(state);
    m_notices = notices;
    if (!m_switches)
        readSwitches();
    if (home)
        m_home = std::move(home);
}

void Decider::readSwitches() {
    needHandler();
    const Switches switches{WdltUrlfIsEnabled() == 1, WdltHosfIsEnabled() == 1};
    if (switches.hostFilter)
        readHosts();
    m_switches = switches;
}

/* A record is a block of bytes; the host that it stands for is a text padded with zeros, any other block is none. */
void Decider::readHosts() {
    std::vector<WdpeHosfHostRecord> records(WDLT_MAX_HOST_RECORDS);
    auto count = static_cast<std::int32_t>(records.size());
    const std::int32_t status = WdltHosfReadRecordList(records.data(), &count);
    m_hostFailure = listFailure("host", status);
    if (status != WDLT_OK)
        return;
    for (const WdpeHosfHostRecord& record : std::span(records).first(static_cast<std::size_t>(count))) {
        const std::string_view block(reinterpret_cast<const char*>(record.byHost), sizeof record.byHost);
        const std::size_t length = block.find('\0');
        if (length != 0 && length != block.npos && block.find_first_not_of('\0', length) == block.npos)
            m_hosts.insert(hostOf(block.substr(0, length)));
    }
}

void Decider::findOut(std::span<const Question> questions) {
    if (m_known.size() > kMostKnown || m_knownBytes > kMostKnownBytes) {
        m_known.clear();
        m_knownBytes = 0;
    }
    m_found.assign(questions.size(), nullptr);
    m_unknown.clear();
    for (std::size_t i = 0; m_switches->urlFilter && i < questions.size(); ++i) {
        if (!questions[i].problem.empty() || questions[i].asked == Asked::Hosts)
            continue;
        const auto [known, isNew] = m_known.try_emplace(questions[i].url);
        m_found[i] = &known->second;
        if (isNew) {
            m_unknown.push_back(&*known);
            m_knownBytes += known->first.size() + kKnownOverhead;
        }
    }
    for (const std::uint32_t list : {WDLT_LIST_WHITE, WDLT_LIST_BLACK})
        search(list);
}

/* Through the generic read, whose status says whether the list could be read. */
void Decider::search(std::uint32_t list) {
    m_listFailures[list].clear();
    m_entries.resize(std::max(m_entries.size(), std::min(m_unknown.size(), kSearchedAtOnce)));
    for (std::size_t begin = 0; begin < m_unknown.size(); begin += kSearchedAtOnce) {
        const auto asked = std::span(m_unknown).subspan(begin, std::min(m_unknown.size() - begin, kSearchedAtOnce));
        for (std::size_t i = 0; i < asked.size(); ++i) {
            std::memcpy(m_entries[i].szUrl, asked[i]->first.c_str(), asked[i]->first.size() + 1);
            m_entries[i].dwExists = 0;
        }
        WdpeUrlfQuery query{list, static_cast<std::int32_t>(asked.size()), m_entries.data()};
        std::uint64_t size = sizeof query;
        const std::int32_t status = WdltReadConfig(0, WDLT_SCAN_URL_FILTER, WDLT_CONFIG_URLF_QUERY, &query, &size);
        m_listFailures[list] = listFailure(kListNames[list], status);
        if (!m_listFailures[list].empty())
            return;
        for (std::size_t i = 0; i < asked.size(); ++i)
            asked[i]->second[list] = status == WDLT_OK && m_entries[i].dwExists == 1;
    }
}

Answer Decider::answerTo(const Question& question, const Found* found) const {
    if (!question.problem.empty())
        return undecided(question.problem);
    if (question.asked == Asked::Hosts) {
        if (!m_switches->hostFilter)
            return kHostFilterIsOff;
        if (!m_hostFailure.empty())
            return undecided(m_hostFailure);
        return isHost(question) ? Answer{Outcome::Yes, "hosts", "on the host list"} : kNotOnList;
    }
    if (found == nullptr)
        return kUrlFilterIsOff;
    if (question.asked == Asked::Blocked)
        return verdict(question, *found);
    const bool isWhite = question.asked == Asked::White;
    const std::optional<bool>& onList = (*found)[isWhite ? WDLT_LIST_WHITE : WDLT_LIST_BLACK];
    if (!onList)
        return undecided(m_listFailures[isWhite ? WDLT_LIST_WHITE : WDLT_LIST_BLACK]);
    if (!*onList)
        return kNotOnList;
    return isWhite ? Answer{Outcome::Yes, "white", "on the white list"}
                   : Answer{Outcome::Yes, "black", "on the black list"};
}

/* A list that can't be read doesn't matter where the other one decides. */
Answer Decider::verdict(const Question& question, const Found& found) const {
    const auto& [white, black] = found;
    if (white == true)
        return {Outcome::No, "white", "on the white list"};
    if (black == false)
        return isHost(question) ? Answer{Outcome::No, "hosts", "on the host list"}
                                : Answer{Outcome::No, "none", "on no list"};
    if (!white || !black)
        return undecided(m_listFailures[white ? WDLT_LIST_BLACK : WDLT_LIST_WHITE]);
    return {Outcome::Yes, "black", "on the black list"};
}

bool Decider::isHost(const Question& question) const {
    return !m_hosts.empty() && m_hosts.contains(hostOf(question.url));
}

} // namespace wdlt
