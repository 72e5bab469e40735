// The client of the shared store, against a real one that is killed, stopped and compacted, and against one that lies.
#include "EtcdServer.h"
#include "ToolError.h"
#include <Etcd.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <numeric>

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using wdlt::Etcd;
using News = wdlt::Etcd::News;

constexpr wdlt::EtcdTimes kShort{.connect = 500ms, .answer = 500ms, .silence = 300ms};
const std::vector<std::string> kKeys = {"/w/a", "/w/b"};

// For what comes for certain.
constexpr auto kPatience = 20s;

wdlt::EtcdStore storeAt(std::vector<std::string> endpoints) {
    return {.endpoints = std::move(endpoints), .prefix = "/w"};
}

// "" when it doesn't throw; what kind of failure else, and its words.
template <class Call>
std::string failureOf(const Call& call) {
    try {
        call();
    } catch (const wdlt::StoreAway& away) {
        return std::string("away: ") + away.what();
    } catch (const wdlt::StoreRefused& refused) {
        return std::string("refused: ") + refused.what();
    }
    return {};
}

TEST(EtcdStore, AddressesAreTakenWholeOrNotAtAll) {
    const struct {
        std::string text;
        std::string endpoints; // empty: refused
        std::string prefix = {};
    } cases[] = {
        {"etcd://h/p", "http://h:2379", "/p"},
        {"etcd://h:1,10.0.0.2:65535/p/q//", "http://h:1 http://10.0.0.2:65535", "/p/q"},
        {"etcds://[::1]:5,[fe80::2],a-b.c/p", "https://[::1]:5 https://[fe80::2]:2379 https://a-b.c:2379", "/p"},
        {"http://h/p", ""},
        {"etcd:h/p", ""},
        {"etcd://h", ""},
        {"etcd://h/", ""},
        {"etcd:///p", ""},
        {"etcd://h,/p", ""},
        {"etcd://h:0/p", ""},
        {"etcd://h:65536/p", ""},
        {"etcd://h:0x50/p", ""},
        {"etcd://h:/p", ""},
        {"etcd://u@h/p", ""},
        {"etcd://::1/p", ""},
        {"etcd://[]/p", ""},
        {"etcd://[g]/p", ""},
        {"etcd://h/p q", ""},
        {"etcd://[::1]x/p", ""},
    };
    for (const auto& [text, endpoints, prefix] : cases) {
        SCOPED_TRACE(text);
        try {
            const wdlt::EtcdStore store = wdlt::etcdStoreOf(text);
            std::string all;
            for (const std::string& each : store.endpoints)
                all += (all.empty() ? "" : " ") + each;
            EXPECT_EQ(all, endpoints);
            EXPECT_EQ(store.prefix, prefix);
        } catch (const wdlt::ToolError& error) {
            EXPECT_EQ(error.status(), wdlt::ExitStatus::Usage);
            EXPECT_EQ(endpoints, "");
        }
    }
}

class RealEtcd : public testing::Test {
  protected:
    void SetUp() override {
        if (!EtcdServer::isInstalled())
            GTEST_SKIP() << "etcd, etcdctl or openssl isn't installed";
    }
    // Waits until the watch tells something.
    static News newsOf(Etcd& etcd) { return etcd.wait({}, kPatience); }
};

TEST_F(RealEtcd, KeysAreReadAtOneRevisionPageByPage) {
    EtcdServer server;
    ASSERT_TRUE(server.start());
    Etcd etcd(storeAt({server.url()}), {});
    std::string bytes(256, '\0');
    std::iota(bytes.begin(), bytes.end(), '\0');
    for (const char* const key : {"/v", "/w/", "/w/1", "/w/2", "/w/3", "/w/4", "/w/5", "/w0"})
        EXPECT_TRUE(etcd.put(key, key + bytes));
    for (const int page : {1, 3, 6, 500}) {
        const wdlt::Found found = etcd.getAll("/w/", false, page);
        ASSERT_EQ(found.keys.size(), 6u) << page;
        EXPECT_EQ(found.revision, 9);
        for (std::size_t i = 0; i < 6; ++i)
            EXPECT_EQ(found.keys[i].value, found.keys[i].key + bytes);
    }
    EXPECT_TRUE(etcd.getAll("/x/").keys.empty());
    const wdlt::Found found = etcd.get(std::vector<std::string>{"/w/5", "/w/6", "/w/2"});
    ASSERT_EQ(found.keys.size(), 2u);
    EXPECT_EQ(found.keys[0].key, "/w/5");
    EXPECT_EQ(found.keys[1].modified, 5);
    EXPECT_THAT(failureOf([&] { etcd.put("", "no key"); }),
                HasSubstr("refused: " + server.url() + ": etcdserver: key"));
}

