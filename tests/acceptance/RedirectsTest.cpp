// The redirects of a handler: what may be added, how it is stored and read back, at the limits of every field and in
// multi-byte code pages; a list that changes while it is read.
#include "Handlers.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

using testing::IsEmpty;

RecordCase redirectOfSession() {
#define REDIRECT(member) WDLT_FIELD(WdchSystemRedirect, member)
    const std::string longest(15, 'p');
    return {
        .name = "Redirect",
        .protocol = kWeb,
        .key = keyOf("S"),
        .size = kEntry,
        .fields =
            {textCase("process", REDIRECT(process))
                 .whenAbsent(quietlyReadsAs(""))
                 .whenTooLarge(quietlyReadsAs(std::string(15, 'a')))
                 .reads({{"", ""}, {longest, longest}, {longest + "p", longest}})
                 .writes({{"", ""}, {longest, longest}, {longest + "p", longest}}), // truncated when it fills the field
             numberCase("TcpAutoTuningLevel", REDIRECT(tcpAutoTuningLevel)).whenUnreadable(quietlyReadsAs(0xFFFFFFFFu)),
             numberCase("port", REDIRECT(port))
                 .whenUnreadable(quietlyReadsAs(0u))
                 .reads({{0x12345u, 0x2345u}}) // the low 16 bits
                 .writes({{0xFFFFu, 0xFFFFu}}),
             numberCase("direction", REDIRECT(direction)).whenUnreadable(quietlyReadsAs(0u)),
             numberCase("flag", REDIRECT(flag))
                 .with(1u, 0x8Fu)
                 .reads({{0u, 0u}})
                 .writes({{0x8Fu, 0x8Fu}})
                 .whenUnreadable(quietlyReadsAs(0u)),
             numberCase("CancelAfMask", REDIRECT(cancelAfMask)).whenUnreadable(quietlyReadsAs(0u))},
        .unwrittenLine = "AddRedirect",
        .rest = [](BYTE* record) { reinterpret_cast<char*>(record)[offsetof(WdchSystemRedirect, sessionType)] = 'S'; },
        .unseen = {{REDIRECT(flagPresent)}},
        .head = kHead,
        .writeType = WDLT_CONFIG_REDIRECT_ADD,
    };
#undef REDIRECT
}

class Redirects : public Handlers {};

TEST_F(Redirects, EachFieldOnItsWay) {
    const FieldRunner runner(library, redirectOfSession());
    runner.tryEachUnreadValue();
    runner.tryLimitsOnRead();
    runner.tryLimitsOnWrite();
    runner.tryWriting();
    runner.tryFailingWrites();
}

TEST_F(Redirects, ARedirectNeedsSomethingToApplyTo) {
    const struct {
        std::uint16_t port;
        std::uint32_t flag;
        const char* process;
        const WCHAR* image;
        const char* line = nullptr; // null: it is added
    } cases[] = {
        {1, 0, "", WTEXT("")}, // only a port
        {0, 0, "p", WTEXT("")},
        {0, 0x10, "", WTEXT("i")},
        {0, 0xEF, "", WTEXT("i"), "Both process name and port number are not specified"},
        {0, 0x10, "p", WTEXT(""), "Both image name and port number are not specified"},
    };
    for (const auto& c : cases) {
        layDownHandlers();
        const FreshLog fresh;
        EXPECT_EQ(add(redirect(WTEXT("S"), c.port, c.flag, c.process, c.image)),
                  c.line == nullptr ? WDLT_OK : WDLT_E_INVALID_ARGUMENT);
        EXPECT_EQ(library.logged(std::string("[CSystemProtocolCfg::AddRedirect] ") + (c.line == nullptr ? "" : c.line)),
                  c.line != nullptr);
        EXPECT_EQ(tree::keyExists(keyOf("S")), c.line == nullptr);
    }
}

