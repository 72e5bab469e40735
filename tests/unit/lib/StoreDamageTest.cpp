// Files of the record stores that are cut at every byte, have every bit flipped, or hold what no writer puts: the code,
// the records told before the damage, and the lines.
#include "StoreFiles.h"

#include <LogFile.h>

#include <wdltcfg/status.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fcntl.h>
#include <optional>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace store_files;

// Reads one small file again and again and compares as much of the list as its records reach.
class DamagedStore : public StoreTest, public testing::WithParamInterface<Subject> {
  protected:
    static constexpr std::uint32_t kRecords = 3;

    DamagedStore() {
        for (std::uint32_t i = 0; i <= kRecords; ++i)
            m_begins.push_back(FileMaker(s, kRecords).records(i).content().size());
        put("list", m_file);
        m_descriptor = ::open(at("list").c_str(), O_WRONLY | O_CLOEXEC);
    }
    ~DamagedStore() override { close(m_descriptor); }

    std::int32_t readAgain() {
        std::fill_n(m_list.begin(), m_looked, kUntouched);
        std::uint64_t size = m_list.size();
        return make(s)->Read(at("list").c_str(), m_list.data(), &size);
    }
    bool isUntouched(std::size_t from) const {
        return m_list.compare(from, m_looked - from, std::string(m_looked - from, kUntouched)) == 0;
    }
    bool isWhole(std::uint32_t record) const {
        return m_list.compare(s.slotAt(record), s.slotBytes, m_whole, s.slotAt(record), s.slotBytes) == 0;
    }
    // A list of three records whose first ones are as they were.
    void expectWholeBefore(std::uint32_t record) const {
        EXPECT_EQ(m_list.substr(s.headBytes() - 4, 4), number(kRecords));
        for (std::uint32_t i = 0; i < record; ++i)
            EXPECT_TRUE(isWhole(i)) << i;
    }
    void write(std::size_t at, char byte) const {
        ASSERT_EQ(pwrite(m_descriptor, &byte, 1, static_cast<off_t>(at)), 1);
    }
    // Which one a byte of the file belongs to; the header's to none.
    std::optional<std::uint32_t> recordOf(std::size_t byte) const {
        const auto next = std::ranges::upper_bound(m_begins, byte);
        return next == m_begins.begin() ? std::nullopt : std::optional(std::uint32_t(next - m_begins.begin() - 1));
    }

    const Subject& s = GetParam();
    const bool isChained = s.form == Form::Chained;
    const std::string m_file = fileOf(s, kRecords);
    const std::string m_whole = listOf(s, kRecords);
    const std::size_t m_looked = s.slotAt(kRecords + 1);
    std::string m_list = std::string(s.listBytes(), kUntouched);
    std::vector<std::size_t> m_begins; // of the records, and the file's end
    int m_descriptor;
};

