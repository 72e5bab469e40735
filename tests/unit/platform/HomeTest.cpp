// The home: where it is, what its settings say, how it is made, and how paths of drives map into it.
#include "Home.h"

#include <TestHome.h>

#include <gtest/gtest.h>

#include <platform/testing.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using wd::Home;
using wd::HomeSettings;

std::string content(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

mode_t modeOf(const fs::path& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

class HomeTest : public testing::Test {
  protected:
    HomeTest() : m_root(TestHome::instance().path() / "homes") { fs::create_directories(m_root); }
    ~HomeTest() override { fs::remove_all(m_root); }

    fs::path m_root;
};

TEST(HomeSettings, TextIsReadBack) {
    HomeSettings settings;
    settings.codePage = 932;
    settings.durable = false;
    const auto read = HomeSettings::parse(settings.text());
    ASSERT_TRUE(read);
    EXPECT_EQ(read->layout, HomeSettings::kLayout);
    EXPECT_EQ(read->codePage, 932u);
    EXPECT_EQ(read->folding, HomeSettings::kFolding);
    EXPECT_FALSE(read->durable);
}

TEST(HomeSettings, ForgivesWhatItDoesNotKnowAndNothingElse) {
    const struct {
        const char* text;
        bool good;
    } cases[] = {
        {"layout=1", true},
        {"  layout =  1  \r\n# comment\n\nlater = thing\n", true},
        {"", false},
        {"codepage = 65001\n", false},
        {"layout = one\n", false},
        {"layout = 1 2\n", false},
        {"layout = -1\n", false},
        {"layout = 99999999999\n", false},
        {"layout = 1\ndurability = sometimes\n", false},
        {"layout = 1\nno equals sign\n", false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(HomeSettings::parse(c.text).has_value(), c.good) << c.text;
}

TEST_F(HomeTest, IsMadeAtFirstNeedWithPrivateRegistry) {
    const Home home(m_root / "a" / "b");
    EXPECT_FALSE(fs::exists(home.path())) << "asking makes nothing";
    ASSERT_EQ(home.ensure(), 0u);
    EXPECT_TRUE(HomeSettings::parse(content(home.path() / "settings")));
    EXPECT_EQ(modeOf(home.registryPath()), 0700u);
    EXPECT_EQ(modeOf(home.objectsPath()), 01777u);
    EXPECT_EQ(std::distance(fs::directory_iterator(home.path()), {}), 3) << "nothing else is left lying about";
    ASSERT_EQ(Home(home.path()).ensure(), 0u);
}

TEST_F(HomeTest, AGroupOfItsOwnOpensTheRegistryToIt) {
    const fs::path path = m_root / "group";
    ASSERT_TRUE(fs::create_directory(path));
    ASSERT_EQ(chmod(path.c_str(), 02775), 0);
    const Home home(path);
    const mode_t mask = umask(077); // must not matter
    EXPECT_EQ(home.ensure(), 0u);
    umask(mask);
    EXPECT_EQ(modeOf(home.registryPath()), 02770u);
    EXPECT_EQ(modeOf(home.objectsPath()), 03777u);
    Home::Modes modes{};
    ASSERT_EQ(home.registryModes(modes), 0u);
    EXPECT_EQ(modes.file, 0660u);
}

TEST_F(HomeTest, SettingsCountAndVariablesOverrideThem) {
    const fs::path path = m_root / "set";
    fs::create_directory(path);
    std::ofstream(path / "settings") << "layout = 1\ncodepage = 1252\ndurability = process\n";
    unsetenv("WARDLET_DURABILITY");
    EXPECT_EQ(Home(path).codePage(), 1252u);
    EXPECT_FALSE(Home(path).durable());
    setenv("WARDLET_ACP", "932", 1);
    setenv("WARDLET_DURABILITY", "disk", 1);
    setenv("WARDLET_TIME_SCALE", "0.25", 1);
    EXPECT_EQ(Home(path).codePage(), 932u);
    EXPECT_TRUE(Home(path).durable());
    EXPECT_EQ(Home(path).timeScale(), 0.25);
    for (const char* nonsense : {"0", "-1", "fast", "", "1e99", "nan"}) {
        setenv("WARDLET_TIME_SCALE", nonsense, 1);
        EXPECT_EQ(Home(path).timeScale(), 1.0) << nonsense;
    }
    setenv("WARDLET_DURABILITY", "process", 1);
    unsetenv("WARDLET_ACP");
}

TEST_F(HomeTest, ANewerLayoutIsRefusedOnceInPlainWords) {
    for (const char* line : {"layout = 2\n", "layout = 1\nfolding = 2\n"}) {
        const fs::path path = m_root / "newer";
        fs::create_directory(path);
        std::ofstream(path / "settings") << line;
        testing::internal::CaptureStderr();
        const Home home(path);
        EXPECT_EQ(home.ensure(), ERROR_BADDB);
        EXPECT_EQ(home.ensure(), ERROR_BADDB);
        const std::string told = testing::internal::GetCapturedStderr();
        EXPECT_NE(told.find("a newer library is needed"), std::string::npos) << told;
        EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1);
        EXPECT_FALSE(fs::exists(home.registryPath()));
        fs::remove_all(path);
    }
}

TEST_F(HomeTest, DamagedSettingsAreRefused) {
    std::ofstream(m_root / "settings") << std::string(100, '\0');
    testing::internal::CaptureStderr();
    EXPECT_EQ(Home(m_root).ensure(), ERROR_INVALID_DATA);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("isn't the settings of a home"), std::string::npos);
}

TEST_F(HomeTest, IsFoundByTheEnvironment) {
    setenv("WARDLET_HOME", (m_root / "named").c_str(), 1);
    EXPECT_EQ(Home().path(), m_root / "named");
    if (fs::is_directory("/var/lib/wardlet"))
        GTEST_SKIP() << "this machine has a home of its own";
    unsetenv("WARDLET_HOME");
    setenv("XDG_STATE_HOME", (m_root / "state").c_str(), 1);
    setenv("HOME", "/somebody", 1);
    EXPECT_EQ(Home().path(), m_root / "state/wardlet");
    setenv("XDG_STATE_HOME", "relative", 1);
    EXPECT_EQ(Home().path(), "/somebody/.local/state/wardlet");
    unsetenv("XDG_STATE_HOME");
    EXPECT_EQ(Home().path(), "/somebody/.local/state/wardlet");
}

// Each step of the making fails once, then the process dies at it: the next process finishes the home.
TEST_F(HomeTest, AnyFailingOrLastStepLeavesAHomeThatCanBeFinished) {
    setenv("WARDLET_DURABILITY", "disk", 1);
    for (const char* call : {"mkdir", "open", "flock", "unlink", "fchmod", "write", "fsync", "rename", "chmod", "stat"})
        for (const int error : {EIO, 0})
            for (int nth = 1; nth <= 4; ++nth) {
                const fs::path path = m_root / "steps";
                const pid_t child = fork();
                ASSERT_GE(child, 0);
                if (child == 0) {
                    const Home home(path);
                    WdTestFailCall(call, nth, error);
                    home.ensureObjects();
                    _exit(0);
                }
                int status = 0;
                waitpid(child, &status, 0);
                ASSERT_EQ(Home(path).ensureObjects(), 0u) << call << ' ' << error << ' ' << nth;
                EXPECT_TRUE(HomeSettings::parse(content(path / "settings")));
                EXPECT_EQ(std::distance(fs::directory_iterator(path), {}), 3) << call << ' ' << error << ' ' << nth;
                fs::remove_all(path);
            }
    setenv("WARDLET_DURABILITY", "process", 1);
}

TEST_F(HomeTest, DrivesAreDirectoriesThatAreNotLeft) {
    const Home home(m_root);
    const std::string root = m_root.string();
    const struct {
        const char* path;
        std::string file;
    } cases[] = {
        {"C:\\Program Files\\x.dat", root + "/drive_c/Program Files/x.dat"},
        {"d:/a\\b", root + "/drive_d/a/b"},
        {"C:", root + "/drive_c"},
        {"C:\\", root + "/drive_c"},
        {"C:x", root + "/drive_c/x"},
        {"C:\\..\\..\\etc\\passwd", root + "/drive_c/etc/passwd"},
        {"C:\\a\\..\\..\\..\\b\\.\\c\\\\d", root + "/drive_c/b/c/d"},
        {"/etc/hosts", "/etc/hosts"},
        {"\\etc\\hosts", "/etc/hosts"},
        {"relative\\file", "relative/file"},
        {"1:\\x", "1:/x"},
        {"\u00e4:\\x", "\u00e4:/x"},
        {"C:\\\u00e4\xff", root + "/drive_c/\u00e4\xff"},
        {"", ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(home.mapPath(c.path), c.file) << c.path;
}

} // namespace
