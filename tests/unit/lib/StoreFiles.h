// The six record stores for tests: their lists and files, laid out and enciphered here without the stores' code.
#pragma once

#include "HostListDB.h"
#include "SpyListDB.h"
#include "StoreKeys.h"
#include "UrlCategoryDB.h"
#include "UrlCategoryGroupDB.h"
#include "UrlListDB.h"
#include "UrlLogDB.h"

#include <TestFiles.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <numeric>
#include <ostream>
#include <string>
#include <vector>

namespace store_files {

enum class Form { Lengthed, Fixed, Chained };

struct Subject {
    const char* name; // the class's name
    std::string mutex;
    std::string magic;
    const wdlt::StoreKey& key;
    Form form;
    std::size_t slotBytes;
    std::uint32_t maximum;
    std::size_t mostText;            // 0: the records aren't texts
    std::vector<std::size_t> fields; // field sizes of a fixed record in the list; bytes before them are plain
    const char* golden;
    std::unique_ptr<wdlt::RecordFile> (*make)();

    std::size_t headBytes() const { return form == Form::Fixed ? 4 : 8; }
    std::size_t plainBytes() const { return slotBytes - std::reduce(fields.begin(), fields.end()); }
    std::size_t listBytes() const { return headBytes() + maximum * slotBytes; }
    std::size_t slotAt(std::uint32_t record) const { return headBytes() + record * slotBytes; }
};

inline std::ostream& operator<<(std::ostream& out, const Subject& subject) {
    return out << subject.name;
}

template <class Store>
std::unique_ptr<wdlt::RecordFile> make() {
    return std::make_unique<Store>();
}

inline const std::vector<Subject>& subjects() {
    using enum Form;
    static const auto mutex = [](const std::string& name) { return "WDPE_" + name + "_Access_Mutex"; };
    static const auto magic = [](std::string name) {
        name.insert(0, "Halvermoor:Wardlet:").resize(32);
        return name;
    };
    // clang-format off
    static const std::vector<Subject> all{
        {"CUrlListDB", mutex("UrlList"), magic("URLFilter:01"), wdlt::kListKey, Lengthed,
         2084, 500, 2083, {}, "url_list.db", make<CUrlListDB>},
        {"CUrlCategoryDB", mutex("Category"), magic("URLFilter:02"), wdlt::kCategoryKey, Fixed,
         131, 256, 0, {128}, "category.db", make<CUrlCategoryDB>},
        {"CUrlCategoryGroupDB", mutex("CategoryGroup"), magic("URLFilter:03"), wdlt::kCategoryKey, Fixed,
         899, 256, 0, {128, 768}, "category_group.db", make<CUrlCategoryGroupDB>},
        {"CUrlLogDB", mutex("LogIndex"), magic("URLFilter:04"), wdlt::kLogIndexKey, Fixed,
         772, 256, 0, {768}, "log_index.db", make<CUrlLogDB>},
        {"CHostListDB", mutex("HostList"), magic("HostFilter:01"), wdlt::kListKey, Lengthed,
         306, 1024, 0, {}, "host_list.db", make<CHostListDB>},
        {"CSpyListDB", mutex("SpyList"), magic("SpywareDB:01"), wdlt::kSpywareKey, Chained,
         129, 256, 128, {}, "spy_list.db", make<CSpyListDB>},
    };
    // clang-format on
    return all;
}

inline const Subject& subject(const std::string& name) {
    for (const Subject& candidate : subjects())
        if (name == candidate.name)
            return candidate;
    throw std::out_of_range(name);
}

// The size of an enciphered message with that many plain bytes.
constexpr std::size_t padded(std::size_t plainBytes) {
    return (plainBytes / 16 + 1) * 16;
}

inline std::string number(std::uint32_t value) {
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8)
        bytes += static_cast<char>(value >> shift & 0xFF);
    return bytes;
}

// Fills the parts of a list that a read must not touch.
constexpr char kUntouched = '\xA5';

// A text's length; the last three records of a full list have the shortest, one of whole blocks, and the longest.
inline std::size_t textLength(const Subject& subject, std::uint32_t record) {
    switch (subject.maximum - record) {
    case 3:
        return 1;
    case 2:
        return 16;
    case 1:
        return subject.mostText;
    default:
        return 1 + (19 + record * 53) % subject.mostText;
    }
}

// A record in its slot. Texts use all byte values but 0, opaque records and fields all values. Bytes after a text don't
// belong to it; bytes after the terminator of a field do.
inline std::string slotOf(const Subject& subject, std::uint32_t record) {
    std::string slot(subject.slotBytes, kUntouched);
    if (subject.mostText != 0) {
        const std::size_t length = textLength(subject, record);
        for (std::size_t i = 0; i < length; ++i)
            slot[i] = static_cast<char>(1 + (i * 7 + record * 31) % 255);
        slot[length] = '\0';
        return slot;
    }
    for (std::size_t i = 0; i < slot.size(); ++i)
        slot[i] = static_cast<char>((i * 11 + record * 29) % 256);
    std::size_t end = subject.plainBytes();
    for (const std::size_t field : subject.fields)
        slot[(end += field) - 1] = '\0';
    return slot;
}

