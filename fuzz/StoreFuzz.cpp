// The protected record stores: whatever a file holds, a read stays inside the file and the caller's list, a search of
// the URL list agrees with its records, and what was read can be written and reads back the same.
//
// The first byte selects the store and how the others become its file: as they are, after a valid header, or as records
// that are enciphered here, so that the fuzzer gets past the cipher.
#include "FuzzFolder.h"
#include "HostListDB.h"
#include "SpyListDB.h"
#include "StoreKeys.h"
#include "UrlCategoryDB.h"
#include "UrlCategoryGroupDB.h"
#include "UrlListDB.h"
#include "UrlLogDB.h"
#include "UrlMatching.h"

#include <wdltcfg/status.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace {

using Bytes = std::span<const std::uint8_t>;

using fuzz::demand;
using fuzz::folder;
using fuzz::put;

enum class Records { Lengthed, Fixed, Chained };

struct Subject {
    std::function<std::unique_ptr<wdlt::RecordFile>()> make;
    const char* guid;
    const wdlt::StoreKey& key;
    Records records;
    std::size_t headBytes; // in the caller's list
    std::size_t slotBytes; // likewise
    std::size_t maximum;
    std::size_t plainBytes;          // before the fields of a fixed record
    std::vector<std::size_t> fields; // sizes of a fixed record's enciphered fields
    bool holdsTexts;                 // a slot counts only up to its terminator

    std::size_t listBytes() const { return headBytes + maximum * slotBytes; }
};

template <class Store>
std::unique_ptr<wdlt::RecordFile> makeStore() {
    auto store = std::make_unique<Store>();
    store->setTempFolder(folder().string());
    return store;
}

const std::vector<Subject>& subjects() {
    static const std::vector<Subject> all{
        {makeStore<CUrlListDB>,
         "Halvermoor:Wardlet:URLFilter:01",
         wdlt::kListKey,
         Records::Lengthed,
         8,
         2084,
         500,
         0,
         {},
         true},
        {makeStore<CUrlCategoryDB>,
         "Halvermoor:Wardlet:URLFilter:02",
         wdlt::kCategoryKey,
         Records::Fixed,
         4,
         131,
         256,
         3,
         {128},
         false},
        {makeStore<CUrlCategoryGroupDB>,
         "Halvermoor:Wardlet:URLFilter:03",
         wdlt::kCategoryKey,
         Records::Fixed,
         4,
         899,
         256,
         3,
         {128, 768},
         false},
        {makeStore<CUrlLogDB>,
         "Halvermoor:Wardlet:URLFilter:04",
         wdlt::kLogIndexKey,
         Records::Fixed,
         4,
         772,
         256,
         4,
         {768},
         false},
        {makeStore<CHostListDB>,
         "Halvermoor:Wardlet:HostFilter:01",
         wdlt::kListKey,
         Records::Lengthed,
         8,
         306,
         1024,
         0,
         {},
         false},
        {makeStore<CSpyListDB>,
         "Halvermoor:Wardlet:SpywareDB:01",
         wdlt::kSpywareKey,
         Records::Chained,
         8,
         129,
         256,
         0,
         {},
         true},
    };
    return all;
}

// A store's file under construction.
class FileBytes {
  public:
    explicit FileBytes(const Subject& subject) : m_subject(subject) {
        m_cipher.Init(Rijndael::kCbc, Rijndael::kEncrypt, subject.key.data(), Rijndael::kKey16Bytes);
    }
    const std::vector<std::uint8_t>& bytes() const { return m_bytes; }