TEST_F(RealEtcd, AWatchHearsItsKeysAndGoesOnWhereItEnded) {
    EtcdServer server;
    const LoopbackPort dead; // bound, and nobody listens
    ASSERT_TRUE(server.start());
    Etcd etcd(storeAt({"http://" + dead.address(), server.url()}), {});
    etcd.watch(kKeys, 1);
    EXPECT_EQ(newsOf(etcd), News::Lost) << "of the dead endpoint";
    EXPECT_THAT(etcd.why(), HasSubstr(dead.address()));
    etcd.watch(kKeys, etcd.revisionSeen() + 1);
    for (const char* const key : {"/w/b", "/w/a", "/w/b"}) {
        etcd.put("/w/other", "");
        etcd.put(key, "1");
        EXPECT_EQ(newsOf(etcd), News::Changed);
        EXPECT_EQ(etcd.revisionSeen(), etcd.get(kKeys).revision);
    }
    EXPECT_EQ(etcd.wait({}, 50ms), News::Nothing);
    Pipe other;
    other.signal();
    const int descriptor[] = {other.receiver()};
    EXPECT_EQ(etcd.wait(descriptor, kPatience), News::Other);

    const std::int64_t seen = etcd.revisionSeen();
    server.kill();
    EXPECT_EQ(newsOf(etcd), News::Lost);
    EXPECT_THAT(failureOf([&] { etcd.get(kKeys); }),
                testing::AllOf(HasSubstr("away: "), HasSubstr(dead.address()), HasSubstr(server.address())));
    ASSERT_TRUE(server.start());
    EXPECT_EQ(etcd.get(kKeys).revision, seen);
    EXPECT_TRUE(server.ctl("del /w/a"));
    etcd.watch(kKeys, seen + 1);
    EXPECT_EQ(newsOf(etcd), News::Changed);
    EXPECT_EQ(etcd.revisionSeen(), seen + 1);
    EXPECT_TRUE(server.ctl("compaction " + std::to_string(seen + 1)));
    etcd.watch(kKeys, seen - 1);
    EXPECT_EQ(newsOf(etcd), News::Compacted);
}

TEST_F(RealEtcd, AServerThatHangsIsNoticed) {
    EtcdServer server;
    ASSERT_TRUE(server.start());
    Etcd etcd(storeAt({server.url()}), {}, kShort);
    etcd.watch(kKeys, 1);
    EXPECT_EQ(etcd.wait({}, 700ms), News::Nothing) << "checked, and found well";
    server.signal(SIGSTOP);
    EXPECT_EQ(newsOf(etcd), News::Lost);
    EXPECT_THAT(failureOf([&] { etcd.get(kKeys); }), HasSubstr("away: " + server.url()));
    server.signal(SIGCONT);
    EXPECT_EQ(failureOf([&] { etcd.getAll("/w"); }), "");
}

TEST_F(RealEtcd, AKeyGoesWithItsLease) {
    EtcdServer server;
    ASSERT_TRUE(server.start());
    Etcd etcd(storeAt({server.url()}), {});
    const std::int64_t kept = etcd.grantLease(60s);
    const std::int64_t brief = etcd.grantLease(1s);
    EXPECT_TRUE(etcd.put("/w/a", "1", kept));
    EXPECT_TRUE(etcd.put("/w/b", "1", brief));
    EXPECT_TRUE(etcd.keepAlive(kept));
    etcd.watch(kKeys, etcd.get(kKeys).revision + 1);
    EXPECT_EQ(newsOf(etcd), News::Changed) << "nobody keeps the brief one";
    EXPECT_FALSE(etcd.keepAlive(brief));
    EXPECT_FALSE(etcd.put("/w/b", "2", brief));
    EXPECT_EQ(etcd.get(kKeys).keys.size(), 1u);
    etcd.revoke(kept);
    etcd.revoke(kept); // which is nothing to complain of
    EXPECT_EQ(newsOf(etcd), News::Changed);
    EXPECT_TRUE(etcd.get(kKeys).keys.empty());
}

