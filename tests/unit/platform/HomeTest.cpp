// The home: its location and settings, how it is created, and how drive paths map into it.
#include "Home.h"

#include <TestFiles.h>

#include <gtest/gtest.h>

#include <platform/testing.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using wd::Home;
using wd::HomeSettings;

mode_t modeOf(const fs::path& path) {
    return statusOf(path).st_mode & 07777;
}

class HomeTest : public testing::Test {
  protected:
    HomeTest() : m_root(TestHome::instance().path() / "homes") { fs::create_directories(m_root); }
    ~HomeTest() override { fs::remove_all(m_root); }

    fs::path m_root;
};

TEST(HomeSettings, ForgivesWhatItDoesNotKnowAndNothingElse) {
    HomeSettings settings;
    settings.codePage = 932;
    settings.durable = false;
    const auto read = HomeSettings::parse(settings.text() + "# comment\n\n later =  thing \r\n");
    ASSERT_TRUE(read);
    EXPECT_EQ(read->text(), settings.text());
    for (const char* bad : {"", "codepage = 65001\n", "layout = one\n", "layout = 1 2\n", "layout = -1\n",
                            "layout = 99999999999\n", "layout = 1\ndurability = sometimes\n", "layout = 1\nno sign\n"})
        EXPECT_FALSE(HomeSettings::parse(bad)) << bad;
}

// Created when first needed, whatever the process's umask. A home with a group opens its registry to that group.
TEST_F(HomeTest, IsMadeAtFirstNeedWithPrivateRegistry) {
    const struct {
        const char* name;
        mode_t home; // 0: it doesn't exist yet
        mode_t registry;
        mode_t objects;
        mode_t file;
        mode_t settings;
    } rows[] = {{"a/b", 0, 0700, 01777, 0600, 0600}, {"group", 02775, 02770, 03777, 0660, 0664}};
    umask(077);
    for (const auto& row : rows) {
        const Home home(m_root / row.name);
        EXPECT_FALSE(fs::exists(home.path())) << "asking makes nothing";
        if (row.home != 0) {
            fs::create_directory(home.path());
            ASSERT_EQ(chmod(home.path().c_str(), row.home), 0);
            // Left by a process that died between setting its mode and its name; others may have put something in.
            fs::create_directories(home.path() / "objects.new" / "another's");
            ASSERT_EQ(chmod((home.path() / "objects.new").c_str(), row.objects), 0);
        }
        ASSERT_EQ(home.ensure(), 0u);
        EXPECT_EQ(modeOf(home.registryPath()), row.registry);
        EXPECT_EQ(modeOf(home.objectsPath()), row.objects);
        Home::Modes modes;
        EXPECT_TRUE(home.fileModes(modes) == ERROR_SUCCESS && modes.file == row.file);
        EXPECT_EQ(modeOf(home.path() / "settings"), row.settings);
        EXPECT_EQ(std::distance(fs::directory_iterator(home.path()), {}), 3) << "nothing else is left lying about";
        EXPECT_EQ(Home(home.path()).ensure(), 0u);
    }
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
    setenv("WARDLET_ACP", "1234", 1); // which nobody has
    EXPECT_EQ(Home(path).codePage(), 1252u);
    for (const char* const none : {"0", "-1", "nan", "1e99", "x"}) { // values that would mean no waits or infinite ones
        setenv("WARDLET_TIME_SCALE", none, 1);
        EXPECT_EQ(Home(path).timeScale(), 1.0) << none;
    }
    setenv("WARDLET_DURABILITY", "process", 1);
    unsetenv("WARDLET_ACP");
}

TEST_F(HomeTest, SettingsThatItCannotUseStayAsTheyAre) {
    const std::pair<std::string, DWORD> rows[] = {
        {"layout = 2\n", ERROR_BADDB}, // written by a newer library
        {"layout = 1\nfolding = 2\n", ERROR_BADDB},
        {"layout = 2\ncodepage = 37\n", ERROR_BADDB}, // which may have more code pages
        {"layout = 1\ncodepage = 37\n", ERROR_INVALID_DATA},
        {std::string(100, '\0'), ERROR_INVALID_DATA},
    };
    for (const auto& [settings, error] : rows) {
        TestHome::instance().write("homes/settings", settings);
        const Home home(m_root);
        EXPECT_TRUE(home.ensure() == error && home.ensure() == error) << settings;
        EXPECT_EQ(TestHome::instance().read("homes/settings"), settings);
        EXPECT_FALSE(fs::exists(home.registryPath()));
    }
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
    unsetenv("XDG_STATE_HOME");
    EXPECT_EQ(Home().path(), "/somebody/.local/state/wardlet");
}

TEST_F(HomeTest, DrivesAreDirectoriesThatAreNotLeft) {
    const Home home(m_root);
    const std::string root = m_root.string();
    const std::pair<const char*, std::string> rows[] = {
        {"C:\\Program Files\\x.dat", root + "/drive_c/Program Files/x.dat"},
        {"d:/a\\b", root + "/drive_d/a/b"},
        {"C:", root + "/drive_c"},
        {"C:x", root + "/drive_c/x"},
        {"C:\\..\\..\\etc\\passwd", root + "/drive_c/etc/passwd"},
        {"\\etc\\hosts", "/etc/hosts"},
        {"1:\\x", "1:/x"},
        {"\u00e4:\\x", "\u00e4:/x"},
        {"C:\\\u00e4\xff", root + "/drive_c/\u00e4\xff"},
    };
    for (const auto& [path, file] : rows)
        EXPECT_EQ(home.mapPath(path), file) << path;
}

} // namespace
