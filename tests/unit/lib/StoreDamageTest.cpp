// Files of the record stores that are cut at every byte, have every bit flipped, or hold anything: the code, the
// records told before the damage, and the lines. What is expected follows from the layout of a file, not from the
// stores.
#include "StoreFiles.h"

#include <LogFile.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fcntl.h>
#include <functional>
#include <optional>
#include <random>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace store_files;
using testing::ElementsAreArray;

// A stretch of a small file.
struct Part {
    enum Kind { Magic, Version, Count, Length, Plain, Message, Item } kind; // an item is a message that gives no text
    std::size_t begin;
    std::size_t end;
    std::uint32_t record;
    std::size_t slotOffset;
    std::size_t plainBytes;
};

std::vector<Part> layoutOf(const Subject& s, std::uint32_t records) {
    std::vector<Part> parts;
    std::size_t at = 0;
    const auto add = [&](Part::Kind kind, std::size_t bytes, std::uint32_t record = 0, std::size_t slotOffset = 0,
                         std::size_t plainBytes = 0) {
        parts.push_back({kind, at, at + bytes, record, slotOffset, plainBytes});
        at += bytes;
    };
    const bool chained = s.form == Form::Chained;
    for (const auto& [kind, bytes] : {std::pair(Part::Magic, 32), {Part::Version, 4}, {Part::Count, 4}})
        add(kind, chained ? padded(static_cast<std::size_t>(bytes)) : static_cast<std::size_t>(bytes));
    for (std::uint32_t i = 0; i < records; ++i) {
        if (s.form != Form::Fixed) {
            const std::size_t bytes = s.mostText != 0 ? textLength(s, i) : s.slotBytes;
            add(chained ? Part::Item : Part::Length, chained ? 16 : 4, i);
            add(Part::Message, padded(bytes), i, 0, bytes);
            continue;
        }
        add(Part::Plain, s.plainBytes, i);
        std::size_t offset = s.plainBytes;
        for (const std::size_t field : s.fields) {
            add(Part::Message, field, i, offset, field - 1);
            offset += field;
        }
    }
    return parts;
}

// What a read gives: its code, or one of two; the count and the records that it tells, the list untouched without a
// count; and bytes of a record's slot that may be anything.
struct Outcome {
    std::int32_t code;
    std::optional<std::uint32_t> count = std::nullopt;
    std::uint32_t told = 0;
    std::size_t anyFrom = 0;
    std::size_t anyBytes = 0;
    std::optional<std::size_t> flippedAt = std::nullopt;
    bool mayDecipher = false; // to something else, by chance
};

// Reads one small file again and again and compares as much of the list as its records reach.
class DamagedStore : public StoreTest, public testing::WithParamInterface<Subject> {
  protected:
    static constexpr std::uint32_t kRecords = 3;

    void expectRead(const Outcome& outcome, unsigned char flip = 0) {
        const std::size_t looked = s.slotAt(kRecords + 1);
        std::fill_n(m_list.begin(), looked, kUntouched);
        std::uint64_t size = m_list.size();
        const std::int32_t code = make(s)->Read(at("list").c_str(), m_list.data(), &size);
        EXPECT_TRUE(code == outcome.code || (outcome.mayDecipher && code == 0)) << code << ", not " << outcome.code;
        std::string expected = m_whole.substr(0, s.slotAt(code == 0 && outcome.mayDecipher ? kRecords : outcome.told));
        expected.resize(looked, kUntouched);
        expected.replace(s.headBytes - 4, 4, outcome.count ? number(*outcome.count) : std::string(4, kUntouched));
        if (outcome.flippedAt)
            expected[*outcome.flippedAt] = static_cast<char>(expected[*outcome.flippedAt] ^ flip);
        expected.replace(outcome.anyFrom, outcome.anyBytes, m_list, outcome.anyFrom, outcome.anyBytes);
        EXPECT_TRUE(m_list.compare(0, looked, expected) == 0) << "another list";
        m_byChance += outcome.mayDecipher && code == 0 ? 1 : 0;
        ++m_reads;
    }
    // Records before `record` told; its own slot may be half filled where it is read in place.
    Outcome fails(std::int32_t code, std::uint32_t record) const {
        Outcome outcome{code, kRecords, record};
        if (s.form == Form::Fixed) {
            outcome.anyFrom = s.slotAt(record);
            outcome.anyBytes = s.slotBytes;
        }
        return outcome;
    }
    Outcome flipped(const Part& part, std::size_t at, unsigned char bit) const;

