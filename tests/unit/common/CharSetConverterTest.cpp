// The converter and any library with the five functions: how it is loaded, started and called, what each failure gives
// and leaves, and the two trims.
#include "CharSetConverter.h"
#include "CharsetDouble.h"
#include "LogFile.h"

#include <platform/loader.h>
#include <wdltcfg/status.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr DWORD kUtf8 = 4;
constexpr DWORD kShiftJis = 25;
constexpr DWORD kFullSize = 128;

// With its separator.
std::string doublesFolder() {
    return (std::filesystem::read_symlink("/proc/self/exe").parent_path() / "charset" / "").string();
}

// The library stays loaded for the test, so that its state can be looked at.
class Double {
  public:
    Double() : m_module(LoadLibraryA((doublesFolder() + "charset_double.dll").c_str())) {
        state = reinterpret_cast<GetCharsetDouble>(GetProcAddress(m_module, "charsetDouble"))();
    }
    ~Double() { FreeLibrary(m_module); }
    Double(const Double&) = delete;
    Double& operator=(const Double&) = delete;

    CharsetDouble* state;

  private:
    HMODULE m_module;
};

std::vector<std::string> errors(const LogFile& log) {
    constexpr std::string_view kOwn = "*** CCharSetConverter::";
    std::vector<std::string> texts;
    for (const std::string& message : log.messages())
        if (const auto at = message.find(kOwn); at != std::string::npos)
            texts.push_back(message.substr(at + kOwn.size()));
    return texts;
}
using Texts = std::vector<std::string>;

TEST(CharSetConverter, ANumberHasItsName) {
    const struct {
        DWORD number;
        const char* name;
    } cases[] = {{0, ""},          {1, "ucs-2"},        {2, "us-ascii"},   {3, "iso-686"},
                 {4, "utf-8"},     {17, "iso-8859-15"}, {25, "Shift_JIS"}, {28, "hz-gb-2312"},
                 {29, "UTF-16BE"}, {30, "UTF-16LE"},    {31, ""},          {32, ""},
                 {33, ""},         {0xFFFFFFFF, ""}};
    for (const auto& c : cases)
        EXPECT_STREQ(CCharSetConverter::GetCharSetStr(c.number), c.name) << c.number;
}

TEST(CharSetConverter, CallsTheLibraryAsItIsToBeCalled) {
    const Double library;
    CCharSetConverter converter;
    converter.SetModulePathAndName(doublesFolder().c_str(), "charset_double.dll");
    ASSERT_EQ(converter.Initialize(), WDLT_OK);
    std::array<char, 32> output;
    output.fill('x');
    EXPECT_EQ(converter.ConvertResource(output.data(), "text", kUtf8, kShiftJis, 32), WDLT_OK);
    constexpr std::string_view kExpected("utf-8>Shift_JIS:text\0\0\0\0\0\0\0\0\0\0\0\0", 32);
    EXPECT_EQ(std::string_view(output.data(), output.size()), kExpected);
    EXPECT_EQ(converter.UnInitialize(), WDLT_OK);
    EXPECT_EQ(library.state->calls,
              "start create(1,4,4,0) create(1,32,0,0) convert(32,0,63) delete-source delete-target stop ");
}

TEST(CharSetConverter, ArgumentsAreCheckedInOrder) {
    LogFile log;
    const std::string longest(kFullSize, 'a');
    const std::string tooLong(kFullSize + 1, 'a');
    std::array<char, kFullSize> output;
    const struct {
        const char* what;
        void* output;
        const char* text;
        DWORD from, to;
        std::int32_t status;
        const char* line; // null: none
        bool cleared;
    } cases[] = {
        {"from 0", nullptr, nullptr, 0, kUtf8, WDLT_E_INVALID_ARGUMENT, "specified charset was invalid.", false},
        {"to 0", output.data(), "a", kUtf8, 0, WDLT_E_INVALID_ARGUMENT, "specified charset was invalid.", false},
        {"no output", nullptr, "a", kUtf8, kUtf8, WDLT_E_INVALID_ARGUMENT, "specified parameters were invalid handle.",
         false},
        {"no text", output.data(), nullptr, kUtf8, 31, WDLT_E_INVALID_ARGUMENT,
         "specified parameters were invalid handle.", false},
        {"empty", output.data(), "", 31, kUtf8, WDLT_E_INVALID_ARGUMENT, "_lptszInString were invalid size as zero.",
         false},
        {"too long", output.data(), tooLong.c_str(), kUtf8, 31, WDLT_E_BUFFER_SIZE,
         "length of _lptszInString was over specified _MaxOutBufSize.", false},
        {"nameless", output.data(), "a", kUtf8, 31, WDLT_E_INVALID_ARGUMENT, nullptr, false},
        {"nameless", output.data(), "a", 32, kUtf8, WDLT_E_INVALID_ARGUMENT, nullptr, false},
        {"not loaded", output.data(), longest.c_str(), kUtf8, kUtf8, WDLT_E_CHARSET_HANDLE,
         "m_lpFuncCreateResourceLocator was invalid handle.", true},
    };
    const CCharSetConverter converter;
    Texts expected;
    for (const auto& c : cases) {
        output.fill('x');
        EXPECT_EQ(converter.ConvertResource(c.output, c.text, c.from, c.to, kFullSize), c.status) << c.what;
        if (c.line != nullptr)
            expected.push_back(std::string("ConvertResource() - ") + c.line);
        EXPECT_TRUE(std::ranges::all_of(output, [&](char byte) { return byte == (c.cleared ? '\0' : 'x'); })) << c.what;
    }
    EXPECT_EQ(errors(log), expected);
}