TEST_F(RealEtcd, OnlyTheRightAuthorityAndTokenAreTaken) {
    const std::string right = makeCertificate("right"), wrong = makeCertificate("wrong");
    EtcdServer server("etcd", right);
    ASSERT_TRUE(server.start());
    const std::string token = TestHome::instance().path() / "token";
    const auto newToken = [&] {
        const std::string body = server.ask("auth/authenticate", R"({"name": "root", "password": "p"})").body;
        const auto begin = body.find(R"("token":")") + 9;
        TestHome::instance().write("token", body.substr(begin, body.find('"', begin) - begin) + "\n");
    };
    const std::string refused = "refused: " + server.url();
    const auto get = [](Etcd& etcd) { return failureOf([&] { etcd.get(kKeys); }); };
    for (const std::string& file : {wrong + ".pem", std::string(), std::string("/nowhere.pem")}) {
        Etcd etcd(storeAt({server.url()}), {.tls = {.caFile = file}});
        EXPECT_THAT(get(etcd), HasSubstr(refused)) << file;
    }
    const wdlt::HttpAccess tls{.caFile = right + ".pem"};
    Etcd open(storeAt({server.url()}), {.tls = tls});
    EXPECT_EQ(get(open), "");

    for (const char* const line : {"user add root:p", "user grant-role root root", "auth enable"})
        ASSERT_TRUE(server.ctl(line)) << line;
    EXPECT_THAT(get(open), HasSubstr(refused)) << "without a token";
    EXPECT_THAT(failureOf([&] { Etcd(storeAt({server.url()}), {.tls = tls, .tokenFile = token}); }),
                HasSubstr("refused: " + token));
    TestHome::instance().write("token", "wrong");
    Etcd etcd(storeAt({server.url()}), {.tls = tls, .tokenFile = token});
    EXPECT_THAT(get(etcd), HasSubstr(refused + ": etcdserver: invalid auth token"));
    etcd.watch(kKeys, 1);
    EXPECT_EQ(newsOf(etcd), News::Lost);
    newToken();
    EXPECT_EQ(get(etcd), "") << "the file is read again";
    etcd.watch(kKeys, 1);
    etcd.put("/w/a", "1");
    EXPECT_EQ(newsOf(etcd), News::Changed);
    server.kill(); // which forgets its tokens
    ASSERT_TRUE(server.start());
    EXPECT_THAT(get(etcd), HasSubstr(refused));
    newToken();
    EXPECT_EQ(get(etcd), "");
}

const std::string kOk = "HTTP/1.1 200 OK\r\n\r\n";

std::string eventAt(int watch, int revision) {
    return R"({"result":{"watch_id":")" + std::to_string(watch) + R"(","events":[{"kv":{"mod_revision":")" +
           std::to_string(revision) + "\"}}]}}\n";
}
std::string progressAt(int watch, int revision) {
    return R"({"result":{"header":{"revision":")" + std::to_string(revision) + R"("},"watch_id":")" +
           std::to_string(watch) + "\"}}\n";
}
// What a look at both keys finds.
std::string lookAt(int storeRevision, int modified) {
    return kOk + R"({"header":{"revision":")" + std::to_string(storeRevision) +
           R"("},"responses":[{"response_range":{"kvs":[{"mod_revision":")" + std::to_string(modified) +
           R"("}]}},{"response_range":{}}]})";
}

