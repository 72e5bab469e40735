// Writes of privacy items and exclusions of which one step fails: what database, backup, temporary file and registry
// are then. Whatever happened, the next write succeeds.
#include "PrivacyLists.h"

#include <platform/testing.h>

#include <functional>
#include <string>

namespace {

using namespace privacy_files;
namespace fs = std::filesystem;

// What is left; the registry stays as it was.
struct Left {
    bool isReplaced;
    bool hasBackup; // of the database as it was
    std::size_t temporary;
};
constexpr Left kNothingDone{false, false, 0};
constexpr Left kBackupMade{false, true, 0};
constexpr Left kNotReplaced{false, true, 1};
constexpr Left kBackupNotDeleted{true, true, 0};

class PrivacyFailure : public PrivacyLists {
  protected:
    // Both parts are there.
    void prepare() {
        emptyTemp();
        fs::remove_all(at(kBackup));
        tree::setText("", "TempPath", at("temp").string() + "/");
        put(kDatabase, emptyFile(), 0644);
        settings(control());
        ASSERT_EQ(writeItems({item(1, "old"), item(2, "older")}), WDLT_OK);
        ASSERT_EQ(writeExclusions({exclusionItem(1, "old.example")}), WDLT_OK);
        clearLog();
    }
    void expectLeft(const Left& left, const State& before) {
        const State now = state();
        EXPECT_EQ(now.database != before.database, left.isReplaced);
        EXPECT_EQ(now.backup, left.hasBackup ? before.database : "-");
        EXPECT_EQ(now.temporary.size(), left.temporary);
        EXPECT_EQ(now.values, before.values);
    }
};

TEST_F(PrivacyFailure, EachStep) {
    const auto failing = [](const char* call, int nth) { return [=] { WdTestFailCall(call, nth, EIO); }; };
    const struct {
        const char* what;
        std::function<void()> arrange;
        std::int32_t status;
        Left left;
        const char* line;
    } cases[] = {
        {"no database to read", [&] { fs::rename(at(kDatabase), at("install/away")); }, WDLT_E_GENERAL, kNothingDone,
         "*** CEnginePDPCommon::OpenDatabaseToRead() - Failed to CreateFile(). LastError[0x00000002]"},
        {"a seek of the database", failing("lseek", 1), WDLT_E_GENERAL, kNothingDone,
         "*** CEnginePDPCommon::OpenDatabaseToRead() - Failed to SetFilePointer()."},
        {"read-only", [&] { fs::permissions(at(kDatabase), fs::perms(0444)); }, WDLT_E_FILE, kNothingDone,
         "*** CEnginePDPCommon::BackupDatabase() - Database was set readonly attribute."},
        {"the backup's rename", failing("rename", 1), WDLT_E_FILE, kNothingDone,
         "*** CEnginePDPCommon::BackupDatabase() - Failed to CopyFile() for backup."},
        {"no folder for temporary files", [] { tree::setText("", "TempPath", "/nowhere/"); }, WDLT_E_TEMP_FILE,
         kBackupMade, "*** CEnginePDPCommon::OpenTempFileToWrite() - GetTempFileName() failed."},
        {"a name for a temporary file", failing("getrandom", 1), WDLT_E_TEMP_FILE, kBackupMade,
         "*** CEnginePDPCommon::OpenTempFileToWrite() - GetTempFileName() failed."},
        {"a seek of the temporary file", failing("lseek", 2), WDLT_E_FILE, kBackupMade,
         "*** CEnginePDPCommon::OpenTempFileToWrite() - SetFilePointer() failed."},
        {"the replacement's rename", failing("rename", 2), WDLT_E_FILE, kNotReplaced, "Failed to ReplaceFile()."},
        {"the backup's deletion", failing("unlink", 2), WDLT_E_FILE, kBackupNotDeleted,
         "Failed to DeleteFile() for backup."},
    };
    for (const auto& c : cases)
        for (const bool items : {true, false}) {
            SCOPED_TRACE(testing::Message() << c.what << (items ? ", items" : ", exclusions"));
            prepare();
            const State before = state();
            c.arrange();
            EXPECT_EQ(items ? writeItems({item(3, "new")}) : writeExclusions({exclusionItem(1, "new.example")}),
                      c.status);
            WdTestFailCall("read", 0, 0);
            if (fs::exists(at("install/away")))
                fs::rename(at("install/away"), at(kDatabase));
            expectLeft(c.left, before);
            expectLine(c.line);
            tree::setText("", "TempPath", at("temp").string() + "/");
            fs::permissions(at(kDatabase), fs::perms(0644));
            EXPECT_EQ(writeExclusions({exclusionItem(1, "new.example")}), WDLT_OK);
            EXPECT_FALSE(fs::exists(at(kBackup)));
        }
}

// What is wrong shows only while the temporary file is written.
TEST_F(PrivacyFailure, EachCharsetThatCantBeHad) {
    const struct {
        std::uint32_t charSets, standard;
        const char* text;
        std::int32_t status;
        const char* line;
    } cases[] = {
        {0, WDLT_CHARSET_UTF_8, "fine", WDLT_E_INVALID_ARGUMENT,
         "*** CEnginePDPCommon::WritePrivacyDBHeader() - charset entry was not specified."},
        {WDLT_CHARSET_ISO_8859_1, WDLT_CHARSET_UTF_8, "日", WDLT_E_CHARSET,
         "*** CEnginePDPCommon::WritePrivacySearchData() - Failed to CreatePrivacySearchData(). lRtnSts="},
        {0x40000000, WDLT_CHARSET_UTF_8, "fine", WDLT_E_INVALID_ARGUMENT, "dwCurrentBit[0x40000000], dwCount[30]"},
        {0x80000001, WDLT_CHARSET_UTF_8, "fine", WDLT_E_INVALID_ARGUMENT, "dwCurrentBit[0x80000000], dwCount[31]"},
        {WDLT_CHARSET_US_ASCII, WDLT_CHARSET_US_ASCII, "ä", WDLT_E_CHARSET, "dwCurrentBit[0x00000002], dwCount[1]"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << std::hex << c.charSets);
        prepare();
        const State before = state();
        PrivacyControlData with = control(c.charSets);
        with.dwDefaultCharSet = c.standard;
        EXPECT_EQ(writeItems({item(1, ""), item(2, c.text)}, with), c.status);
        expectLeft(kBackupMade, before);
        expectLine(c.line);
    }
}

// Values that are to go and are missing: all but the privacy data end the walk.
TEST_F(PrivacyFailure, EachValueThatGoes) {
    for (const std::string name : {"ItemIndex", "ScanTarget", "ItemName", "Description", "PrivacyData"}) {
        SCOPED_TRACE(name);
        prepare();
        ASSERT_EQ(writeItems({item(1, "a"), item(2, "b"), item(3, "c")}), WDLT_OK);
        tree::deleteValue(kKey, (name + "01").c_str());
        const bool goesOn = name == "PrivacyData";
        EXPECT_EQ(writeItems({item(1, "x")}), goesOn ? WDLT_OK : WDLT_E_NOT_FOUND);
        EXPECT_EQ(tree::number(kKey, "ItemEntryCount"), 1u);
        EXPECT_EQ(tree::get(kKey, "PrivacyData02").has_value(), !goesOn);
    }
    prepare();
    tree::deleteValue(kKey, "PrivacyData01");
    EXPECT_EQ(writeItems({item(1, "x")}), WDLT_E_NOT_FOUND); // the last one's
    expectLine("Failed to DeleteSubSection() for privacy data. lRtnSts=-16, entry name=PrivacyData01");
    EXPECT_EQ(state().values.size(), 1u + 5);
}

} // namespace
