// Writes of privacy items of which one step fails: what database, backup, temporary file and registry are then, step by
// step, and for each system call in turn.
#include "EnginePDPCommon.h"
#include "FailingStore.h"
#include "LogFile.h"
#include "PrivacyHelper.h"

#include <platform/testing.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace privacy_files;
namespace fs = std::filesystem;

enum class Which { Old, New };
enum class Backup { AsBefore, Stays, Gone };

// One row: the status, and what is left where.
struct Left {
    Which database;
    Backup backup;
    std::ptrdiff_t temporary;
    Which registry;
    auto operator<=>(const Left&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Left& left) {
    const auto name = [](Which which) { return which == Which::Old ? "old" : "new"; };
    constexpr const char* kBackups[] = {"as before", "stays", "gone"};
    return out << "database " << name(left.database) << ", backup " << kBackups[static_cast<int>(left.backup)] << ", "
               << left.temporary << " temporary files, registry " << name(left.registry);
}

constexpr Left kNothingDone{Which::Old, Backup::AsBefore, 0, Which::Old};
constexpr Left kBackupMade{Which::Old, Backup::Stays, 0, Which::Old};
constexpr Left kNotReplaced{Which::Old, Backup::Stays, 1, Which::Old};
constexpr Left kBackupNotDeleted{Which::New, Backup::Stays, 0, Which::Old};

class PrivacyFailure : public PrivacyHelperTest {
  protected:
    // Both parts are there, and an older backup.
    void prepare() {
        emptyTemp();
        fs::remove_all(at(kBackup));
        if (m_database.empty() || state().values != m_before.values) {
            settings(control());
            put(kDatabase, emptyFile(), 0644);
            ASSERT_EQ(writeItems({item(1, "old"), item(2, "older")}), WDLT_OK);
            ASSERT_EQ(writeExclusions({exclusionItem(1, "old.example")}), WDLT_OK);
            m_database = get(kDatabase);
        }
        put(kDatabase, m_database, 0644); // without waiting for the disk
        put(kBackup, "an older backup");
        m_before = state();
    }
    std::int32_t change() { return writeItems({item(3, "new"), item(4, "newer"), item(5, "newest")}); }
    std::int32_t changeExclusions() { return writeExclusions({exclusionItem(1, "new.example")}); }

    Left left() const {
        const State now = state();
        const Backup backup = now.backup == "-"                 ? Backup::Gone
                              : now.backup == m_before.backup   ? Backup::AsBefore
                              : now.backup == m_before.database ? Backup::Stays
                                                                : static_cast<Backup>(9);
        EXPECT_NE(backup, static_cast<Backup>(9)) << "a part of a backup, or something else";
        EXPECT_TRUE(partials().empty());
        return {now.database == m_before.database ? Which::Old : Which::New, backup,
                static_cast<std::ptrdiff_t>(now.temporary.size()),
                now.values == m_before.values ? Which::Old : Which::New};
    }
    // Whatever happened, the next write succeeds and leaves nothing but its result.
    void expectRecovery() {
        emptyTemp();
        settings(control());
        tree::setNumber(kKey, "ItemEntryCount", static_cast<DWORD>(m_before.values.at("ItemEntryCount")[0]));
        EXPECT_EQ(changeExclusions(), WDLT_OK);
        EXPECT_EQ(readExclusions().status, WDLT_OK);
    }

