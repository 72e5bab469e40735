// check, and what init does with an installation that is there.
#include "Typed.h"

#include <fcntl.h>
#include <fstream>
#include <functional>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

const std::string kUrls = kBase + "\\Scan\\Common\\URLFilter\\config";

std::string home(const std::string& name) {
    return TestHome::instance().path() / name;
}
void put(const std::string& name, const std::string& content) {
    ::umask(0077);
    TestHome::instance().write(name, content);
}
// Damages what nobody uses.
void damage(const std::string& name) {
    put(name, std::string(TestHome::instance().read(name).size(), 'x'));
}

// Holds a file as its writer does, or a user of the registry.
struct Holder {
    Holder(const std::string& name, short type) : file(::open(home(name).c_str(), O_RDWR | O_CLOEXEC)) {
        struct flock lock {};
        lock.l_type = type;
        lock.l_len = 1;
        EXPECT_EQ(::fcntl(file, F_OFD_SETLK, &lock), 0) << name;
    }
    ~Holder() { ::close(file); }
    int file;
};

TEST_F(Wdltctl, CheckFindsWhatIsWrongAndMendsWhatLosesNothing) {
    const std::string outside = TestHome::instance().path().string() + "-outside";
    fs::create_directory(outside);
    for (const char* name :
         {"install/Temp/pdp00C0FFEE.tmp", "install/.UrlBlack.dat.new", "registry/data.new", "install/UrlWhite.dat",
          "install/HostWhite.dat", "load.json.Ab12cd", "backup/then/.replaced.backup.new"})
        put(name, "x");
    for (const auto& [path, mode] :
         {std::pair{outside, 0755U}, {home("registry"), 0755U}, {install() + "/Privacy.dat", 0644U}})
        ::chmod(path.c_str(), mode);
    done("wdltreg set " + kBase + " LogPath sz " + outside);
    done("wdltreg set " + kUrls + " Whitelist sz Other.dat");
    done("wdltreg set " + kBase + "\\Scan\\Common\\Virus\\config WhiteList sz HostWhite.lnk");
    done("wdltreg set " + kBase + "\\ProtocolHandler\\Web Type dword 3");
    done("wdltreg delete " + kBase + "\\ProtocolHandler\\POP3\\config");
    // Not the library's, or not in the home: they stay.
    put("install/Temp/.bashrc.new", "mine");
    std::ofstream(outside + "/Wide.dat") << "another's";
    ::chmod((outside + "/Wide.dat").c_str(), 0644);
    fs::create_symlink(outside + "/Wide.dat", install() + "/HostWhite.lnk");
    const std::string lines[] = {
        "Wardlet\\ProtocolHandler\\Web: serves protocol 3, as HTTP does: only one of them is used; wdltreg delete "
        "removes a key",
        "Wardlet\\ProtocolHandler\\Web: its folder of scan items, Scan\\, isn't there",
        "POP3\\config: pop3 can't be read: status -9 (registry failure); wdltctl reset pop3",
        "POP3\\Virus\\config: pvs can't be read: status -9 (registry failure); wdltctl reset pvs",
        install() + "/HostWhite.dat: hosts can't be read: status -8 (file can't be read or written, or is damaged)",
        outside + ": mode 0755 is wider than the home's 0700",
        install() + "/UrlWhite.dat: no setting names this list file",
        // The rest is mended.
        install() + "/Temp/pdp00C0FFEE.tmp: left by a killed writer; removed",
        install() + "/.UrlBlack.dat.new: left by a killed writer; removed",
        home("registry/data.new: left by a killed writer; removed"),
        home("load.json.Ab12cd: left by a killed writer; removed"),
        home("backup/then/.replaced.backup.new: left by a killed writer; removed"),
        install() + "/Privacy.dat: mode 0644 is wider than the home's 0600; now 0600",
        home("registry: mode 0755 is wider than the home's 0700; now 0700"),
    };
    expectOutcomes({{"check", 1, install() + "/Temp/pdp00C0FFEE.tmp: left by a killed writer\n", "15 found"}});
    const std::string repaired = typed("check --repair").out;
    for (const std::string& line : lines)
        EXPECT_THAT(repaired, HasSubstr(line + "\n"));
    expectOutcomes({{"check --repair", 1, "UrlWhite.dat: no setting names this list file\n", "8 of 8 left"}});
    EXPECT_EQ(TestHome::instance().read("install/Temp/.bashrc.new"), "mine");
    EXPECT_EQ(fs::status(outside + "/Wide.dat").permissions(), fs::perms(0644));
    fs::remove_all(outside);
}