    void append(Bytes bytes) { m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end()); }
    void appendHeader(std::uint32_t count) {
        std::array<std::uint8_t, 32> guid{};
        std::copy_n(m_subject.guid, std::min(std::strlen(m_subject.guid) + 1, guid.size()), guid.begin());
        item(guid);
        item(bytesOf(1));
        item(bytesOf(count));
    }
    // Takes one record from the front of `input`, padded with zeros where that is too short.
    void appendRecord(Bytes& input) {
        switch (m_subject.records) {
        case Records::Lengthed: {
            const std::vector<std::uint8_t> message = encipher(takeText(input));
            append(bytesOf(static_cast<std::uint32_t>(message.size())));
            append(message);
            break;
        }
        case Records::Fixed:
            append(take(input, m_subject.plainBytes));
            for (const std::size_t field : m_subject.fields)
                append(encipher(take(input, field - 1)));
            break;
        case Records::Chained: {
            const std::vector<std::uint8_t> text = takeText(input);
            item(bytesOf(static_cast<std::uint32_t>(text.size())));
            item(text);
            break;
        }
        }
    }

  private:
    static std::array<std::uint8_t, 4> bytesOf(std::uint32_t number) {
        std::array<std::uint8_t, 4> bytes;
        std::memcpy(bytes.data(), &number, sizeof number);
        return bytes;
    }
    static std::vector<std::uint8_t> take(Bytes& input, std::size_t size) {
        const std::size_t there = std::min(size, input.size());
        std::vector<std::uint8_t> taken(input.begin(), input.begin() + static_cast<std::ptrdiff_t>(there));
        taken.resize(size);
        input = input.subspan(there);
        return taken;
    }
    // Takes the first line, without its newline.
    static std::vector<std::uint8_t> takeText(Bytes& input) {
        const auto end = std::ranges::find(input, std::uint8_t{'\n'});
        std::vector<std::uint8_t> text(input.begin(), end);
        input = {end == input.end() ? end : end + 1, input.end()};
        return text;
    }
    std::vector<std::uint8_t> encipher(Bytes plain) {
        std::vector<std::uint8_t> message(plain.size() + Rijndael::kBlockBytes);
        const auto size = static_cast<std::int32_t>(plain.size());
        const std::int32_t written = m_subject.records == Records::Chained
                                         ? m_cipher.PadEncryptChained(plain.data(), size, message.data())
                                         : m_cipher.PadEncrypt(plain.data(), size, message.data());
        demand(written >= 0);
        message.resize(static_cast<std::size_t>(written));
        return message;
    }
    void item(Bytes plain) {
        if (m_subject.records == Records::Chained)
            append(encipher(plain));
        else
            append(plain);
    }

    const Subject& m_subject;
    Rijndael m_cipher;
    std::vector<std::uint8_t> m_bytes;
};

std::vector<std::uint8_t> fileOf(const Subject& subject, unsigned form, Bytes input) {
    FileBytes file(subject);
    if (form == 0 || input.empty()) {
        file.append(input);
    } else if (form == 1) {
        file.appendHeader(input.front() * 5U); // may exceed any store's maximum
        file.append(input.subspan(1));
    } else {
        const std::uint32_t count = input.front();
        file.appendHeader(count);
        Bytes rest = input.subspan(1);
        for (std::uint32_t i = 0; i < count && !rest.empty(); ++i)
            file.appendRecord(rest);
    }
    return file.bytes();
}

// The caller's list, allocated at its exact size.
class List {
  public:
    explicit List(const Subject& subject)
        : m_subject(subject), m_bytes(std::make_unique<std::uint8_t[]>(subject.listBytes())) {}

