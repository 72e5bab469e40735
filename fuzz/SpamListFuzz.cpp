// The list files of anti-spam: whatever a file holds, a read stays inside the caller's entries and agrees with a simple
// line reader, at any maximum, and what was read can be written and reads back the same.
#include "AntiSpamList.h"
#include "FuzzFolder.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace {

using State = CAntiSpamList::State;

// The entries that a text file should give: its lines, cut into pieces that fit into an entry.
std::vector<std::string> entriesOf(std::string text, std::size_t maximum) {
    constexpr std::size_t kMost = sizeof(WdpeAspmEntry) - 1;
    for (std::size_t at = 0; (at = text.find("\r\n", at)) != text.npos; ++at)
        text.erase(at, 1);
    std::vector<std::string> entries;
    for (std::size_t at = 0; at < text.size() && entries.size() < maximum;) {
        const std::size_t end = std::min({text.find('\n', at), at + kMost, text.size()});
        const bool hasNewline = end < text.size() && text[end] == '\n' && end - at < kMost;
        const std::string_view piece(text.data() + at, end - at);
        if (const auto entry = piece.substr(0, piece.find('\0')); !entry.empty())
            entries.emplace_back(entry);
        at = end + (hasNewline ? 1 : 0);
    }
    return entries;
}

std::vector<std::string> textsOf(const std::vector<WdpeAspmEntry>& entries, int count) {
    std::vector<std::string> texts;
    for (int i = 0; i < count; ++i) {
        const char* const text = entries[static_cast<std::size_t>(i)].szEntry;
        fuzz::demand(std::memchr(text, '\0', sizeof(WdpeAspmEntry)) != nullptr);
        texts.emplace_back(text);
    }
    return texts;
}

} // namespace

// The first byte of the input is the maximum.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const std::size_t maximum = data[0];
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    const std::string file = fuzz::folder() / "list";
    fuzz::put(file, text);
    std::vector<WdpeAspmEntry> entries(maximum);
    int count = -1;
    CAntiSpamList list;
    fuzz::demand(list.Load(file.c_str(), entries.data(), static_cast<int>(maximum), count) == State::Read);
    fuzz::demand(textsOf(entries, count) == entriesOf(text, maximum));

    // When written, a carriage return at the end of an entry becomes part of the line ending.
    const auto endsWell = [](const std::string& entry) { return !entry.ends_with('\r'); };
    const auto texts = textsOf(entries, count);
    fuzz::demand(list.WriteList(file.c_str(), entries.data(), count) == 1);
    if (!std::ranges::all_of(texts, endsWell))
        return 0;
    std::vector<WdpeAspmEntry> again(maximum);
    int countAgain = -1;
    fuzz::demand(list.Load(file.c_str(), again.data(), static_cast<int>(maximum), countAgain) == State::Read);
    fuzz::demand(textsOf(again, countAgain) == texts);
    return 0;
}