TEST_F(Wdltctl, CheckMakesThePrivacyDatabaseAnew) {
    const struct {
        std::function<void(const std::string& old)> make;
        std::string done;
        std::string exclusions;
        bool isLeft = false; // where nobody is there to be asked
    } rows[] = {
        {[&](auto&) { fs::remove(install() + "/Privacy.dat"); },
         "isn't there; made anew from 1 items, without exclusions", ""},
        {[&](auto&) { damage("install/Privacy.dat"); }, "it stays: its exclusions can't be read", "", true},
        {[&](auto& old) {
             damage("install/Privacy.dat");
             put("install/Privacy.bak", old);
         },
         "made anew from 1 items, its exclusions taken from " + install() + "/Privacy.bak", "foo\n"},
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
        row.make(TestHome::instance().read("install/Privacy.dat"));
        expectOutcomes({{"check --repair", row.isLeft ? 1 : 0, row.done, row.isLeft ? "1 of 1 left" : "",
                         "export exclusions -", row.exclusions}});
        EXPECT_EQ(typed("check").status, row.isLeft ? 1 : 0);
    }
}

TEST_F(Wdltctl, CheckTellsWhatIsInUseAndWhatIsDamaged) {
    put("install/Temp/url00C0FFEE.tmp", "");
    std::optional<Holder> holder(std::in_place, "install/Temp/url00C0FFEE.tmp", F_WRLCK);
    expectOutputs({{"check --json", "[]"}});
    holder.reset();
    const std::string left = R"(","what":"left by a killed writer; removed","severity":"warning","repaired":true}])";
    expectOutputs({{"check --repair --json", R"([{"path":")" + install() + "/Temp/url00C0FFEE.tmp" + left}});

    damage("registry/data.mdb");
    const std::string force = "init --force --install " + install();
    expectOutcomes({{"check --repair", 1, home("registry: damaged: "), "1 of 1 left"},
                    {"init --force", 2, "", home("registry") + " is damaged and can't tell the install directory"}});
    holder.emplace("registry/namespace", F_RDLCK);
    expectOutcomes({{force, 5, "", "in use by another process"}});
    holder.reset();
    const std::string kept = doneJson(force)["kept"];
    EXPECT_THAT(TestHome::instance().read(kept.substr(home("").size()) + "/data.mdb"), testing::StartsWith("xxxx"));
    expectOutputs({{"check", "nothing found\n"}, {"get system proxyPort", "6999\n"}});
}

TEST_F(Wdltctl, InitKeepsACopyOfWhatItReplaces) {
    done("add items card 4711");
    done("add urls black x.com");
    done("set system proxyPort=1 logPath=" + install());
    const auto old = stored();
    const std::string kept = doneJson("init --force")["kept"];
    EXPECT_EQ(fs::status(kept).permissions(), fs::perms::owner_all);
    expectOutcomes({{"get system", 0, install() + "\\\n", "", "get system logPath", install() + "\\\n"}});
    // As the README says to bring it back.
    done("wdltreg import " + kept + "/settings.reg");
    for (const char* file : {"Privacy.dat", "UrlBlack.dat"})
        fs::copy(kept + "/" + file, install(), fs::copy_options::overwrite_existing);
    EXPECT_EQ(stored(), old);
}

TEST_F(Wdltctl, UpgradeAddsWhatIsMissingAndChangesNothingElse) {
    done("add items card 4711");
    expectOutputs({{"wdltreg set " + kBase + " Extra sz x", ""}, {"init --upgrade", "0 values added in 0 keys\n"}});
    const std::string full = stored()["registry"];
    done("wdltreg delete " + kUrls + " Blacklist");
    done("wdltreg delete " + kBase + "\\PluginManager");
    fs::remove(install() + "/Privacy.dat");
    expectOutcomes({{"init --upgrade", 0, "9 values added in 4 keys, privacy database made anew from 1 items", ""},
                    {"check", 0, "nothing found\n", ""}});
    EXPECT_EQ(stored()["registry"], full);
    expectRefused({{"init --upgrade --force", 2, "excludes"},
                   {"init --upgrade --install /other", 2, "the install directory stays " + install()}});

    // A handler that goes by another name isn't missing; without an install directory one has to be given.
    done("wdltreg set " + kBase + "\\ProtocolHandler\\Web Type dword 3");
    done("wdltreg delete " + kBase + "\\ProtocolHandler\\HTTP");
    done("wdltreg set " + kBase + " InstallPath sz ''");
    expectOutcomes({{"init --upgrade", 2, "", "--install is needed"},
                    {"init --upgrade --install " + install(), 0, "1 values added in 1 keys", "",
                     "get system installPath", install() + "\\\n"}});
    done("wdltreg delete " + kBase);
    expectRefused({{"init --upgrade", 3, "nothing is laid down in "}});
}

} // namespace
