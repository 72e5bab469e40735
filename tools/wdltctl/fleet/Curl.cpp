#include "Http.h"

#include <algorithm>
#include <curl/curl.h>
#include <new>
#include <stdexcept>
#include <utility>

namespace wdlt {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/* As often as a router that forgets silent connections is likely to need. */
constexpr long kKeepAliveSeconds = 20;
constexpr long kMostConnections = 4;

void expect(CURLcode code) {
    if (code == CURLE_OUT_OF_MEMORY)
        throw std::bad_alloc();
    if (code != CURLE_OK)
        throw std::runtime_error(curl_easy_strerror(code));
}

void expect(CURLMcode code) {
    if (code == CURLM_OUT_OF_MEMORY)
        throw std::bad_alloc();
    if (code != CURLM_OK)
        throw std::runtime_error(curl_multi_strerror(code));
}

/* What asking again doesn't change. */
bool isRefusal(CURLcode code) {
    return code == CURLE_PEER_FAILED_VERIFICATION || code == CURLE_SSL_CERTPROBLEM ||
           code == CURLE_SSL_CACERT_BADFILE || code == CURLE_SSL_ISSUER_ERROR;
}

struct FreeEasy {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
struct FreeMulti {
    void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
};
struct FreeList {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

/* One request and its answer, from its construction on. */
class Transfer {
  public:
    /* Without a limit (0) it goes on. */
    Transfer(CURLM* multi, const HttpAccess& access, HttpRequest request, milliseconds limit)
        : m_multi(multi), m_request(std::move(request)), m_easy(curl_easy_init()) {
        if (m_easy == nullptr)
            throw std::bad_alloc();
        ask();
        identify(access);
        set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(m_request.connectLimit.count()));
        set(CURLOPT_TIMEOUT_MS, static_cast<long>(limit.count()));
        expect(curl_multi_add_handle(multi, m_easy.get()));
    }
    ~Transfer() { curl_multi_remove_handle(m_multi, m_easy.get()); }
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    bool hasEnded() const { return m_hasEnded; }
    void end(CURLcode code) {
        m_hasEnded = true;
        if (code == CURLE_OK) {
            curl_easy_getinfo(m_easy.get(), CURLINFO_RESPONSE_CODE, &m_reply.status);
            return;
        }
        m_reply.refused = isRefusal(code);
        const char* const words = m_words[0] != '\0' ? m_words : curl_easy_strerror(code);
        m_reply.error = m_isFull ? "it answers more than " + std::to_string(kMostHttpBytes >> 20) + " MiB" : words;
    }
    HttpReply take() { return std::exchange(m_reply, {}); }

  private:
    template <class Value>
    void set(CURLoption option, Value value) {
        expect(curl_easy_setopt(m_easy.get(), option, value));
    }

    void ask() {
        set(CURLOPT_URL, m_request.url.c_str());
        set(CURLOPT_PROTOCOLS_STR, "http,https");
        set(CURLOPT_PROXY, "");                                 // not the environment's
        set(CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_1_1}); // a request never waits behind the stream
        addHeader("Content-Type: application/json");
        addHeader("Expect:"); // else a long body waits for an answer
        for (const std::string& header : m_request.headers)
            addHeader(header);
        set(CURLOPT_HTTPHEADER, m_headers.get());
        set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(m_request.body.size()));
        set(CURLOPT_POSTFIELDS, m_request.body.data()); // not copied
        set(CURLOPT_WRITEFUNCTION, &Transfer::collect);
        set(CURLOPT_WRITEDATA, this);
        set(CURLOPT_PRIVATE, this);
        set(CURLOPT_ERRORBUFFER, m_words);
        set(CURLOPT_TCP_KEEPALIVE, 1L);
        set(CURLOPT_TCP_KEEPIDLE, kKeepAliveSeconds);
        set(CURLOPT_TCP_KEEPINTVL, kKeepAliveSeconds);
        // CURLOPT_NOSIGNAL stays off: so SIGPIPE, which TLS raises when the peer is gone, is ignored within each call.
    }

    void identify(const HttpAccess& access) {
        if (!access.caFile.empty()) {
            set(CURLOPT_CAINFO, access.caFile.c_str());
            set(CURLOPT_CAPATH, static_cast<const char*>(nullptr)); // else the system's would be trusted too
        }
        if (!access.certFile.empty())
            set(CURLOPT_SSLCERT, access.certFile.c_str());
        if (!access.keyFile.empty())
            set(CURLOPT_SSLKEY, access.keyFile.c_str());
    }