    const Subject& s = GetParam();
    const std::string m_file = fileOf(s, kRecords);
    const std::string m_whole = listOf(s, kRecords);
    std::string m_list = std::string(s.listBytes(), kUntouched);
    int m_reads = 0;
    int m_byChance = 0;
};

INSTANTIATE_TEST_SUITE_P(Each, DamagedStore, testing::ValuesIn(subjects()),
                         [](const auto& info) { return std::string(info.param.name); });

Outcome DamagedStore::flipped(const Part& part, std::size_t at, unsigned char bit) const {
    const std::size_t index = at - part.begin;
    const bool chained = s.form == Form::Chained;
    const std::size_t rest = m_file.size() - part.end;
    switch (part.kind) {
    case Part::Magic:
        // In a chain the first of its blocks has no padding of the message near it.
        return {chained && index >= 16 ? -1 : -8};
    case Part::Version:
        return {chained ? -1 : -8};
    case Part::Item:
        return fails(-1, part.record);
    case Part::Count: {
        if (chained)
            return {-1};
        const auto count = kRecords ^ static_cast<std::uint32_t>(bit) << 8 * index;
        if (count < kRecords)
            return {0, count, count};
        if (s.form == Form::Fixed && count > s.maximum)
            return {-1};
        return {-8, std::min(count, s.maximum), kRecords};
    }
    case Part::Length: {
        std::uint32_t length = 0;
        m_file.copy(reinterpret_cast<char*>(&length), sizeof length, part.begin);
        length ^= static_cast<std::uint32_t>(bit) << 8 * index;
        if (length > padded(s.mostText != 0 ? s.mostText : s.slotBytes) + 3 || length > rest)
            return fails(-8, part.record);
        if (length != 0)
            return fails(-1, part.record); // no message has this size, or none ends there
        Outcome emptied = fails(part.record + 1 == kRecords ? 0 : -8, part.record); // the next length is none
        emptied.anyFrom = s.slotAt(part.record);
        emptied.anyBytes = 1;
        return emptied;
    }
    case Part::Plain:
        return {0, kRecords, kRecords, 0, 0, s.slotAt(part.record) + index};
    case Part::Message:
        break;
    }
    const std::size_t block = index / 16;
    const std::size_t last = (part.end - part.begin) / 16 - 1;
    const std::size_t slot = s.slotAt(part.record) + part.slotOffset;
    const bool isKept = block + 1 < last || (block + 1 == last && index % 16 < part.plainBytes % 16);
    if (isKept) // the block is lost, in the next one the same bit is flipped
        return {0, kRecords, kRecords, slot + block * 16, 16, slot + index + 16};
    Outcome outcome = fails(-1, part.record);
    outcome.mayDecipher = block == last && !chained; // what the block becomes may look like padding
    if (outcome.mayDecipher && s.form != Form::Fixed) {
        outcome.anyFrom = slot + block * 16;
        outcome.anyBytes = 17;
    }
    return outcome;
}

TEST_P(DamagedStore, CutAnywhere) {
    const std::vector<Part> parts = layoutOf(s, kRecords);
    ASSERT_EQ(parts.back().end, m_file.size());
    put("list", m_file);
    const std::size_t header = s.form == Form::Chained ? 80 : 36;
    for (std::size_t bytes = m_file.size(); bytes-- > 0;) {
        SCOPED_TRACE(testing::Message() << bytes << " of " << m_file.size() << " bytes");
        fs::resize_file(at("list"), bytes);
        const auto cut = std::find_if(parts.begin(), parts.end(), [&](const Part& part) { return bytes < part.end; });
        if (bytes < header)
            expectRead({-8});
        else if (cut->kind == Part::Count) // a list without its count is an empty one
            expectRead({0, 0});
        else
            expectRead(fails(-8, cut->record));
        if (HasFailure())
            return;
    }
}

TEST_P(DamagedStore, FlippedAnywhere) {
    put("list", m_file);
    const int file = ::open(at("list").c_str(), O_WRONLY | O_CLOEXEC);
    ASSERT_GE(file, 0);
    for (const Part& part : layoutOf(s, kRecords))
        for (std::size_t i = part.begin; i < part.end && !HasFailure(); ++i)
            for (unsigned bit = 1; bit < 256; bit <<= 1) {
                SCOPED_TRACE(testing::Message() << "bit " << bit << " of byte " << i << ", part " << part.kind
                                                << " of record " << part.record);
                const auto put = [&](char byte) { ASSERT_EQ(pwrite(file, &byte, 1, static_cast<off_t>(i)), 1); };
                put(static_cast<char>(m_file[i] ^ static_cast<char>(bit)));
                expectRead(flipped(part, i, static_cast<unsigned char>(bit)), static_cast<unsigned char>(bit));
                put(m_file[i]);
            }
    close(file);
    expectRead({0, kRecords, kRecords});
    EXPECT_EQ(m_list.find_first_not_of(kUntouched, s.slotAt(kRecords)), std::string::npos);
    EXPECT_LT(m_byChance, m_reads / 100);
}