    State m_before;
    std::string m_database; // as it was before
    LogFile log;
};

TEST_F(PrivacyFailure, EachStep) {
    struct Case {
        const char* what;
        std::function<void()> arrange;
        std::int32_t status;
        Left left;
        const char* line;
    };
    const auto failing = [](const char* call, int nth, int error = EIO) {
        return [=] { WdTestFailCall(call, nth, error); };
    };
    const Case cases[] = {
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
        {"a name for a temporary file", failing("getrandom", 1), WDLT_E_TEMP_FILE, kBackupMade, ""},
        {"a seek of the temporary file", failing("lseek", 2), WDLT_E_FILE, kBackupMade,
         "*** CEnginePDPCommon::OpenTempFileToWrite() - SetFilePointer() failed."},
        {"the replacement's rename", failing("rename", 2), WDLT_E_FILE, kNotReplaced, "Failed to ReplaceFile()."},
        {"the backup's deletion", failing("unlink", 2), WDLT_E_FILE, kBackupNotDeleted,
         "Failed to DeleteFile() for backup."},
    };
    for (const Case& c : cases)
        for (const bool items : {true, false}) {
            SCOPED_TRACE(testing::Message() << c.what << (items ? ", items" : ", exclusions"));
            prepare();
            c.arrange();
            EXPECT_EQ(items ? change() : changeExclusions(), c.status);
            if (fs::exists(at("install/away")))
                fs::rename(at("install/away"), at(kDatabase));
            tree::setText("", "TempPath", at("temp").string() + "/");
            fs::permissions(at(kDatabase), fs::perms(0644));
            EXPECT_EQ(left(), c.left);
            EXPECT_TRUE(log.contains(c.line));
            expectRecovery();
        }
}

// What is wrong shows only while the temporary file is written.
TEST_F(PrivacyFailure, EachPartOfTheTemporaryFile) {
    prepare();
    EXPECT_EQ(writeItems({}, control(0)), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(left(), kBackupMade);
    EXPECT_TRUE(log.contains("*** CEnginePDPCommon::WritePrivacyDBHeader() - charset entry was not specified."));
    for (const std::uint32_t mask : {WDLT_CHARSET_ISO_8859_1 | 0U, 0x40000000U, 0x80000001U}) {
        SCOPED_TRACE(mask);
        prepare();
        const std::int32_t status = mask == WDLT_CHARSET_ISO_8859_1 ? WDLT_E_CHARSET : WDLT_E_INVALID_ARGUMENT;
        EXPECT_EQ(writeItems({item(1, "fine"), item(2, "\xE6\x97\xA5")}, control(mask)), status);
        EXPECT_EQ(left(), kBackupMade);
    }
    EXPECT_TRUE(log.contains("*** CEnginePDPCommon::WritePrivacySearchData() - Failed to CreatePrivacySearchData()."));
    PrivacyControlData ascii = control();
    ascii.dwDefaultCharSet = WDLT_CHARSET_US_ASCII;
    prepare();
    EXPECT_EQ(writeItems({item(2, "\xC3\xA4")}, ascii), WDLT_E_CHARSET);
    EXPECT_EQ(left(), kBackupMade);

    prepare();
    std::set<std::string> told;
    for (const bool items : {true, false})
        for (int nth = 1; nth <= 8; ++nth) { // of the backup's copy and of the file's parts
            SCOPED_TRACE(testing::Message() << "write " << nth << (items ? ", items" : ", exclusions"));
            prepare();
            WdTestFailCall("write", nth, ENOSPC);
            const std::int32_t status = items ? change() : changeExclusions();
            WdTestFailCall("write", 0, 0);
            if (status == WDLT_OK)
                continue;
            EXPECT_TRUE(status == WDLT_E_GENERAL || status == WDLT_E_FILE) << status;
            EXPECT_TRUE(left() == kBackupMade || left() == kNothingDone) << left();
            for (const char* const part :
                 {"WritePrivacyDBHeader", "WritePrivacySearchData", "WritePrivacyExclusionHeader", "WriteBinaryData",
                  "WritePrivacyExclusionPart"})
                if (log.contains(std::string("*** CEnginePDPCommon::") + part +
                                 "() - Failed to WriteFile(). LastError[0x00000070]"))
                    told.insert(part);
        }
    EXPECT_EQ(told.size(), 5u) << "not each part failed";
}

TEST_F(PrivacyFailure, EachValueOfTheRegistry) {
    constexpr int kValues = 1 + 3 * 5;
    for (int nth = 1; nth <= kValues + 1; ++nth) {
        SCOPED_TRACE(nth);
        prepare();
        CEnginePDPCommon helper;
        helper.scan = WDLT_SCAN_PRIVACY;
        helper.store = std::make_unique<FailingStore>(nth);
        std::vector<char> buffer = bufferOf(control(), {item(3, "new"), item(4, "newer"), item(5, "newest")});
        const std::int32_t status = helper.WriteConfig(1, buffer.data() + 1, buffer.size() - 1);
        EXPECT_EQ(status, nth == 1 ? WDLT_E_GENERAL : nth <= kValues ? WDLT_E_REGISTRY : WDLT_OK);
        EXPECT_EQ(left(), (Left{Which::New, Backup::Gone, 0, nth == 1 ? Which::Old : Which::New}));
        EXPECT_EQ(state().values.size(), static_cast<std::size_t>(std::max(1 + 2 * 5, nth - 1)));
    }
    EXPECT_TRUE(log.contains("WritePrivacyControlData() - Failed to WriteValue() for item entry count. lRtnSts=-9"));
    EXPECT_TRUE(log.contains("Failed to WriteValue() for privacy data. lRtnSts=-9, entry name=PrivacyData02"));
}

// Values that are to go and are missing: all but the privacy data end the walk.
TEST_F(PrivacyFailure, EachValueThatGoes) {
    for (const char* const name : {"ItemIndex", "ScanTarget", "ItemName", "Description", "PrivacyData"}) {
        SCOPED_TRACE(name);
        prepare();
        ASSERT_EQ(change(), WDLT_OK);
        tree::deleteValue(kKey, (std::string(name) + "01").c_str());
        const bool goesOn = std::string(name) == "PrivacyData";
        EXPECT_EQ(writeItems({item(1, "x")}), goesOn ? WDLT_OK : WDLT_E_NOT_FOUND);
        EXPECT_EQ(tree::number(kKey, "ItemEntryCount"), 1u);
        EXPECT_EQ(tree::get(kKey, "PrivacyData02").has_value(), !goesOn);
    }
    prepare();
    tree::deleteValue(kKey, "PrivacyData01");
    EXPECT_EQ(writeItems({item(1, "x")}), WDLT_E_NOT_FOUND); // the last one's
    EXPECT_TRUE(log.contains("Failed to DeleteSubSection() for privacy data. lRtnSts=-16, entry name=PrivacyData01"));
    EXPECT_EQ(state().values.size(), 1u + 5);
}

// Whichever call fails, what is left is one of the rows; and each row is left by some call.
TEST_F(PrivacyFailure, EachSystemCall) {
    constexpr const char* kCalls[] = {
        "open",     "openat",   "read",      "write",      "pread",     "lseek",     "fsync",  "fstat",  "stat",
        "lstat",    "fstatat",  "flock",     "fchmod",     "fchown",    "rename",    "mmap",   "munmap", "unlink",
        "unlinkat", "readlink", "ftruncate", "fcntl_lock", "fallocate", "getrandom", "statvfs"};
    for (const bool items : {true, false}) {
        const std::set<Left> rows{kNothingDone, kBackupMade, kNotReplaced, kBackupNotDeleted};
        std::set<Left> seen;
        int failures = 0;
        for (const char* const call : kCalls)
            for (int nth = 1, withoutEffect = 0; withoutEffect < 3; ++nth) { // some calls may fail and nothing is lost
                SCOPED_TRACE(testing::Message() << call << ' ' << nth << (items ? ", items" : ", exclusions"));
                prepare();
                if (!WdTestFailCall(call, nth, EIO)) {
                    ADD_FAILURE() << "no such call";
                }
                const std::int32_t status = items ? change() : changeExclusions();
                WdTestFailCall(call, 0, 0);
                const Left found = left();
                withoutEffect = status == WDLT_OK ? withoutEffect + 1 : 0;
                if (status == WDLT_OK) {
                    EXPECT_EQ(found, (Left{Which::New, Backup::Gone, 0, items ? Which::New : Which::Old}));
                    continue;
                }
                ++failures;
                EXPECT_TRUE(rows.contains(found)) << status << ": " << found;
                seen.insert(found);
                expectRecovery();
                if (HasFailure())
                    return;
            }
        EXPECT_EQ(seen, rows);
        EXPECT_GT(failures, 20);
    }
}

} // namespace