    std::int32_t read(const std::string& file) {
        std::uint64_t size = m_subject.listBytes();
        const std::int32_t status = m_subject.make()->Read(file.c_str(), m_bytes.get(), &size);
        demand(size == m_subject.listBytes() && count() <= m_subject.maximum);
        demand(count() == m_subject.maximum || isUntouched(count()));
        if (status == WDLT_OK && m_subject.holdsTexts)
            for (std::size_t i = 0; i < count(); ++i)
                demand(std::memchr(slot(i), '\0', m_subject.slotBytes) != nullptr);
        return status;
    }
    std::int32_t write(const std::string& file) const {
        std::uint64_t size = m_subject.listBytes();
        return m_subject.make()->Write(file.c_str(), m_bytes.get(), &size);
    }
    std::uint32_t count() const {
        std::uint32_t number = 0;
        std::memcpy(&number, m_bytes.get() + m_subject.headBytes - sizeof number, sizeof number);
        return number;
    }
    const char* slot(std::size_t index) const {
        return reinterpret_cast<const char*>(m_bytes.get()) + m_subject.headBytes + index * m_subject.slotBytes;
    }
    bool operator==(const List& other) const {
        if (count() != other.count())
            return false;
        for (std::size_t i = 0; i < count(); ++i) {
            const bool same = m_subject.holdsTexts ? std::strcmp(slot(i), other.slot(i)) == 0
                                                   : std::memcmp(slot(i), other.slot(i), m_subject.slotBytes) == 0;
            if (!same)
                return false;
        }
        return true;
    }

  private:
    bool isUntouched(std::size_t index) const {
        return std::all_of(slot(index), slot(index) + m_subject.slotBytes, [](char c) { return c == '\0'; });
    }

    const Subject& m_subject;
    std::unique_ptr<std::uint8_t[]> m_bytes;
};

// What a search must find, and its status: matches each URL against each record.
std::int32_t searchSlowly(const List& list, std::span<WdpeUrlfQueryEntry> entries) {
    for (std::size_t i = 0; i < list.count(); ++i) {
        CMatchingUrlRecord record;
        if (!record.Init(list.slot(i)))
            return WDLT_E_GENERAL;
        for (WdpeUrlfQueryEntry& entry : entries) {
            CMatchingUrl url;
            demand(url.Init(entry.szUrl));
            if (record.Match(url))
                entry.dwExists = 1;
        }
        if (std::ranges::all_of(entries, [](const auto& entry) { return entry.dwExists == 1; }))
            break;
    }
    return WDLT_OK;
}

// Searches for the input's last line and for the first record's own text.
void search(const std::string& file, const List& list, std::int32_t readStatus, Bytes input) {
    std::vector<WdpeUrlfQueryEntry> entries(2);
    const auto lineEnd = std::find(input.rbegin(), input.rend(), std::uint8_t{'\n'});
    const Bytes line(lineEnd.base(), input.end());
    std::copy_n(line.begin(), std::min(line.size(), sizeof entries[0].szUrl - 1), entries[0].szUrl);
    std::copy_n(list.slot(0), sizeof entries[1].szUrl, entries[1].szUrl);
    std::vector<WdpeUrlfQueryEntry> expected = entries;

    WdpeUrlfQuery query{0, 2, entries.data()};
    const std::int32_t status = CUrlListDB().CheckIfUrlRecordExists(file.c_str(), &query);
    if (readStatus != WDLT_OK)
        return;
    demand(status == searchSlowly(list, expected));
    for (std::size_t i = 0; i < entries.size(); ++i)
        demand(entries[i].dwExists == expected[i].dwExists);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const Subject& subject = subjects()[data[0] % subjects().size()];
    const auto form = static_cast<unsigned>(data[0] / subjects().size() % 3);
    const Bytes input(data + 1, size - 1);

    const std::string file = folder() / "read";
    put(file, fileOf(subject, form, input));
    List list(subject);
    const std::int32_t status = list.read(file);
    if (&subject == &subjects().front())
        search(file, list, status, input);
    if (status != WDLT_OK)
        return 0;

    const std::string written = folder() / "written";
    const std::int32_t writeStatus = list.write(written);
    if (writeStatus == WDLT_E_INVALID_ARGUMENT && subject.holdsTexts)
        return 0; // an empty text, which a list must not contain
    demand(writeStatus == WDLT_OK);
    List again(subject);
    demand(again.read(written) == WDLT_OK && again == list);
    return 0;
}