// No refusal leaves a locator behind; the buffer holds zeros, or what the library left in it.
TEST(CharSetConverter, WhatTheLibraryRefuses) {
    const Double library;
    LogFile log;
    CCharSetConverter converter;
    converter.SetModulePathAndName(doublesFolder().c_str(), "charset_double.dll");
    ASSERT_EQ(converter.Initialize(), WDLT_OK);
    const struct {
        int refusedLocator;
        const char* line;
        const char* calls;
        const char* left;
    } cases[] = {
        {1, "Failed to m_lpFuncCreateResourceLocator() for pMsgResFrom.", "create(1,2,2,0) ", ""},
        {2, "Failed to m_lpFuncCreateResourceLocator() for pMsgResTo.",
         "create(1,2,2,0) create(1,128,0,0) delete-source ", ""},
        {0, "Failed to m_lpFuncCharsetConverterResource().",
         "create(1,2,2,0) create(1,128,0,0) convert(128,0,63) delete-source delete-target ", "utf-8>Shift_JIS:ab"},
    };
    library.state->refusesConversion = true;
    Texts expected;
    for (const auto& c : cases) {
        library.state->calls.clear();
        library.state->refusedLocator = c.refusedLocator;
        std::array<char, kFullSize> output;
        output.fill('x');
        EXPECT_EQ(converter.ConvertResource(output.data(), "ab", kUtf8, kShiftJis, kFullSize), WDLT_E_CHARSET);
        EXPECT_EQ(library.state->calls, c.calls);
        EXPECT_EQ(library.state->locators, 0) << c.line;
        EXPECT_STREQ(output.data(), c.left);
        EXPECT_EQ(output.back(), '\0');
        expected.push_back(std::string("ConvertResource() - ") + c.line);
    }
    EXPECT_EQ(errors(log), expected);
    EXPECT_EQ(converter.UnInitialize(), WDLT_OK);
}

TEST(CharSetConverter, FailuresToStartAreToldApart) {
    LogFile log;
    const struct {
        std::string name;
        bool refusesLoading;
        std::int32_t status;
        std::string line;
    } cases[] = {
        {"none.dll", false, WDLT_E_LIBRARY, "Failed to LoadLibrary(). LastError[0x0000007e]"},
        {"charset_double.dll", true, WDLT_E_CHARSET_START,
         "Failed to initialize DLL at LoadLibrary(). LastError[0x0000045a]"},
        {"lacks_WdMsg_Initialize.dll", false, WDLT_E_CHARSET,
         "Failed to GetProcAddress() for WdMsg_Initialize(). LastError[0x0000007f]"},
        {"lacks_WdMsg_UnInitialize.dll", false, WDLT_E_CHARSET,
         "Failed to GetProcAddress() for WdMsg_UnInitialize(). LastError[0x0000007f]"},
        {"lacks_WdMsg_CreateResourceLocator.dll", false, WDLT_E_CHARSET,
         "Failed to GetProcAddress() for WdMsg_CreateResourceLocator(). LastError[0x0000007f]"},
        {"lacks_WdMsg_DeleteResourceLocator.dll", false, WDLT_E_CHARSET,
         "Failed to GetProcAddress() for WdMsg_DeleteResourceLocator(). LastError[0x0000007f]"},
        {"lacks_WdMsg_CharsetConverterResource.dll", false, WDLT_E_CHARSET,
         "Failed to GetProcAddress() for WdMsg_CharsetConverterResource(). LastError[0x0000007f]"},
    };
    Texts expected;
    std::array<char, kFullSize> output{};
    for (const auto& c : cases) {
        if (c.refusesLoading)
            setenv(kRefuseLoading, "1", 1);
        CCharSetConverter converter;
        converter.SetModulePathAndName(doublesFolder().c_str(), c.name.c_str());
        EXPECT_EQ(converter.Initialize(), c.status) << c.name;
        unsetenv(kRefuseLoading);
        EXPECT_EQ(converter.ConvertResource(output.data(), "a", kUtf8, kUtf8, kFullSize), WDLT_E_CHARSET_HANDLE);
        EXPECT_EQ(converter.UnInitialize(), WDLT_E_CHARSET);
        expected.push_back("Initialize() - " + c.line);
        expected.emplace_back("ConvertResource() - m_lpFuncCreateResourceLocator was invalid handle.");
        expected.emplace_back("UnInitialize() - Failed to m_lpFuncUnInitialize().");
    }
    EXPECT_EQ(errors(log), expected);
}

