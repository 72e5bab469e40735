#include "Sddl.h"

#include <algorithm>
#include <charconv>

namespace wd {

namespace {

constexpr std::string_view kNullList = "NO_ACCESS_CONTROL";
constexpr std::size_t kAceFields = 6;

struct Word {
    std::string_view text;
    DWORD bits;
};

constexpr Word kAceTypes[] = {
    {"A", ACCESS_ALLOWED_ACE_TYPE},
    {"D", ACCESS_DENIED_ACE_TYPE},
    {"ML", SYSTEM_MANDATORY_LABEL_ACE_TYPE},
};

constexpr Word kAceFlags[] = {
    {"OI", OBJECT_INHERIT_ACE}, {"CI", CONTAINER_INHERIT_ACE}, {"NP", NO_PROPAGATE_INHERIT_ACE},
    {"IO", INHERIT_ONLY_ACE},   {"ID", INHERITED_ACE},
};

// In the order in which they are written: that of their bits.
constexpr Word kRights[] = {
    {"CC", 0x1},           {"DC", 0x2},          {"LC", 0x4},     {"SW", 0x8},         {"RP", 0x10},
    {"WP", 0x20},          {"DT", 0x40},         {"LO", 0x80},    {"CR", 0x100},       {"SD", 0x10000},
    {"RC", 0x20000},       {"WD", 0x40000},      {"WO", 0x80000}, {"GA", GENERIC_ALL}, {"GX", GENERIC_EXECUTE},
    {"GW", GENERIC_WRITE}, {"GR", GENERIC_READ},
};

// Names for sets of rights: of files, then of registry keys.
constexpr Word kRightSets[] = {
    {"FA", 0x1F01FF}, {"FR", 0x120089}, {"FW", 0x120116}, {"FX", 0x1200A0},
    {"KA", 0xF003F},  {"KR", 0x20019},  {"KW", 0x20006},  {"KX", 0x20019},
};

constexpr Word kLabelPolicies[] = {
    {"NW", 0x1},
    {"NR", 0x2},
    {"NX", 0x4},
};

std::array<Word, 3> listFlags(const ListKind& kind) {
    return {{{"P", kind.isProtected}, {"AR", kind.autoInheritRequired}, {"AI", kind.autoInherited}}};
}

bool take(std::string_view& text, std::string_view prefix) {
    if (!text.starts_with(prefix))
        return false;
    text.remove_prefix(prefix.size());
    return true;
}

// Blanks in front of a part, an entry, a field or a SID mean nothing.
std::string_view withoutBlanks(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
    return text;
}

// Takes one of the words off the front of `text` and adds its bits.
bool takeWord(std::span<const Word> words, std::string_view& text, DWORD& bits) {
    for (const Word& word : words)
        if (take(text, word.text)) {
            bits |= word.bits;
            return true;
        }
    return false;
}

bool parseAceFlags(std::string_view text, BYTE& flags) {
    DWORD bits = 0;
    while (!text.empty())
        if (!takeWord(kAceFlags, text, bits))
            return false;
    flags = static_cast<BYTE>(bits);
    return true;
}

// Hexadecimal behind 0x, octal behind 0, else decimal.
bool parseMaskNumber(std::string_view text, ACCESS_MASK& mask) {
    const bool isHex = take(text, "0x") || take(text, "0X");
    const int base = isHex ? 16 : text.starts_with('0') ? 8 : 10;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, mask, base);
    return result.ec == std::errc() && result.ptr == end;
}

bool parseRights(std::string_view text, bool isLabel, ACCESS_MASK& mask) {
    if (!text.empty() && text.front() >= '0' && text.front() <= '9')
        return parseMaskNumber(text, mask);
    while (!text.empty()) {
        const bool isKnown = isLabel ? takeWord(kLabelPolicies, text, mask)
                                     : takeWord(kRights, text, mask) || takeWord(kRightSets, text, mask);
        if (!isKnown)
            return false;
    }
    return true;
}

bool splitAce(std::string_view body, std::array<std::string_view, kAceFields>& fields) {
    for (std::size_t index = 0; index + 1 < kAceFields; ++index) {
        const std::size_t end = body.find(';');
        if (end == std::string_view::npos)
            return false;
        fields[index] = withoutBlanks(body.substr(0, end));
        body.remove_prefix(end + 1);
    }
    fields.back() = body;
    return body.find(';') == std::string_view::npos;
}

// A SID in a descriptor may have blanks behind it, too.
std::optional<Sid> accountOf(std::string_view text) {
    return Sid::fromText(text.substr(0, text.find_last_not_of(" \t\r\n") + 1));
}

// type;flags;rights;object;inherited object;account. The two objects are for directory services and must be empty.
DWORD parseAce(const ListKind& kind, std::string_view body, AceList& list) {
    std::array<std::string_view, kAceFields> fields;
    if (!splitAce(body, fields))
        return ERROR_INVALID_ACL;
    const auto [type, flags, rights, object, inheritedObject, account] = fields;
    std::string_view restOfType = type;
    DWORD aceType = 0;
    if (!takeWord(kAceTypes, restOfType, aceType) || !restOfType.empty())
        return RPC_S_INVALID_STRING_BINDING;
    if (!fits(kind, static_cast<BYTE>(aceType)))
        return ERROR_INVALID_ACL;
    BYTE aceFlags = 0;
    ACCESS_MASK mask = 0;
    const bool isLabel = aceType == SYSTEM_MANDATORY_LABEL_ACE_TYPE;
    if (!parseAceFlags(flags, aceFlags) || !parseRights(rights, isLabel, mask) || !object.empty() ||
        !inheritedObject.empty())
        return ERROR_INVALID_ACL;
    const auto sid = accountOf(account);
    if (!sid)
        return ERROR_INVALID_ACL;
    list.push_back({static_cast<BYTE>(aceType), aceFlags, mask, *sid});
    return ERROR_SUCCESS;
}

// Takes flags and entries off the front of `text`, up to the next part.
DWORD parseList(const ListKind& kind, std::string_view& text, Descriptor& descriptor, std::optional<AceList>& list) {
    if ((descriptor.control & kind.present) != 0)
        return ERROR_INVALID_PARAMETER;
    DWORD control = kind.present;
    const auto flags = listFlags(kind);
    text = withoutBlanks(text);
    while (takeWord(flags, text, control))
        continue;
    setControl(descriptor, kind, static_cast<WORD>(control));
    if (take(text, kNullList))
        return ERROR_SUCCESS;
    list.emplace();
    for (text = withoutBlanks(text); take(text, "("); text = withoutBlanks(text)) {
        const std::size_t end = text.find(')');
        if (end == std::string_view::npos)
            return ERROR_INVALID_ACL;
        if (const DWORD error = parseAce(kind, text.substr(0, end), *list))
            return error;
        text.remove_prefix(end + 1);
    }
    return sizeOf(*list) <= kMostListBytes ? ERROR_SUCCESS : ERROR_INVALID_ACL;
}

// Takes a SID off the front of `text`. It has no ':', so it ends before the letter in front of the next one.
DWORD parseOwner(std::string_view& text, std::optional<Sid>& sid) {
    if (sid)
        return ERROR_INVALID_PARAMETER;
    const std::size_t colon = text.find(':');
    const std::size_t length = colon == std::string_view::npos ? text.size() : colon - (colon > 0 ? 1 : 0);
    sid = accountOf(text.substr(0, length));
    text.remove_prefix(length);
    return sid ? ERROR_SUCCESS : ERROR_INVALID_SID;
}

DWORD parsePart(std::string_view& text, Descriptor& descriptor) {
    if (take(text, "O:"))
        return parseOwner(text, descriptor.owner);
    if (take(text, "G:"))
        return parseOwner(text, descriptor.group);
    if (take(text, "D:"))
        return parseList(kDacl, text, descriptor, descriptor.dacl);
    if (take(text, "S:"))
        return parseList(kSacl, text, descriptor, descriptor.sacl);
    // After a list this is a malformed entry, else an unknown part.
    return descriptor.control != 0 ? ERROR_INVALID_ACL : ERROR_INVALID_PARAMETER;
}

void writeBits(std::span<const Word> words, DWORD bits, std::string& text) {
    for (const Word& word : words)
        if ((bits & word.bits) != 0)
            text += word.text;
}

DWORD allBits(std::span<const Word> words) {
    DWORD bits = 0;
    for (const Word& word : words)
        bits |= word.bits;
    return bits;
}

void writeRights(ACCESS_MASK mask, bool isLabel, std::string& text) {
    for (const Word& set : kRightSets)
        if (!isLabel && set.bits == mask) {
            text += set.text;
            return;
        }
    const std::span<const Word> words = isLabel ? std::span<const Word>(kLabelPolicies) : kRights;
    if ((mask & ~allBits(words)) == 0) {
        writeBits(words, mask, text);
        return;
    }
    std::array<char, 8> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), mask, 16).ptr;
    text.append("0x").append(digits.data(), end);
}