TEST(LyingEtcd, AWatchEndsWithAReasonAndLosesNoChange) {
    using Answers = std::vector<ScriptedServer::Answer>;
    const struct {
        std::string name;
        Answers answers; // the watch's, then those of the looks at it
        std::vector<News> news;
        std::int64_t seen;
        std::string why = {};
    } cases[] = {
        {"cut",
         {{{kOk, R"({"result":{"watch_id":"1","ev)", R"(ents":[{"kv":{"mod_revision":"7"}}]}})", "\n"}}},
         {News::Changed, News::Lost},
         7,
         "it has ended the watch"},
        {"joined", {{{kOk + eventAt(2, 9) + eventAt(1, 8)}}}, {News::Changed, News::Lost}, 9},
        {"one complete", {{{kOk + progressAt(1, 20)}}}, {News::Lost}, 4},
        {"both complete", {{{kOk + progressAt(1, 20) + progressAt(2, 18)}}}, {News::Lost}, 18},
        {"change, garbage",
         {{{kOk + eventAt(1, 8) + "{]\n" + eventAt(1, 9)}}},
         {News::Changed, News::Lost},
         8,
         "etcd's"},
        {"other watch", {{{kOk + eventAt(3, 8)}}}, {News::Lost}, 4, "wasn't asked for"},
        {"deep", {{{kOk + std::string(1'000'000, '[') + "\n"}}}, {News::Lost}, 4, "etcd's"},
        {"endless", {{{kOk + std::string(wdlt::kMostHttpBytes + 1, 'x')}, false}}, {News::Lost}, 4, "end"},
        {"error",
         {{{kOk + R"({"error":{"grpc_code":14,"message":"no leader"}})" + "\n"}}},
         {News::Lost},
         4,
         "no leader"},
        {"refusal",
         {{{"HTTP/1.1 401 No\r\n\r\n"
            R"({"error":"who?","code":16})"}}},
         {News::Lost},
         4,
         "who?"},
        {"compacted",
         {{{kOk + eventAt(1, 8) + R"({"result":{"watch_id":"1","canceled":true,"compact_revision":"5"}})" + "\n"}}},
         {News::Changed, News::Compacted},
         8},
        {"cancelled",
         {{{kOk + R"({"result":{"watch_id":"1","canceled":true,"cancel_reason":"because"}})" + "\n"}}},
         {News::Lost},
         4,
         "because"},
        {"silent", {{{kOk}, false}}, {News::Lost}, 4, "out"},
        {"deaf", {{{kOk}, false}, {{lookAt(9, 9)}}, {{lookAt(9, 9)}}}, {News::Lost}, 4, "nothing of a change"},
        {"gone back", {{{kOk}, false}, {{lookAt(3, 3)}}}, {News::Lost}, 4, "gone back"},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        const ScriptedServer server(each.answers);
        Etcd etcd(storeAt({server.url()}), {}, kShort);
        etcd.watch(kKeys, 5);
        std::vector<News> news;
        do
            news.push_back(etcd.wait({}, kPatience));
        while (news.back() == News::Changed);
        EXPECT_EQ(news, each.news);
        EXPECT_EQ(etcd.revisionSeen(), each.seen);
        EXPECT_THAT(etcd.why(), HasSubstr(server.url() + ": "));
        EXPECT_THAT(etcd.why(), HasSubstr(each.why));
        EXPECT_EQ(etcd.wait({}, 1ms), News::Nothing);
    }
}

TEST(LyingEtcd, AnAnswerThatIsNoneIsAFailure) {
    const std::string page = R"({"header":{"revision":"6"},"kvs":[{"key":"YQ==","value":"YQ==","mod_revision":"3"}])";
    const struct {
        std::vector<ScriptedServer::Answer> answers;
        std::string failure; // how it begins, with @ for the endpoint
    } cases[] = {
        {{{{}, false}}, "away: @: "},
        {{{{kOk + "<html>"}}}, "away: @: what answers isn't etcd"},
        {{{{kOk + "[]"}}}, "away: @: what answers isn't etcd"},
        {{{{kOk + R"({"header":{"revision":"6"},"kvs":[{"key":"?"}]})"}}}, "away: @: what it answers isn't base64"},
        {{{{kOk + std::string(wdlt::kMostHttpBytes + 1, ' ')}}}, "away: @: it answers more than 8 MiB"},
        {{{{"HTTP/1.1 503 No\r\n\r\n"}}}, "away: @: HTTP status 503"},
        {{{{"HTTP/1.1 302 Go\r\nLocation: http://127.0.0.1:1/\r\n\r\n"}}}, "away: @: HTTP status 302"},
        {{{{"HTTP/1.1 403 No\r\n\r\n"}}}, "refused: @: HTTP status 403"},
        // The revision of the first page is compacted, so all are read again.
        {{{{kOk + page + R"(,"more":true})"}},
          {{"HTTP/1.1 400 No\r\n\r\n"
            R"({"error":"compacted","code":11})"}},
          {{kOk + page + "}"}}},
         ""},
    };
    for (const auto& [answers, failure] : cases) {
        const ScriptedServer server(answers);
        Etcd etcd(storeAt({server.url()}), {}, kShort);
        wdlt::Found found;
        std::string words = failureOf([&] { found = etcd.getAll("a"); });
        if (const auto at = words.find(server.url()); at != words.npos)
            words.replace(at, server.url().size(), "@");
        EXPECT_THAT(words, testing::StartsWith(failure));
        EXPECT_EQ(words.empty(), failure.empty());
        EXPECT_EQ(found.keys.size(), failure.empty() ? 1u : 0u);
    }
}

} // namespace
