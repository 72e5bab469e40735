// Compiled records, kept from one search to the next. Whether a file has changed can't be told from its times: a mapped
// page that is written to once more, a write within the same tick of the clock, a clock that was set back and utimensat
// all leave them as they were. So only the bytes are believed: each search reads the file, under the store's mutex, and
// a kept record stands for the bytes that it was compiled from, at the same place behind the header. To read and
// compare them takes a fraction of the time to decipher and compile them, and any other change of the file, in place
// or by another one, shows too. Where the first records are the same, those are used.
//
// A list is out of its place while it is used. So there is no lock: another thread, or a child that is forked in the
// middle of a search, finds the place empty, and compiles anew. Without memory nothing is kept.
#pragma once

#include "UrlMatching.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace wdlt {

class CompiledUrls {
  public:
    // Takes a list whose bytes `content` begins with, if one is kept.
    explicit CompiledUrls(std::span<const std::uint8_t> content);
    // Keeps the list for the next search, in place of the one that was used longest ago.
    ~CompiledUrls();
    CompiledUrls(const CompiledUrls&) = delete;
    CompiledUrls& operator=(const CompiledUrls&) = delete;

    std::size_t count() const { return m_list == nullptr ? 0 : m_list->records.size(); }
    const CMatchingUrlRecord& operator[](std::size_t index) const { return m_list->records[index]; }
    // How many bytes of the content the records are.
    std::size_t bytes() const { return m_list == nullptr ? 0 : m_list->bytes.size(); }
    // Adds the record that comes next, and the bytes that it was compiled from. Without bytes, this record and those
    // behind it aren't kept: where they aren't all in the reader's memory at once, or don't alone say what matches.
    void keep(std::span<const std::uint8_t> bytes, CMatchingUrlRecord&& record);

  private:
    struct List {
        std::vector<std::uint8_t> bytes;
        std::vector<CMatchingUrlRecord> records;
    };
    static constexpr std::size_t kKept = 2; // the white list and the black one

    static std::atomic<List*> s_kept[kKept]; // the one used last comes first

    std::unique_ptr<List> m_list;
    bool m_hasEnded = false;
};

} // namespace wdlt