// A whole list that says `count` and has the first `told` records.
inline std::string listOf(const Subject& subject, std::uint32_t count, std::uint32_t told) {
    std::string list(subject.listBytes(), kUntouched);
    list.replace(subject.headBytes() - 4, 4, number(count));
    for (std::uint32_t i = 0; i < told; ++i)
        list.replace(subject.slotAt(i), subject.slotBytes, slotOf(subject, i));
    return list;
}
inline std::string listOf(const Subject& subject, std::uint32_t count) {
    return listOf(subject, count, count);
}

// A store's file, put together piece by piece.
class FileMaker {
  public:
    FileMaker(const Subject& subject, std::uint32_t count) : FileMaker(subject, count, subject.key) {}
    FileMaker(const Subject& subject, std::uint32_t count, const wdlt::StoreKey& key) : m_subject(subject) {
        m_cipher.Init(Rijndael::kCbc, Rijndael::kEncrypt, key.data(), Rijndael::kKey16Bytes);
        for (const std::string& field : {subject.magic, number(1), number(count)})
            m_content += subject.form == Form::Chained ? message(field) : field;
    }

    // Appends bytes as they are.
    FileMaker& raw(const std::string& bytes) {
        m_content += bytes;
        return *this;
    }
    // Appends enciphered bytes, chained if the store is.
    FileMaker& enciphered(const std::string& plain) { return raw(message(plain)); }
    // Appends enciphered bytes after their length.
    FileMaker& lengthed(const std::string& plain) {
        const bool chained = m_subject.form == Form::Chained;
        raw(chained ? message(number(static_cast<std::uint32_t>(plain.size())))
                    : number(static_cast<std::uint32_t>(padded(plain.size()))));
        return enciphered(plain);
    }
    FileMaker& record(const std::string& slot) {
        if (m_subject.form != Form::Fixed)
            return lengthed(m_subject.mostText != 0 ? slot.substr(0, slot.find('\0')) : slot);
        std::size_t at = m_subject.plainBytes();
        raw(slot.substr(0, at));
        for (const std::size_t field : m_subject.fields) {
            enciphered(slot.substr(at, field - 1));
            at += field;
        }
        return *this;
    }
    FileMaker& records(std::uint32_t count) {
        for (std::uint32_t i = 0; i < count; ++i)
            record(slotOf(m_subject, i));
        return *this;
    }
    const std::string& content() const { return m_content; }
    const Subject& subject() const { return m_subject; }

  private:
    std::string message(const std::string& plain) {
        std::string cipher(padded(plain.size()), '\0');
        const auto* const from = reinterpret_cast<const std::uint8_t*>(plain.data());
        auto* const to = reinterpret_cast<std::uint8_t*>(cipher.data());
        const auto size = static_cast<std::int32_t>(plain.size());
        EXPECT_GE(m_subject.form == Form::Chained ? m_cipher.PadEncryptChained(from, size, to)
                                                  : m_cipher.PadEncrypt(from, size, to),
                  0);
        return cipher;
    }

    const Subject& m_subject;
    Rijndael m_cipher;
    std::string m_content;
};

inline std::string fileOf(const Subject& subject, std::uint32_t count) {
    return FileMaker(subject, count).records(count).content();
}

// An abandoned mutex, for as long as the handle lives.
inline Handle abandonedMutex(const std::string& name) {
    Handle mutex = makeMutex(("Global\\" + name).c_str());
    EXPECT_EQ(waitElsewhere(mutex, INFINITE), WAIT_OBJECT_0);
    return mutex;
}

// Stores that work in the test's folder, with temporary files in a folder below it.
class StoreTest : public TestFiles {
  protected:
    struct Got {
        std::int32_t code;
        std::string list;
        bool operator==(const Got&) const = default;
    };

    // Must come before the layer sets up a home: rereading the environment would make it forget that home.
    static void SetUpTestSuite() { WdTestRereadEnvironment(); }

    StoreTest() { std::filesystem::create_directory(at("temp")); }

    std::unique_ptr<wdlt::RecordFile> make(const Subject& subject) const {
        auto store = subject.make();
        store->setTempFolder(at("temp").string());
        return store;
    }
    Got read(const Subject& subject, const std::string& name) const {
        Got got{0, std::string(subject.listBytes(), kUntouched)};
        std::uint64_t size = got.list.size();
        got.code = make(subject)->Read(at(name).c_str(), got.list.data(), &size);
        return got;
    }
    std::int32_t write(const Subject& subject, const std::string& name, const std::string& list) const {
        std::uint64_t size = list.size();
        return make(subject)->Write(at(name).c_str(), list.data(), &size);
    }
    std::ptrdiff_t temporaryFiles() const { return std::distance(std::filesystem::directory_iterator(at("temp")), {}); }
};

} // namespace store_files
