// The protected record stores: a list of 500 URL patterns read, written and searched, compared with simpler ways to do
// the same work: plain system calls, the bare cipher, RE2 with the same patterns, and decoding and comparing each
// record as it is read. Then the cipher, and the file copy that ends each write.
#include "Rijndael.h"
#include "StoreKeys.h"
#include "Support.h"
#include "UrlListDB.h"
#include "UrlMatching.h"

#include <platform/win32.h>
#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <nettle/aes.h>
#include <nettle/cbc.h>
#include <re2/re2.h>
#include <re2/set.h>
#include <span>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr int kRecords = WDLT_MAX_URL_RECORDS;
constexpr int kManyUrls = 100;
constexpr std::size_t kHeaderBytes = 40; // in a list's file
constexpr std::size_t kCopiedBytes = std::size_t{26} * 1024;

void demand(bool holds, const char* what) {
    if (!holds)
        throw std::runtime_error(what);
}

std::string numbered(std::string before, int number, const char* behind) {
    return before.append(std::to_string(number)).append(behind);
}

// Realistic patterns: 20 to 60 characters, most with a star.
std::string pattern(int number) {
    switch (number % 5) {
    case 0:
        return numbered("http://www.company", number, ".example.com/");
    case 1:
        return numbered("*.adserver", number, ".example.net/*");
    case 2:
        return numbered("http://shop", number, ".example.org/catalogue/*");
    case 3:
        return numbered("*://*tracker", number, "*/pixel/*.gif");
    default:
        return numbered("https://news", number, ".example.com/section/page.html");
    }
}

std::string unlistedUrl(int number) {
    return numbered("https://www.site", number, ".example.com/some/folder/index.php?page=3");
}

std::string listedUrl(int number) {
    switch (number % 5) {
    case 1:
        return numbered("http://x.AdServer", number, ".example.net/a/b.js");
    case 2:
        return numbered("http://shop", number, ".example.org/catalogue/%41");
    case 3:
        return numbered("https://a.tracker", number, ".example.net/pixel/1.gif");
    default:
        return pattern(number);
    }
}

std::unique_ptr<WdpeUrlfUrlList> fullList() {
    auto list = std::make_unique<WdpeUrlfUrlList>();
    list->dwNumOfRecords = kRecords;
    for (int i = 0; i < kRecords; ++i)
        pattern(i).copy(list->records[i].szUrl, sizeof list->records[i].szUrl - 1);
    return list;
}

// Plain system calls.

std::string readPlainly(const fs::path& file) {
    const int opened = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    demand(opened >= 0, "no file");
    std::string bytes(std::size_t{64} * 1024, '\0');
    const ssize_t got = read(opened, bytes.data(), bytes.size());
    close(opened);
    demand(got >= 0, "file unread");
    bytes.resize(static_cast<std::size_t>(got));
    return bytes;
}

