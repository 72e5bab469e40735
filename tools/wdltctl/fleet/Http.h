/* Requests over HTTP and TLS, and one answer that goes on: a stream. What does it is in a library of its own,
   libWdHttp.so, whose parts every start of the tool would load otherwise. */
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace wdlt {

/* Files in PEM, empty where there is none: without an authority those of the system are trusted. */
struct HttpAccess {
    std::string caFile = {};
    std::string certFile = {};
    std::string keyFile = {};
};

/* An answer is cut off here, as is what has come of a stream and wasn't fetched yet. */
inline constexpr std::size_t kMostHttpBytes = std::size_t{8} << 20;

struct HttpRequest {
    std::string url;
    std::string body;                       /* JSON */
    std::vector<std::string> headers = {};  /* "Name: value" */
    std::chrono::milliseconds connectLimit; /* for the connection alone */
};

struct HttpReply {
    long status = 0;        /* 0: no answer */
    std::string body = {};  /* of a stream: what has come since the last look */
    std::string error = {}; /* why there is none, or why it isn't whole */
    bool refused = false;   /* certificates don't fit or can't be read, which no waiting changes */
};

struct StreamNews {
    HttpReply reply = {};
    bool hasEnded = false;
    bool hasOther = false; /* one of the other descriptors is ready to be read */
};

/* Belongs to one thread; keeps connections for the next request. Failures are in the answers; what it throws is
   std::bad_alloc. No redirect is followed, and no proxy is taken from the environment: what a service gets its settings
   from is what its command line names. */
class HttpClient {
  public:
    virtual ~HttpClient() = default;

    /* With `limit` for all of it. What comes of the stream meanwhile is kept. */
    virtual HttpReply post(const HttpRequest& request, std::chrono::milliseconds limit) = 0;

    /* Begins a stream, instead of an earlier one. */
    virtual void open(const HttpRequest& request) = 0;
    virtual void close() = 0;
    /* Waits for the stream, one of `others`, or the end of the time. */
    virtual StreamNews wait(std::span<const int> others, std::chrono::milliseconds limit) = 0;
};

/* What libWdHttp.so's WdHttpCalls returns. */
struct HttpCalls {
    std::unique_ptr<HttpClient> (*makeClient)(const HttpAccess& access);
};

/* A LayerError where the library is missing. */
std::unique_ptr<HttpClient> makeHttpClient(const HttpAccess& access);

} // namespace wdlt