    void addHeader(const std::string& header) {
        curl_slist* const longer = curl_slist_append(m_headers.get(), header.c_str());
        if (longer == nullptr)
            throw std::bad_alloc();
        (void)m_headers.release(); // the longer list's now
        m_headers.reset(longer);
    }

    /* Fewer bytes than it was given end the transfer. */
    static std::size_t collect(const char* bytes, std::size_t, std::size_t count, void* transfer) noexcept {
        auto& self = *static_cast<Transfer*>(transfer);
        self.m_isFull = count > kMostHttpBytes - self.m_reply.body.size();
        if (self.m_isFull)
            return 0;
        try {
            self.m_reply.body.append(bytes, count);
        } catch (const std::bad_alloc&) {
            return 0;
        }
        return count;
    }

    CURLM* const m_multi;
    const HttpRequest m_request;
    char m_words[CURL_ERROR_SIZE] = "";
    std::unique_ptr<curl_slist, FreeList> m_headers;
    std::unique_ptr<CURL, FreeEasy> m_easy;
    HttpReply m_reply;
    bool m_isFull = false;
    bool m_hasEnded = false;
};

class CurlClient final : public HttpClient {
  public:
    explicit CurlClient(HttpAccess access) : m_access(std::move(access)), m_multi(curl_multi_init()) {
        if (m_multi == nullptr)
            throw std::bad_alloc();
        expect(curl_multi_setopt(m_multi.get(), CURLMOPT_MAXCONNECTS, kMostConnections));
    }

    HttpReply post(const HttpRequest& request, milliseconds limit) override {
        Transfer transfer(m_multi.get(), m_access, request, std::max(limit, milliseconds(1)));
        for (perform(); !transfer.hasEnded(); perform())
            poll({}, limit);
        return transfer.take();
    }

    void open(const HttpRequest& request) override {
        m_stream.reset();
        m_stream = std::make_unique<Transfer>(m_multi.get(), m_access, request, milliseconds(0));
    }
    void close() override { m_stream.reset(); }

    StreamNews wait(std::span<const int> others, milliseconds limit) override {
        const auto end = Clock::now() + limit;
        std::vector<curl_waitfd> waited;
        for (const int other : others)
            waited.push_back({other, CURL_WAIT_POLLIN, 0});
        for (StreamNews news;;) {
            perform();
            if (m_stream != nullptr)
                news = {.reply = m_stream->take(), .hasEnded = m_stream->hasEnded()};
            const auto left = std::chrono::ceil<milliseconds>(end - Clock::now());
            const bool isOver = news.hasEnded || !news.reply.body.empty() || left.count() <= 0;
            poll(waited, isOver ? milliseconds(0) : left);
            news.hasOther = std::ranges::any_of(waited, [](const curl_waitfd& each) { return each.revents != 0; });
            if (isOver || news.hasOther)
                return news;
        }
    }

  private:
    void perform() {
        int running = 0;
        expect(curl_multi_perform(m_multi.get(), &running));
        for (int left = 0; const CURLMsg* const message = curl_multi_info_read(m_multi.get(), &left);) {
            Transfer* ended = nullptr;
            expect(curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &ended));
            ended->end(message->data.result);
        }
    }

    /* Returns early when there is something to perform. */
    void poll(std::span<curl_waitfd> others, milliseconds limit) {
        const auto time = std::min(limit, milliseconds(std::chrono::hours(24)));
        expect(curl_multi_poll(m_multi.get(), others.data(), static_cast<unsigned>(others.size()),
                               static_cast<int>(time.count()), nullptr));
    }

    const HttpAccess m_access;
    std::unique_ptr<CURLM, FreeMulti> m_multi;
    std::unique_ptr<Transfer> m_stream;
};

std::unique_ptr<HttpClient> makeClient(const HttpAccess& access) {
    static const CURLcode begun = curl_global_init(CURL_GLOBAL_DEFAULT);
    expect(begun);
    return std::make_unique<CurlClient>(access);
}

} // namespace
} // namespace wdlt

extern "C" __attribute__((visibility("default"))) const wdlt::HttpCalls* WdHttpCalls() {
    static constexpr wdlt::HttpCalls kCalls = {wdlt::makeClient};
    return &kCalls;
}
