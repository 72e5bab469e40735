// What a web proxy is told about URLs, as it asks: in lines, while settings and lists change.
#include "Sanitizers.h"
#include "TimeScale.h"
#include "Typed.h"

#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <platform/win32.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// A helper that is asked one line after the other, for as long as the test wants.
class Helper {
  public:
    explicit Helper(const std::string& options = "")
        : m_questions(newFifo()), m_program(wordsOf("wardlet-acl " + options), "<'" + m_questions + "'"),
          m_input(open(m_questions.c_str(), O_WRONLY | O_CLOEXEC)) {}
    ~Helper() {
        if (m_input >= 0)
            close(m_input);
    }

    void send(const std::string& lines) const {
        EXPECT_EQ(write(m_input, lines.data(), lines.size()), static_cast<ssize_t>(lines.size()));
    }
    std::string asked(const std::string& line) const {
        send(line + "\n");
        return answer();
    }
    std::string answer() const { return m_program.readLine(); }
    pid_t process() const { return m_program.process(); }
    int endedBy(int signal) { return m_program.endedBy(signal); }
    int ended() {
        close(std::exchange(m_input, -1));
        return m_program.wait();
    }

  private:
    static std::string newFifo() {
        static int count = 0;
        std::string path = TestHome::instance().path() / ("questions" + std::to_string(++count));
        mkfifo(path.c_str(), 0600);
        return path;
    }
    std::string m_questions;
    RunningProgram m_program;
    int m_input;
};

std::string undecided(const std::string& message) {
    return "BH message=\"" + message + "\" tag=undecided";
}
const std::string kWhite = "ERR message=\"on the white list\" tag=white";
const std::string kBlack = "OK message=\"on the black list\" tag=black";
const std::string kOnNone = "ERR message=\"on no list\" tag=none";
const std::string kNotOn = "ERR message=\"not on the list\" tag=none";
const std::string kHost = "OK message=\"on the host list\" tag=hosts";
const std::string kOff = "ERR message=\"the URL filter is off\" tag=off";

class Acl : public Wdltctl {
  protected:
    void SetUp() override {
        Wdltctl::SetUp();
        done("enable urlf");
        done("add urls black *example.com/*");
        done("add urls white *://ok.example.com/*");
    }
};

