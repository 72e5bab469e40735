// The files that are named in a scan's settings: where they are, and the list of tolerated spyware.
#include "FieldRecords.h"
#include "TestHome.h"
#include "UrlFilterTree.h"

#include <gmock/gmock.h>

#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string kHostKey = "Scan\\Common\\HostFilter\\config";
const std::string kVirusKey = "Scan\\Common\\Virus\\config";

class ListFiles : public FieldRecord {
  protected:
    ListFiles() {
        std::filesystem::remove_all(home);
        for (const char* const folder : {"install/sub", "temp"})
            std::filesystem::create_directories(home / folder);
        tree::setText("", "InstallPath", (home / "install/").string());
        tree::setText("", "TempPath", (home / "temp/").string());
    }

    const std::filesystem::path home = TestHome::instance().path() / "lists";
};

// A list whose file is named by a registry value and is in the install directory.
struct List {
    std::uint32_t scan;
    std::uint64_t configType;
    std::size_t size;
    const char* key;
    const char* value;
    const char* file;        // where "sub/list.dat" is written: most lists drop the folder
    std::int32_t withoutIt;  // status of a read without the value
    std::int32_t withoutAny; // status of a read without the file
    bool isWritten = true;
};
const List kLists[] = {
    {WDLT_SCAN_URL_FILTER, WDLT_CONFIG_URLF_LIST, sizeof(WdpeUrlfUrlList), kUrlKey.c_str(), "Whitelist", "list.dat",
     WDLT_E_NOT_FOUND, WDLT_E_FILE_NOT_FOUND},
    {WDLT_SCAN_HOST_FILTER, WDLT_CONFIG_HOSF_LIST, sizeof(WdpeHosfHostList), kHostKey.c_str(), "Whitelist", "list.dat",
     WDLT_E_NOT_FOUND, WDLT_E_FILE_NOT_FOUND},
    // The only one whose folder is kept; without the value it has a default name.
    {WDLT_SCAN_VIRUS, WDLT_CONFIG_SPYWARE_LIST, sizeof(WdpeSpyList), kVirusKey.c_str(), "WhiteList", "sub/list.dat",
     WDLT_OK, WDLT_OK},
    {WDLT_SCAN_URL_FILTER, WDLT_CONFIG_URLF_CATEGORIES, sizeof(WdpeUrlfCategoryList), kUrlKey.c_str(), "CategoryFile",
     nullptr, WDLT_E_NOT_FOUND, WDLT_E_FILE_NOT_FOUND, false},
    {WDLT_SCAN_URL_FILTER, WDLT_CONFIG_URLF_CATEGORY_GROUPS, sizeof(WdpeUrlfCategoryGroupList), kUrlKey.c_str(),
     "CategoryGroupFile", nullptr, WDLT_E_NOT_FOUND, WDLT_E_FILE_NOT_FOUND, false},
    {WDLT_SCAN_URL_FILTER, WDLT_CONFIG_URLF_LOG_INDEX, sizeof(WdpeUrlfLogIndexList), kUrlKey.c_str(), "LogIndexFile",
     nullptr, WDLT_OK, WDLT_OK, false}, // there may be no log yet
};

TEST_F(ListFiles, LieInTheInstallDirectory) {
    for (const List& list : kLists) {
        SCOPED_TRACE(list.value);
        std::vector<char> bytes(list.size);
        const auto read = [&] {
            std::uint64_t size = list.size;
            return WDLT_CALL(library, WdltReadConfig)(0, list.scan, list.configType, bytes.data(), &size);
        };
        const auto write = [&] {
            return WDLT_CALL(library, WdltWriteConfig)(0, list.scan, list.configType, bytes.data(), list.size);
        };
        tree::setNumber(list.key, "Unrelated", 0); // creates the key
        EXPECT_EQ(read(), list.withoutIt);
        tree::setText(list.key, list.value, "sub/list.dat");
        EXPECT_EQ(read(), list.withoutAny);
        if (list.isWritten) {
            EXPECT_EQ(write(), WDLT_OK);
            EXPECT_TRUE(std::filesystem::remove(home / "install" / list.file));
            EXPECT_TRUE(std::filesystem::is_empty(home / "temp"));
            bytes[0] = 2; // an unknown list type
            EXPECT_EQ(read(), WDLT_E_INVALID_ARGUMENT);
            EXPECT_EQ(write(), WDLT_E_INVALID_ARGUMENT);
            EXPECT_TRUE(library.logged("Invalid value (dwListType=2)"));
            bytes[0] = 0;
        }
        tree::setText("", "InstallPath", "");
        const FreshLog fresh;
        EXPECT_EQ(read(), WDLT_E_GENERAL);
        EXPECT_TRUE(library.logged("Cannot get the install path"));
        tree::setText("", "InstallPath", (home / "install/").string());
    }
}

