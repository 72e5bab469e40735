// The converter, with any library that has the five functions: the result and leftovers of each failure, and the two
// trims.
#include "CharSetConverter.h"
#include "LogFile.h"

#include <platform/loader.h>
#include <wdltcfg/status.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

constexpr DWORD kUtf8Index = 4;
constexpr DWORD kFullSize = 128;

// The programs' folder, with a trailing separator.
const std::string kPrograms = (std::filesystem::read_symlink("/proc/self/exe").parent_path() / "").string();

TEST(CharSetConverter, ArgumentsAreCheckedInOrder) {
    const std::string longest(kFullSize, 'a');
    const std::string tooLong(kFullSize + 1, 'a');
    std::array<char, kFullSize> output;
    const char* const noHandle = "specified parameters were invalid handle.";
    const struct {
        void* output;
        const char* text;
        DWORD from, to;
        std::int32_t status;
        const char* line;
        bool cleared;
    } cases[] = {
        {output.data(), "a", kUtf8Index, 0, WDLT_E_INVALID_ARGUMENT, "specified charset was invalid.", false},
        {nullptr, "a", kUtf8Index, kUtf8Index, WDLT_E_INVALID_ARGUMENT, noHandle, false},
        {output.data(), nullptr, kUtf8Index, 31, WDLT_E_INVALID_ARGUMENT, noHandle, false},
        {output.data(), "", 31, kUtf8Index, WDLT_E_INVALID_ARGUMENT, "_lptszInString were invalid size as zero.",
         false},
        {output.data(), tooLong.c_str(), kUtf8Index, 31, WDLT_E_BUFFER_SIZE,
         "length of _lptszInString was over specified _MaxOutBufSize.", false},
        {output.data(), "a", kUtf8Index, 31, WDLT_E_INVALID_ARGUMENT, "", false}, // a charset without a name
        {output.data(), longest.c_str(), kUtf8Index, kUtf8Index, WDLT_E_CHARSET_HANDLE,
         "m_lpFuncCreateResourceLocator was invalid handle.", true}, // the library isn't loaded
    };
    const CCharSetConverter converter;
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "from " << c.from << " to " << c.to << ": " << c.line);
        const LogFile log(256);
        output.fill('x');
        EXPECT_EQ(converter.ConvertResource(c.output, c.text, c.from, c.to, kFullSize), c.status);
        EXPECT_TRUE(*c.line == '\0'
                        ? log.lines().empty()
                        : log.contains(std::string("*** CCharSetConverter::ConvertResource() - ") + c.line));
        EXPECT_TRUE(std::ranges::all_of(output, [&](char byte) { return byte == (c.cleared ? '\0' : 'x'); }));
    }
}

// Start, the source's and the target's locator, conversion and stop: whichever is refused, no locator is leaked and the
// converter can be started again.
TEST(CharSetConverter, ALibraryThatRefusesACall) {
    const std::string path = kPrograms + "charset/";
    HMODULE const library = LoadLibraryA((path + "charset_double.dll").c_str());
    const auto refuseCall = reinterpret_cast<void (*)(int)>(GetProcAddress(library, "refuseCall"));
    const auto livingLocators = reinterpret_cast<int (*)()>(GetProcAddress(library, "livingLocators"));
    const struct {
        std::int32_t started, converted, stopped;
        const char* line;
    } cases[] = {
        {WDLT_E_CHARSET, WDLT_E_CHARSET_HANDLE, WDLT_E_CHARSET, "Initialize() - Failed to m_lpFuncInitialize()."},
        {WDLT_OK, WDLT_E_CHARSET, WDLT_OK, "Failed to m_lpFuncCreateResourceLocator() for pMsgResFrom."},
        {WDLT_OK, WDLT_E_CHARSET, WDLT_OK, "Failed to m_lpFuncCreateResourceLocator() for pMsgResTo."},
        {WDLT_OK, WDLT_E_CHARSET, WDLT_OK, "Failed to m_lpFuncCharsetConverterResource()."},
        {WDLT_OK, WDLT_OK, WDLT_E_CHARSET, "UnInitialize() - Failed to m_lpFuncUnInitialize()."},
    };
    CCharSetConverter converter;
    converter.SetModulePathAndName(path.c_str(), "charset_double.dll");
    std::array<char, kFullSize> output{};
    const auto convert = [&] {
        return converter.ConvertResource(output.data(), "ab", kUtf8Index, kUtf8Index, kFullSize);
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        const LogFile log(256);
        refuseCall(static_cast<int>(&c - cases) + 1);
        EXPECT_EQ(converter.Initialize(), c.started);
        EXPECT_EQ(convert(), c.converted);
        EXPECT_EQ(converter.UnInitialize(), c.stopped);
        EXPECT_TRUE(log.contains(c.line));
        EXPECT_EQ(livingLocators(), 0);
    }
    EXPECT_EQ(convert(), WDLT_OK) << "what refused to stop has stopped";
    EXPECT_EQ(converter.UnInitialize(), WDLT_OK);
    FreeLibrary(library);
}

TEST(CharSetConverter, FailuresToStartAreToldApart) {
    const struct {
        const char* name;
        std::int32_t status;
        const char* line;
    } cases[] = {
        {"none.dll", WDLT_E_LIBRARY, "Failed to LoadLibrary(). LastError[0x0000007e]"},
        {"charset/charset_double.dll", WDLT_E_CHARSET_START,
         "Failed to initialize DLL at LoadLibrary(). LastError[0x0000045a]"},
        {"WdDbg64.dll", WDLT_E_CHARSET, "Failed to GetProcAddress() for WdMsg_Initialize(). LastError[0x0000007f]"},
    };
    setenv("CHARSET_DOUBLE_REFUSES_LOADING", "1", 1);
    for (const auto& c : cases) {
        const LogFile log;
        CCharSetConverter converter;
        converter.SetModulePathAndName(kPrograms.c_str(), c.name);
        EXPECT_EQ(converter.Initialize(), c.status) << c.name;
        EXPECT_EQ(converter.UnInitialize(), WDLT_E_CHARSET);
        EXPECT_TRUE(log.contains(std::string("*** CCharSetConverter::Initialize() - ") + c.line));
    }
    unsetenv("CHARSET_DOUBLE_REFUSES_LOADING");
}

TEST(CharSetConverter, TrimsWhatOpensAndWhatCloses) {
    const auto iso = CCharSetConverter::Trim_ISO_2022;
    const auto hz = CCharSetConverter::Trim_HZ_GB;
    const struct {
        std::string (*trim)(const char*);
        const char* text;
        const char* trimmed;
    } cases[] = {
        {iso, "\x1B$BF|K\x1B(B", "F|K"},
        {iso, "\x1B$BF|K\x1B(", "F|K\x1B("},
        {iso, "\x1B$)C\x0EGQ\x0F", "C\x0EGQ\x0F"}, // three of this charset's four opening bytes are trimmed
        {iso, "\x1B$B\x1B(B", ""},
        {iso, "\x1B$B", ""},
        {iso, "ab", ""}, // too short
        {iso, nullptr, ""},
        {hz, "~{VPND~}", "VPND"},
        {hz, "~{VPND~", "VPND~"},
        {hz, "~{}", "}"},
        {hz, "~{~}", ""},
        {hz, "~}a~{", "~}a~{"},
        {hz, "a", ""},
        {hz, nullptr, ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.trim(c.text), c.trimmed) << &c - cases;
}

} // namespace
