// Prints the rows of the areas that are named, or of all: conformance [AREA...]. Its files stand in a folder of the
// current one.
#include "Row.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

namespace {

namespace fs = std::filesystem;

constexpr char kFolder[] = "conformance-files";
std::set<std::string> rows;
bool twice = false;

template <class Char>
std::string quoted(std::basic_string_view<Char> text) {
    std::string result = "\"";
    for (std::size_t at = 0; at < text.size();) {
        const auto unit = static_cast<unsigned>(static_cast<std::make_unsigned_t<Char>>(text[at]));
        const auto end = std::min(text.find_first_not_of(text[at], at), text.size());
        char one[16];
        if (unit >= 0x20 && unit < 0x7F)
            std::snprintf(one, sizeof one, "%c", unit);
        else
            std::snprintf(one, sizeof one, sizeof(Char) == 1 ? "\\x%02X" : "\\u%04X", unit);
        result += one;
        if (end - at > 6) {
            result += "{" + std::to_string(end - at) + "}";
            at = end;
        } else {
            ++at;
        }
    }
    return result + '"';
}

struct Area {
    std::string_view name;
    void (*rows)();
};
constexpr Area kAreas[] = {{"registry", registryRows}, {"objects", objectRows},   {"files", fileRows},
                           {"text", textRows},         {"page", systemPageRows},  {"ini", iniRows},
                           {"loader", loaderRows},     {"security", securityRows}};

} // namespace

std::string shown(Hex number) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%lx", number.value);
    return text;
}

std::string shown(Bytes bytes) {
    std::string text;
    for (std::size_t i = 0; i < bytes.size; ++i) {
        char two[4];
        std::snprintf(two, sizeof two, "%02X", static_cast<const unsigned char*>(bytes.data)[i]);
        text += two;
    }
    return "<" + text + ">";
}

std::string shown(std::string_view text) {
    return quoted(text);
}
std::string shown(std::basic_string_view<WCHAR> text) {
    return quoted(text);
}

void Row::print(const std::string& results) {
    if (!rows.insert(m_text).second) {
        std::fprintf(stderr, "there twice: %s\n", m_text.c_str());
        twice = true;
    }
    std::printf("%s ->%s\n", m_text.c_str(), results.c_str());
    std::fflush(stdout);
}

bool allRowsAreDifferent() {
    return !twice;
}

std::vector<std::string> each(std::string_view list) {
    std::vector<std::string> parts(1);
    for (const char character : list)
        if (character == '~')
            parts.emplace_back();
        else
            parts.back() += character;
    return parts;
}

void writeFile(const char* name, std::string_view content) {
    std::ofstream(name, std::ios::binary) << content;
}

std::string readFile(const char* name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void freshFolder() {
    for (const auto& entry : fs::recursive_directory_iterator("."))
        fs::permissions(entry, fs::perms::owner_all, fs::perm_options::add);
    for (const auto& entry : fs::directory_iterator("."))
        fs::remove_all(entry);
}

int main(int count, char** arguments) {
    fs::create_directory(kFolder);
    fs::current_path(kFolder);
    for (const Area& area : kAreas)
        if (count == 1 || std::find(arguments + 1, arguments + count, area.name) != arguments + count) {
            freshFolder();
            area.rows();
        }
    freshFolder();
    return allRowsAreDifferent() ? 0 : 1;
}
