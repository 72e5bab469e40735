// check, and what init does with an installation that is there.
#include "Typed.h"

#include <fcntl.h>
#include <functional>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;

const std::string kHttp = kBase + "\\ProtocolHandler\\HTTP";
const std::string kUrls = kBase + "\\Scan\\Common\\URLFilter\\config";

std::string home(const std::string& name) {
    return TestHome::instance().path() / name;
}
void put(const std::string& name, const std::string& content = "") {
    TestHome::instance().write(name, content);
}
void allow(const std::string& path, mode_t mode) {
    EXPECT_EQ(::chmod(path.c_str(), mode), 0) << path;
}
// Damages what nobody uses.
void fillWith(const std::string& name, char byte) {
    put(name, std::string(TestHome::instance().read(name).size(), byte));
}

// Holds a file as a writer, or a user of the registry, does.
class Holder {
  public:
    Holder(const std::string& name, short type)
        : m_file(::open(home(name).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
        struct flock lock {};
        lock.l_type = type;
        lock.l_len = 1;
        EXPECT_EQ(::fcntl(m_file, F_OFD_SETLK, &lock), 0) << name;
    }
    ~Holder() { ::close(m_file); }

  private:
    int m_file;
};

struct Flaw {
    std::string path;
    std::string what;
    std::string done = {}; // by --repair; empty: it stays
};

TEST_F(Wdltctl, CheckFindsWhatIsWrongAndMendsWhatLosesNothing) {
    const std::string outside = TestHome::instance().path().string() + "-outside";
    fs::create_directory(outside);
    allow(outside, 0755);
    fs::remove(install() + "/Log");
    for (const char* left : {"install/Temp/pdp00C0FFEE.tmp", "install/.UrlBlack.dat.new", "registry/data.new"})
        put(left);
    put("install/UrlWhite.dat");
    put("install/SpamWhite.txt");
    put("install/HostWhite.dat", "x");
    fs::create_directory(home("objects.new"));
    allow(install() + "/SpamWhite.txt", 0644);
    allow(install() + "/HostWhite.dat", 0600);
    allow(home("registry"), 0755);
    done("wdltreg set " + kBase + " TempPath sz " + outside);
    done("wdltreg set " + kUrls + " Whitelist sz Other.dat");
    done("wdltreg set " + kBase + "\\ProtocolHandler\\Web Type dword 3");
    done("wdltreg delete " + kBase + "\\ProtocolHandler\\POP3\\config");
    const std::string service = "HKEY_LOCAL_MACHINE" + kBase.substr(4);
    const Flaw flaws[] = {
        {service + "\\ProtocolHandler\\Web", "serves protocol 3, as HTTP does: only one of them is used"},
        {service + "\\ProtocolHandler\\Web", "its folder of scan items, Scan\\, isn't there"},
        {service + "\\ProtocolHandler\\POP3\\config",
         "pop3 can't be read: status -9 (registry failure); wdltctl reset pop3"},
        {service + "\\Scan\\POP3\\Virus\\config", "pvs can't be read: status -9 (registry failure); wdltctl reset pvs"},
        {install() + "/HostWhite.dat", "hosts can't be read: status -1 (general failure)"},
        {outside, "mode 0755 is wider than the home's 0700"},
        {install() + "/UrlWhite.dat", "no setting names this list file"},
        {install() + "/Log", "the folder isn't there", "made"},
        {install() + "/.UrlBlack.dat.new", "left by a killed writer", "removed"},
        {home("registry/data.new"), "left by a killed writer", "removed"},
        {home("objects.new"), "left by a killed writer", "removed"},
        {install() + "/SpamWhite.txt", "mode 0644 is wider than the home's 0600", "now 0600"},
        {home("registry"), "mode 0755 is wider than the home's 0700", "now 0700"},
    };
    const ProgramResult found = typed("check");
    const ProgramResult repaired = typed("check --repair");
    for (const Flaw& flaw : flaws) {
        const std::string line = flaw.path + ": " + flaw.what;
        EXPECT_THAT(found.out, HasSubstr(line + "\n"));
        EXPECT_THAT(repaired.out, HasSubstr(line + (flaw.done.empty() ? "" : "; " + flaw.done) + "\n"));
    }
    EXPECT_EQ(found.status, 1);
    EXPECT_EQ(found.err, "wdltctl: 13 found\n");
    EXPECT_EQ(repaired.status, 1);
    EXPECT_EQ(repaired.err, "wdltctl: 7 of 13 left\n");
    expectOutcomes({{"check", 1, "", "7 found"}});
    fs::remove(outside);
}

TEST_F(Wdltctl, CheckMakesThePrivacyDatabaseAnew) {
    const std::string database = install() + "/Privacy.dat";
    const std::string backup = install() + "/Privacy.bak";
    const struct {
        std::function<void(const std::string& old)> damage;
        std::string done;
        std::string exclusions;
    } rows[] = {
        {[&](auto&) { fs::remove(database); }, "isn't there; made anew from 1 items, without exclusions", ""},
        {[&](auto&) { fillWith("install/Privacy.dat", 'x'); }, "its exclusions can't be read and are given up", ""},
        {[&](auto& old) {
             fillWith("install/Privacy.dat", 'x');
             put("install/Privacy.bak", old);
             allow(backup, 0600);
         },
         "made anew from 1 items, its exclusions taken from " + backup, "foo\n"},
        {[&](auto& old) {
             done("add items other 4712");
             put("install/Privacy.dat", old);
         },
         "doesn't hold the items that the registry has; made anew from 2 items", "foo\n"},
    };
    for (const auto& row : rows) {
        SetUp();
        done("add items card 4711");
        done("add exclusions foo");
        row.damage(TestHome::instance().read("install/Privacy.dat"));
        expectOutcomes({{"check --repair", 0, row.done, "", "export exclusions -", row.exclusions},
                        {"check", 0, "nothing found\n", ""}});
    }
}

TEST_F(Wdltctl, CheckTellsWhatIsInUseAndWhatIsDamaged) {
    put("install/Temp/url00C0FFEE.tmp");
    {
        const Holder writer("install/Temp/url00C0FFEE.tmp", F_WRLCK);
        expectOutputs({{"check --json", "[]"}});
    }
    const json left = {{{"path", install() + "/Temp/url00C0FFEE.tmp"},
                        {"what", "left by a killed writer; removed"},
                        {"severity", "warning"},
                        {"repaired", true}}};
    expectOutputs({{"check --repair --json", left.dump()}});

    fillWith("registry/data.mdb", 'x');
    const std::string registry = home("registry");
    const std::string force = "init --force --install " + install();
    expectOutcomes({{"check --repair", 1, registry + ": damaged: ", "1 of 1 left"},
                    {"init --force", 2, "", registry + " is damaged and can't tell the install directory"}});
    {
        const Holder user("registry/namespace", F_RDLCK);
        expectOutcomes({{force, 5, "", "in use by another process"}});
    }
    const std::string kept = doneJson(force)["kept"];
    EXPECT_THAT(TestHome::instance().read(kept.substr(home("").size()) + "/data.mdb"), testing::StartsWith("xxxx"));
    expectOutputs({{"check", "nothing found\n"}, {"get system proxyPort", "6999\n"}});
}

TEST_F(Wdltctl, InitKeepsACopyOfWhatItReplaces) {
    for (const char* line : {"items card 4711", "exclusions foo", "urls black x.com"})
        done(std::string("add ") + line);
    done("set system proxyPort=1 logPath=/var/log/wardlet");
    const auto old = stored();
    const std::string kept = doneJson("init --force")["kept"];
    EXPECT_EQ(fs::status(kept).permissions(), fs::perms::owner_all);
    expectOutcomes({{"get system", 0, install() + "\\\n", "", "get system logPath", "/var/log/wardlet\\\n"}});
    EXPECT_EQ(done("export items -"), "[]\n");
    // As the README says to bring it back.
    done("wdltreg import " + kept + "/settings.reg");
    for (const char* file : {"Privacy.dat", "UrlBlack.dat"})
        fs::copy(kept + "/" + file, install(), fs::copy_options::overwrite_existing);
    EXPECT_EQ(stored(), old);
}

TEST_F(Wdltctl, UpgradeAddsWhatIsMissingAndChangesNothingElse) {
    const std::string there = stored()["registry"];
    expectOutputs({{"set system proxyPort=1", ""},
                   {"add items card 4711", ""},
                   {"wdltreg set " + kBase + " Extra sz x", ""},
                   {"init --upgrade", "0 values added in 0 keys\n"}});
    const auto full = stored();
    expectOutputs(
        {{"wdltreg delete " + kUrls + " Blacklist", ""}, {"wdltreg delete " + kBase + "\\PluginManager", ""}});
    fs::remove(install() + "/Privacy.dat");
    const std::string added = done("init --upgrade");
    EXPECT_THAT(added, AllOf(HasSubstr("added in 4 keys"), HasSubstr("made anew from 1 items")));
    EXPECT_EQ(stored()["registry"], full.at("registry"));
    expectOutputs({{"check", "nothing found\n"}});
    expectRefused({{"init --upgrade --force", 2, "excludes"},
                   {"init --upgrade --install /other", 2, "the install directory stays " + install()}});

    // A handler that goes by another name isn't missing; without an install directory one has to be given.
    done("wdltreg set " + kBase + "\\ProtocolHandler\\Web Type dword 3");
    done("wdltreg delete " + kHttp);
    done("wdltreg set " + kBase + " InstallPath sz ''");
    expectRefused({{"init --upgrade", 2, "--install is needed"}});
    expectOutcomes({{"init --upgrade --install " + install(), 0, "1 values added in 1 keys", "",
                     "get system installPath", install() + "\\\n"}});
    done("wdltreg delete " + kBase);
    expectRefused({{"init --upgrade", 3, "nothing is laid down in "}});
}

} // namespace