TEST(CharSetConverter, ALibraryThatRefusesToStartOrStop) {
    const Double library;
    LogFile log;
    CCharSetConverter converter;
    converter.SetModulePathAndName(doublesFolder().c_str(), "charset_double.dll");
    std::array<char, kFullSize> output{};
    const auto convert = [&] { return converter.ConvertResource(output.data(), "a", kUtf8, kUtf8, kFullSize); };

    library.state->refusesStart = true;
    EXPECT_EQ(converter.Initialize(), WDLT_E_CHARSET);
    EXPECT_EQ(convert(), WDLT_E_CHARSET_HANDLE);
    library.state->refusesStart = false;
    EXPECT_EQ(converter.Initialize(), WDLT_OK);
    EXPECT_EQ(converter.Initialize(), WDLT_OK); // starts it again, and loads it no second time
    EXPECT_EQ(convert(), WDLT_OK);
    library.state->refusesStart = true;
    EXPECT_EQ(converter.Initialize(), WDLT_E_CHARSET); // stays as it was
    EXPECT_EQ(convert(), WDLT_OK);
    library.state->refusesStop = true;
    EXPECT_EQ(converter.UnInitialize(), WDLT_E_CHARSET);
    EXPECT_EQ(convert(), WDLT_OK);
    library.state->refusesStop = false;
    EXPECT_EQ(converter.UnInitialize(), WDLT_OK);
    EXPECT_EQ(convert(), WDLT_E_CHARSET_HANDLE);
    EXPECT_EQ(errors(log), (Texts{"Initialize() - Failed to m_lpFuncInitialize().",
                                  "ConvertResource() - m_lpFuncCreateResourceLocator was invalid handle.",
                                  "Initialize() - Failed to m_lpFuncInitialize().",
                                  "UnInitialize() - Failed to m_lpFuncUnInitialize().",
                                  "ConvertResource() - m_lpFuncCreateResourceLocator was invalid handle."}));
}

// Each text is tried whole and cut behind each of its bytes; `trimmed` has a result for each length, from 0 on.
TEST(CharSetConverter, TrimsAtEachCut) {
    using Trim = std::string (*)(const char*);
    const Trim iso = CCharSetConverter::Trim_ISO_2022;
    const Trim hz = CCharSetConverter::Trim_HZ_GB;
    const struct {
        Trim trim;
        const char* text;
        std::vector<std::string> trimmed;
    } cases[] = {
        {iso, "\x1B$BF|K\x1B(B", {"", "", "", "", "F", "F|", "F|K", "F|K\x1B", "F|K\x1B(", "F|K"}},
        // Four bytes open this one, of which three go.
        {iso, "\x1B$)C\x0EGQ\x0F", {"", "", "", "", "C", "C\x0E", "C\x0EG", "C\x0EGQ", "C\x0EGQ\x0F"}},
        {iso, "\x1B$B\x1B(B", {"", "", "", "", "\x1B", "\x1B(", ""}},
        {iso, "ab\x1B(B", {"", "", "", "ab\x1B", "ab\x1B(", "ab"}},
        {iso, "a\x1B$BF", {"", "", "", "a\x1B$", "a", "a\x1B$BF"}},
        {iso, "abcd", {"", "", "", "abc", "abcd"}},
        {hz, "~{VPND~}", {"", "", "", "V", "VP", "VPN", "VPND", "VPND~", "VPND"}},
        {hz, "~{~}", {"", "", "", "~", ""}},
        {hz, "~{}", {"", "", "", "}"}},
        {hz, "~}a~{", {"", "", "", "~}a", "~}a~", "~}a~{"}},
        {hz, "ab~}c", {"", "", "ab", "ab~", "ab", "ab~}c"}},
    };
    for (const auto& c : cases) {
        const std::string whole = c.text;
        ASSERT_EQ(c.trimmed.size(), whole.size() + 1) << c.text;
        for (std::size_t length = 0; length <= whole.size(); ++length)
            EXPECT_EQ(c.trim(whole.substr(0, length).c_str()), c.trimmed[length]) << c.text << " cut at " << length;
    }
}

TEST(CharSetConverter, ATextTooShortToTrimIsToldAndNoneIsNot) {
    LogFile log;
    EXPECT_EQ(CCharSetConverter::Trim_ISO_2022(nullptr), "");
    EXPECT_EQ(CCharSetConverter::Trim_HZ_GB(nullptr), "");
    EXPECT_EQ(CCharSetConverter::Trim_ISO_2022("\x1B$B"), "");
    EXPECT_EQ(errors(log), Texts{});
    EXPECT_EQ(CCharSetConverter::Trim_ISO_2022("ab"), "");
    EXPECT_EQ(CCharSetConverter::Trim_HZ_GB("a"), "");
    EXPECT_EQ(errors(log), (Texts{"Trim_ISO_2022() - specified _lptszString size was too short.",
                                  "Trim_HZ_GB() - specified _lptszString size was too short."}));
}

} // namespace
