// backup and restore; homes that share an install directory.
#include "Typed.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

// Another home for what is typed while this lives.
struct OtherHome {
    explicit OtherHome(const std::string& path) { setenv("WARDLET_HOME", path.c_str(), 1); }
    ~OtherHome() { setenv("WARDLET_HOME", TestHome::instance().path().c_str(), 1); }
    OtherHome(const OtherHome&) = delete;
    OtherHome& operator=(const OtherHome&) = delete;
};

class Backup : public Wdltctl {
  protected:
    void SetUp() override {
        fs::remove_all(m_elsewhere);
        fs::create_directory(m_elsewhere);
        Wdltctl::SetUp();
        for (const char* line : {"add items card 4711", "add exclusions foo", "add urls black x.com", "add hosts h",
                                 "add spam white a@b", "set system proxyPort=1", "add rules rule"})
            done(line);
        done("backup " + m_file);
    }
    void TearDown() override { fs::remove_all(m_elsewhere); }
    // In a directory whose mark can't be written.
    void expectNowhereElse() const {
        fs::create_directories(m_elsewhere + "/marked/.wardlet-home");
        expectRefused(
            {{"restore --yes " + m_file + " --install " + m_elsewhere + "/marked", 3, "marked/.wardlet-home"}});
    }

    const std::string m_elsewhere = TestHome::instance().path().string() + "-elsewhere";
    const std::string m_file = m_elsewhere + "/backup";
};

void changeAll() {
    for (const char* line : {"remove items 0", "remove exclusions foo", "add urls white y.com", "add hosts i",
                             "set system proxyPort=2", "enable pvs"})
        done(line);
    done("wdltreg set " + kBase + "\\Scan\\Common\\URLFilter\\config Blacklist sz Other.dat");
    fs::remove(install() + "/UrlBlack.dat");
    done("add urls black z.com");
    done("wdltreg set " + kBase + "\\Extra a sz b");
}

