// The boundary itself: the header and the built library must agree on names and addresses.
#include "LoadedLibrary.h"

#include <wdltcfg/wdltcfg.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <elf.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

extern "C" {
extern const std::size_t kRecordSizesFromC[];
extern const std::size_t kRecordCountFromC;
const char* statusNameFromC(std::int32_t status);
const char* scanNameFromC(std::uint32_t scan);
const char* charsetNameFromC(std::uint32_t charset);
}

namespace {

using testing::ElementsAreArray;
using testing::UnorderedElementsAreArray;

std::string readFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw std::runtime_error("can't read " + path.string());
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> allMatches(const std::string& text, const std::regex& pattern) {
    std::vector<std::string> found;
    for (std::sregex_iterator match(text.begin(), text.end(), pattern), end; match != end; ++match)
        found.push_back((*match)[1]);
    return found;
}

// What the header declares; its comments name functions too.
std::vector<std::string> headerNames() {
    const std::regex comment(R"(/\*[^*]*\*+([^/*][^*]*\*+)*/)");
    return allMatches(std::regex_replace(readFile(WDLT_HEADER), comment, " "), std::regex(R"((\w+)\s*\([^()]*\)\s*;)"));
}

// The names that the library's file defines for others, without those of its version nodes.
std::vector<std::string> definedDynamicSymbols(const std::string& image) {
    const auto read = [&]<class T>(T& value, std::size_t offset) {
        if (offset > image.size() || image.size() - offset < sizeof(T))
            throw std::runtime_error("the library's file is cut off");
        std::memcpy(&value, image.data() + offset, sizeof(T));
    };
    Elf64_Ehdr head{};
    read(head, 0);
    std::vector<std::string> names;
    for (std::size_t index = 0; index < head.e_shnum; ++index) {
        Elf64_Shdr symbols{};
        Elf64_Shdr texts{};
        read(symbols, head.e_shoff + index * head.e_shentsize);
        if (symbols.sh_type != SHT_DYNSYM)
            continue;
        read(texts, head.e_shoff + symbols.sh_link * std::size_t{head.e_shentsize});
        for (std::size_t offset = 0; offset < symbols.sh_size; offset += sizeof(Elf64_Sym)) {
            Elf64_Sym symbol{};
            read(symbol, symbols.sh_offset + offset);
            if (symbol.st_shndx != SHN_UNDEF && symbol.st_shndx != SHN_ABS)
                names.emplace_back(image.c_str() + texts.sh_offset + symbol.st_name);
        }
    }
    return names;
}

class Exports : public testing::Test {
  protected:
    LoadedLibrary library{LoadedLibrary::withLog};
};

TEST_F(Exports, TheHeaderAndTheLibraryHaveTheSameNames) {
    const std::vector<std::string> declared = headerNames();
    EXPECT_EQ(declared.size(), 103u);
    EXPECT_THAT(definedDynamicSymbols(readFile(WDLT_LIBRARY)), UnorderedElementsAreArray(declared));
}

TEST_F(Exports, NamesAreVersionedAndTwoPairsShareAnAddress) {
    void* const handle = dlopen(WDLT_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
    std::set<void*> addresses;
    for (const std::string& name : headerNames()) {
        void* const address = library.symbol(name.c_str());
        EXPECT_EQ(dlvsym(handle, name.c_str(), "WDLTCFG_1"), address) << name;
        addresses.insert(address);
    }
    dlclose(handle);
    EXPECT_EQ(addresses.size(), 101u);
    EXPECT_EQ(library.symbol("WdltPluginReadConfig"), library.symbol("WdltHttpsReadConfig"));
    EXPECT_EQ(library.symbol("WdltPluginWriteConfig"), library.symbol("WdltHttpsWriteConfig"));
}

// The four generic functions hand each argument on in its place.
TEST_F(Exports, AnyAddressCanBeReadAndWritten) {
    const auto read = WDLT_CALL(library, WdltReadConfig);
    const auto write = WDLT_CALL(library, WdltWriteConfig);
    const auto readEx = WDLT_CALL(library, WdltReadConfigEx);
    const auto writeEx = WDLT_CALL(library, WdltWriteConfigEx);
    WdchSystemData data{};
    std::uint64_t size = 0;

    EXPECT_EQ(read(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, 0, nullptr, &size), WDLT_E_BUFFER_SIZE);
    EXPECT_EQ(size, sizeof data);
    size = 0;
    EXPECT_EQ(readEx(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, 7, 5, nullptr, &size), WDLT_E_BUFFER_SIZE);
    EXPECT_EQ(size, sizeof data);
    // The log calls the config type input.
    EXPECT_TRUE(library.logged("ReadConfig protocol = 10000, scan = 00000000, input = 00000005"));
    EXPECT_EQ(read(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, 0, &data, nullptr), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(read(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_HTTP_CLEANER, 0, &data, &size), WDLT_E_GENERAL);
    EXPECT_EQ(write(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, 0, nullptr, sizeof data), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(write(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_HTTP_CLEANER, 0, &data, sizeof data), WDLT_E_GENERAL);
    EXPECT_EQ(writeEx(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, 7, 6, &data, sizeof data - 1), WDLT_E_GENERAL);
    EXPECT_TRUE(library.logged("WriteConfig protocol = 10000, scan = 00000000, input = 00000006"));
}

TEST(Headers, CallersInCSeeTheSameInterface) {
    constexpr std::size_t kRecordSizes[] = {
        sizeof(WdchSystemData), sizeof(WdchSystemProtocolHandler), sizeof(WdchSystemRedirect), sizeof(WdpeUrlfDrsData),
        sizeof(WdpeUrlfQuery),  sizeof(WdltDrsWhiteListItem),      sizeof(WdpeAspmData),       sizeof(WdltSalConfig),
    };
    EXPECT_THAT(kRecordSizes, ElementsAreArray(kRecordSizesFromC, kRecordCountFromC));
    EXPECT_STREQ(statusNameFromC(WDLT_E_NOT_FOUND), "WDLT_E_NOT_FOUND");
    EXPECT_STREQ(scanNameFromC(0x80000000u), "TestManager");
    EXPECT_STREQ(charsetNameFromC(0x01000000u), "Shift_JIS");
    EXPECT_STREQ(charsetNameFromC(0x40000000u), "");
}

TEST(Headers, StatusCodesAreTheseAndOthersHaveNoName) {
    const std::string unknown = "unknown status";
    std::set<std::int32_t> codes;
    for (std::int32_t code = -10000; code <= 1; ++code) {
        if (wdltStatusName(code) != unknown)
            codes.insert(code);
        EXPECT_EQ(wdltStatusName(code) == unknown, wdltStatusText(code) == unknown) << code;
    }
    EXPECT_THAT(codes, UnorderedElementsAreArray(
                           {0, -1, -2, -3, -4, -5, -6, -7, -8, -9, -10, -13, -14, -16, -26, -34, -38, -9999}));
}

} // namespace
