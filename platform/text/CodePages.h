// The code pages that the layer has besides UTF-8. Both the layer and the program that makes their tables read this
// list.
#pragma once

#include <platform/base.h>

#include <array>
#include <cstddef>

namespace wd {

struct ByteRange {
    BYTE first;
    BYTE last;

    constexpr bool contains(std::size_t byte) const { return byte >= first && byte <= last; }
};

struct CodePageName {
    constexpr bool isLead(std::size_t byte) const { return leads[0].contains(byte) || leads[1].contains(byte); }
    constexpr bool hasLeads() const { return leads[0].first <= leads[0].last; }

    UINT number;
    std::array<ByteRange, 2> leads; // an unused range is 1..0
    const char* icuName;
};

inline constexpr ByteRange kNoRange{1, 0};

inline constexpr CodePageName kCodePages[] = {
    {874, {kNoRange, kNoRange}, "windows-874-2000"},       {932, {{{0x81, 0x9F}, {0xE0, 0xFC}}}, "ibm-943_P15A-2003"},
    {936, {{{0x81, 0xFE}, kNoRange}}, "windows-936-2000"}, {949, {{{0x81, 0xFE}, kNoRange}}, "windows-949-2000"},
    {950, {{{0x81, 0xFE}, kNoRange}}, "windows-950-2000"}, {1250, {kNoRange, kNoRange}, "windows-1250"},
    {1251, {kNoRange, kNoRange}, "windows-1251"},          {1252, {kNoRange, kNoRange}, "windows-1252"},
    {1253, {kNoRange, kNoRange}, "windows-1253"},          {1254, {kNoRange, kNoRange}, "windows-1254"},
    {1255, {kNoRange, kNoRange}, "windows-1255"},          {1256, {kNoRange, kNoRange}, "windows-1256"},
    {1257, {kNoRange, kNoRange}, "windows-1257"},          {1258, {kNoRange, kNoRange}, "windows-1258"},
    {28591, {kNoRange, kNoRange}, "ISO-8859-1"},           {28592, {kNoRange, kNoRange}, "ISO-8859-2"},
    {28593, {kNoRange, kNoRange}, "ISO-8859-3"},           {28594, {kNoRange, kNoRange}, "ISO-8859-4"},
    {28595, {kNoRange, kNoRange}, "ISO-8859-5"},           {28596, {kNoRange, kNoRange}, "ISO-8859-6"},
    {28597, {kNoRange, kNoRange}, "ISO-8859-7"},           {28598, {kNoRange, kNoRange}, "ISO-8859-8"},
    {28599, {kNoRange, kNoRange}, "ISO-8859-9"},           {28603, {kNoRange, kNoRange}, "ISO-8859-13"},
    {28605, {kNoRange, kNoRange}, "ISO-8859-15"},
};

inline constexpr std::size_t kFirstHighByte = 0x80;
inline constexpr char16_t kNoUnit = 0xFFFF; // a noncharacter, which no code page has

// Where a pair of bytes of a double-byte code page stands in its table.
constexpr std::size_t pairIndex(std::size_t lead, std::size_t trail) {
    return (lead - kFirstHighByte) * 0x100 + trail;
}

} // namespace wd
