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
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

constexpr DWORD kUtf8 = 4;
constexpr DWORD kShiftJis = 25;
constexpr DWORD kFullSize = 128;

// With its separator.
const std::string kPrograms = (std::filesystem::read_symlink("/proc/self/exe").parent_path() / "").string();

// A converter with the double, which stays loaded for the test, so that its state can be looked at.
struct Doubled {
    Doubled() {
        module = LoadLibraryA((kPrograms + "charset/charset_double.dll").c_str());
        state = reinterpret_cast<GetCharsetDouble>(GetProcAddress(module, "charsetDouble"))();
        converter.SetModulePathAndName((kPrograms + "charset/").c_str(), "charset_double.dll");
    }
    ~Doubled() { FreeLibrary(module); }
    Doubled(const Doubled&) = delete;
    Doubled& operator=(const Doubled&) = delete;

    HMODULE module;
    CharsetDouble* state;
    CCharSetConverter converter;
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

TEST(CharSetConverter, ArgumentsAreCheckedInOrder) {
    const std::string longest(kFullSize, 'a');
    const std::string tooLong(kFullSize + 1, 'a');
    std::array<char, kFullSize> output;
    const char* const noCharset = "specified charset was invalid.";
    const char* const noHandle = "specified parameters were invalid handle.";
    const struct {
        void* output;
        const char* text;
        DWORD from, to;
        std::int32_t status;
        const char* line; // empty: none
        bool cleared;
    } cases[] = {
        {output.data(), "a", kUtf8, 0, WDLT_E_INVALID_ARGUMENT, noCharset, false},
        {nullptr, "a", kUtf8, kUtf8, WDLT_E_INVALID_ARGUMENT, noHandle, false},
        {output.data(), nullptr, kUtf8, 31, WDLT_E_INVALID_ARGUMENT, noHandle, false},
        {output.data(), "", 31, kUtf8, WDLT_E_INVALID_ARGUMENT, "_lptszInString were invalid size as zero.", false},
        {output.data(), tooLong.c_str(), kUtf8, 31, WDLT_E_BUFFER_SIZE,
         "length of _lptszInString was over specified _MaxOutBufSize.", false},
        {output.data(), "a", kUtf8, 31, WDLT_E_INVALID_ARGUMENT, "", false}, // nameless
        {output.data(), longest.c_str(), kUtf8, kUtf8, WDLT_E_CHARSET_HANDLE,
         "m_lpFuncCreateResourceLocator was invalid handle.", true}, // not loaded
    };
    const CCharSetConverter converter;
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "from " << c.from << " to " << c.to << ": " << c.line);
        const LogFile log;
        output.fill('x');
        EXPECT_EQ(converter.ConvertResource(c.output, c.text, c.from, c.to, kFullSize), c.status);
        EXPECT_EQ(errors(log), *c.line == '\0' ? Texts{} : Texts{std::string("ConvertResource() - ") + c.line});
        EXPECT_TRUE(std::ranges::all_of(output, [&](char byte) { return byte == (c.cleared ? '\0' : 'x'); }));
    }
}

