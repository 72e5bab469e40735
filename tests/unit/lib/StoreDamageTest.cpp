// Files of the record stores that are truncated at every byte, have every bit flipped, or hold what no writer writes:
// the code, the records read before the damage, and the log lines.
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

using namespace store_files;

// Reads one small file repeatedly, and compares only the part of the list that its records reach.
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
    // Expects a count of three, and that the records before `record` are intact.
    void expectWholeBefore(std::uint32_t record) const {
        EXPECT_EQ(m_list.substr(s.headBytes() - 4, 4), number(kRecords));
        for (std::uint32_t i = 0; i < record; ++i)
            EXPECT_TRUE(isWhole(i)) << i;
    }
    void write(std::size_t at, char byte) const {
        ASSERT_EQ(pwrite(m_descriptor, &byte, 1, static_cast<off_t>(at)), 1);
    }
    // The record that a byte of the file belongs to; nullopt for the header.
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
    std::vector<std::size_t> m_begins; // offsets of the records, and of the file's end
    int m_descriptor;
};

INSTANTIATE_TEST_SUITE_P(Each, DamagedStore, testing::ValuesIn(subjects()),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_P(DamagedStore, CutAnywhere) {
    const std::size_t count = isChained ? m_begins.front() : 36; // without the count the list is empty
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

// A flipped bit is reported as an error, or changes only its own record: a damaged record never reads as the original.
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
            } else if (code != WDLT_E_GENERAL) { // another count, with the records that exist
                const std::uint32_t count = kRecords ^ bit << (i - 36) * 8;
                EXPECT_EQ(code, count < kRecords ? WDLT_OK : WDLT_E_FILE);
                EXPECT_EQ(m_list.substr(s.headBytes() - 4, 4), number(std::min(count, s.maximum)));
                EXPECT_TRUE(isUntouched(s.slotAt(std::min(count, kRecords))) || s.form == Form::Fixed);
            }
        }
    EXPECT_EQ(readAgain(), WDLT_OK);
    expectWholeBefore(kRecords);
}

std::string zeros(std::size_t count) {
    return std::string(count, '\0');
}

// A file whose header says two records, but which lacks the second.
FileMaker half(const char* store) {
    FileMaker file(subject(store), 2);
    file.records(1);
    return file;
}

TEST_F(StoreTest, DamagedRecordsAreTold) {
    const std::string tooLong = zeros(4096);
    const std::string file = ", file=" + at("list").string() + ")";
    const struct {
        FileMaker damaged;
        std::int32_t code;
        std::string line;
    } cases[] = {
        {half("CUrlListDB").raw("123"), WDLT_E_FILE,
         "CUrlFilterDB: Read size unmatched (dwReadSize=3, dwSizeToRead=4" + file},
        {half("CUrlListDB").raw(number(16) + "123"), WDLT_E_FILE, "CUrlListDB: Failed to read a URL record"},
        {half("CUrlListDB").raw(number(2100) + tooLong), WDLT_E_FILE,
         "CUrlListDB: A record size is too large (size=2100" + file},
        {half("CUrlListDB").raw(number(2099) + tooLong), WDLT_E_GENERAL,
         "CUrlListDB::Read(): Failed to decrypt a record (err=-7" + file},
        {half("CUrlListDB").lengthed(zeros(2084)), WDLT_E_GENERAL,
         "CUrlListDB::Read(): A decrypted record is too large (size=2084" + file},
        {half("CHostListDB").raw(number(323) + tooLong), WDLT_E_FILE,
         "CHostListDB: A record size is too large (size=323" + file},
        {half("CHostListDB").lengthed(zeros(307)), WDLT_E_GENERAL,
         "CHostListDB::Read(): A decrypted record is too large (size=307" + file},
        {half("CSpyListDB").lengthed(zeros(129)), WDLT_E_FILE,
         "CSpyListDB: A record size is too large (size=129" + file},
        {half("CSpyListDB").raw("1234567890"), WDLT_E_FILE,
         "CEncryptedDB: Read size unmatched (dwReadSize=10, dwBlockSize=16" + file},
        {half("CSpyListDB").raw(zeros(16)), WDLT_E_GENERAL, "CSpyListDB: Failed to read a size of spyware record"},
        {half("CSpyListDB").enciphered(number(5)).enciphered("123456"), WDLT_E_GENERAL,
         "CEncryptedDB::ReadData(): A decrypted record is too large (size=6" + file},
        {half("CUrlCategoryDB").raw(zeros(130)), WDLT_E_FILE, "CUrlCategoryDB: Failed to read a category"},
        {half("CUrlCategoryDB").raw(zeros(131)), WDLT_E_GENERAL,
         "CUrlCategoryDB::Read(): Failed to decrypt a category (err=-7" + file},
        {half("CUrlCategoryDB").raw("id.").enciphered(zeros(126)), WDLT_E_GENERAL,
         "CUrlCategoryDB::Read(): A decrypted category size is invalid (size=126" + file},
        {half("CUrlCategoryGroupDB").raw("id.").enciphered(zeros(125)).raw(zeros(768)), WDLT_E_GENERAL,
         "CUrlCategoryGroupDB: A decrypted category name size is invalid (size=125)"},
        {half("CUrlCategoryGroupDB").raw("id.").enciphered(zeros(127)).enciphered(zeros(766)), WDLT_E_GENERAL,
         "CUrlCategoryGroupDB:: A decrypted category list size is invalid (size=766" + file},
        {half("CUrlLogDB").raw("inde").enciphered(zeros(752)), WDLT_E_GENERAL,
         "CUrlLogDB:: A decrypted category list size is invalid (size=752" + file},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        const Subject& s = c.damaged.subject();
        put("list", c.damaged.content());
        const LogFile log;
        const Got got = read(s, "list");
        EXPECT_EQ(got.code, c.code);
        EXPECT_TRUE(got.list.substr(0, s.slotAt(1)) == listOf(s, 2, 1).substr(0, s.slotAt(1)));
        EXPECT_THAT(log.messages(), testing::Contains("!!! " + c.line));
    }
}

} // namespace