INSTANTIATE_TEST_SUITE_P(Each, DamagedStore, testing::ValuesIn(subjects()),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_P(DamagedStore, CutAnywhere) {
    const std::size_t count = isChained ? m_begins.front() : 36; // a list without its count is an empty one
    for (std::size_t bytes = m_file.size(); bytes-- > 0 && !HasFailure();) {
        SCOPED_TRACE(testing::Message() << bytes << " of " << m_file.size() << " bytes");
        ASSERT_EQ(ftruncate(m_descriptor, static_cast<off_t>(bytes)), 0);
        const std::int32_t code = readAgain();
        const auto record = recordOf(bytes);
        EXPECT_EQ(code, !record && bytes >= count ? WDLT_OK : WDLT_E_FILE);
        if (record) {
            expectWholeBefore(*record);
            EXPECT_TRUE(isUntouched(s.slotAt(*record + (s.form == Form::Fixed ? 1 : 0))));
        } else {
            EXPECT_TRUE(bytes >= count ? m_list.substr(s.headBytes() - 4, 4) == number(0) : isUntouched(0));
        }
    }
}

// A bit that changes is told, or changes its own record and no other: nothing takes it for what was written.
TEST_P(DamagedStore, FlippedAnywhere) {
    for (std::size_t i = 0; i < m_file.size() && !HasFailure(); ++i)
        for (unsigned bit = 1; bit < 256; bit <<= 1) {
            SCOPED_TRACE(testing::Message() << "bit " << bit << " of byte " << i);
            write(i, static_cast<char>(m_file[i] ^ static_cast<char>(bit)));
            const std::int32_t code = readAgain();
            write(i, m_file[i]);
            EXPECT_TRUE(code == WDLT_OK || code == WDLT_E_GENERAL || code == WDLT_E_FILE) << code;
            if (const auto record = recordOf(i)) {
                expectWholeBefore(*record);
                EXPECT_FALSE(isWhole(*record));
                for (std::uint32_t later = *record + 1; later < kRecords && code == WDLT_OK; ++later)
                    EXPECT_TRUE(isWhole(later));
                EXPECT_TRUE(isUntouched(s.slotAt(code == WDLT_OK ? kRecords : *record + 1)));
            } else if (isChained || i < 36) {
                EXPECT_TRUE(code != WDLT_OK && isUntouched(0));
            } else if (code != WDLT_E_GENERAL) { // another count, and the records that there are
                const std::uint32_t count = kRecords ^ bit << (i - 36) * 8;
                EXPECT_EQ(code, count < kRecords ? WDLT_OK : WDLT_E_FILE);
                EXPECT_EQ(m_list.substr(s.headBytes() - 4, 4), number(std::min(count, s.maximum)));
                EXPECT_TRUE(isUntouched(s.slotAt(std::min(count, kRecords))) || s.form == Form::Fixed);
            }
        }
    EXPECT_EQ(readAgain(), WDLT_OK);
    expectWholeBefore(kRecords);
}

// What stands behind a header, or behind the first of two records.
struct Piece {
    FileMaker& (FileMaker::*add)(const std::string&);
    std::string bytes;
};
Piece raw(std::string bytes) {
    return {&FileMaker::raw, std::move(bytes)};
}
Piece sealed(std::string plain) {
    return {&FileMaker::enciphered, std::move(plain)};
}
Piece lengthed(std::string plain) {
    return {&FileMaker::lengthed, std::move(plain)};
}
void append(FileMaker& file, const std::vector<Piece>& pieces) {
    for (const auto& [add, bytes] : pieces)
        (file.*add)(bytes);
}
std::string zeros(std::size_t count) {
    return std::string(count, '\0');
}

// As the log has them: behind the store's name where they begin with a colon, and with the file for F.
std::vector<std::string> told(const Subject& s, std::vector<std::string> lines) {
    for (std::string& line : lines) {
        line.insert(0, line.front() == ':' ? std::string("!!! ") + s.name : "!!! ");
        if (const auto name = line.find("=F)"); name != std::string::npos)
            line.replace(name + 1, 1, (TestHome::instance().path() / "work" / "list").string());
    }
    return lines;
}

struct Damage {
    const char* store;
    std::int32_t code;
    std::vector<Piece> second; // record of two
    std::vector<std::string> lines;
};
Damage damage(const char* store, std::int32_t code, std::vector<Piece> second, std::vector<std::string> lines) {
    return {store, code, std::move(second), std::move(lines)};
}

TEST_F(StoreTest, DamagedRecordsAreTold) {
    const std::string tooLong = zeros(4096);
    const auto unmatched = [](const char* got, const char* wanted) {
        return std::string("CUrlFilterDB: Read size unmatched (dwReadSize=") + got + ", dwSizeToRead=" + wanted +
               ", file=F)";
    };
    constexpr auto kFile = WDLT_E_FILE;
    constexpr auto kGeneral = WDLT_E_GENERAL;
    const Damage cases[] = {
        damage("CUrlListDB", kFile, {raw(number(2100) + tooLong)},
               {": A record size is too large (size=2100, file=F)"}),
        damage("CUrlListDB", kGeneral, {raw(number(2099) + tooLong)},
               {"::Read(): Failed to decrypt a record (err=-7, file=F)"}),
        damage("CUrlListDB", kGeneral, {lengthed(zeros(2084))},
               {"::Read(): A decrypted record is too large (size=2084, file=F)"}),
        damage("CUrlListDB", kFile, {raw("123")}, {unmatched("3", "4"), ": Failed to read a size of URL record"}),
        damage("CUrlListDB", kFile, {raw(number(16) + "123")}, {unmatched("3", "16"), ": Failed to read a URL record"}),
        damage("CHostListDB", kFile, {raw(number(323) + tooLong)}, {": A record size is too large (size=323, file=F)"}),
        damage("CHostListDB", kGeneral, {raw(number(322) + tooLong)},
               {"::Read(): Failed to decrypt a record (err=-7, file=F)"}),
        damage("CHostListDB", kGeneral, {lengthed(zeros(307))},
               {"::Read(): A decrypted record is too large (size=307, file=F)"}),
        damage("CHostListDB", kFile, {}, {unmatched("0", "4"), ": Failed to read a size of hostrecord"}),
        damage("CHostListDB", kFile, {raw(number(320))}, {unmatched("0", "320"), ": Failed to read a hostrecord"}),
        damage("CSpyListDB", kFile, {lengthed(zeros(129))}, {": A record size is too large (size=129, file=F)"}),
        damage("CSpyListDB", kFile, {raw("1234567890")},
               {"CEncryptedDB: Read size unmatched (dwReadSize=10, dwBlockSize=16, file=F)",
                ": Failed to read a size of spyware record"}),
        damage(
            "CSpyListDB", kGeneral, {raw(zeros(16))},
            {"CEncryptedDB: Failed to decrypt a record (err=-7, file=F)", ": Failed to read a size of spyware record"}),
        damage("CSpyListDB", kGeneral, {sealed(number(5)), sealed("123456")},
               {"CEncryptedDB::ReadData(): A decrypted record is too large (size=6, file=F)",
                ": Failed to read a spyware record"}),
        damage("CUrlCategoryDB", kFile, {raw(zeros(130))}, {unmatched("130", "131"), ": Failed to read a category"}),
        damage("CUrlCategoryDB", kGeneral, {raw(zeros(131))},
               {"::Read(): Failed to decrypt a category (err=-7, file=F)"}),
        damage("CUrlCategoryDB", kGeneral, {raw("id."), sealed(zeros(126))},
               {"::Read(): A decrypted category size is invalid (size=126, file=F)"}),
        damage("CUrlCategoryGroupDB", kFile, {raw("id.")},
               {unmatched("3", "899"), ": Failed to read a category group"}),
        damage("CUrlCategoryGroupDB", kGeneral, {raw(zeros(899))},
               {": Failed to decrypt a category name (err=-7)", ": Failed to decrypt a category group"}),
        damage("CUrlCategoryGroupDB", kGeneral, {raw("id."), sealed(zeros(125)), raw(zeros(768))},
               {": A decrypted category name size is invalid (size=125)", ": Failed to decrypt a category group"}),
        damage("CUrlCategoryGroupDB", kGeneral, {raw("id."), sealed(zeros(127)), raw(zeros(768))},
               {":: Failed to decrypt a category list (err=-7, file=F)"}),
        damage("CUrlCategoryGroupDB", kGeneral, {raw("id."), sealed(zeros(127)), sealed(zeros(766))},
               {":: A decrypted category list size is invalid (size=766, file=F)"}),
        damage("CUrlLogDB", kFile, {raw("inde")}, {unmatched("4", "772"), ": Failed to read log index"}),
        damage("CUrlLogDB", kGeneral, {raw(zeros(772))}, {":: Failed to decrypt a category list (err=-7, file=F)"}),
        damage("CUrlLogDB", kGeneral, {raw("inde"), sealed(zeros(752))},
               {":: A decrypted category list size is invalid (size=752, file=F)"}),
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.store + c.lines.back());
        const Subject& s = subject(c.store);
        FileMaker file(s, 2);
        append(file.records(1), c.second);
        put("list", file.content());
        const LogFile log;
        const Got got = read(s, "list");
        EXPECT_EQ(got.code, c.code);
        EXPECT_TRUE(got.list.substr(0, s.slotAt(1)) == listOf(s, 2, 1).substr(0, s.slotAt(1)));
        EXPECT_EQ(log.messages(), told(s, c.lines));
    }
}