TEST_F(Backup, RestoreReplacesAllOfIt) {
    const auto old = stored();
    EXPECT_EQ(fs::status(m_file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    changeAll();
    const auto changed = stored();
    EXPECT_EQ(typed("restore " + m_file).status, 2);
    EXPECT_EQ(stored(), changed);
    setenv("WARDLET_ACP", "1252", 1);
    expectRefused({{"restore --yes " + m_file, 3, "the backup has code page 65001"}});
    unsetenv("WARDLET_ACP");
    // One that fails isn't gone on with.
    expectRefused({{"restore --yes " + m_file + " --install " + m_file + "/x", 5, m_file}});
    expectOutcomes({{"get system proxyPort", 0, "2\n", ""}});
    const std::string kept = doneJson("restore --yes " + m_file)["kept"];
    EXPECT_EQ(stored(), old);
    expectOutputs({{"check", "nothing found\n"}, {"export exclusions -", "foo\n"}});
    // What was replaced can be had again; and a backup through a pipe.
    done("restore --yes " + kept + "/replaced.backup");
    EXPECT_EQ(stored(), changed);
    // A load that waits for its confirmation isn't undone behind it.
    EXPECT_EQ(typed("load - --confirm-within 1h", R"({"records": {"system": {"proxy-port": 7}}})").status, 0);
    done("restore --yes -", TestHome::instance().read(m_file));
    EXPECT_EQ(typed("confirm").status, 1);
    EXPECT_EQ(stored(), old);
}

TEST_F(Backup, ElsewhereItHasEverythingToo) {
    const std::string shown[] = {"list items --secrets --json",
                                 "export exclusions -",
                                 "export urls black -",
                                 "export hosts -",
                                 "export spam white -",
                                 "list rules",
                                 "status",
                                 "get system proxyPort"};
    std::vector<std::string> here;
    std::ranges::transform(shown, std::back_inserter(here), [](const auto& line) { return done(line); });
    fs::rename(install(), install() + "-old"); // nothing of it is needed
    expectRefused({{"backup -", 3, "the install directory isn't there: wdltctl set system install-path=DIR"}});
    const std::string there = m_elsewhere + "/there";
    {
        const OtherHome other(m_elsewhere + "/home");
        expectOutcomes({{"restore " + m_file + " --install " + there, 0, "values and 5 files of ", ""},
                        {"check", 0, "nothing found\n", ""},
                        {"get system tempPath", 0, there + "\\Temp\\\n", ""}});
        for (std::size_t i = 0; i < here.size(); ++i)
            EXPECT_EQ(done(shown[i]), here[i]) << shown[i];
    }
    fs::remove_all(install());
    fs::rename(install() + "-old", install());
}

// The code page is that of stored texts. A path is the file system's, and may have characters that the code page lacks.
TEST_F(Backup, PathsArentTextsOfTheCodePage) {
    const struct {
        const char* codePage;
        std::string home;
        std::string install;
    } rows[] = {{"1252", m_elsewhere + "/hömé", m_elsewhere + "/hömé/Insté"},
                {"932", m_elsewhere + "/höme", m_elsewhere + "/ソ"}};
    for (const auto& row : rows) {
        TestHome::instance().write(row.home + "/settings", std::string("layout = 1\ncodepage = ") + row.codePage);
        const OtherHome other(row.home);
        done("init --install " + row.install);
        done("add items card 4711");
        done("backup " + m_file);
        done("add hosts h");
        fs::remove(row.install + "/Privacy.dat");
        expectOutcomes(
            {{"check --repair", 0, row.install + "/Privacy.dat: the privacy database isn't there; made", ""}});
        fs::remove_all(row.install + "/Temp");
        expectOutcomes({{"check --repair", 0, row.install + "/Temp: the folder isn't there; made\n", ""},
                        {"restore --yes " + m_file, 0, "kept in " + row.home + "/backup/", "", "list hosts", ""},
                        {"check", 0, "nothing found\n", ""}});
    }
}

// Of nobody, or of an installation that moved there with its home.
TEST_F(Backup, FilesInTheWayAreAskedForAndKept) {
    const std::string there = m_elsewhere + "/there";
    const std::string names[] = {"UrlBlack.dat", "UrlWhite.dat", "SpamBlack.txt"};
    fs::create_directory(there);
    for (const std::string& name : names)
        TestHome::instance().write(there + "/" + name, "mine");
    const std::string line = "restore " + m_file + " --install " + there;
    const auto expectKept = [&] {
        expectRefused({{line, 2, " files in " + there + "\\ would be replaced; --yes"}});
        const std::string kept = doneJson(line + " --yes")["kept"];
        for (const std::string& name : names)
            EXPECT_EQ(TestHome::instance().read(kept + "/" + name), "mine") << name;
        EXPECT_FALSE(fs::exists(there + "/UrlWhite.dat"));
    };
    {
        const OtherHome other(m_elsewhere + "/home");
        expectKept();
    }
    for (const std::string& name : names)
        TestHome::instance().write(there + "/" + name, "mine");
    fs::rename(m_elsewhere + "/home", m_elsewhere + "/old"); // or it owns the directory
    TestHome::instance().write("registry/data.mdb", std::string(8192, 'x'));
    expectKept();
}

TEST_F(Backup, ADamagedRegistryIsReplaced) {
    const auto old = stored();
    TestHome::instance().write("registry/data.mdb", std::string(8192, 'x'));
    expectNowhereElse(); // and the damaged file is still in its place
    EXPECT_EQ(TestHome::instance().read("registry/data.mdb").size(), 8192u);
    const std::string kept = doneJson("restore --yes " + m_file)["kept"];
    EXPECT_EQ(stored(), old);
    EXPECT_TRUE(fs::exists(kept + "/data.mdb"));
}

TEST_F(Backup, ATurnedByteIsRefused) {
    const std::string good = TestHome::instance().read(m_file);
    changeAll();
    const auto changed = stored();
    const auto expectDamaged = [&](const std::string& bytes, std::size_t at,
                                   const std::string& words = "a damaged backup: it") {
        TestHome::instance().write(m_file, bytes);
        const ProgramResult result = typed("restore --yes " + m_file);
        EXPECT_EQ(result.status, 2) << at;
        EXPECT_THAT(result.err, HasSubstr(words)) << at;
    };
    for (std::size_t at = 0; at < good.size(); at += at < 16 || at + 48 > good.size() ? 1 : 97) {
        std::string bytes = good;
        bytes[at] = static_cast<char>(bytes[at] ^ 0x10);
        expectDamaged(bytes, at);
    }
    for (const std::size_t size : {std::size_t{39}, good.size() / 2, good.size() - 1})
        expectDamaged(good.substr(0, size), size);
    expectDamaged(good + '\0', good.size());
    for (const std::string& other : {std::string(), std::string("{}"), std::string(1024, '\0')})
        expectDamaged(other, other.size(), "not a backup: it has no digest");
    EXPECT_EQ(stored(), changed);
}

std::string sha256(const std::string& bytes) {
    const std::string in = TestHome::instance().write("digested", bytes);
    Child child = Child::run({"/bin/sh", "-c", "sha256sum <'" + in + "' >'" + in + ".sum'"});
    return child.wait() == 0 ? TestHome::instance().read("digested.sum").substr(0, 64) : "";
}

// A backup with a good digest, of a kind that the tools don't write.
std::string forged(const std::vector<std::pair<std::string, std::string>>& files, char type = '0') {
    auto entries = nlohmann::ordered_json::array(); // in the order of their fields
    for (const auto& [name, content] : files)
        entries.push_back({{"name", name}, {"size", content.size()}, {"sha256", sha256(content)}});
    const nlohmann::ordered_json manifest = {{"format", 1}, {"made", ""}, {"codePage", 65001}, {"entries", entries}};
    std::string tar;
    const auto add = [&](const std::string& name, const std::string& content, char itsType) {
        char header[512] = {};
        std::snprintf(header, 100, "%s", name.c_str());
        std::snprintf(header + 124, 12, "%011zo", content.size());
        header[156] = itsType;
        std::memcpy(header + 257, "ustar\00000", 8);
        std::fill_n(header + 148, 8, ' ');
        unsigned sum = 0;
        for (const char byte : header)
            sum += static_cast<unsigned char>(byte);
        std::snprintf(header + 148, 8, "%06o", sum);
        tar.append(header, sizeof header).append(content).resize((tar.size() + 511) / 512 * 512);
    };
    add("manifest.json", manifest.dump(), '0');
    for (const auto& [name, content] : files)
        add(name, content, name == files.back().first ? type : '0');
    const std::string digest = sha256(tar);
    tar.append("\x50\x2A\x4D\x18\x20\0\0\0", 8);
    for (std::size_t i = 0; i < digest.size(); i += 2)
        tar.push_back(static_cast<char>(std::stoi(digest.substr(i, 2), nullptr, 16)));
    return tar;
}

TEST_F(Backup, AForgedOneStaysInItsPlace) {
    const std::string tree = done("wdltreg export " + kBase);
    const auto with = [&](const std::string& from, const std::string& to) {
        std::string changed = tree;
        const auto at = changed.find(from);
        EXPECT_NE(at, changed.npos) << from;
        return changed.replace(at, from.size(), to);
    };
    const std::string name = "\"Blacklist\"=\"UrlBlack.dat\"";
    const auto settings = [&](const std::string& text) { return forged({{"settings.reg", text}}); };
    const struct {
        std::string bytes;
        std::string words;
    } rows[] = {
        {forged({{"settings.reg", tree}, {"../outside", "x"}}), "a file that no installation has"},
        {forged({{"settings.reg", tree}, {"files/hosts", ""}}, '2'), "what is no file"},
        {forged({{"files/hosts", ""}, {"settings.reg", tree}}), "it has other files"},
        {settings(with(name, "\"Blacklist\"=\"..\"")), "not a file of the install directory"},
        {settings(with(name, "\"Blacklist\"=\".wardlet-home\"")), "not a file of the install directory"},
        {settings(with("\\Wardlet\\ProtocolHandler]", "\\Wardle\\ProtocolHandler]")), "aren't this installation's"},
        {settings(tree + "\n[-HKEY_LOCAL_MACHINE\\SOFTWARE\\Halvermoor\\PLK\\Wardlet\\Scan]\n"), "this installation's"},
        {settings(with("\"InstallPath\"=\"", "\"InstallPath\"=\"at/")), "a directory is given in full"},
    };
    TestHome::instance().write(m_file, settings(tree));
    EXPECT_EQ(typed("restore --yes " + m_file).status, 0);
    for (const auto& row : rows) {
        TestHome::instance().write(m_file, row.bytes);
        expectRefused({{"restore --yes " + m_file, 2, row.words}});
    }
}

// Each home has one file of its own, and lists of it are changed.
TEST_F(Backup, ACopiedHomeIsNoticed) {
    const std::string home = TestHome::instance().path();
    const std::string copy = m_elsewhere + "/copy";
    const std::string words = "belongs to the home " + home + ", and this one is " + copy;
    expectNowhereElse(); // which leaves the install directory this home's
    fs::copy(home, copy, fs::copy_options::recursive);
    const auto old = stored();
    {
        const OtherHome other(copy);
        expectOutcomes({{"get system proxyPort", 0, "1\n", words},
                        {"set system proxyPort=3", 0, "proxyPort  3\n", words},
                        {"add hosts c", 3, "", words},
                        {"add items c d", 3, "", words},
                        {"import urls white -", 3, "", words},
                        {"raw write 0 11 -", 3, "", words},
                        {"set aspm level=1", 3, "", words},
                        {"init --force", 3, "", words},
                        {"restore --yes " + m_file, 3, "", words},
                        {"where", 0, words, ""},
                        {"check --repair", 1, words, "left"},
                        {"init --upgrade", 3, "", words}});
        // The way out that it tells of.
        expectOutcomes({{"backup " + m_file, 0, "values", words},
                        {"restore --yes " + m_file + " --install " + m_elsewhere + "/own", 0, "restored", ""},
                        {"check", 0, "nothing found\n", ""},
                        {"add hosts c", 0, "1 added\n", "", "get system proxyPort", "3\n"}});
    }
    EXPECT_EQ(stored(), old);
    expectOutcomes({{"check", 0, "nothing found\n", ""}});
}

TEST_F(Backup, AHomeThatMovedOrWasCopiedWithAllIsNoCopy) {
    const std::string home = m_elsewhere + "/home";
    const std::string moved = m_elsewhere + "/moved";
    const auto init = [&](const std::string& path) {
        const OtherHome other(path);
        done("init --install C:\\Wardlet");
        done("add hosts h");
    };
    init(home);
    fs::copy(home, moved, fs::copy_options::recursive);
    {
        const OtherHome other(moved); // its install directory is in it
        expectOutcomes(
            {{"list hosts", 0, "h\n", ""}, {"add hosts i", 0, "1 added\n", ""}, {"check", 0, "nothing", ""}});
    }
    fs::remove_all(moved);
    fs::rename(home, moved);
    init(home); // another one in its old place
    {
        const OtherHome other(moved);
        expectOutcomes({{"list hosts", 0, "h\n", ""}, {"add hosts i", 0, "1 added\n", ""}});
    }
    const std::string outside = m_elsewhere + "/outside";
    {
        const OtherHome other(home);
        done("init --force --install " + outside);
    }
    fs::copy(home, home + "-copy", fs::copy_options::recursive);
    fs::remove_all(home);
    const OtherHome other(home + "-copy");
    expectOutcomes({{"list hosts", 0, "", ""}});
    expectOutcomes({{"add hosts i", 0, "1 added\n", outside + " belonged to the home " + home + ", which is gone"},
                    {"add hosts j", 0, "1 added\n", ""}});
}

} // namespace
