// The redirects of a handler: what may be added, how it is stored and read back, at the limits of every field and in
// code pages of several bytes a character, and what is told when it fails.
#include "ConfigManager.h"
#include "FailingStore.h"
#include "LogFile.h"
#include "Tree.h"

#include <platform/testing.h>
#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using testing::AnyOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr std::uint32_t kHandler = WDLT_PROTOCOL_SYSTEM_HTTP;
constexpr std::uint64_t kHeader = sizeof(WdchSystemProtocolHandler);
constexpr std::uint64_t kEntry = sizeof(WdchSystemRedirect);

std::string keyOf(const std::string& session) {
    return "ProtocolHandler\\Web\\Redirect\\" + session;
}

// The field's text, cut to it and without a terminator where it fills it.
void put(char (&field)[16], const std::string& text) {
    std::memset(field, 0, sizeof field);
    text.copy(field, sizeof field);
}
template <std::size_t Size>
void put(wdlt_wchar (&field)[Size], const std::u16string& text) {
    std::memset(field, 0, sizeof field);
    text.copy(field, Size);
}

WdchSystemRedirect redirect(const std::u16string& session, std::uint16_t port = 80, std::uint32_t flag = 0) {
    WdchSystemRedirect entry;
    std::memset(&entry, 0xEE, sizeof entry); // what is reserved isn't looked at
    put(entry.sessionType, session);
    entry.cancelAfMask = 5;
    entry.direction = 2;
    entry.port = port;
    entry.flag = flag;
    entry.tcpAutoTuningLevel = -3;
    put(entry.process, "");
    put(entry.image, u"");
    return entry;
}

class Redirects : public testing::Test {
  protected:
    void SetUp() override {
        tree::clear();
        tree::setNumber("ProtocolHandler\\Web", "Type", 3);
    }

    std::int32_t write(std::uint64_t configType, WdchSystemRedirect entry) {
        return manager.WriteConfig(kHandler, 0, 0, configType, &entry, sizeof entry);
    }
    std::int32_t add(const WdchSystemRedirect& entry) { return write(WDLT_CONFIG_REDIRECT_ADD, entry); }
    std::int32_t remove(const std::u16string& session) { return write(WDLT_CONFIG_REDIRECT_DELETE, redirect(session)); }

    std::vector<WdchSystemRedirect> read() {
        std::uint64_t size = 0;
        EXPECT_EQ(manager.ReadConfig(kHandler, 0, 0, 0, nullptr, &size), WDLT_E_BUFFER_SIZE);
        std::vector<BYTE> buffer(size, 0xEE);
        EXPECT_EQ(manager.ReadConfig(kHandler, 0, 0, 0, buffer.data(), &size), WDLT_OK);
        WdchSystemProtocolHandler header{};
        std::memcpy(&header, buffer.data(), sizeof header);
        std::vector<WdchSystemRedirect> entries(header.redirectCount);
        EXPECT_EQ(size, kHeader + entries.size() * kEntry);
        if (!entries.empty())
            std::memcpy(entries.data(), buffer.data() + kHeader, entries.size() * kEntry);
        return entries;
    }
    WdchSystemRedirect readOne() {
        const auto entries = read();
        EXPECT_EQ(entries.size(), 1u);
        return entries.empty() ? WdchSystemRedirect{} : entries[0];
    }

    CConfigManager manager;
};

TEST_F(Redirects, WhatIsAddedIsReadBack) {
    WdchSystemRedirect entry = redirect(u"TenLetters", 0xFFFF, 0x8F);
    put(entry.process, "proxy.exe");
    EXPECT_EQ(add(entry), WDLT_OK);
    const std::string key = keyOf("TenLetters");
    EXPECT_EQ(tree::storedText(key, "process"), std::string("proxy.exe") + '\0');
    EXPECT_EQ(tree::number(key, "TcpAutoTuningLevel"), 0xFFFFFFFDu);
    EXPECT_EQ(tree::number(key, "port"), 0xFFFFu);
    EXPECT_EQ(tree::number(key, "direction"), 2u);
    EXPECT_EQ(tree::number(key, "flag"), 0x8Fu);
    EXPECT_EQ(tree::number(key, "CancelAfMask"), 5u);

    WdchSystemRedirect expected{};
    put(expected.sessionType, u"TenLetters");
    expected.cancelAfMask = 5;
    expected.direction = 2;
    expected.port = 0xFFFF;
    expected.flagPresent = 1;
    expected.flag = 0x8F;
    expected.tcpAutoTuningLevel = -3;
    put(expected.process, "proxy.exe");
    const WdchSystemRedirect back = readOne();
    EXPECT_EQ(std::memcmp(&back, &expected, sizeof back), 0); // reserved fields are zero
}

