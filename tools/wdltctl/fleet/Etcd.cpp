#include "Etcd.h"

#include "EtcdText.h"
#include "Files.h"

#include <algorithm>
#include <utility>

namespace wdlt {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr int kMostReadings = 5; /* of pages whose revision was compacted meanwhile */

Json rangeOf(const std::string& key, bool keysOnly) {
    Json range{{"key", base64(key)}};
    if (keysOnly)
        range["keys_only"] = true;
    return range;
}

/* Several keys at one revision. */
Json lookAt(std::span<const std::string> keys, bool keysOnly) {
    Json requests = Json::array();
    for (const std::string& key : keys)
        requests.push_back({{"request_range", rangeOf(key, keysOnly)}});
    return {{"success", std::move(requests)}};
}

/* Behind the last key that begins with it. */
std::string endOf(std::string prefix) {
    while (prefix.ends_with('\xFF'))
        prefix.pop_back();
    if (prefix.empty())
        return std::string(1, '\0'); // for the store that is the end of all keys
    prefix.back() = static_cast<char>(static_cast<unsigned char>(prefix.back()) + 1);
    return prefix;
}

bool isRefused(long status, EtcdError error) {
    return (status == 400 || status == 401 || status == 403) && error != EtcdError::OutOfRange;
}

/* Of a body that isn't JSON, as the gateway's own refusals are. */
std::string firstLineOf(const std::string& body) {
    constexpr std::size_t kMost = 200;
    std::string line = body.substr(0, std::min(body.find_first_of("\r\n"), kMost));
    std::erase_if(line, [](char c) { return static_cast<unsigned char>(c) < ' '; });
    return line.empty() ? "" : ": " + line;
}

std::string withoutBlanks(std::string text) {
    const auto end = text.find_last_not_of(" \t\r\n");
    text.erase(end + 1);
    return text.substr(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
}

} // namespace

struct Etcd::Answer {
    Json message = {};
    std::string error = {}; /* empty: it answered, even if it is with NotFound or OutOfRange */
    bool refused = false;
};

Etcd::Etcd(const EtcdStore& store, EtcdAccess access, EtcdTimes times)
    : m_store(store), m_access(std::move(access)), m_times(times), m_http(makeHttpClient(m_access.tls)) {
    readToken();
}

bool Etcd::readToken() {
    if (m_access.tokenFile.empty())
        return false;
    try {
        std::string token = withoutBlanks(readFile(m_access.tokenFile));
        if (token.find_first_of("\r\n") != token.npos)
            throw StoreRefused(m_access.tokenFile + ": a token is one line");
        return std::exchange(m_token, token) != token;
    } catch (const ToolError& error) {
        throw StoreRefused(error.what());
    }
}

HttpRequest Etcd::requestOf(const char* call, std::string body) const {
    HttpRequest request{.url = endpoint() + "/v3/" + call, .body = std::move(body), .connectLimit = m_times.connect};
    if (!m_token.empty())
        request.headers.push_back("Authorization: " + m_token);
    return request;
}

Etcd::Answer Etcd::askOnce(const char* call, const std::string& body) {
    const HttpReply reply = m_http->post(requestOf(call, body), m_times.answer);
    if (reply.status == 0)
        return {.error = reply.error, .refused = reply.refused};
    Answer answer{.message = etcdMessage(reply.body)};
    const EtcdError error = errorOf(answer.message);
    const std::string text = errorTextOf(answer.message);
    if (error == EtcdError::NotFound || error == EtcdError::OutOfRange)
        return answer;
    if (!text.empty() || reply.status != 200)
        answer.error = text.empty() ? "HTTP status " + std::to_string(reply.status) + firstLineOf(reply.body) : text;
    else if (revisionOf(answer.message.contains("result") ? answer.message["result"] : answer.message) == 0)
        answer.error = "what answers isn't etcd";
    answer.refused = isRefused(reply.status, error);
    return answer;
}

Json Etcd::ask(const char* call, const Json& body) {
    const std::string text = body.dump();
    std::string why;
    bool isRefusal = true;
    for (std::size_t tried = 0; tried < m_store.endpoints.size(); ++tried) {
        Answer answer = askOnce(call, text);
        if (answer.refused && readToken())
            answer = askOnce(call, text);
        if (answer.error.empty())
            return std::move(answer.message);
        why += (why.empty() ? "" : "; ") + endpoint() + ": " + answer.error;
        isRefusal &= answer.refused;
        leaveEndpoint();
    }
    if (isRefusal)
        throw StoreRefused(why);
    throw StoreAway(why);
}

void Etcd::addKeys(std::vector<StoredKey>& to, const Json& range) const {
    for (const Json& kv : memberOf(range, "kvs")) {
        auto key = bytesIn(kv, "key");
        auto value = bytesIn(kv, "value");
        if (!key || !value)
            throw StoreAway(endpoint() + ": what it answers isn't base64");
        to.push_back({std::move(*key), std::move(*value), numberIn(kv, "mod_revision")});
    }
}

Found Etcd::get(std::span<const std::string> keys) {
    const Json answer = ask("kv/txn", lookAt(keys, false));
    Found found{revisionOf(answer), {}};
    for (const Json& response : memberOf(answer, "responses"))
        addKeys(found.keys, memberOf(response, "response_range"));
    if (!std::ranges::all_of(found.keys,
                             [&](const StoredKey& each) { return std::ranges::find(keys, each.key) != keys.end(); }))
        throw StoreAway(endpoint() + ": it answers with keys that weren't asked for");
    return found;
}

Found Etcd::getAll(const std::string& prefix, bool keysOnly, int page) {
    Found found{0, {}};
    Json body{{"key", base64(prefix)}, {"range_end", base64(endOf(prefix))}, {"limit", page}};
    if (keysOnly)
        body["keys_only"] = true;
    for (int readings = 0; readings < kMostReadings;) {
        const Json answer = ask("kv/range", body);
        if (errorOf(answer) == EtcdError::OutOfRange) {
            ++readings;
            found = {0, {}};
            body["key"] = base64(prefix);
            body.erase("revision");
            continue;
        }
        const auto before = found.keys.size();
        addKeys(found.keys, answer);
        if (!std::ranges::all_of(found.keys, [&](const StoredKey& each) { return each.key.starts_with(prefix); }))
            throw StoreAway(endpoint() + ": it answers with keys that weren't asked for");
        if (found.revision == 0)
            found.revision = revisionOf(answer);
        if (!memberOf(answer, "more").is_boolean() || found.keys.size() == before)
            return found;
        body["key"] = base64(found.keys.back().key + '\0');
        body["revision"] = std::to_string(found.revision);
    }
    throw StoreAway(endpoint() + ": it compacts the revision again and again while it is read");
}

std::int64_t Etcd::grantLease(std::chrono::seconds life) {
    const std::int64_t lease = numberIn(ask("lease/grant", {{"TTL", std::to_string(life.count())}}), "ID");
    if (lease == 0)
        throw StoreAway(endpoint() + ": it grants no lease");
    return lease;
}

bool Etcd::keepAlive(std::int64_t lease) {
    const Json answer = ask("lease/keepalive", {{"ID", std::to_string(lease)}});
    return numberIn(memberOf(answer, "result"), "TTL") > 0;
}

void Etcd::revoke(std::int64_t lease) {
    ask("lease/revoke", {{"ID", std::to_string(lease)}});
}

bool Etcd::put(const std::string& key, const std::string& value, std::int64_t lease) {
    Json body{{"key", base64(key)}, {"value", base64(value)}};
    if (lease != 0)
        body["lease"] = std::to_string(lease);
    return errorOf(ask("kv/put", body)) != EtcdError::NotFound;
}

void Etcd::watch(std::span<const std::string> keys, std::int64_t fromRevision) {
    readToken();
    m_watch.emplace(keys, fromRevision);
    m_heard = Clock::now();
    m_http->open(requestOf("watch", m_watch->requests()));
}

std::int64_t Etcd::revisionSeen() const {
    return m_watch ? m_watch->revisionSeen() : m_seen;
}

Etcd::News Etcd::wait(std::span<const int> others, milliseconds limit) {
    for (const auto end = Clock::now() + limit;;) {
        if (m_watch && m_watch->end() != EtcdWatch::End::None)
            return endOfWatch();
        const auto until = m_watch ? std::min(end, m_heard + m_times.silence) : end;
        const auto left = std::chrono::ceil<milliseconds>(until - Clock::now());
        const StreamNews news = m_http->wait(others, std::max(left, milliseconds(0)));
        if (m_watch && take(news))
            return News::Changed;
        if (m_watch && m_watch->end() != EtcdWatch::End::None)
            return endOfWatch();
        if (news.hasOther)
            return News::Other;
        if (m_watch && Clock::now() >= m_heard + m_times.silence)
            checkWatch();
        else if (Clock::now() >= end)
            return News::Nothing;
    }
}

bool Etcd::take(const StreamNews& news) {
    if (!news.reply.body.empty())
        m_heard = Clock::now();
    const bool hasChange = m_watch->take(news.reply.body);
    if (news.hasEnded)
        m_watch->finish(news.reply.error);
    return hasChange;
}

/* To the same endpoint, and answered only while most of the store's members hear each other: so it finds one that hangs,
   one that is cut off from the others, and a stream that nobody serves any more. */
void Etcd::checkWatch() {
    const auto keys = m_watch->keys();
    const Answer answer = askOnce("kv/txn", lookAt(keys, true).dump());
    if (!answer.error.empty())
        return m_watch->lose(answer.error);
    std::vector<std::int64_t> modified;
    for (const Json& response : memberOf(answer.message, "responses")) {
        const Json& kvs = memberOf(memberOf(response, "response_range"), "kvs");
        modified.push_back(kvs.is_array() && !kvs.empty() ? numberIn(kvs[0], "mod_revision") : 0);
    }
    modified.resize(keys.size());
    m_watch->compare(revisionOf(answer.message), modified);
    m_heard = Clock::now();
}

Etcd::News Etcd::endOfWatch() {
    const auto end = m_watch->end();
    m_why = endpoint() + ": " + m_watch->why();
    m_seen = m_watch->revisionSeen();
    m_watch.reset();
    m_http->close();
    if (end == EtcdWatch::End::Compacted)
        return News::Compacted;
    leaveEndpoint();
    return News::Lost;
}

} // namespace wdlt
