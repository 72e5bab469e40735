// The pieces in which record files are read and written: items of any size come back through a bare store of each
// family, and a piece that can't be read costs no item.
#include "EncryptedDB.h"
#include "UrlFilterDB.h"

#include "StoreFiles.h"

#include <dlfcn.h>

#include <gtest/gtest.h>

namespace {

int g_readsToFailure = 0; // 0: none fails
int g_failures = 0;       // one behind the other

} // namespace

// Fails as it is told to, and then leaves the file where the read would have left it.
BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD bytes, LPDWORD got, void* overlapped) {
    static const auto layers = reinterpret_cast<decltype(&ReadFile)>(dlsym(RTLD_NEXT, "ReadFile"));
    const BOOL done = layers(file, buffer, bytes, got, overlapped);
    if (g_readsToFailure == 0 || --g_readsToFailure > 0)
        return done;
    g_readsToFailure = --g_failures > 0 ? 1 : 0;
    *got = 0;
    SetLastError(ERROR_REGISTRY_IO_FAILED);
    return FALSE;
}

namespace {

constexpr wdlt::StoreKey kKey{1, 2, 3};

template <class Family>
class BareStore : public Family {
  public:
    static constexpr bool kIsChained = std::is_same_v<Family, CEncryptedDB>;

    BareStore() {
        this->m_pszMutexName = "RecordFileTest_Mutex";
        this->m_pszDBGuid = "A magic text of thirty-two bytes";
        this->m_dwDBVersion = 7;
    }
    std::int32_t Read(const char* /*file*/, void* /*buffer*/, std::uint64_t* /*size*/) override { return -1; }
    std::int32_t Write(const char* /*file*/, const void* /*buffer*/, std::uint64_t* /*size*/) override { return -1; }

    using Family::CloseFile;
    using Family::CopyTempFileToDB;
    using Family::flushBytes;
    using Family::OpenDBToRead;
    using Family::OpenTempFileToWrite;
    using Family::ReadData;
    using Family::ReadDBHeader;
    using Family::WriteData;
    using Family::WriteDBHeader;

  protected:
    std::int32_t InitEncryptionMethod(int forWriting) override {
        if constexpr (kIsChained)
            this->m_rijndael.Init(Rijndael::kCbc, forWriting == 0 ? Rijndael::kDecrypt : Rijndael::kEncrypt,
                                  kKey.data(), Rijndael::kKey16Bytes);
        return 0;
    }
};

template <class Family>
class RecordFrame : public store_files::StoreTest {};

using Families = testing::Types<CUrlFilterDB, CEncryptedDB>;
TYPED_TEST_SUITE(RecordFrame, Families);

TYPED_TEST(RecordFrame, ItemsOfAnySizeComeBackThoughAPieceIsUnread) {
    using Store = BareStore<TypeParam>;
    const std::string list = this->at("list").string();
    std::vector<std::string> items;
    std::size_t bytes = Store::kIsChained ? 80 : 40;
    for (const std::size_t size : {1u, 15u, 16u, 17u, 65'496u, 65'536u, 65'537u, 3u, 200'000u, 7u, 40'000u, 40'000u}) {
        std::string& item = items.emplace_back(size, '\0');
        for (std::size_t i = 0; i < size; ++i)
            item[i] = static_cast<char>(i * 7 + size);
        bytes += Store::kIsChained ? store_files::padded(size) : size;
    }
    {
        Store store;
        store.setTempFolder(this->at("temp").string());
        ASSERT_EQ(store.OpenTempFileToWrite(), 0);
        ASSERT_EQ(store.WriteDBHeader(static_cast<DWORD>(items.size())), 0);
        for (const std::string& item : items)
            ASSERT_EQ(store.WriteData(item.data(), static_cast<DWORD>(item.size())), 0);
        ASSERT_EQ(store.flushBytes(), 0);
        store.CloseFile();
        ASSERT_EQ(store.CopyTempFileToDB(list.c_str()), 0);
    }
    EXPECT_EQ(std::filesystem::file_size(list), bytes);
    // Failing once it is the piece; failing again it is an item's own call.
    for (const int failures : {1, 2}) {
        g_readsToFailure = 0;
        for (int nth = 1; g_readsToFailure == 0 && !this->HasFailure(); ++nth) {
            SCOPED_TRACE(testing::Message() << "read " << nth << ", failing " << failures << " times");
            g_readsToFailure = nth;
            g_failures = failures;
            Store store;
            ASSERT_EQ(store.OpenDBToRead(list.c_str()), 0);
            DWORD count = 0;
            std::int32_t code = store.ReadDBHeader(count);
            for (std::size_t i = 0; i < items.size() && code == 0; ++i) {
                std::string got(items[i].size(), '?');
                code = store.ReadData(got.data(), static_cast<DWORD>(got.size()));
                EXPECT_TRUE(got == items[i] || code != 0) << i;
            }
            EXPECT_EQ(code, failures == 2 && g_readsToFailure == 0 ? -8 : 0);
        }
    }
    g_readsToFailure = 0;
}

} // namespace