TEST_F(Redirects, AnImageIsWideAndAProcessNarrow) {
    WdchSystemRedirect entry = redirect(u"S", 0, WDLT_REDIRECT_IMAGE);
    put(entry.image, u"C:\\Prog\u00E4\\x.exe");
    put(entry.process, "ignored");
    EXPECT_EQ(add(entry), WDLT_OK);
    EXPECT_EQ(tree::storedText(keyOf("S"), "process"), std::string("C:\\Prog\u00E4\\x.exe") + '\0');
    WdchSystemRedirect back = readOne();
    EXPECT_EQ(std::u16string(back.image), u"C:\\Prog\u00E4\\x.exe");
    EXPECT_STREQ(back.process, "");

    // The one value is read as the flag says.
    entry = redirect(u"S", 1, 0x20);
    put(entry.process, "short");
    put(entry.image, u"ignored");
    EXPECT_EQ(add(entry), WDLT_OK);
    back = readOne();
    EXPECT_STREQ(back.process, "short");
    EXPECT_EQ(std::u16string(back.image), u"");
}

TEST_F(Redirects, ARuleNeedsASessionAndSomethingToApplyTo) {
    const std::string prefix = "!!! [CSystemProtocolCfg::AddRedirect] ";
    const struct {
        const char16_t* session;
        std::uint16_t port;
        std::uint32_t flag;
        const char* process;
        const char16_t* image;
        std::string line; // empty: it is added
    } cases[] = {
        {u"S", 1, 0, "", u"", ""}, // a port alone
        {u"S", 1, 0x10, "", u"", ""},
        {u"S", 0, 0, "p", u"", ""},
        {u"S", 0, 0x10, "", u"i", ""},
        {u"S", 0, 0, "", u"i", prefix + "Both process name and port number are not specified"},
        {u"S", 0, 0xEF, "", u"i", prefix + "Both process name and port number are not specified"},
        {u"S", 0, 0x10, "p", u"", prefix + "Both image name and port number are not specified"},
        {u"S", 0, 0x1F, "p", u"", prefix + "Both image name and port number are not specified"},
        {u"", 0, 0, "", u"", prefix + "sessionType not specified"}, // the first thing looked at
    };
    for (const auto& c : cases) {
        SetUp();
        WdchSystemRedirect entry = redirect(c.session, c.port, c.flag);
        put(entry.process, c.process);
        put(entry.image, c.image);
        const LogFile log;
        EXPECT_EQ(add(entry), c.line.empty() ? WDLT_OK : WDLT_E_INVALID_ARGUMENT) << c.port << ' ' << c.flag;
        if (!c.line.empty()) {
            EXPECT_THAT(log.messages(), Contains(c.line));
        }
        EXPECT_EQ(tree::keyExists(keyOf("S")), c.line.empty());
    }
}

TEST_F(Redirects, AFlagOfZeroIsNotWritten) {
    const LogFile log;
    EXPECT_EQ(add(redirect(u"S")), WDLT_OK);
    EXPECT_THAT(log.messages(), Contains("@@@ Not write flag because Flag is zero."));
    EXPECT_FALSE(tree::get(keyOf("S"), "flag"));
    EXPECT_EQ(tree::storedText(keyOf("S"), "process"), std::string(1, '\0')); // empty, but there
    EXPECT_EQ(readOne().flagPresent, 0u);
    EXPECT_THAT(log.messages(), Contains("@@@ Failed to read Redirect\\S \"Flag\". set Flag to zero."));

    EXPECT_EQ(add(redirect(u"S", 80, 4)), WDLT_OK);
    WdchSystemRedirect entry = redirect(u"S", 81);
    EXPECT_EQ(add(entry), WDLT_OK); // the session is written over value by value, so that the old flag stays
    EXPECT_EQ(readOne().flag, 4u);
    EXPECT_EQ(readOne().port, 81u);
    EXPECT_EQ(add(redirect(u"s", 82)), WDLT_OK); // case doesn't make another session
    EXPECT_EQ(readOne().port, 82u);
}

