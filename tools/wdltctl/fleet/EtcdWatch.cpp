#include "EtcdWatch.h"

#include "EtcdText.h"
#include "Http.h"

#include <algorithm>

namespace wdlt {

EtcdWatch::EtcdWatch(std::span<const std::string> keys, std::int64_t fromRevision) : m_told(fromRevision - 1) {
    for (const std::string& key : keys)
        m_watched.push_back({.key = key, .complete = m_told, .owed = 0});
}

std::string EtcdWatch::requests() const {
    std::string text;
    for (std::size_t i = 0; i < m_watched.size(); ++i)
        text += Json{{"create_request",
                      {{"key", base64(m_watched[i].key)},
                       {"start_revision", std::to_string(m_watched[i].complete + 1)},
                       {"watch_id", std::to_string(i + 1)},
                       {"progress_notify", true}}}}
                    .dump();
    return text;
}

bool EtcdWatch::take(std::string_view bytes) {
    bool hasChange = false;
    for (auto end = bytes.find('\n'); end != bytes.npos && m_end == End::None; end = bytes.find('\n')) {
        m_line += bytes.substr(0, end);
        bytes.remove_prefix(end + 1);
        hasChange |= takeMessage(m_line);
        m_line.clear();
    }
    if (bytes.size() > kMostHttpBytes - m_line.size())
        lose("it tells what doesn't end");
    else
        m_line += bytes;
    return hasChange;
}

bool EtcdWatch::takeMessage(std::string_view line) {
    const Json message = etcdMessage(line);
    if (const std::string error = errorTextOf(message); !error.empty()) {
        lose(error);
        return false;
    }
    const Json& result = memberOf(message, "result");
    if (!result.is_object()) {
        lose("it tells what isn't etcd's");
        return false;
    }
    return takeResult(result);
}

bool EtcdWatch::takeResult(const Json& result) {
    if (numberIn(result, "compact_revision") > 0) {
        lose("the store has compacted the revision");
        m_end = End::Compacted;
        return false;
    }
    if (memberOf(result, "canceled").is_boolean()) { // never there as false
        const Json& reason = memberOf(result, "cancel_reason");
        lose(reason.is_string() ? reason.get<std::string>() : "the store has ended the watch");
        return false;
    }
    const std::int64_t number = numberIn(result, "watch_id");
    if (number < 1 || static_cast<std::size_t>(number) > m_watched.size()) {
        lose("it tells of a watch that wasn't asked for");
        return false;
    }
    if (memberOf(result, "created").is_boolean())
        return false;
    std::int64_t& complete = m_watched[static_cast<std::size_t>(number) - 1].complete;
    const Json& events = memberOf(result, "events");
    const bool hasChange = events.is_array() && !events.empty();
    if (!hasChange)
        complete = std::max(complete, revisionOf(result)); // it tells how far it has come
    else
        for (const Json& event : events)
            complete = std::max(complete, numberIn(memberOf(event, "kv"), "mod_revision"));
    if (hasChange)
        m_told = std::max(m_told, complete);
    return hasChange;
}

void EtcdWatch::compare(std::int64_t storeRevision, std::span<const std::int64_t> modified) {
    if (storeRevision < revisionSeen())
        return lose("the store has gone back");
    for (std::size_t i = 0; i < m_watched.size(); ++i) {
        if (m_watched[i].owed > m_watched[i].complete)
            return lose("the watch tells nothing of a change");
        m_watched[i].owed = modified[i];
    }
}

void EtcdWatch::finish(const std::string& error) {
    if (error.empty() && !m_line.empty())
        take("\n");
    if (m_end == End::None)
        lose(error.empty() ? "it has ended the watch" : error);
}

void EtcdWatch::lose(const std::string& why) {
    m_end = End::Lost;
    m_why = why;
    m_line.clear();
}

std::int64_t EtcdWatch::revisionSeen() const {
    const auto least = std::ranges::min_element(m_watched, {}, &Watched::complete);
    return least == m_watched.end() ? m_told : std::max(m_told, least->complete);
}

std::vector<std::string> EtcdWatch::keys() const {
    std::vector<std::string> keys;
    for (const Watched& each : m_watched)
        keys.push_back(each.key);
    return keys;
}

} // namespace wdlt