// No refusal leaves a locator behind; the buffer holds zeros, or what the library left in it.
TEST(CharSetConverter, CallsTheLibraryAsItIsToBeCalled) {
    Doubled library;
    ASSERT_EQ(library.converter.Initialize(), WDLT_OK);
    EXPECT_EQ(std::exchange(library.state->calls, ""), "start ");
    const struct {
        int refusedLocator;
        bool refusesConversion;
        const char* line; // empty: it is done
        const char* calls;
        const char* left;
    } cases[] = {
        {0, false, "", "create(1,2,2,0) create(1,128,0,0) convert(128,0,63) delete-source delete-target ",
         "utf-8>Shift_JIS:ab"},
        {1, false, "Failed to m_lpFuncCreateResourceLocator() for pMsgResFrom.", "create(1,2,2,0) ", ""},
        {2, false, "Failed to m_lpFuncCreateResourceLocator() for pMsgResTo.",
         "create(1,2,2,0) create(1,128,0,0) delete-source ", ""},
        {0, true, "Failed to m_lpFuncCharsetConverterResource().",
         "create(1,2,2,0) create(1,128,0,0) convert(128,0,63) delete-source delete-target ", "utf-8>Shift_JIS:ab"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        const LogFile log;
        library.state->refusedLocator = c.refusedLocator;
        library.state->refusesConversion = c.refusesConversion;
        std::string output(kFullSize, 'x');
        const bool isDone = *c.line == '\0';
        EXPECT_EQ(library.converter.ConvertResource(output.data(), "ab", kUtf8, kShiftJis, kFullSize),
                  isDone ? WDLT_OK : WDLT_E_CHARSET);
        EXPECT_EQ(std::exchange(library.state->calls, ""), c.calls);
        EXPECT_EQ(library.state->locators, 0);
        EXPECT_EQ(output, std::string(c.left).append(kFullSize - std::strlen(c.left), '\0'));
        EXPECT_EQ(errors(log), isDone ? Texts{} : Texts{std::string("ConvertResource() - ") + c.line});
    }
    EXPECT_EQ(library.converter.UnInitialize(), WDLT_OK);
    EXPECT_EQ(library.state->calls, "stop ");
}

TEST(CharSetConverter, FailuresToStartAreToldApart) {
    const struct {
        const char* name;
        bool refusesLoading;
        std::int32_t status;
        const char* line;
    } cases[] = {
        {"none.dll", false, WDLT_E_LIBRARY, "Failed to LoadLibrary(). LastError[0x0000007e]"},
        {"charset/charset_double.dll", true, WDLT_E_CHARSET_START,
         "Failed to initialize DLL at LoadLibrary(). LastError[0x0000045a]"},
        {"WdDbg64.dll", false, WDLT_E_CHARSET, // another library
         "Failed to GetProcAddress() for WdMsg_Initialize(). LastError[0x0000007f]"},
    };
    std::array<char, kFullSize> output{};
    for (const auto& c : cases) {
        const LogFile log;
        if (c.refusesLoading)
            setenv(kRefuseLoading, "1", 1);
        CCharSetConverter converter;
        converter.SetModulePathAndName(kPrograms.c_str(), c.name);
        EXPECT_EQ(converter.Initialize(), c.status) << c.name;
        unsetenv(kRefuseLoading);
        EXPECT_EQ(converter.ConvertResource(output.data(), "a", kUtf8, kUtf8, kFullSize), WDLT_E_CHARSET_HANDLE);
        EXPECT_EQ(converter.UnInitialize(), WDLT_E_CHARSET);
        EXPECT_EQ(errors(log), (Texts{std::string("Initialize() - ") + c.line,
                                      "ConvertResource() - m_lpFuncCreateResourceLocator was invalid handle.",
                                      "UnInitialize() - Failed to m_lpFuncUnInitialize()."}));
    }
}

TEST(CharSetConverter, ALibraryThatRefusesToStartOrStop) {
    Doubled library;
    std::array<char, kFullSize> output{};
    enum Call { Start, Stop };
    // A library that refuses to be started again, or to be stopped, stays as it was.
    const struct {
        Call call;
        bool refuses;
        bool convertsThen;
    } steps[] = {{Start, true, false}, {Start, false, true}, {Start, false, true},
                 {Start, true, true},  {Stop, true, true},   {Stop, false, false}};
    for (const auto& step : steps) {
        library.state->refusesStart = library.state->refusesStop = step.refuses;
        EXPECT_EQ(step.call == Start ? library.converter.Initialize() : library.converter.UnInitialize(),
                  step.refuses ? WDLT_E_CHARSET : WDLT_OK);
        EXPECT_EQ(library.converter.ConvertResource(output.data(), "a", kUtf8, kUtf8, kFullSize),
                  step.convertsThen ? WDLT_OK : WDLT_E_CHARSET_HANDLE);
    }
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