TEST_F(Redirects, MissingValuesHaveDefaults) {
    tree::setNumber(keyOf("S"), "Unrelated", 1);
    const LogFile log;
    WdchSystemRedirect expected{};
    put(expected.sessionType, u"S");
    expected.tcpAutoTuningLevel = -1;
    const WdchSystemRedirect back = readOne();
    EXPECT_EQ(std::memcmp(&back, &expected, sizeof back), 0);
    EXPECT_THAT(log.messages(), Contains("@@@ Failed to read \"TcpAutoTuningLevel\"."));
    tree::setNumber(keyOf("S"), "Port", 0x12345); // of another make: the low 16 bits
    EXPECT_EQ(readOne().port, 0x2345);
    tree::setText(keyOf("S"), "Direction", "no number");
    EXPECT_EQ(readOne().direction, 0u);
}

TEST_F(Redirects, TextsThatFillTheirFieldAreStoredWithATerminator) {
    WdchSystemRedirect entry = redirect(u"S");
    put(entry.process, "sixteen letters!");
    EXPECT_EQ(add(entry), WDLT_OK);
    EXPECT_EQ(tree::storedText(keyOf("S"), "process"), std::string("sixteen letters") + '\0');
    EXPECT_STREQ(readOne().process, "sixteen letters");

    entry = redirect(u"S", 0, WDLT_REDIRECT_IMAGE);
    put(entry.image, std::u16string(300, u'i'));
    EXPECT_EQ(add(entry), WDLT_OK);
    EXPECT_EQ(tree::storedText(keyOf("S"), "process"), std::string(299, 'i') + '\0');
    EXPECT_EQ(std::u16string(readOne().image), std::u16string(299, u'i'));
}

