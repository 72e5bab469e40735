/* A store of keys that many machines share: etcd, by the JSON of its version 3. */
#pragma once

#include "EtcdWatch.h"
#include "Http.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace wdlt {

struct EtcdStore {
    std::vector<std::string> endpoints; /* "http://host:2379" */
    std::string prefix;                 /* begins with a slash, and doesn't end with one */
};

/* "etcd://HOST[:PORT][,HOST[:PORT]...]/PREFIX", with TLS "etcds://..."; anything else is a ToolError of usage. */
EtcdStore etcdStoreOf(std::string_view text);

struct EtcdAccess {
    HttpAccess tls = {};
    std::string tokenFile = {}; /* its content is the header Authorization; read again when the store refuses it */
};

struct EtcdTimes {
    std::chrono::milliseconds connect{3000}; /* of each endpoint */
    std::chrono::milliseconds answer{8000};  /* with the connection */
    /* A watch that has told nothing for so long is checked: a peer that is gone without a word is found in twice this
       time at the latest. */
    std::chrono::milliseconds silence{25'000};
};

/* No endpoint answered as it should, which may pass. What it says names them. */
struct StoreAway : std::runtime_error {
    using std::runtime_error::runtime_error;
};
/* It won't pass by itself: token, rights, certificates, or a request that the store doesn't take. */
struct StoreRefused : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct StoredKey {
    std::string key;
    std::string value;
    std::int64_t modified; /* the revision that last changed it */
};
struct Found {
    std::int64_t revision; /* of the store, at which all of it was read */
    std::vector<StoredKey> keys;
};

/* Belongs to one thread. Each request goes to the endpoint that answered last, then to the others in turn. A call throws
   StoreAway or StoreRefused, except where it says otherwise. */
class Etcd {
  public:
    Etcd(const EtcdStore& store, EtcdAccess access, EtcdTimes times = {});

    /* Those of the keys that there are, in the order asked for. At most 128, the store's own limit. */
    Found get(std::span<const std::string> keys);
    /* With `keysOnly` without the values. */
    Found getAll(const std::string& prefix, bool keysOnly = false, int page = 500);

    std::int64_t grantLease(std::chrono::seconds life);
    /* False when the lease is gone. */
    bool keepAlive(std::int64_t lease);
    void revoke(std::int64_t lease);
    /* With a lease the key goes when that does; 0 for none. False when the lease is gone. */
    bool put(const std::string& key, const std::string& value, std::int64_t lease = 0);

    /* Instead of an earlier watch. What goes wrong is told by wait, except that the token can't be read (StoreRefused). */
    void watch(std::span<const std::string> keys, std::int64_t fromRevision);
    enum class News {
        Nothing,   /* the time is over */
        Other,     /* one of `others` is ready to be read */
        Changed,   /* at least one key */
        Compacted, /* changes since the revision are forgotten: read the keys, and watch from there */
        Lost, /* the watch has ended or hears nothing any more: why() says it. The next one tries the next endpoint */
    };
    /* After Compacted and Lost there is no watch: it waits for the others alone. */
    News wait(std::span<const int> others, std::chrono::milliseconds limit);
    /* The highest revision of a change that was told, or up to which it is certain that there was none. Who has read
       the keys since the last Changed misses nothing by watching from the next one. */
    std::int64_t revisionSeen() const;
    const std::string& why() const { return m_why; }

  private:
    struct Answer;
    /* Any endpoint; `call` is "kv/range". */
    Json ask(const char* call, const Json& body);
    /* The current one. */
    Answer askOnce(const char* call, const std::string& body);
    HttpRequest requestOf(const char* call, std::string body) const;
    const std::string& endpoint() const { return m_store.endpoints[m_current]; }
    void leaveEndpoint() { m_current = (m_current + 1) % m_store.endpoints.size(); }
    void addKeys(std::vector<StoredKey>& to, const Json& range) const;
    /* Whether it is another than before. */
    bool readToken();

    /* Whether a change was told. */
    bool take(const StreamNews& news);
    void checkWatch();
    News endOfWatch();

    const EtcdStore m_store;
    const EtcdAccess m_access;
    const EtcdTimes m_times;
    const std::unique_ptr<HttpClient> m_http;
    std::size_t m_current = 0;
    std::string m_token;
    std::optional<EtcdWatch> m_watch; /* stays when it has ended, until that is told */
    std::int64_t m_seen = 0;          /* of a watch that has ended */
    std::chrono::steady_clock::time_point m_heard;
    std::string m_why;
};

} // namespace wdlt