TEST_F(StoreTest, DamagedHeadersAreTold) {
    const struct {
        const char* store;
        std::int32_t code;
        std::size_t kept; // bytes
        std::size_t flipped;
        const char* line;
    } cases[] = {
        {"CUrlListDB", WDLT_E_FILE, 20, 99, "Invalid GUID (file=F)"},
        {"CUrlListDB", WDLT_E_FILE, 40, 31, "Invalid GUID (file=F)"},
        {"CUrlListDB", WDLT_E_FILE, 34, 99, "Invalid version (version=0x00000000, file=F)"},
        {"CUrlListDB", WDLT_E_FILE, 40, 32, "Invalid version (version=0x00000000, file=F)"},
        {"CSpyListDB", WDLT_E_FILE, 40, 99, "::ReadFile() failed on reading GUID (err=0, file=F)"},
        {"CSpyListDB", WDLT_E_FILE, 60, 99, "::ReadFile() failed on reading version (err=0, file=F)"},
        {"CSpyListDB", WDLT_E_FILE, 79, 99, "::ReadFile() failed on reading count (err=0, file=F)"},
        {"CSpyListDB", WDLT_E_FILE, 80, 0, "Invalid GUID (file=F)"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.store << ' ' << c.kept << ' ' << c.flipped);
        const Subject& s = subject(c.store);
        std::string file = fileOf(s, 1).substr(0, c.kept);
        if (c.flipped < file.size())
            file[c.flipped] ^= 1;
        put("list", file);
        const LogFile log;
        SetLastError(0);
        EXPECT_TRUE(read(s, "list") == (Got{c.code, std::string(s.listBytes(), kUntouched)}));
        const char* const frame = s.form == Form::Chained ? "CEncryptedDB" : "CUrlFilterDB";
        EXPECT_THAT(log.messages(),
                    testing::Contains(told(s, {std::string(frame) + "::ReadDBHeader(): " + c.line})[0]));
    }
}

TEST_F(StoreTest, ShortRecordsLeaveTheRestOfTheirSlots) {
    const struct {
        const char* store;
        std::vector<Piece> records;
        std::string first;
        std::string second;
    } cases[] = {
        {"CUrlListDB", {raw(number(0)), lengthed("three")}, zeros(1), "three" + zeros(1)},
        {"CHostListDB", {raw(number(0)), lengthed("three")}, "", "three"},
        // The length says where the text ends, though there is less of it.
        {"CSpyListDB",
         {sealed(number(5)), sealed("two"), lengthed("three")},
         "two" + std::string(2, kUntouched) + zeros(1),
         "three" + zeros(1)},
    };
    for (const auto& c : cases) {
        const Subject& s = subject(c.store);
        FileMaker file(s, 2);
        append(file, c.records);
        put("list", file.content());
        std::string expected = listOf(s, 2, 0);
        expected.replace(s.slotAt(0), c.first.size(), c.first).replace(s.slotAt(1), c.second.size(), c.second);
        EXPECT_TRUE(read(s, "list") == (Got{0, expected})) << s;
    }
}

} // namespace
