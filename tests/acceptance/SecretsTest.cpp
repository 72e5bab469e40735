// What is otherwise kept enciphered must not remain as plain text on a thread's stack, in freed memory, or in any file
// of the home.
#include "PrivacyLists.h"
#include "UrlFilterTree.h"

#include <Sanitizers.h>

#include <gmock/gmock.h>

#include <malloc.h>
#include <pthread.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

namespace {

// The text that freed memory must not contain (null: don't search), and how often it did.
const char* g_secret = nullptr;
int g_found = 0;

void lookFor(const void* memory, std::size_t bytes) {
    if (memory != nullptr && g_secret != nullptr && memmem(memory, bytes, g_secret, std::strlen(g_secret)) != nullptr)
        ++g_found;
}

} // namespace

// Replaces the library's operator delete too, since the linker finds this one first. The sanitizers have their own.
#if !defined(WDLT_ADDRESS_SANITIZER) && !defined(WDLT_THREAD_SANITIZER)
void operator delete(void* memory) noexcept {
    lookFor(memory, malloc_usable_size(memory));
    std::free(memory); // NOLINT: the standard's operator new takes it from there
}
void operator delete(void* memory, std::size_t) noexcept {
    operator delete(memory);
}
#endif

namespace {

using namespace privacy_files;

constexpr char kSecret[] = "4711-0815-xyzzy-secret";

class Secrets : public PrivacyLists {
  protected:
    Secrets() { setUrlFilter(); }
};

TEST_F(Secrets, EachCallWipesThem) {
    // The callers' own copies: static, so that they aren't searched.
    static WdltUrlfProxy proxy{1, "proxy.example", 3128, "user", ""};
    static WdltUrlfConfig config{};
    static WdpeUrlfData whole{};
    static PrivacyViewItem viewItem = item(1, kSecret);
    static PrivacyExclusionItem excluded = exclusionItem(1, kSecret);
    static std::vector<char> search(sizeof(PrivacyDBHeader) + std::size_t{32} * sizeof(PrivacySearchRecord));
    privacy_files::put(proxy.szProxyPassword, kSecret);
    struct Case {
        const char* what;
        std::function<std::int32_t(const LoadedLibrary& library)> call;
        std::int32_t status = WDLT_OK;
    };
    static std::int32_t count = 1;
    static std::uint32_t result = 0;
    static std::uint64_t size = 0;
    const Case cases[] = {
        {"WriteProxy", [](auto& lib) { return WDLT_CALL(lib, WdltUrlfWriteProxy)(&proxy); }},
        {"ReadProxy", [](auto& lib) { return WDLT_CALL(lib, WdltUrlfReadProxy)(&proxy); }},
        {"ReadConfig", [](auto& lib) { return WDLT_CALL(lib, WdltUrlfReadConfig)(&config); }},
        {"WriteConfig", [](auto& lib) { return WDLT_CALL(lib, WdltUrlfWriteConfig)(&config); }},
        {"the URL filter at its address",
         [](auto& lib) {
             size = sizeof whole;
             return WDLT_CALL(lib, WdltReadConfig)(0, WDLT_SCAN_URL_FILTER, 0, &whole, &size);
         }},
        {"a read that fails behind the password",
         [](auto& lib) {
             tree::deleteValue(kUrlKey, "NotifyAll");
             return WDLT_CALL(lib, WdltUrlfReadConfig)(&config);
         },
         WDLT_E_NOT_FOUND},
        {"WriteItemList", [](auto& lib) { return WDLT_CALL(lib, WdltPdpWriteItemList)(&viewItem, 1); }},
        {"ReadItemList", [](auto& lib) { return WDLT_CALL(lib, WdltPdpReadItemList)(&viewItem, &count); }},
        {"VerifyItems", [](auto& lib) { return WDLT_CALL(lib, WdltPdpVerifyItems)(&viewItem, 1, &result); }},
        {"the patterns",
         [](auto& lib) {
             size = search.size();
             return WDLT_CALL(lib, WdltReadConfig)(0, WDLT_SCAN_PRIVACY, WDLT_CONFIG_PRIVACY_SEARCH, search.data(),
                                                   &size);
         }},
        {"WriteExItemList", [](auto& lib) { return WDLT_CALL(lib, WdltPdpWriteExItemList)(&excluded, 1); }},
        {"ReadExItemList", [](auto& lib) { return WDLT_CALL(lib, WdltPdpReadExItemList)(&excluded, &count); }},
        {"a write that fails behind a pattern",
         [](auto& lib) {
             tree::setNumber(kKey, "CharSetEntry", 0x40000000 | WDLT_CHARSET_UTF_8); // leaves a backup
             return WDLT_CALL(lib, WdltPdpWriteItemList)(&viewItem, 1);
         },
         WDLT_E_INVALID_ARGUMENT},
    };
    for (const Case& c : cases) {
        std::vector<char> stack(std::size_t{1} << 20);
        std::function<void()> call = [&] { EXPECT_EQ(c.call(library), c.status) << c.what; };
        pthread_attr_t attributes;
        pthread_attr_init(&attributes);
        pthread_attr_setstack(&attributes, stack.data(), stack.size());
        pthread_t thread{};
        const auto run = [](void* argument) -> void* {
            (*static_cast<std::function<void()>*>(argument))();
            return nullptr;
        };
        g_secret = kSecret;
        EXPECT_EQ(pthread_create(&thread, &attributes, run, &call), 0);
        pthread_join(thread, nullptr);
        lookFor(stack.data(), stack.size());
        g_secret = nullptr;
        pthread_attr_destroy(&attributes);
        EXPECT_EQ(std::exchange(g_found, 0), 0) << c.what;
    }
    EXPECT_STREQ(whole.szProxyPassword, kSecret);
    EXPECT_STREQ(patternOf(*reinterpret_cast<PrivacySearchRecord*>(search.data() + sizeof(PrivacyDBHeader))).c_str(),
                 kSecret);

    EXPECT_TRUE(std::filesystem::exists(at(kBackup)));
    int files = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(TestHome::instance().path()))
        if (entry.is_regular_file()) {
            std::ifstream file(entry.path(), std::ios::binary);
            const std::string content{std::istreambuf_iterator<char>(file), {}};
            EXPECT_EQ(content.find(kSecret), std::string::npos) << entry.path();
            ++files;
        }
    EXPECT_GT(files, 3);
}

} // namespace