void writeAce(const Ace& ace, std::string& text) {
    text += '(';
    for (const Word& type : kAceTypes)
        if (type.bits == ace.type)
            text += type.text;
    text += ';';
    writeBits(kAceFlags, ace.flags, text);
    text += ';';
    writeRights(ace.mask, ace.type == SYSTEM_MANDATORY_LABEL_ACE_TYPE, text);
    text.append(";;;").append(ace.sid.sddl()).append(")");
}

void writeList(const ListKind& kind, WORD control, const std::optional<AceList>& list, std::string& text) {
    if ((control & kind.present) == 0)
        return;
    text += kind.present == SE_SACL_PRESENT ? "S:" : "D:";
    writeBits(listFlags(kind), control, text);
    if (!list)
        text += kNullList;
    else
        for (const Ace& ace : *list)
            writeAce(ace, text);
}

} // namespace

DWORD parseSddl(std::string_view text, Descriptor& descriptor) {
    descriptor = {};
    for (text = withoutBlanks(text); !text.empty(); text = withoutBlanks(text))
        if (const DWORD error = parsePart(text, descriptor))
            return error;
    return ERROR_SUCCESS;
}

std::string writeSddl(const Descriptor& descriptor) {
    std::string text;
    if (descriptor.owner)
        text.append("O:").append(descriptor.owner->sddl());
    if (descriptor.group)
        text.append("G:").append(descriptor.group->sddl());
    writeList(kDacl, descriptor.control, descriptor.dacl, text);
    writeList(kSacl, descriptor.control, descriptor.sacl, text);
    return text;
}

} // namespace wd