TEST_F(Acl, AnswersEachLine) {
    done("enable hosf");
    done("add hosts Host.example ::1 hex:61620063"); // the last is no text
    const std::string page = "http://www.example.com/";
    const std::string unknown = undecided("no such question: blocked, white, black or hosts");
    const std::string tooLong = undecided("the URL is longer than any on a list");
    const std::string none = undecided("no URL is given");
    const auto sized = [&](std::size_t size) { return page + std::string(size - page.size(), 'x'); };
    const struct {
        std::string line;
        std::string answer;
    } rows[] = {
        {page, kBlack},
        {page + " -", kBlack},
        {"  " + page + "  blocked \r", kBlack},
        {page + " black", kBlack},
        {page + " white", kNotOn},
        {page + " grey", unknown},
        {page + " white black", unknown},
        {"http://ok.example.com/", kWhite},
        {"http://ok.example.com/ Black", kBlack},
        {"http://ok.example.com/ white", "OK message=\"on the white list\" tag=white"},
        {"http://www.example.org/", kOnNone},
        {"http://www.ex%61mple.com/", kBlack}, // escapes count once
        {"http://www.ex%2561mple.com/", kOnNone},
        {"0 " + page, "0 " + kBlack},
        {"999 http://ok.example.com/ white", "999 OK message=\"on the white list\" tag=white"},
        {"7 " + page + " grey", "7 " + unknown},
        {"7 - black", "7 " + none},
        {"www.example.com:443", kBlack},       // tunnels
        {"ok.example.com:8443 black", kNotOn}, // a pattern that ends the host ends the port too
        {"1 ok.example.com:443", "1 " + kWhite},
        {"http://HOST.example.:81/x", "ERR message=\"on the host list\" tag=hosts"},
        {"host.example:443 hosts", kHost},
        {"http://user@h%6Fst.example?x hosts", kHost},
        {"http://%5B::1%5D:80/ hosts", kHost},
        {"http://host.example.org/ hosts", kNotOn},
        {"http://ab/ hosts", kNotOn},
        {"http://[/ hosts", kNotOn},
        {"", none},
        {"5", "5 " + none},
        {sized(2083), kBlack},
        {sized(2084), tooLong},
        {sized(4096) + " black", tooLong},
        {"12 " + sized(100'000) + " black", "12 " + tooLong},
        {page + std::string(100'000, ' ') + "black", kBlack},
        {page + std::string("\0 black", 7), undecided("a zero byte is in the URL")},
        {page, kBlack}, // without an end of its line
    };
    std::string lines;
    std::string answers;
    for (const auto& row : rows) {
        lines += row.line + "\n";
        answers += row.answer + "\n";
    }
    lines.pop_back();
    EXPECT_EQ(done("wardlet-acl", lines), answers);
    EXPECT_EQ(done("wardlet-acl", ""), "");
    expectOutputs({
        {"wardlet-acl --undecided OK", "3 OK message=\"no URL is given\" tag=undecided\n", "3 -\n"},
        {"wardlet-acl --undecided err", "ERR message=\"no URL is given\" tag=undecided\n", "-\n"},
        {"wardlet-acl --redirect http://a/?\"\\",
         "3 OK status=302 url=\"http://a/?\\\"\\\\\" message=\"on the black list\" tag=black\n" + kWhite + "\n",
         "3 " + page + " 10.0.0.1/- - GET myport=3128\nhttp://ok.example.com/ 10.0.0.1/- - GET\n"},
    });
}

// One helper all the while, asked the same two questions after each change.
TEST_F(Acl, AChangeCountsFromTheNextQuestionOn) {
    const Helper helper;
    const std::string key = kBase + "\\Scan\\Common\\URLFilter\\config";
    const struct {
        std::string line;
        std::string blocked;
        std::string host;
    } rows[] = {
        {"list urls black", kBlack, "ERR message=\"the host filter is off\" tag=off"},
        {"enable hosf", kBlack, kNotOn},
        {"add hosts a.example.com", kBlack, kHost},
        {"add urls white *a.example*", kWhite, kHost},
        {"disable urlf", kOff, kHost},
        {"remove urls white *a.example*", kOff, kHost},
        {"enable urlf", kBlack, kHost},
        {"remove urls black *example.com/*", "ERR message=\"on the host list\" tag=hosts", kHost},
        {"remove hosts a.example.com", kOnNone, kNotOn},
        {"wdltreg set " + key + " Blacklist sz UrlWhite.dat", kOnNone, kNotOn},
        {"add urls black *://A.EXAMPLE.COM/*", kWhite, kNotOn}, // into the file of both
        {"wdltreg set " + key + " Blacklist sz UrlBlack.dat", kWhite, kNotOn},
        {"remove urls white *://A.EXAMPLE.COM/*", kOnNone, kNotOn},
    };
    for (const auto& row : rows) {
        done(row.line);
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(helper.asked("http://a.example.com/"), row.blocked) << row.line;
            EXPECT_EQ(helper.asked("http://a.example.com/ hosts"), row.host) << row.line;
        }
    }
}

// And it can be decided again once that is mended, with the next question.
TEST_F(Acl, WhatCantBeReadIsUndecided) {
    const auto setAside = [](const std::string& path, bool isAside) {
        std::filesystem::rename(isAside ? path : path + ".aside", isAside ? path + ".aside" : path);
    };
    const auto damage = [&](const std::string& path, bool isDamaged) {
        if (isDamaged) {
            std::filesystem::copy_file(path, path + ".aside");
            std::ofstream(path) << "damaged";
        } else {
            setAside(path, false);
        }
    };
    const std::string badList = "status -8 (";
    done("enable hosf");
    done("add hosts host");
    const Helper helper;
    const struct {
        std::function<void(const std::string&, bool)> spoil;
        std::string path;
        std::string
            black; // within the answers for a URL that is blocked, one on the white list, one on none, and a host
        std::string white;
        std::string none;
        std::string host;
    } rows[] = {
        {damage, install() + "/UrlBlack.dat", badList, kWhite, badList, kHost},
        {damage, install() + "/UrlWhite.dat", badList, badList, kOnNone, kHost},
        {damage, install() + "/HostWhite.dat", kBlack, kWhite, kOnNone, badList},
        {setAside, install() + "/UrlBlack.dat", kOnNone, kWhite, kOnNone, kHost}, // an empty list
        {setAside, install(), badList, badList, badList, badList},
    };
    for (const auto& row : rows) {
        const auto expectAnswers = [&](const std::vector<std::string>& expected) {
            for (int i = 0; i < 2; ++i) {
                helper.send("http://a.example.com/\nhttp://ok.example.com/\nhttp://none/\nhttp://host/ hosts\n");
                for (const std::string& part : expected)
                    EXPECT_THAT(helper.answer(), testing::HasSubstr(part)) << row.path;
            }
        };
        row.spoil(row.path, true);
        expectAnswers({row.black, row.white, row.none, row.host});
        row.spoil(row.path, false);
        expectAnswers({kBlack, kWhite, kOnNone, kHost});
    }
}

TEST_F(Acl, AHomeThatIsMadeLaterIsFound) {
    const std::string home = TestHome::instance().path() / "later";
    setenv("WARDLET_HOME", home.c_str(), 1);
    const Helper helper;
    EXPECT_EQ(helper.asked("http://a/"), undecided("no home is at " + home));
    EXPECT_FALSE(std::filesystem::exists(home));
    done("init --install " + home + "/install");
    EXPECT_EQ(helper.asked("http://a/"), kOff);
    setenv("WARDLET_HOME", TestHome::instance().path().c_str(), 1);
}

TEST_F(Acl, RemembersWithinItsBounds) {
    if (kIsSanitized)
        GTEST_SKIP() << "a sanitizer needs memory of its own";
    const Helper helper;
    constexpr int kAtOnce = 25; // of 2000 bytes: less than a pipe holds
    for (int i = 0; i < 25'000; i += kAtOnce) {
        std::string lines;
        for (int line = 0; line < kAtOnce; ++line)
            lines += "http://" + std::to_string(i + line) + "/" + std::string(2000, 'x') + "\n";
        helper.send(lines);
        for (int line = 0; line < kAtOnce; ++line)
            ASSERT_EQ(helper.answer(), kOnNone);
    }
    std::ifstream status("/proc/" + std::to_string(helper.process()) + "/status");
    std::string word;
    while (status >> word && word != "VmHWM:") {
    }
    int kilobytes = 0;
    status >> kilobytes;
    EXPECT_GT(kilobytes, 0);
    EXPECT_LT(kilobytes, 40 * 1024);
}

bool isThere(const char* exchange) {
    const HANDLE memory =
        OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, ("Global\\" + std::string(exchange) + "_WdMemory").c_str());
    return memory != nullptr && CloseHandle(memory) != FALSE;
}
bool comesToListen() {
    for (int i = 0; i < 1000 && !isThere("wdlt_config_change_evt"); ++i)
        usleep(10'000);
    return isThere("wdlt_config_change_evt");
}

// Of several helpers one listens for changes, and answers: otherwise the tool would print that nobody has. A service that
// starts hears each change from then on.
TEST_F(Acl, OneListensUntilAServiceComes) {
    const TimeScale scale("0.05");
    auto change = [port = 7000]() mutable { done("set system proxyPort=" + std::to_string(++port)); };
    Helper silent("--no-listen");
    silent.asked("http://a/");
    usleep(200'000); // four looks of one that listens
    EXPECT_FALSE(isThere("wdlt_config_change_evt"));

    Helper first;
    first.asked("http://a/");
    EXPECT_TRUE(comesToListen());
    change();
    Helper second;
    second.asked("http://a/");
    EXPECT_EQ(first.endedBy(SIGKILL), Child::kKilled);
    EXPECT_TRUE(comesToListen());
    change();
    EXPECT_FALSE(isThere("wdlt_action")) << "questions would wait for an answer";

    for (int i = 0; i < 3; ++i) {
        RunningProgram peer(wordsOf("wardlet-peer"));
        EXPECT_THAT(peer.readLine(), testing::HasSubstr("ready"));
        for (int changes = 0; changes < 3; ++changes)
            change();
        EXPECT_EQ(peer.endedBy(i == 1 ? SIGKILL : SIGTERM), i == 1 ? Child::kKilled : 0);
        for (int changes = 0; changes < 3; ++changes)
            EXPECT_THAT(peer.readLine(), testing::HasSubstr(R"("protocol":10000)"));
        EXPECT_EQ(peer.readLine(), "");
        EXPECT_TRUE(comesToListen());
        change();
    }
    EXPECT_EQ(second.ended(), 0);
    EXPECT_FALSE(isThere("wdlt_config_change_evt"));
    EXPECT_EQ(silent.ended(), 0);
}

} // namespace