TEST_F(Redirects, AStoredNameThatIsTooLongIsCut) {
    const struct {
        std::uint32_t flag;
        std::string stored; // as its bytes
        std::string process;
        std::u16string image;
        const char* line;
    } cases[] = {
        {0, std::string(20, 'p') + '\0', std::string(15, 'p'), u"",
         "@@@ Insufficient buffer for \"Process\"(Need 21)."},
        {0, std::string(15, 'p') + '\0', std::string(15, 'p'), u"", nullptr},
        {0, "p", "p", u"", nullptr},
        {0, std::string(70'000, 'p'), std::string(15, 'p'), u"",
         "@@@ Insufficient buffer for \"Process\"(Need 70001)."},
        {0x10, std::string(300, 'i') + '\0', "", std::u16string(299, u'i'),
         "@@@ Insufficient buffer for \"Process\"(Need 602)."},
        {0x10, std::string(299, 'i') + '\0', "", std::u16string(299, u'i'), nullptr},
    };
    for (const auto& c : cases) {
        SetUp();
        tree::setNumber(keyOf("S"), "flag", c.flag);
        tree::set(keyOf("S"), "process", REG_SZ, c.stored.data(), static_cast<DWORD>(c.stored.size()));
        const LogFile log;
        const WdchSystemRedirect back = readOne();
        EXPECT_EQ(std::string(back.process, strnlen(back.process, 16)), c.process);
        EXPECT_EQ(std::u16string(back.image, std::find(back.image, back.image + 300, 0)), c.image);
        if (c.line != nullptr) {
            EXPECT_THAT(log.messages(), Contains(c.line));
        } else {
            EXPECT_THAT(log.messages(), Not(Contains(HasSubstr("Insufficient buffer"))));
        }
    }
}

// Somebody stores a longer one between the size and the text.
TEST_F(Redirects, AStoredNameThatGrowsUnderItsReader) {
    tree::setText(keyOf("S"), "process", std::string(20, 'p'));
    const auto helper = CConfigManager::CreateHelper(kHandler, 0, 0);
    auto store = std::make_unique<FailingStore>(0);
    store->afterRead = [length = std::size_t{20}](const std::string& name) mutable {
        if (name == "Process" && length < 23)
            tree::setText(keyOf("S"), "process", std::string(++length, 'p'));
    };
    helper->store = std::move(store);
    std::vector<BYTE> buffer(kHeader + kEntry);
    std::uint64_t size = buffer.size();
    EXPECT_EQ(helper->ReadConfig(0, buffer.data(), &size), WDLT_OK);
    WdchSystemRedirect back{};
    std::memcpy(&back, buffer.data() + kHeader, sizeof back);
    EXPECT_STREQ(back.process, std::string(15, 'p').c_str());
}

class CodePage {
  public:
    explicit CodePage(const char* number) { set(number); }
    ~CodePage() { set("65001"); }
    CodePage(const CodePage&) = delete;
    CodePage& operator=(const CodePage&) = delete;

  private:
    static void set(const char* number) {
        setenv("WARDLET_ACP", number, 1);
        WdTestRereadEnvironment();
    }
};

TEST_F(Redirects, ASessionsNameHasTenCharactersAndTenBytes) {
    const struct {
        const char* codePage;
        std::u16string session;
        const char* wrong = nullptr; // what the log says of it
    } cases[] = {
        {"65001", u"1"},
        {"65001", u"1234567890"},
        {"65001", u"12345678901", "too long"}, // fills the field
        {"65001", u"\u00E4\u00E4\u00E4\u00E4\u00E4"},
        {"65001", u"\u00E4\u00E4\u00E4\u00E4\u00E4x", "too long in the code page"}, // eleven bytes
        {"65001", u"\u65E5\u672C\u8A9Ex"},
        {"65001", u"\u65E5\u672C\u8A9Exy", "too long in the code page"},
        {"932", u"\u65E5\u672C\u8A9E\u8868\u793A"},
        {"932", u"\u65E5\u672C\u8A9E\u8868\u793Ax", "too long in the code page"},
        {"1252", u"\u00E4\u00E4\u00E4\u00E4\u00E4\u00E4\u00E4\u00E4\u00E4\u00E4"},
        {"1252", u"\u65E5", "no text of the code page"}, // "?", as any other would be
        {"65001", u"\xD800", "no text of the code page"},
        {"65001", u"a\\b", "no name of a key"}, // would be two keys
        {"65001", u"a/b"},
        {"65001", u"\\", "no name of a key"},
    };
    for (const auto& c : cases) {
        const CodePage page(c.codePage);
        SetUp();
        SCOPED_TRACE(testing::Message() << c.codePage << ' ' << c.session.size());
        const LogFile log;
        EXPECT_EQ(add(redirect(c.session)), c.wrong == nullptr ? WDLT_OK : WDLT_E_INVALID_ARGUMENT);
        if (c.wrong == nullptr) {
            EXPECT_EQ(std::u16string(readOne().sessionType), c.session);
            EXPECT_EQ(remove(c.session), WDLT_OK);
        } else {
            EXPECT_EQ(remove(c.session), WDLT_E_INVALID_ARGUMENT);
            for (const std::string operation : {"[CSystemProtocolCfg::AddRedirect]", "DelRedirect"})
                EXPECT_THAT(log.messages(), Contains("!!! " + operation + " sessionType " + c.wrong));
        }
        EXPECT_THAT(read(), IsEmpty());
    }
}

// A key that another program made may have any name.
TEST_F(Redirects, ALongKeysNameIsCutOrLeftOut) {
    tree::setNumber(keyOf("a twenty-one byte key"), "port", 1);
    tree::setNumber(keyOf("b twenty-two bytes key"), "port", 2);
    const LogFile log;
    const auto entries = read();
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(std::u16string(entries[0].sessionType), u"a twenty-o");
    EXPECT_EQ(entries[0].port, 1u);
    EXPECT_EQ(std::u16string(entries[1].sessionType), u"");
    EXPECT_EQ(entries[1].port, 2u);
    EXPECT_THAT(log.messages(), Contains("!!! ReadValue( SubSection = Redirect\\b twenty-two bytes key) fails (-2)"));
}

TEST_F(Redirects, TheFirstValueThatFailsEndsAnAddition) {
    const char* const items[] = {"process", "TcpAutoTuningLevel", "port", "direction", "flag", "CancelAfMask"};
    for (std::size_t failing = 0; failing < std::size(items); ++failing) {
        SetUp();
        const auto helper = CConfigManager::CreateHelper(kHandler, 0, 0);
        helper->store = std::make_unique<FailingStore>(static_cast<int>(failing + 1));
        WdchSystemRedirect entry = redirect(u"S", 80, 1);
        const LogFile log;
        EXPECT_EQ(helper->WriteConfig(WDLT_CONFIG_REDIRECT_ADD, &entry, sizeof entry), WDLT_E_REGISTRY);
        EXPECT_TRUE(helper->skipChangeEvent);
        EXPECT_THAT(log.messages(),
                    Contains(std::string(failing < 3 ? "!!! [CSystemProtocolCfg::AddRedirect]" : "!!! AddRedirect") +
                             " Failed to write registry item (key=Redirect\\S, item=" + items[failing] + ", ret=-9)"));
        for (std::size_t i = 0; i < std::size(items); ++i)
            EXPECT_EQ(tree::get(keyOf("S"), items[i]).has_value(), i < failing) << items[i];
        entry.flag = 0; // told of where its turn would be
        helper->store = std::make_unique<FailingStore>(static_cast<int>(failing + 1));
        EXPECT_EQ(helper->WriteConfig(WDLT_CONFIG_REDIRECT_ADD, &entry, sizeof entry),
                  failing < 5 ? WDLT_E_REGISTRY : WDLT_OK);
        EXPECT_EQ(std::ranges::count(log.messages(), "@@@ Not write flag because Flag is zero."), failing < 4 ? 0 : 1);
    }
}

TEST_F(Redirects, DeletingTellsWhatWasNotThere) {
    const std::string line = "DelRedirect Failed to delete registry key (key=redirect\\Gone, ret=";
    const LogFile log;
    EXPECT_EQ(remove(u"Gone"), WDLT_E_REGISTRY); // the handler has no list
    EXPECT_THAT(log.messages(), Contains("!!! " + line + "-9)"));
    EXPECT_EQ(add(redirect(u"S")), WDLT_OK);
    EXPECT_EQ(add(redirect(u"T")), WDLT_OK);
    EXPECT_EQ(remove(u"Gone"), WDLT_E_NOT_FOUND);
    EXPECT_THAT(log.messages(), Contains("@@@ " + line + "-16)"));
    EXPECT_EQ(remove(u"s"), WDLT_OK);
    EXPECT_EQ(std::u16string(readOne().sessionType), u"T");
    tree::setNumber(keyOf("T\\below"), "x", 1);
    EXPECT_EQ(remove(u"T"), WDLT_E_REGISTRY); // it has keys of its own
}

TEST_F(Redirects, AHandlerThatIsNotThereTakesNone) {
    WdchSystemRedirect entry = redirect(u"S");
    EXPECT_EQ(manager.WriteConfig(10007, 0, 0, WDLT_CONFIG_REDIRECT_ADD, &entry, sizeof entry), WDLT_E_REGISTRY);
    EXPECT_EQ(manager.WriteConfig(10007, 0, 0, WDLT_CONFIG_REDIRECT_DELETE, &entry, sizeof entry), WDLT_E_REGISTRY);
    EXPECT_THAT(tree::subkeys(tree::path("ProtocolHandler")), ElementsAre("Web"));
}

TEST_F(Redirects, EveryOperationWaitsForTheListsMutex) {
    HANDLE const mutex = CreateMutexA(nullptr, FALSE, "Global\\wdlt_config_redirect_mutex");
    ASSERT_EQ(add(redirect(u"S")), WDLT_OK);
    ASSERT_EQ(WaitForSingleObject(mutex, INFINITE), WAIT_OBJECT_0);
    std::atomic<int> done{0};
    std::thread reader([&] {
        CConfigManager own;
        std::uint64_t size = 0;
        own.ReadConfig(kHandler, 0, 0, 0, nullptr, &size);
        ++done;
    });
    std::thread writer([&] {
        remove(u"S");
        ++done;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20)); // for those that don't wait
    EXPECT_EQ(done, 0);
    EXPECT_TRUE(tree::keyExists(keyOf("S")));
    ReleaseMutex(mutex);
    reader.join();
    writer.join();
    EXPECT_FALSE(tree::keyExists(keyOf("S")));
    CloseHandle(mutex);
}

// A store in which another process has added a session whenever the list is looked at again.
class GrowingStore final : public WdchIO {
  public:
    std::int32_t EnumSubSections(DWORD protocol, DWORD scan, DWORD input, const char* section,
                                 std::vector<std::string>& names) override {
        const std::int32_t status = m_store.EnumSubSections(protocol, scan, input, section, names);
        if (std::string_view(section) == "Redirect")
            tree::setNumber(keyOf(std::string("later").append(std::to_string(names.size()))), "port", 9);
        return status;
    }
    std::int32_t ReadValue(DWORD protocol, DWORD scan, DWORD input, const char* section, const char* name, void* data,
                           DWORD* size, bool wide) override {
        return m_store.ReadValue(protocol, scan, input, section, name, data, size, wide);
    }
    std::int32_t WriteValue(DWORD, DWORD, DWORD, const char*, const char*, DWORD, const void*, DWORD, bool) override {
        return WDLT_E_GENERAL;
    }
    std::int32_t DeleteSubSection(DWORD, DWORD, DWORD, const char*, const char*) override { return WDLT_E_GENERAL; }
    std::int32_t DeleteValue(DWORD, DWORD, DWORD, const char*, const char*) override { return WDLT_E_GENERAL; }

  private:
    CRegistryIO m_store;
};

TEST_F(Redirects, ASessionAddedAfterTheCountIsLeftOut) {
    tree::setNumber(keyOf("S"), "port", 1);
    const auto helper = CConfigManager::CreateHelper(kHandler, 0, 0);
    helper->store = std::make_unique<GrowingStore>();
    std::vector<BYTE> buffer(kHeader + 2 * kEntry, 0xEE);
    std::uint64_t size = kHeader + kEntry;
    EXPECT_EQ(helper->ReadConfig(0, buffer.data(), &size), WDLT_OK);
    EXPECT_EQ(std::count(buffer.end() - kEntry, buffer.end(), BYTE{0xEE}), std::ptrdiff_t{kEntry});
    WdchSystemProtocolHandler header{};
    std::memcpy(&header, buffer.data(), sizeof header);
    EXPECT_EQ(header.redirectCount, 1u);
    EXPECT_EQ(read().size(), 3u); // it was there
}

TEST_F(Redirects, AListThatChangesBetweenCountingAndReadingFitsTheBuffer) {
    std::atomic<bool> stopped{false};
    std::thread other([&] {
        CConfigManager own;
        for (std::size_t i = 0; !stopped; ++i) {
            WdchSystemRedirect entry = redirect(std::u16string(1, static_cast<char16_t>(u'a' + i % 5)));
            const bool adds = i / 5 % 2 == 0;
            EXPECT_EQ(own.WriteConfig(kHandler, 0, 0, adds ? 1u : 2u, &entry, sizeof entry), WDLT_OK);
        }
    });
    std::vector<BYTE> buffer(kHeader + 6 * kEntry);
    int reads = 0;
    for (int round = 0; round < 300; ++round) {
        std::fill(buffer.begin(), buffer.end(), BYTE{0xEE});
        std::uint64_t size = kHeader + static_cast<std::uint64_t>(round % 6) * kEntry;
        const std::uint64_t given = size;
        const std::int32_t status = manager.ReadConfig(kHandler, 0, 0, 0, buffer.data(), &size);
        EXPECT_THAT(status, AnyOf(WDLT_OK, WDLT_E_BUFFER_SIZE));
        reads += status == WDLT_OK;
        const auto end = static_cast<std::ptrdiff_t>(given);
        ASSERT_EQ(std::count(buffer.begin() + end, buffer.end(), BYTE{0xEE}), buffer.end() - buffer.begin() - end);
    }
    stopped = true;
    other.join();
    EXPECT_GT(reads, 0);
}

} // namespace