TEST_F(Redirects, AFlagOfZeroIsNotWritten) {
    EXPECT_EQ(add(redirect(WTEXT("S"))), WDLT_OK);
    EXPECT_FALSE(tree::get(keyOf("S"), "flag"));
    EXPECT_EQ(readOne().flagPresent, 0u);
    EXPECT_TRUE(library.logged("Failed to read Redirect\\S \"Flag\". set Flag to zero."));
    EXPECT_EQ(add(redirect(WTEXT("S"), 80, 4)), WDLT_OK);
    EXPECT_EQ(add(redirect(WTEXT("s"), 81)), WDLT_OK); // overwrites the same session's values: the old flag stays
    EXPECT_EQ(readOne().flagPresent, 1u);
    EXPECT_EQ(readOne().flag, 4u);
    EXPECT_EQ(readOne().port, 81u);
}

// Both are stored in the same value; the flag says which it is.
TEST_F(Redirects, AnImageIsWideAndAProcessNarrow) {
    EXPECT_EQ(add(redirect(WTEXT("S"), 0, WDLT_REDIRECT_IMAGE, "ignored", WTEXT("C:\\Prog\u00E4\\x.exe"))), WDLT_OK);
    EXPECT_EQ(tree::storedText(keyOf("S"), "process"), std::string("C:\\Prog\u00E4\\x.exe") + '\0');
    EXPECT_EQ(WideString(readOne().image), WTEXT("C:\\Prog\u00E4\\x.exe"));
    EXPECT_EQ(add(redirect(WTEXT("S"), 1, 0x20, "short", WTEXT("ignored"))), WDLT_OK);
    EXPECT_STREQ(readOne().process, "short");
    EXPECT_EQ(add(redirect(WTEXT("S"), 0, WDLT_REDIRECT_IMAGE, "", WideString(300, WTEXT('i')))), WDLT_OK);
    tree::setText(keyOf("S"), "process", std::string(300, 'j'));
    EXPECT_EQ(WideString(readOne().image), WideString(299, WTEXT('j')));
    EXPECT_TRUE(library.logged("Insufficient buffer for \"Process\"(Need 602)."));
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
        WideString session;
        const char* wrong = nullptr; // the reason in the log; null: accepted
    } cases[] = {
        {"65001", WTEXT("1234567890")},
        {"65001", WTEXT("12345678901"), "too long"}, // fills the field
        {"65001", WTEXT("\u00E4\u00E4\u00E4\u00E4\u00E4")},
        {"65001", WTEXT("\u00E4\u00E4\u00E4\u00E4\u00E4x"), "too long in the code page"}, // eleven bytes
        {"932", WTEXT("\u65E5\u672C\u8A9E\u8868\u793Ax"), "too long in the code page"},
        {"1252", WTEXT("\u65E5"), "no text of the code page"}, // would become "?", like any other it lacks
        {"65001", WTEXT("\xD800"), "no text of the code page"},
        {"65001", WTEXT("a\\b"), "no name of a key"}, // would be two keys
        {"65001", WTEXT(""), "not specified"},
    };
    for (const auto& c : cases) {
        const CodePage page(c.codePage);
        layDownHandlers();
        SCOPED_TRACE(testing::Message() << c.codePage << ' ' << c.session.size());
        const FreshLog fresh;
        EXPECT_EQ(add(redirect(c.session)), c.wrong == nullptr ? WDLT_OK : WDLT_E_INVALID_ARGUMENT);
        if (c.wrong == nullptr) {
            EXPECT_EQ(WideString(readOne().sessionType), c.session);
        }
        EXPECT_EQ(remove(c.session), c.wrong == nullptr ? WDLT_OK : WDLT_E_INVALID_ARGUMENT);
        for (const std::string operation : {"[CSystemProtocolCfg::AddRedirect]", "DelRedirect"})
            EXPECT_TRUE(c.wrong == nullptr || library.logged("!!! <WdltCfg> " + operation + " sessionType " + c.wrong));
        EXPECT_THAT(redirects(), IsEmpty());
    }
}

// A key that another program made may have any name.
TEST_F(Redirects, ALongKeysNameIsCutOrLeftOut) {
    tree::setNumber(keyOf("a twenty-one byte key"), "port", 1);
    tree::setNumber(keyOf("b twenty-two bytes key"), "port", 2);
    const auto entries = redirects();
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(WideString(entries[0].sessionType), WTEXT("a twenty-o"));
    EXPECT_EQ(WideString(entries[1].sessionType), WTEXT(""));
    EXPECT_TRUE(library.logged("ReadValue( SubSection = Redirect\\b twenty-two bytes key) fails (-2)"));
}

