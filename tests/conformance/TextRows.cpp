#include "Registry.h"

#include <algorithm>
#include <array>
#include <string>

namespace {

using namespace std::literals;
using Wide = std::basic_string<WCHAR>;

constexpr UINT kPages[] = {874, 932, 936, 949, 950, 1250, 1251, 1252, 1253, 1254, 1255, 1256, 1257, 1258, CP_UTF8};

Outcome toWide(UINT page, DWORD flags, std::string_view text) {
    WCHAR wide[40];
    int length = 0;
    const Outcome outcome = made([&] {
        return length = MultiByteToWideChar(page, flags, text.data(), static_cast<int>(text.size()), wide, 40);
    });
    return {outcome.success ? shown(std::basic_string_view<WCHAR>(wide, static_cast<std::size_t>(length)))
                            : outcome.text};
}

void byteRows() {
    for (const UINT page : kPages)
        for (unsigned row16 = page == CP_UTF8 ? 0xF0 : 0x80; row16 < 0x100; row16 += 0x10) {
            std::string line;
            for (unsigned byte = row16; byte < row16 + 0x10; ++byte) {
                const char one = static_cast<char>(byte);
                line += toWide(page, 0, {&one, 1}).text +
                        (toWide(page, MB_ERR_INVALID_CHARS, {&one, 1}).text[0] == '"' ? " " : "! ");
            }
            row("text.bytes", page, Hex{row16})(Word{line});
        }
    for (const UINT page : {932u, 936u, 949u, 950u})
        for (
            const std::string& text : each(
                "\x81\x40~\x81\x5C~\x82\xA0~\xB0\xA1~\x81\x20z~\x81\x3Fz~\x81\x7Fz~\x81\x80~\x81\xFFz~\x81\0z~a\x81~\xA1\xA1~\xC9\xA1~\xF0\x40~\xFC\x4B~\xFE\xFE~\xFD\x40~\xFF\x40~\xE0\x5Cz~\xA0\x41"sv))
            row("text.pair", page, text)(toWide(page, 0, text), toWide(page, MB_ERR_INVALID_CHARS, text));
    for (
        const std::string& text : each(
            "\xC3\xA9~\xE2\x82\xAC~\xF0\x9F\x98\x80~\xC3z~\xC3~\xE2\x82z~\xE2z~\xE2\x82~\xF0\x9F\x98z~\xF0\x9Fz~\xF0z~\x80z~\x80\x80z~\xC0\x80z~\xC1\xBFz~\xE0\x80\x80z~\xED\xA0\x80z~\xED\xBF\xBFz~\xF0\x80\x80\x80z~\xF4\x8F\xBF\xBF~\xF4\x90\x80\x80z~\xF8\x88\x80\x80\x80z~\xFE\xFFz~\xEF\xBB\xBFz~a\0b"sv))
        row("text.utf-8", text)(toWide(CP_UTF8, 0, text), toWide(CP_UTF8, MB_ERR_INVALID_CHARS, text));
}

void wideRows() {
    const WCHAR* const texts[] = {WTEXT("plain"),        WTEXT("\u00E9"),  WTEXT("\u20AC"),  WTEXT("\u0100"),
                                  WTEXT("\u0410"),       WTEXT("\u03B1"),  WTEXT("\u05D0"),  WTEXT("\u0627"),
                                  WTEXT("\u0E01"),       WTEXT("\u3042"),  WTEXT("\uFF71"),  WTEXT("\u4E00"),
                                  WTEXT("\uAC00"),       WTEXT("\u221E"),  WTEXT("\u2019"),  WTEXT("\uFF21"),
                                  WTEXT("\uFFFD"),       WTEXT("\uE000"),  WTEXT("a\u0301"), WTEXT("\x0080\x009F"),
                                  WTEXT("\xD83D\xDE00"), WTEXT("\xD83Dz"), WTEXT("z\xDC80"), WTEXT("\x00A0\x00AD")};
    for (const UINT page : kPages)
        for (const WCHAR* text : texts) {
            char bytes[40];
            BOOL usedDefault = 7;
            int length = 0;
            const Outcome outcome = made([&] {
                return length =
                           WideCharToMultiByte(page, 0, text, static_cast<int>(std::char_traits<WCHAR>::length(text)),
                                               bytes, 40, nullptr, page == CP_UTF8 ? nullptr : &usedDefault);
            });
            row("text.to-bytes", page,
                text)(Word{outcome.success ? shown(Bytes{bytes, static_cast<std::size_t>(length)}) : outcome.text},
                      usedDefault);
        }
    for (const UINT page : {932u, 1252u, 65001u})
        for (const char* standIn : {"", "!", "ab", static_cast<const char*>(nullptr)})
            for (const bool asks : {false, true}) {
                char bytes[40] = "";
                BOOL used = 7;
                row("text.default", page, standIn, asks)(
                    made([&] {
                        return WideCharToMultiByte(page, 0, WTEXT("x\u0E01y"), -1, bytes, 40, standIn,
                                                   asks ? &used : nullptr);
                    }),
                    [&] { return std::string(bytes); }, used);
            }
}

/* Texts of four bytes or three units, the last of them without an end. */
void argumentRows() {
    const char narrow[] = {'a', 'b', '\xC3', '\xA9', 0};
    const WCHAR wide[] = {'a', 'b', 0xE9, 0};
    for (const UINT page : {932u, 1252u, 65001u}) {
        for (const int source : {-1, 0, 1, 2, 3, 4, -2})
            for (const int room : {-1, 0, 1, 2, 3, 4, 5, 10}) {
                WCHAR units[12] = {};
                const auto toUnits = made([&] { return MultiByteToWideChar(page, 0, narrow, source, units, room); });
                row("text.to-wide-lengths", page, source, room)(toUnits, Wide(units, toUnits.success ? 12 : 0));
                char bytes[12] = {};
                const auto toBytes = made([&] {
                    return WideCharToMultiByte(page, 0, wide, std::min(source, 3), bytes, room, nullptr, nullptr);
                });
                row("text.to-bytes-lengths", page, source, room)(toBytes, Bytes{bytes, toBytes.success ? 12u : 0u});
            }
        for (const DWORD flags : {0u, 1u, 2u, 4u, 8u, 9u, 0x10u, 0x20u, 0x40u, 0x80u, 0x200u, 0x400u, 0x80000000u}) {
            WCHAR units[12];
            char bytes[12];
            row("text.to-wide-flags", page,
                Hex{flags})(made([&] { return MultiByteToWideChar(page, flags, "abc", 3, units, 12); }));
            row("text.to-bytes-flags", page, Hex{flags})(
                made([&] { return WideCharToMultiByte(page, flags, WTEXT("abc"), 3, bytes, 12, nullptr, nullptr); }));
        }
    }
    WCHAR units[12];
    char bytes[12];
    for (const UINT page : {0u, 1u, 2u, 3u, 42u, 437u, 850u, 1361u, 10000u, 20127u, 28591u, 65000u, 65002u, 99999u}) {
        row("text.page-to-wide", page)(made([&] { return MultiByteToWideChar(page, 0, "abc", 3, units, 12); }));
        row("text.page-to-bytes",
            page)(made([&] { return WideCharToMultiByte(page, 0, WTEXT("abc"), 3, bytes, 12, nullptr, nullptr); }));
    }
    row("text.null",
        Word{"source"})(made([&] { return MultiByteToWideChar(1252, 0, nullptr, 3, units, 12); }),
                        made([&] { return WideCharToMultiByte(1252, 0, nullptr, 3, bytes, 12, nullptr, nullptr); }));
    row("text.null", Word{"target"})(
        made([&] { return MultiByteToWideChar(1252, 0, "abc", 3, nullptr, 12); }),
        made([&] { return WideCharToMultiByte(1252, 0, WTEXT("abc"), 3, nullptr, 12, nullptr, nullptr); }));
}

Outcome shownLeads() {
    std::string line;
    for (unsigned byte = 0; byte < 0x100; ++byte)
        line += IsDBCSLeadByte(static_cast<BYTE>(byte)) ? '1' : '0';
    return {line};
}

} // namespace

