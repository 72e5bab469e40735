// Homes that can't be used, a service that doesn't answer, a user who doesn't wait: what the tools say then.
#include "TimeScale.h"
#include "Typed.h"

#include <csignal>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

using testing::HasSubstr;

TEST_F(Wdltctl, AHomeThatCantBeUsed) {
    const std::string home = TestHome::instance().path();
    TestHome::instance().write("file", "");
    for (const auto* part : {"settings", "registry"})
        fs::copy(home + '/' + part, TestHome::instance().write("bad/mark", "").parent_path() / part,
                 fs::copy_options::recursive);
    TestHome::instance().write("bad/registry/data.mdb", std::string(8192, 'x'));
    const struct {
        std::string home;
        std::string words;
    } rows[] = {
        {home + "/none", "nothing is laid down in " + home + "/none: wdltctl init"},
        {home + "/file", "not a directory: " + home + "/file"},
        {home + "/bad", "damaged: " + home + "/bad/registry; wdltctl check tells more"},
    };
    fs::rename(home + "/settings", home + "/settings.kept"); // what is lost is made anew
    done("status");
    for (const auto& row : rows) {
        setenv("WARDLET_HOME", row.home.c_str(), 1);
        for (const auto* line : {"status", "get system proxyPort", "check-url http://a/ --list black", "list hosts",
                                 "set system proxyPort=1", "enable pvs", "add hosts a", "reset system"})
            EXPECT_THAT(typed(line).err, HasSubstr(row.words)) << line;
        EXPECT_EQ(typed("status").status, 3);
        EXPECT_EQ(json::parse(typed("status --json").err)["error"]["status"], 3);
    }
    EXPECT_FALSE(fs::exists(home + "/none"));
}

int statusOf(const std::string& line, const std::string& redirections) {
    return startProgram(wordsOf(line), redirections).wait();
}

TEST_F(Wdltctl, AReadOnlyHomeIsReadAndAStrangerIsRefused) {
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root";
    const std::string home = TestHome::instance().path();
    done("add hosts here");
    const auto readOnly = [&] {
        if (unshare(CLONE_NEWNS) != 0 || mount("", "/", "", MS_PRIVATE | MS_REC, nullptr) != 0 ||
            mount(home.c_str(), home.c_str(), "", MS_BIND, nullptr) != 0 ||
            mount("", home.c_str(), "", MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) != 0)
            return 100;
        return statusOf("list hosts", "| grep -qx here") * 10 + statusOf("add hosts b", "2>/dev/null");
    };
    // A plain init's directory is on a drive of the home.
    expectOutcomes(
        {{"init --force --install D:\\Apps", 0, "installed in D:\\Apps\\", ""}, {"check", 0, "nothing found\n", ""}});
    done("add hosts here");
    const int status = Child(readOnly).wait();
    EXPECT_TRUE(status == 100 || status == 3) << status;
    const auto stranger = [] {
        const auto program = fs::read_symlink("/proc/self/exe").parent_path() / "wdltctl";
        return access(program.c_str(), X_OK) == 0 ? statusOf("status", "2>/dev/null") : 3;
    };
    EXPECT_EQ(as(kOneUser, stranger).wait(), 3);
}

TEST_F(Wdltctl, AnErrorSaysWhatWasTriedWhereAndWhy) {
    TestHome::instance().write("install/UrlBlack.dat", "damaged");
    const json error = json::parse(typed("list urls black --json").err)["error"];
    EXPECT_EQ(error["status"], 5);
    EXPECT_EQ(error["name"], "WDLT_E_FILE");
    EXPECT_EQ(error["where"], "black list");
    EXPECT_EQ(error["path"], install() + "/UrlBlack.dat");
    EXPECT_THAT(error["message"].get<std::string>(), HasSubstr("list urls: status -8"));
    expectOutcomes({
        {"raw read 1 64 --size 1", 5, "",
         "raw read: status -3 (invalid argument): \"ReadConfig: parameter size error\""},
        // A list that can't be read isn't one that the URL isn't on.
        {"check-url http://a/ --list black", 3, "http://a/: can't be told\n", "the black list: status -8"},
        {"list urls black -v", 5, "", "wdltctl: log: CFuncUrlf::RecordListRead(): Failed to read config: -8\n"},
    });
}

TEST_F(Wdltctl, AServiceThatDoesntAnswerIsTold) {
    const RunningProgram peer({"wardlet-peer", "--silent", "config"});
    peer.readLine(); // it is ready
    {
        const TimeScale quick("0.001");
        expectOutcomes({{"set system bmFlag=0", 0, "bmFlag  0\n", "the service didn't answer"}});
        peer.readLine();
    }
    Child tool =
        startProgram(wordsOf("enable pvs"), ">/dev/null 2>'" + TestHome::instance().write("err", "").string() + "'");
    peer.readLine();
    tool.signal(SIGINT);
    EXPECT_EQ(tool.wait(), 130);
    EXPECT_EQ(TestHome::instance().read("err"),
              "wdltctl: enable: interrupted; changed so far: Scan\\POP3\\Virus\\Enable\n");
}

} // namespace