TEST_F(Redirects, DeletingTellsWhatWasNotThere) {
    const std::string line = "DelRedirect Failed to delete registry key (key=redirect\\Gone, ret=";
    EXPECT_EQ(remove(WTEXT("Gone")), WDLT_E_REGISTRY); // the handler has no list
    EXPECT_TRUE(library.logged("!!! <WdltCfg> " + line + "-9)"));
    EXPECT_EQ(add(redirect(WTEXT("S"))), WDLT_OK);
    EXPECT_EQ(add(redirect(WTEXT("T"))), WDLT_OK);
    EXPECT_EQ(remove(WTEXT("Gone")), WDLT_E_NOT_FOUND);
    EXPECT_TRUE(library.logged("@@@ <WdltCfg> " + line + "-16)"));
    EXPECT_EQ(remove(WTEXT("s")), WDLT_OK);
    EXPECT_EQ(WideString(readOne().sessionType), WTEXT("T"));
    tree::setNumber(keyOf("T\\below"), "x", 1);
    EXPECT_EQ(remove(WTEXT("T")), WDLT_E_REGISTRY);               // it has subkeys
    EXPECT_EQ(add(redirect(WTEXT("S")), 10005), WDLT_E_REGISTRY); // no handler has this protocol
    EXPECT_EQ(tree::subkeys(tree::path("ProtocolHandler")).size(), 4u);
}

// Changes by others between two reads of the list.
TEST_F(Redirects, AListThatChangesMeanwhile) {
    tree::setNumber(keyOf("S"), "port", 1);
    std::vector<BYTE> buffer(kHead + 2 * kEntry, 0xEE);
    std::uint64_t size = kHead;
    EXPECT_EQ(WDLT_CALL(library, WdltReadConfig)(kWeb, 0, 0, buffer.data(), &size), WDLT_E_BUFFER_SIZE);
    EXPECT_EQ(std::ranges::count(buffer, BYTE{0xEE}), std::ssize(buffer));
    EXPECT_EQ(size, kHead + kEntry);
    {
        const AfterEachRead others([&](const std::string& name) {
            if (name == "Filename")
                tree::setNumber(keyOf("Late"), "port", 9);
        });
        EXPECT_EQ(WDLT_CALL(library, WdltReadConfig)(kWeb, 0, 0, buffer.data(), &size), WDLT_OK);
    }
    EXPECT_EQ(std::count(buffer.end() - kEntry, buffer.end(), BYTE{0xEE}), std::ptrdiff_t{kEntry});
    EXPECT_EQ(reinterpret_cast<const WdchSystemProtocolHandler*>(buffer.data())->redirectCount, 1u);
    EXPECT_EQ(redirects().size(), 2u); // it had been added
}

TEST_F(Redirects, TheListsMutexIsHeldWhileItIsReadAndNeededToChangeIt) {
    const char* const name = "Global\\wdlt_config_redirect_mutex";
    EXPECT_EQ(add(redirect(WTEXT("S"))), WDLT_OK);
    {
        HANDLE const mutex = CreateMutexA(nullptr, FALSE, name);
        bool wasHeld = false;
        const AfterEachRead look([&](const std::string& value) {
            if (value == "Port")
                std::thread([&] { wasHeld = WaitForSingleObject(mutex, 0) == WAIT_TIMEOUT; }).join();
        });
        EXPECT_EQ(redirects().size(), 1u);
        EXPECT_TRUE(wasHeld);
        CloseHandle(mutex);
    }
    HANDLE const event = CreateEventA(nullptr, FALSE, FALSE, name); // occupies the mutex's name
    EXPECT_EQ(add(redirect(WTEXT("T"))), WDLT_E_GENERAL);
    EXPECT_EQ(remove(WTEXT("S")), WDLT_E_GENERAL);
    EXPECT_EQ(redirects().size(), 1u); // a read goes on without the mutex
    CloseHandle(event);
}

} // namespace
