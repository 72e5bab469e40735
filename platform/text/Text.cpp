// The text calls of the interface: argument checks and error codes around CodePage.h.
#include "CodePage.h"
#include "Home.h"
#include "LastError.h"

#include <platform/text.h>

#include <climits>
#include <cstring>
#include <new>
#include <string>

namespace {

// The source as a view, with its terminator when the length is negative. False for invalid arguments.
template <class Unit>
bool sourceView(const Unit* source, int length, std::basic_string_view<Unit>& view) {
    if (source == nullptr || length == 0)
        return false;
    const std::size_t size = length < 0 ? std::char_traits<Unit>::length(source) + 1 : static_cast<std::size_t>(length);
    view = {source, size};
    return true;
}

bool isTarget(const void* target, int length, const void* source) {
    return length >= 0 && (length == 0 || (target != nullptr && target != source));
}

bool isCodePage(UINT codePage) {
    return codePage == CP_ACP || wd::isKnownCodePage(codePage);
}

int finish(std::size_t length, int targetLength) {
    if (length > INT_MAX)
        return wd::fail(ERROR_INVALID_PARAMETER);
    if (targetLength != 0 && length > static_cast<std::size_t>(targetLength))
        return wd::fail(ERROR_INSUFFICIENT_BUFFER);
    return static_cast<int>(length);
}

template <class Unit>
std::span<Unit> targetSpan(Unit* target, int targetLength) {
    return {target, static_cast<std::size_t>(targetLength)};
}

} // namespace

UINT GetACP() {
    return wd::home().codePage();
}

BOOL IsDBCSLeadByte(BYTE byte) {
    return wd::isLeadByte(byte) ? TRUE : FALSE;
}

LPSTR CharNextA(LPCSTR text) {
    if (text == nullptr || *text == '\0')
        return const_cast<LPSTR>(text);
    // A lead byte right before the terminator counts as one character: the walk must not step over the end.
    const bool isPair = text[1] != '\0' && wd::isLeadByte(static_cast<BYTE>(*text));
    return const_cast<LPSTR>(text + (isPair ? 2 : 1));
}

int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR source, int sourceLength, LPWSTR target, int targetLength) {
    std::string_view text;
    if (!isCodePage(codePage) || !sourceView(source, sourceLength, text) || !isTarget(target, targetLength, source))
        return wd::fail(ERROR_INVALID_PARAMETER);
    if ((flags & ~(MB_PRECOMPOSED | MB_ERR_INVALID_CHARS)) != 0)
        return wd::fail(ERROR_INVALID_FLAGS);
    try {
        const auto convert = [&](int room) {
            return wd::convertToWide(codePage, text, targetSpan(target, room), wd::InvalidBytes::Replace);
        };
        if ((flags & MB_ERR_INVALID_CHARS) != 0 && !convert(0).clean) // before anything is written
            return wd::fail(ERROR_NO_UNICODE_TRANSLATION);
        return finish(convert(targetLength).length, targetLength);
    } catch (const std::bad_alloc&) {
        return wd::fail(ERROR_NOT_ENOUGH_MEMORY);
    }
}

int WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR source, int sourceLength, LPSTR target, int targetLength,
                        LPCSTR defaultChar, BOOL* usedDefaultChar) {
    std::u16string_view text;
    if (!isCodePage(codePage) || !sourceView(source, sourceLength, text) || !isTarget(target, targetLength, source))
        return wd::fail(ERROR_INVALID_PARAMETER);
    if ((flags & ~WC_NO_BEST_FIT_CHARS) != 0)
        return wd::fail(ERROR_INVALID_FLAGS);
    try {
        const auto result = wd::convertToNarrow(codePage, text, targetSpan(target, targetLength), defaultChar);
        if (usedDefaultChar != nullptr)
            *usedDefaultChar = result.clean ? FALSE : TRUE;
        return finish(result.length, targetLength);
    } catch (const std::bad_alloc&) {
        return wd::fail(ERROR_NOT_ENOUGH_MEMORY);
    }
}

// A separator counts only when a name follows it: "C:\dir\" gives "dir\".
LPSTR PathFindFileNameA(LPCSTR path) {
    LPCSTR name = path;
    for (LPCSTR at = path; at != nullptr && *at != '\0'; at = CharNextA(at)) {
        const bool ends = wd::isSeparator(*at) || *at == ':';
        if (ends && at[1] != '\0' && !wd::isSeparator(at[1]))
            name = at + 1;
    }
    return const_cast<LPSTR>(name);
}