TEST_F(ListFiles, AnEmptyPatternFolderIsTheInstallDirectory) {
    for (const char* const name : {"Language", "KeepNumber"})
        tree::setNumber(kVirusKey, name, 7);
    tree::setText(kVirusKey, "PatternPath", "");
    const std::string longest(258, 'i');
    const struct {
        std::string install, folder;
    } cases[] = {
        {"C:\\I", "C:\\I\\"}, {longest, longest + '\\'}, {"", ""}, // "": the read ends early, but succeeds
    };
    for (const auto& c : cases) {
        tree::setText("", "InstallPath", c.install);
        const FreshLog fresh;
        WdpeVsCommon common{};
        EXPECT_EQ(read(0, WDLT_SCAN_VIRUS, common), WDLT_OK);
        EXPECT_EQ(common.szPatternPath, c.folder);
        EXPECT_EQ(common.dwKeepNumber, c.install.empty() ? 0u : 7u);
        EXPECT_EQ(library.logged("ReadConfig fails (0) : InstallPath"), c.install.empty());
    }
}

WdpeSpyRecord spyware(const std::string& text) {
    WdpeSpyRecord record{};
    text.copy(record.szText, sizeof record.szText);
    return record;
}

TEST_F(ListFiles, SpywareThroughItsOwnFunctions) {
    ChangeListener service;
    const auto readList = WDLT_CALL(library, WdltSpyReadRecordList);
    const auto writeList = WDLT_CALL(library, WdltSpyWriteRecordList);
    const auto expectCount = [&](std::int32_t expected) {
        std::int32_t count = 0;
        EXPECT_EQ(readList(0, nullptr, &count), WDLT_OK);
        EXPECT_EQ(count, expected);
    };
    expectCount(0); // no file yet
    EXPECT_TRUE(library.logged("CEngineSCANXCommon: Failed to get file name in registry. Use SpyAList.dat"));
    const std::vector<WdpeSpyRecord> five(5, spyware(std::string(128, 's')));
    EXPECT_EQ(writeList(9, five.data(), 5), WDLT_OK); // the type is ignored
    EXPECT_THAT(service.heard(), ElementsAre(Change{0, WDLT_SCAN_VIRUS}));
    for (const std::int32_t room : {1, 9}) {
        std::vector<WdpeSpyRecord> some(9, spyware("untouched"));
        std::int32_t count = room;
        EXPECT_EQ(readList(9, some.data(), &count), WDLT_OK);
        EXPECT_EQ(count, std::min(room, 5));
        EXPECT_EQ(std::string(some[0].szText), std::string(128, 's'));
        EXPECT_STREQ(some[static_cast<std::size_t>(count)].szText, "untouched");
    }

    std::vector<WdpeSpyRecord> many(257, spyware("x"));
    for (const std::int32_t count : {257, -1})
        EXPECT_EQ(writeList(0, many.data(), count), WDLT_E_INVALID_ARGUMENT) << count;
    EXPECT_TRUE(library.logged("CFuncSpy::RecordListWrite(): count 257 exceeds the maximum"));
    many[200] = spyware(std::string(129, 'y')); // without a terminator
    EXPECT_EQ(writeList(0, many.data(), 256), WDLT_E_INVALID_ARGUMENT);
    EXPECT_THAT(service.heard(), IsEmpty());
    expectCount(5); // no refused write has changed anything
    many[200] = spyware("y");
    EXPECT_EQ(writeList(0, many.data(), 256), WDLT_OK);
    expectCount(256);
}

} // namespace
