#include "ShiftedText.h"

namespace wdmsg {
namespace {

constexpr std::uint8_t kHighBit = 0x80;
constexpr std::uint8_t kFirstOfPair = 0x21;
constexpr std::uint8_t kLastOfPair = 0x7E;
constexpr char kEscape = '\x1B';

std::uint8_t byteOf(char c) {
    return static_cast<std::uint8_t>(c);
}

char withHighBit(char c) {
    return static_cast<char>(byteOf(c) | kHighBit);
}

char withoutHighBit(char c) {
    return static_cast<char>(byteOf(c) & ~kHighBit);
}

bool isPair(const ShiftedForm& form, std::string_view text) {
    return text.size() >= 2 && byteOf(text[0]) >= kFirstOfPair && byteOf(text[0]) <= form.lastLead &&
           byteOf(text[1]) >= kFirstOfPair && byteOf(text[1]) <= kLastOfPair;
}

// Whether an ASCII character would be read as part of a shift or a header.
bool isReserved(const ShiftedForm& form, char c) {
    return form.doubled == '\0' && (c == kEscape || c == form.toPairs[0] || c == form.toAscii[0]);
}

bool take(std::string_view& text, std::string_view prefix) {
    if (prefix.empty() || !text.starts_with(prefix))
        return false;
    text.remove_prefix(prefix.size());
    return true;
}

// Takes one character off the front of `text`, in the ASCII state.
bool takeAscii(const ShiftedForm& form, std::string_view& text, Text& euc) {
    const char c = text.front();
    text.remove_prefix(1);
    if (byteOf(c) >= kHighBit || isReserved(form, c))
        return false;
    if (c != form.doubled || form.doubled == '\0') {
        euc += c;
        return true;
    }
    // Doubled, it stands for itself; before a line end it joins the next line.
    if (text.empty() || (text.front() != form.doubled && text.front() != '\n'))
        return false;
    if (text.front() == form.doubled)
        euc += c;
    text.remove_prefix(1);
    return true;
}

} // namespace

std::optional<Text> shiftedFromEuc(const ShiftedForm& form, std::string_view euc) {
    Text text;
    bool hadPairs = false;
    bool inPairs = false;
    for (std::size_t i = 0; i < euc.size(); ++i) {
        const char c = euc[i];
        const bool isAscii = byteOf(c) < kHighBit;
        if (isAscii == inPairs)
            text += inPairs ? form.toAscii : form.toPairs;
        inPairs = !isAscii;
        if (isAscii) {
            if (isReserved(form, c))
                return std::nullopt;
            text += c;
            if (c == form.doubled && c != '\0')
                text += c;
            continue;
        }
        hadPairs = true;
        const Text pair = {withoutHighBit(c), i + 1 < euc.size() ? withoutHighBit(euc[i + 1]) : '\0'};
        if (!isPair(form, pair) || byteOf(euc[i + 1]) < kHighBit)
            return std::nullopt;
        text += pair;
        ++i;
    }
    if (inPairs)
        text += form.toAscii;
    if (hadPairs)
        text.insert(0, form.header);
    return text;
}

std::optional<Text> eucFromShifted(const ShiftedForm& form, std::string_view text) {
    Text euc;
    bool inPairs = false;
    bool hadHeader = form.header.empty();
    while (!text.empty()) {
        if (take(text, form.header)) {
            hadHeader = true;
        } else if (take(text, form.toPairs)) {
            if (!hadHeader)
                return std::nullopt;
            inPairs = true;
        } else if (take(text, form.toAscii)) {
            inPairs = false;
        } else if (inPairs && isPair(form, text)) {
            euc += withHighBit(text[0]);
            euc += withHighBit(text[1]);
            text.remove_prefix(2);
        } else if (inPairs && text.front() != '\r' && text.front() != '\n') {
            return std::nullopt;
        } else {
            inPairs = false; // a line end shifts back to ASCII by itself
            if (!takeAscii(form, text, euc))
                return std::nullopt;
        }
    }
    return euc;
}

} // namespace wdmsg