void textRows() {
    byteRows();
    wideRows();
    argumentRows();
}

void systemPageRows() {
    const UINT page = GetACP();
    row("page.leads", page)(shownLeads);
    for (const std::string& path :
         each("plain~a\\b~a/"
              "b~C:name~C:\\name~a\\~a\\b\\~\\~\\\\host\\share\\file~\x81\x5C~x\x81\x5Cy~x\\\x83\x5C\\z~"
              "\x81\x5C\\~\xE0\x5C\\n~\x81\\\\b~\xA1\x5C"
              "b")) {
        std::string steps;
        const char* at = path.c_str();
        do
            steps += std::to_string(at - path.c_str()) + " ";
        while (*at != 0 && (at = CharNextA(at)) != nullptr);
        row("page.next", page, path)(Word{steps});
        row("page.file-name", page, path)(PathFindFileNameA(path.c_str()) - path.c_str());
    }
    // Names of keys and values go through the page, as texts do that are written in one form and read in the other.
    for (const char* name : {"caf\xE9s", "\x80", "\xFF", "x\x81\x5Cy", "\x82\xA0", "\xB0\xA1z", "\xD0\xC4"}) {
        const ScratchKey key;
        HKEY child = nullptr;
        const LONG code = createKey(key, name, KEY_ALL_ACCESS, &child, nullptr);
        WCHAR wide[40] = {};
        char narrow[40] = "";
        DWORD wideLength = 40;
        DWORD narrowLength = 40;
        enumKey(key, 0, wide, &wideLength);
        enumKey(key, 0, narrow, &narrowLength);
        row("page.key", page, name)(code, std::basic_string_view<WCHAR>(wide), std::string(narrow));
        if (code != ERROR_SUCCESS)
            continue;
        setValue(child, name, REG_SZ, name, static_cast<DWORD>(std::string_view(name).size() + 1));
        wideLength = 40;
        DWORD type = 0;
        DWORD size = sizeof wide;
        const LONG valueCode = enumValue(child, 0, wide, &wideLength, nullptr, nullptr, nullptr);
        row("page.value-name", page, name)(valueCode, std::basic_string_view<WCHAR>(wide));
        const LONG readCode = queryValue(child, Wide(wide).c_str(), &type, wide, &size);
        row("page.value", page, name)(readCode, size, std::basic_string_view<WCHAR>(wide));
        RegCloseKey(child);
    }
    for (const WCHAR* name : {WTEXT("\u00E9"), WTEXT("\u0100"), WTEXT("\u3042"), WTEXT("\u20AC"), WTEXT("\uAC00x"),
                              WTEXT("\xD83D\xDE00"), WTEXT("\x0410")}) {
        const ScratchKey key;
        setValue(key, name, REG_SZ, name, 4);
        char narrow[40] = "";
        DWORD length = 40;
        const LONG code = enumValue(key, 0, narrow, &length, nullptr, nullptr, nullptr);
        row("page.narrow-name", page, name)(code, length, std::string(narrow));
        DWORD size = sizeof narrow;
        const LONG read = RegQueryValueExA(key, narrow, nullptr, nullptr, reinterpret_cast<BYTE*>(narrow), &size);
        row("page.narrow-value", page, name)(read, read == ERROR_SUCCESS ? size : 0,
                                             Bytes{narrow, read == ERROR_SUCCESS ? size : 0});
    }
}