// The cheapest replacement of a file that survives a power cut: two syncs.
void replaceDurably(const fs::path& file, std::string_view bytes) {
    const fs::path beside = fs::path(file) += ".new";
    const int opened = open(beside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    demand(opened >= 0 && write(opened, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()) &&
               fsync(opened) == 0,
           "file unwritten");
    close(opened);
    const int folder = open(file.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    demand(rename(beside.c_str(), file.c_str()) == 0 && fsync(folder) == 0, "file not replaced");
    close(folder);
}

// The bare cipher.

class RawCipher {
  public:
    RawCipher() {
        aes128_set_encrypt_key(&m_encrypt, wdlt::kListKey.data());
        aes128_set_decrypt_key(&m_decrypt, wdlt::kListKey.data());
    }
    void encrypt(std::size_t size, std::uint8_t* output, const std::uint8_t* input) const {
        std::array<std::uint8_t, AES_BLOCK_SIZE> chain{};
        cbc_encrypt(&m_encrypt, reinterpret_cast<nettle_cipher_func*>(aes128_encrypt), AES_BLOCK_SIZE, chain.data(),
                    size, output, input);
    }
    void decrypt(std::size_t size, std::uint8_t* output, const std::uint8_t* input) const {
        std::array<std::uint8_t, AES_BLOCK_SIZE> chain{};
        cbc_decrypt(&m_decrypt, reinterpret_cast<nettle_cipher_func*>(aes128_decrypt), AES_BLOCK_SIZE, chain.data(),
                    size, output, input);
    }

  private:
    aes128_ctx m_encrypt;
    aes128_ctx m_decrypt;
};

// Deciphers each record of a list's file into `text` and passes it to `use`.
template <class Use>
void decipherRecords(std::string_view bytes, std::span<char> text, Use&& use) {
    const RawCipher cipher;
    for (std::size_t at = kHeaderBytes; at < bytes.size();) {
        std::uint32_t size = 0;
        std::memcpy(&size, bytes.data() + at, sizeof size);
        auto* const plain = reinterpret_cast<std::uint8_t*>(text.data());
        cipher.decrypt(size, plain, reinterpret_cast<const std::uint8_t*>(bytes.data()) + at + sizeof size);
        use(std::string_view(text.data(), size - plain[size - 1]));
        at += sizeof size + size;
    }
}

// Other ways to match. The host and path of a text, both normalised for comparison.
struct Halves {
    std::string host;
    std::string path;
};

Halves halve(std::string_view text, bool isPattern) {
    const std::size_t scheme = text.find("://");
    const std::size_t slash = text.find('/', scheme == text.npos ? 0 : scheme + 3);
    const std::string host(text.substr(0, slash));
    const std::string path(slash != text.npos                 ? text.substr(slash)
                           : isPattern && host.ends_with('*') ? std::string_view("*")
                                                              : std::string_view("/"));
    Halves halves;
    DecodeUrl(host.c_str(), halves.host);
    DecodeUrl(path.c_str(), halves.path);
    for (std::string* half : {&halves.host, &halves.path})
        std::ranges::transform(*half, half->begin(),
                               [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return halves;
}

bool globs(std::string_view pattern, std::string_view text) {
    std::size_t star = pattern.npos;
    std::size_t p = 0;
    std::size_t t = 0;
    for (std::size_t retry = 0; t < text.size();) {
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            retry = t;
        } else if (p < pattern.size() && pattern[p] == text[t]) {
            ++p;
            ++t;
        } else if (star != pattern.npos) {
            p = star + 1;
            t = ++retry;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', p) == pattern.npos;
}

// Deciphers each record, and decodes and compares record and URL afresh for each pair.
std::vector<bool> checkNaively(const fs::path& file, const std::vector<std::string>& urls) {
    std::vector<bool> found(urls.size());
    std::array<char, sizeof(WdpeUrlfUrlRecord)> text;
    decipherRecords(readPlainly(file), text, [&](std::string_view record) {
        for (std::size_t i = 0; i < urls.size(); ++i) {
            if (found[i])
                continue;
            const Halves stored = halve(record, true);
            const Halves asked = halve(urls[i], false);
            found[i] = globs(stored.host, asked.host) && globs(stored.path, asked.path);
        }
    });
    return found;
}

// The same patterns for RE2: host and path with a newline between them, which a star doesn't match.
std::string subjectOf(const std::string& url) {
    const Halves halves = halve(url, false);
    return halves.host + "\n" + halves.path;
}

std::string expressionOf(const std::string& record) {
    const Halves halves = halve(record, true);
    std::string expression;
    for (const char c : halves.host + "\n" + halves.path)
        expression += c == '*' ? "[^\\n]*" : RE2::QuoteMeta(re2::StringPiece(&c, 1));
    return expression;
}

RE2::Options expressionOptions() {
    RE2::Options options(RE2::Latin1);
    options.set_max_mem(256 << 20);
    return options;
}

std::unique_ptr<RE2::Set> expressionSet(const std::vector<std::string>& expressions) {
    auto set = std::make_unique<RE2::Set>(expressionOptions(), RE2::ANCHOR_BOTH);
    for (const std::string& expression : expressions)
        set->Add(expression, nullptr);
    demand(set->Compile(), "patterns don't compile");
    return set;
}

// Shared by all benchmarks of one run.
struct Workbench {
    explicit Workbench(const fs::path& home) : folder(home), file(folder / "list.dat"), list(fullList()) {
        writeList();
        for (int i = 0; i < kRecords; ++i)
            expressions.push_back(expressionOf(pattern(i)));
        for (int i = 0; i < kManyUrls; ++i) {
            unlisted.push_back(unlistedUrl(i));
            listed.push_back(listedUrl(i));
        }
    }

    void writeList() const { writeList(file); }
    void writeList(const fs::path& target) const {
        CUrlListDB store;
        store.setTempFolder(folder.string());
        std::uint64_t size = sizeof *list;
        demand(store.Write(target.c_str(), list.get(), &size) == WDLT_OK, "list unwritten");
    }
    void readList() const {
        CUrlListDB store;
        std::uint64_t size = sizeof *list;
        demand(store.Read(file.c_str(), list.get(), &size) == WDLT_OK, "list unread");
    }
    void checkList(WdpeUrlfQuery& query) const { checkList(query, file); }
    static void checkList(WdpeUrlfQuery& query, const fs::path& file) {
        CUrlListDB store;
        demand(store.CheckIfUrlRecordExists(file.c_str(), &query) == WDLT_OK, "list not searched");
    }

    const fs::path folder;
    const fs::path file;
    std::unique_ptr<WdpeUrlfUrlList> list;
    std::vector<std::string> expressions;
    std::vector<std::string> unlisted;
    std::vector<std::string> listed;
};

class Query {
  public:
    explicit Query(std::span<const std::string> urls) : m_entries(urls.size()) {
        for (std::size_t i = 0; i < urls.size(); ++i)
            urls[i].copy(m_entries[i].szUrl, sizeof m_entries[i].szUrl - 1);
        m_query = {WDLT_LIST_WHITE, static_cast<std::int32_t>(urls.size()), m_entries.data()};
    }
    WdpeUrlfQuery& get() { return m_query; }
    bool found(std::size_t index) const { return m_entries[index].dwExists == 1; }

  private:
    std::vector<WdpeUrlfQueryEntry> m_entries;
    WdpeUrlfQuery m_query;
};

// Checks that all ways give the same answer, so that they can be compared.
void demandAgreement(const Workbench& bench) {
    const auto set = expressionSet(bench.expressions);
    for (const auto* urls : {&bench.listed, &bench.unlisted}) {
        const std::vector<bool> naively = checkNaively(bench.file, *urls);
        Query query(*urls);
        bench.checkList(query.get());
        for (std::size_t i = 0; i < urls->size(); ++i) {
            const bool expected = urls == &bench.listed;
            demand(query.found(i) == expected && naively[i] == expected &&
                       set->Match(subjectOf((*urls)[i]), nullptr) == expected,
                   "the ways to match disagree");
        }
    }
}

void add(const std::string& name, const std::function<void()>& step) {
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
        for (auto _ : state)
            step();
    })->UseRealTime();
}

void addLists(const Workbench& bench) {
    add("readList", [&] { bench.readList(); });
    add("plainReadAndCipher", [&] {
        std::size_t record = 0;
        std::array<char, sizeof(WdpeUrlfUrlRecord)> text;
        decipherRecords(readPlainly(bench.file), text, [&](std::string_view plain) {
            char* const slot = bench.list->records[record++].szUrl;
            slot[plain.copy(slot, plain.size())] = '\0';
        });
    });
    add("writeList", [&] { bench.writeList(); });
    add("plainReplace", [&, bytes = readPlainly(bench.file)] { replaceDurably(bench.folder / "plain.dat", bytes); });
}

void addSearches(const Workbench& bench) {
    for (const int count : {1, kManyUrls}) {
        const std::vector<std::string> urls(bench.unlisted.begin(), bench.unlisted.begin() + count);
        std::vector<std::string> subjects;
        subjects.reserve(urls.size());
        for (const std::string& url : urls)
            subjects.push_back(subjectOf(url));
        const auto query = std::make_shared<Query>(urls);
        add(numbered("checkUrls_", count, ""), [&, query] { bench.checkList(query->get()); });
        add(numbered("naiveCheck_", count, ""), [&, urls] { checkNaively(bench.file, urls); });

        const std::shared_ptr<RE2::Set> set = expressionSet(bench.expressions);
        const auto matchAll = [subjects](const RE2::Set& compiled) {
            for (const std::string& subject : subjects)
                benchmark::DoNotOptimize(compiled.Match(subject, nullptr));
        };
        add(numbered("re2Set_", count, ""), [=] { matchAll(*set); });
        add(numbered("re2SetCompiledAnew_", count, ""), [=, &bench] { matchAll(*expressionSet(bench.expressions)); });
    }
}

// Lists that differ in their first record are searched in turn, more of them than are kept compiled: so each search is
// that of a file that has changed.
void addSearchOfChangedList(const Workbench& bench) {
    std::vector<fs::path> files;
    for (const char first : {'1', '2', '3'}) {
        bench.list->records[0].szUrl[0] = first;
        bench.writeList(files.emplace_back(bench.folder / std::string("list").append(1, first)));
    }
    bench.list->records[0].szUrl[0] = 'h';
    const auto query = std::make_shared<Query>(std::span(bench.unlisted).first(1));
    add("checkUrlsChanged_1",
        [=, turn = std::size_t{0}]() mutable { Workbench::checkList(query->get(), files[turn++ % files.size()]); });
}

// Matching alone: records and URL are already normalised.
void addMatching(const Workbench& bench) {
    const auto records = std::make_shared<std::vector<CMatchingUrlRecord>>(kRecords);
    const auto expressions = std::make_shared<std::vector<std::unique_ptr<RE2>>>();
    for (int i = 0; i < kRecords; ++i) {
        demand((*records)[static_cast<std::size_t>(i)].Init(pattern(i).c_str()), "pattern doesn't compile");
        expressions->push_back(
            std::make_unique<RE2>(bench.expressions[static_cast<std::size_t>(i)], expressionOptions()));
    }
    const auto url = std::make_shared<CMatchingUrl>();
    demand(url->Init(bench.unlisted[0].c_str()), "URL doesn't parse");
    add("matchEachRecord", [=] {
        for (const CMatchingUrlRecord& record : *records)
            benchmark::DoNotOptimize(record.Match(*url));
    });
    add("re2EachRecord", [=, subject = subjectOf(bench.unlisted[0])] {
        for (const auto& expression : *expressions)
            benchmark::DoNotOptimize(RE2::FullMatch(subject, *expression));
    });
}

// Messages of `size` enciphered bytes.
void addCipher(std::size_t size) {
    const std::string suffix = numbered("_", static_cast<int>(size), "");
    const auto plainBytes = static_cast<std::int32_t>(size) - 1;
    const auto cipherBytes = static_cast<std::int32_t>(size);
    const auto prepared = [](int direction) {
        auto cipher = std::make_shared<Rijndael>();
        cipher->Init(Rijndael::kCbc, direction, wdlt::kListKey.data(), Rijndael::kKey16Bytes);
        return cipher;
    };
    const auto encrypt = prepared(Rijndael::kEncrypt);
    const auto decrypt = prepared(Rijndael::kDecrypt);
    const auto raw = std::make_shared<RawCipher>();
    const auto plain = std::make_shared<std::vector<std::uint8_t>>(size + Rijndael::kBlockBytes, std::uint8_t{'x'});
    const auto ciphered = std::make_shared<std::vector<std::uint8_t>>(size + Rijndael::kBlockBytes);
    demand(encrypt->PadEncrypt(plain->data(), plainBytes, ciphered->data()) == cipherBytes, "not enciphered");

    add("padEncrypt" + suffix,
        [=] { benchmark::DoNotOptimize(encrypt->PadEncrypt(plain->data(), plainBytes, ciphered->data())); });
    add("rawEncrypt" + suffix, [=] { raw->encrypt(size, ciphered->data(), plain->data()); });
    add("padDecrypt" + suffix,
        [=] { benchmark::DoNotOptimize(decrypt->PadDecrypt(ciphered->data(), cipherBytes, plain->data())); });
    add("rawDecrypt" + suffix, [=] { raw->decrypt(size, plain->data(), ciphered->data()); });
}

void addCopy(const Workbench& bench) {
    const std::string content(kCopiedBytes, 'x');
    const fs::path source = bench.folder / "source.dat";
    replaceDurably(source, content);
    add("copyFile", [=, target = bench.folder / "copy.dat"] {
        demand(CopyFileA(source.c_str(), target.c_str(), FALSE) != FALSE, "file not copied");
    });
    add("plainCopy", [=, target = bench.folder / "plain_copy.dat"] { replaceDurably(target, readPlainly(source)); });
}

} // namespace

int main(int argc, char** argv) try {
    const bench::Home home("disk");
    const Workbench workbench(home.path());
    demandAgreement(workbench);
    addLists(workbench);
    addSearches(workbench);
    addSearchOfChangedList(workbench);
    addMatching(workbench);
    addCipher(48);
    addCipher(2048);
    addCopy(workbench);
    return bench::run(argc, argv);
} catch (const std::exception& error) {
    std::fprintf(stderr, "store_bench: %s\n", error.what());
    return 1;
}