TEST_P(DamagedStore, RandomBytes) {
    const unsigned seed = std::random_device()();
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    for (int i = 0; i < 300; ++i) {
        std::string noise(random() % 2500, '\0');
        std::generate(noise.begin(), noise.end(), [&] { return static_cast<char>(random()); });
        if (i % 4 != 0 && s.form == Form::Lengthed) // so that some lengths are good ones
            noise.replace(0, 4, number(static_cast<std::uint32_t>(random() % 140 * 16 + random() % 2)))
                .resize(std::max<std::size_t>(noise.size(), 4));
        put("list", i % 4 == 0 ? noise : FileMaker(s, static_cast<std::uint32_t>(random() % 3)).raw(noise).content());
        const std::int32_t code = read(s, "list").code;
        EXPECT_TRUE(code == 0 || code == -1 || code == -8) << code;
    }
}

TEST_F(StoreTest, DamagedRecordsAreTold) {
    const auto bytes = [](std::size_t count) { return std::string(count, '\0'); };
    const std::string zeros = bytes(4096);
    const auto size = [](int got, int wanted) {
        return "CUrlFilterDB: Read size unmatched (dwReadSize=" + std::to_string(got) +
               ", dwSizeToRead=" + std::to_string(wanted) + ", file=F)";
    };
    const struct {
        std::string store;
        std::int32_t code;
        std::vector<std::string> lines;
        std::function<void(FileMaker&)> damage; // the second record of two
    } cases[] = {
        {"CUrlListDB",
         -8,
         {"CUrlListDB: A record size is too large (size=2100, file=F)"},
         [&](FileMaker& f) { f.raw(number(2100)).raw(zeros); }},
        {"CUrlListDB",
         -1,
         {"CUrlListDB::Read(): Failed to decrypt a record (err=-7, file=F)"},
         [&](FileMaker& f) { f.raw(number(2099)).raw(zeros); }},
        {"CUrlListDB",
         -1,
         {"CUrlListDB::Read(): A decrypted record is too large (size=2084, file=F)"},
         [&](FileMaker& f) { f.lengthed(bytes(2084)); }},
        {"CUrlListDB",
         -8,
         {size(3, 4), "CUrlListDB: Failed to read a size of URL record"},
         [&](FileMaker& f) { f.raw("123"); }},
        {"CUrlListDB",
         -8,
         {size(3, 16), "CUrlListDB: Failed to read a URL record"},
         [&](FileMaker& f) { f.raw(number(16)).raw("123"); }},
        {"CHostListDB",
         -8,
         {"CHostListDB: A record size is too large (size=323, file=F)"},
         [&](FileMaker& f) { f.raw(number(323)).raw(zeros); }},
        {"CHostListDB",
         -1,
         {"CHostListDB::Read(): Failed to decrypt a record (err=-7, file=F)"},
         [&](FileMaker& f) { f.raw(number(322)).raw(zeros); }},
        {"CHostListDB",
         -1,
         {"CHostListDB::Read(): A decrypted record is too large (size=307, file=F)"},
         [&](FileMaker& f) { f.lengthed(bytes(307)); }},
        {"CHostListDB",
         -8,
         {size(0, 4), "CHostListDB: Failed to read a size of hostrecord"},
         [&](FileMaker& f) { f.raw(""); }},
        {"CHostListDB",
         -8,
         {size(0, 320), "CHostListDB: Failed to read a hostrecord"},
         [&](FileMaker& f) { f.raw(number(320)); }},
        {"CSpyListDB",
         -8,
         {"CSpyListDB: A record size is too large (size=129, file=F)"},
         [&](FileMaker& f) { f.lengthed(bytes(129)); }},
        {"CSpyListDB",
         -8,
         {"CEncryptedDB: Read size unmatched (dwReadSize=10, dwBlockSize=16, file=F)",
          "CSpyListDB: Failed to read a size of spyware record"},
         [&](FileMaker& f) { f.raw("1234567890"); }},
        {"CSpyListDB",
         -1,
         {"CEncryptedDB::ReadData(): A decrypted record is too large (size=6, file=F)",
          "CSpyListDB: Failed to read a spyware record"},
         [&](FileMaker& f) { f.enciphered(number(5)).enciphered("123456"); }},
        {"CUrlCategoryDB",
         -8,
         {size(130, 131), "CUrlCategoryDB: Failed to read a category"},
         [&](FileMaker& f) { f.raw(bytes(130)); }},
        {"CUrlCategoryDB",
         -1,
         {"CUrlCategoryDB::Read(): Failed to decrypt a category (err=-7, file=F)"},
         [&](FileMaker& f) { f.raw(bytes(131)); }},
        {"CUrlCategoryDB",
         -1,
         {"CUrlCategoryDB::Read(): A decrypted category size is invalid (size=126, file=F)"},
         [&](FileMaker& f) { f.raw("id.").enciphered(bytes(126)); }},
        {"CUrlCategoryGroupDB",
         -8,
         {size(3, 899), "CUrlCategoryGroupDB: Failed to read a category group"},
         [&](FileMaker& f) { f.raw("id."); }},
        {"CUrlCategoryGroupDB",
         -1,
         {"CUrlCategoryGroupDB: Failed to decrypt a category name (err=-7)",
          "CUrlCategoryGroupDB: Failed to decrypt a category group"},
         [&](FileMaker& f) { f.raw(bytes(899)); }},
        {"CUrlCategoryGroupDB",
         -1,
         {"CUrlCategoryGroupDB: A decrypted category name size is invalid (size=125)",
          "CUrlCategoryGroupDB: Failed to decrypt a category group"},
         [&](FileMaker& f) { f.raw("id.").enciphered(bytes(125)).raw(bytes(768)); }},
        {"CUrlCategoryGroupDB",
         -1,
         {"CUrlCategoryGroupDB:: Failed to decrypt a category list (err=-7, file=F)"},
         [&](FileMaker& f) { f.raw("id.").enciphered(bytes(127)).raw(bytes(768)); }},
        {"CUrlCategoryGroupDB",
         -1,
         {"CUrlCategoryGroupDB:: A decrypted category list size is invalid (size=766, file=F)"},
         [&](FileMaker& f) { f.raw("id.").enciphered(bytes(127)).enciphered(bytes(766)); }},
        {"CUrlLogDB", -8, {size(4, 772), "CUrlLogDB: Failed to read log index"}, [&](FileMaker& f) { f.raw("inde"); }},
        {"CUrlLogDB",
         -1,
         {"CUrlLogDB:: Failed to decrypt a category list (err=-7, file=F)"},
         [&](FileMaker& f) { f.raw(bytes(772)); }},
        {"CUrlLogDB",
         -1,
         {"CUrlLogDB:: A decrypted category list size is invalid (size=752, file=F)"},
         [&](FileMaker& f) { f.raw("inde").enciphered(bytes(752)); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.lines.front());
        const Subject& s = subject(c.store);
        FileMaker file(s, 2);
        c.damage(file.records(1));
        put("list", file.content());
        const LogFile log;
        const Got got = read(s, "list");
        EXPECT_EQ(got.code, c.code);
        EXPECT_TRUE(got.list.substr(0, s.slotAt(1)) == listOf(s, 2, 1).substr(0, s.slotAt(1)));
        std::vector<std::string> lines = c.lines;
        for (std::string& line : lines) {
            line.insert(0, "!!! ");
            if (const auto name = line.find("=F)"); name != std::string::npos)
                line.replace(name + 1, 1, at("list").string());
        }
        EXPECT_THAT(log.messages(), ElementsAreArray(lines));
    }
}

TEST_F(StoreTest, ShortRecordsLeaveTheRestOfTheirSlots) {
    const std::string zero(1, '\0');
    const struct {
        std::string store;
        std::function<void(FileMaker&)> records;
        std::string first;
        std::string second;
    } cases[] = {
        {"CUrlListDB", [](FileMaker& f) { f.raw(number(0)).lengthed("three"); }, zero, "three" + zero},
        {"CHostListDB", [](FileMaker& f) { f.raw(number(0)).lengthed("three"); }, "", "three"},
        // The length says where the text ends, though there is less of it.
        {"CSpyListDB", [](FileMaker& f) { f.enciphered(number(5)).enciphered("two").lengthed("three"); },
         "two" + std::string(2, kUntouched) + zero, "three" + zero},
    };
    for (const auto& c : cases) {
        const Subject& s = subject(c.store);
        FileMaker file(s, 2);
        c.records(file);
        put("list", file.content());
        std::string expected = listOf(s, 2, 0);
        expected.replace(s.slotAt(0), c.first.size(), c.first).replace(s.slotAt(1), c.second.size(), c.second);
        EXPECT_TRUE(read(s, "list") == (Got{0, expected})) << s;
    }
}

} // namespace
