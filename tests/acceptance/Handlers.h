// A handler and its redirects through the exports.
#pragma once

#include "FieldRecords.h"

#include <cstring>
#include <string>
#include <vector>

inline constexpr std::uint32_t kWeb = WDLT_PROTOCOL_SYSTEM_HTTP;
inline constexpr std::uint64_t kHead = sizeof(WdchSystemProtocolHandler);
inline constexpr std::uint64_t kEntry = sizeof(WdchSystemRedirect);
inline const std::string kWebKey = "ProtocolHandler\\Web";

inline std::string keyOf(const std::string& session) {
    return kWebKey + "\\Redirect\\" + session;
}

// Copies a text into a field, truncated to it; one that fills the field has no terminator.
template <class Character, std::size_t Size>
void put(Character (&field)[Size], const std::basic_string<Character>& text) {
    std::memset(field, 0, sizeof field);
    text.copy(field, Size);
}

inline WdchSystemRedirect redirect(const WideString& session, std::uint16_t port = 80, std::uint32_t flag = 0,
                                   const std::string& process = "", const WideString& image = WTEXT("")) {
    WdchSystemRedirect entry;
    std::memset(&entry, 0xEE, sizeof entry); // reserved fields are ignored
    put(entry.sessionType, session);
    entry.port = port;
    entry.flag = flag;
    put(entry.process, process);
    put(entry.image, image);
    return entry;
}

class Handlers : public FieldRecord {
  protected:
    struct Handler {
        WdchSystemProtocolHandler head{};
        std::vector<WdchSystemRedirect> redirects;
    };
    // Asks for the size, then reads into an unaligned buffer.
    Handler readHandler(std::uint32_t protocol = kWeb) const {
        const auto read = WDLT_CALL(library, WdltReadConfig);
        std::uint64_t size = 0;
        EXPECT_EQ(read(protocol, 0, 0, nullptr, &size), WDLT_E_BUFFER_SIZE);
        std::vector<BYTE> buffer(1 + size);
        BYTE* const data = buffer.data() + 1;
        EXPECT_EQ(read(protocol, 0, 99, data, &size), WDLT_OK);
        Handler handler;
        std::memcpy(&handler.head, data, kHead);
        EXPECT_EQ(reinterpret_cast<BYTE*>(handler.head.redirects), data + kHead);
        EXPECT_EQ(size, kHead + handler.head.redirectCount * kEntry);
        for (const BYTE* entry = data + kHead; entry < data + size; entry += kEntry)
            std::memcpy(&handler.redirects.emplace_back(), entry, kEntry);
        return handler;
    }
    std::vector<WdchSystemRedirect> redirects() const { return readHandler().redirects; }
    WdchSystemRedirect readOne() const {
        const auto entries = redirects();
        EXPECT_EQ(entries.size(), 1u);
        return entries.empty() ? WdchSystemRedirect{} : entries[0];
    }
    std::int32_t write(WdchSystemProtocolHandler& head, std::uint32_t protocol = kWeb) const {
        return FieldRecord::write(protocol, 0, head);
    }
    std::int32_t add(WdchSystemRedirect entry, std::uint32_t protocol = kWeb) const {
        return FieldRecord::write(protocol, 0, entry, WDLT_CONFIG_REDIRECT_ADD);
    }
    std::int32_t remove(const WideString& session, std::uint32_t protocol = kWeb) const {
        WdchSystemRedirect entry = redirect(session);
        return FieldRecord::write(protocol, 0, entry, WDLT_CONFIG_REDIRECT_DELETE);
    }
};
