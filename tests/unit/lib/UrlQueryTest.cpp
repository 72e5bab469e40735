// The search of a URL list file: which records a URL matches, how far the file is read, and what the entries of a query
// hold after a failure.
#include "StoreFiles.h"

#include <Child.h>
#include <ExhaustedMemory.h>
#include <LogFile.h>

#include <wdltcfg/status.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <thread>

namespace {

using namespace store_files;
using testing::Contains;

constexpr std::uint32_t kAsBefore = 7; // an entry that wasn't answered

class UrlQuery : public StoreTest {
  protected:
    struct Answer {
        std::int32_t code;
        std::vector<std::uint32_t> exists;
        bool operator==(const Answer&) const = default;
    };

    FileMaker list(const std::vector<std::string>& records, std::uint32_t more = 0) const {
        FileMaker file(m_subject, static_cast<std::uint32_t>(records.size()) + more);
        for (const std::string& record : records)
            file.lengthed(record);
        return file;
    }
    Answer ask(const FileMaker& file, const std::vector<std::string>& urls) const {
        put("list", file.content());
        return ask("list", urls);
    }
    Answer ask(const std::string& name, const std::vector<std::string>& urls) const {
        std::vector<WdpeUrlfQueryEntry> entries(urls.size());
        for (std::size_t i = 0; i < urls.size(); ++i) {
            urls[i].copy(entries[i].szUrl, sizeof entries[i].szUrl);
            entries[i].dwExists = kAsBefore;
        }
        WdpeUrlfQuery query{0, static_cast<std::int32_t>(urls.size()), entries.data()};
        Answer answer{CUrlListDB().CheckIfUrlRecordExists(at(name).c_str(), &query), {}};
        for (const WdpeUrlfQueryEntry& entry : entries)
            answer.exists.push_back(entry.dwExists);
        return answer;
    }
    std::string line(const std::string& text, const char* level = "!!! ") const {
        return level + ("CUrlListDB" + text);
    }

    const Subject& m_subject = subject("CUrlListDB");
};

TEST_F(UrlQuery, AnyRecordOfTheListWillDo) {
    const LogFile log;
    EXPECT_EQ(ask(list({"one", "two", "t*"}), {"two", "four", "one"}), (Answer{0, {1, 0, 1}}));
    EXPECT_EQ(log.messages().back(),
              line("::CheckIfUrlRecordExists: URL was matched in DB, set URL existing (url = two).", "@@@ "));
    EXPECT_EQ(ask(list({}), {"one"}), (Answer{0, {0}}));
}

TEST_F(UrlQuery, ReadsNoFartherThanItMust) {
    const FileMaker damaged = list({"one", "two"}, 1).raw("damaged");
    EXPECT_EQ(ask(damaged, {"one"}), (Answer{0, {1}}));
    EXPECT_EQ(ask(damaged, {"two", "one"}), (Answer{0, {1, 1}}));
    EXPECT_EQ(ask(damaged, {"one", "none", "two"}), (Answer{WDLT_E_FILE, {1, 0, 1}}))
        << "what was found before stays found";
    // Without entries the first record is read nevertheless, but not the second.
    EXPECT_EQ(ask(list({"one"}, 1).raw("damaged"), {}), (Answer{0, {}}));
    EXPECT_EQ(ask(list({}, 1).raw("damaged"), {}), (Answer{WDLT_E_FILE, {}}));
}

TEST_F(UrlQuery, DamageIsToldAsTheSearchs) {
    const std::string zeros(4096, '\0');
    const std::string file = ", file=" + at("list").string() + ")";
    const struct {
        FileMaker list;
        std::int32_t code;
        std::string line;
    } cases[] = {
        {list({"one"}, 1).raw(number(2100)).raw(zeros), WDLT_E_FILE,
         "::CheckIfUrlRecordExists: A record size is too large (size=2100" + file},
        {list({"one"}, 1).lengthed(zeros.substr(0, 2084)), WDLT_E_GENERAL,
         "::CheckIfUrlRecordExists(): A decrypted record is too large (size=2084" + file},
        {list({"one"}, 1).raw(number(0)), WDLT_E_GENERAL, ": Unable to initialize URL read from DB."},
        {FileMaker(m_subject, 600).lengthed("one").records(499), 0,
         "::CheckIfUrlRecordExists: The DB file contains too many record (count=600" + file},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        const LogFile log;
        EXPECT_EQ(ask(c.list, {"none", "one"}), (Answer{c.code, {0, 1}}));
        EXPECT_THAT(log.messages(), Contains(line(c.line)));
    }
}

// Records are kept between searches: whatever way a file is changed, and whatever its times say then, the next search
// answers from what it holds. The list's first page is mapped and was written to before it was searched.
class ChangedList : public UrlQuery {
  protected:
    void open(const FileMaker& file) {
        shut();
        put("list", file.content());
        m_file = ::open(at("list").c_str(), O_RDWR | O_CLOEXEC);
        m_mapped = static_cast<char*>(mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, m_file, 0));
        ASSERT_NE(m_mapped, MAP_FAILED);
        writeMapped(file.content());
    }
    ~ChangedList() override { shut(); }
    void shut() const {
        if (m_file >= 0) {
            munmap(m_mapped, 4096);
            close(m_file);
        }
    }
    void writeMapped(const std::string& content) const { content.copy(m_mapped, content.size()); }
    void writeInPlace(const std::string& content) const {
        EXPECT_EQ(pwrite(m_file, content.data(), content.size(), 0), static_cast<ssize_t>(content.size()));
    }
    void forgeTimes(const std::string& name, const struct stat& old) const {
        const timespec times[] = {old.st_atim, old.st_mtim};
        EXPECT_EQ(utimensat(AT_FDCWD, at(name).c_str(), times, 0), 0);
    }
    void renameOver(const std::string& content, const struct stat& old) const {
        put("other", content);
        forgeTimes("other", old);
        std::filesystem::rename(at("other"), at("list"));
    }

    int m_file = -1;
    char* m_mapped = nullptr;
};

TEST_F(ChangedList, IsSearchedAsItIsNow) {
    using Way = std::function<void(const std::string& content, const struct stat& old)>;
    const std::pair<const char*, Way> ways[] = {
        {"in place", [&](const std::string& content, auto&) { writeInPlace(content); }},
        {"in place, with its old time",
         [&](const std::string& content, auto& old) {
             writeInPlace(content);
             forgeTimes("list", old);
         }},
        {"through a mapping", [&](const std::string& content, auto&) { writeMapped(content); }},
        {"removed and made again",
         [&](const std::string& content, auto&) {
             std::filesystem::remove(at("list"));
             put("list", content);
         }},
        {"by rename, with the old one's time", [&](auto&... arguments) { renameOver(arguments...); }},
    };
    for (const auto& [name, change] : ways) {
        SCOPED_TRACE(name);
        open(list({"one", "two"}));
        for (int i = 0; i < 2; ++i)
            EXPECT_EQ(ask("list", {"two", "six"}), (Answer{0, {1, 0}}));
        change(list({"one", "six"}).content(), statusOf(at("list")));
        for (int i = 0; i < 2; ++i)
            EXPECT_EQ(ask("list", {"two", "six"}), (Answer{0, {0, 1}}));
    }
}

TEST_F(ChangedList, MayBeShorterLongerOrDamaged) {
    // Longer than what is read at once.
    std::vector<std::string> many(40, std::string(2000, 'x'));
    many[39] = "two";
    const FileMaker manyAndTwo = list(many);
    many[39] = "six";
    const std::pair<FileMaker, Answer> contents[] = {
        {manyAndTwo, {0, {0, 1, 0}}},
        {list(many), {0, {0, 0, 1}}},
        {list({"one", "two"}), {0, {1, 1, 0}}},
        {FileMaker(m_subject, 1).lengthed("one").lengthed("two"), {0, {1, 0, 0}}},
        {list({}), {0, {0, 0, 0}}},
        {list({"one", "two", "six"}), {0, {1, 1, 1}}},
        {list({"one"}, 1).raw(number(2100)), {WDLT_E_FILE, {1, 0, 0}}},
        {list({"six", "one"}), {0, {1, 0, 1}}},
    };
    for (const auto& [file, answer] : contents)
        for (int i = 0; i < 2; ++i)
            EXPECT_EQ(ask(file, {"one", "two", "six"}), answer) << file.content();
}

TEST_F(UrlQuery, MemoryMayGiveOutAnywhere) {
    if (!ExhaustedMemory::kIsPossible)
        GTEST_SKIP() << "no operator new of our own";
    bool isMet = true;
    for (int allocations = 0; isMet; ++allocations) {
        // Another list each time, so that it isn't kept yet.
        put("list", list({std::to_string(allocations), "a pattern*with a long piece in*its middle"}).content());
        WdpeUrlfQueryEntry entry{"none", 0};
        WdpeUrlfQuery query{0, 1, &entry};
        const std::string path = at("list").string();
        try {
            const ExhaustedMemory memory(allocations);
            static_cast<void>(CUrlListDB().CheckIfUrlRecordExists(path.c_str(), &query));
            isMet = ExhaustedMemory::wasMet();
        } catch (const std::bad_alloc&) { // reported by the export
        }
        EXPECT_EQ(entry.dwExists, 0u);
        EXPECT_EQ(ask("list", {std::to_string(allocations), "none"}), (Answer{0, {1, 0}}));
    }
}

// Three lists, of which two are kept.
TEST_F(UrlQuery, ThreadsAndAChildSearchAtOnce) {
    const std::string names[] = {"one", "two", "six"};
    for (const std::string& name : names)
        put(name, list({name, "more"}).content());
    const auto search = [&] {
        for (int i = 0; i < 150; ++i)
            EXPECT_EQ(ask(names[i % 3], {names[(i + i / 3) % 3]}), (Answer{0, {i / 3 % 3 == 0 ? 1u : 0u}}));
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i)
        threads.emplace_back(search);
    EXPECT_EQ(Child(search).wait(), 0);
    for (std::thread& thread : threads)
        thread.join();
}

TEST_F(UrlQuery, WithoutAListNothingIsSaid) {
    EXPECT_EQ(ask("missing", {"one"}), (Answer{WDLT_E_FILE_NOT_FOUND, {kAsBefore}}));
    EXPECT_EQ(ask("no/list", {"one"}), (Answer{WDLT_E_FILE, {kAsBefore}}));
    put("list", fileOf(subject("CUrlCategoryDB"), 1));
    EXPECT_EQ(ask("list", {"one"}), (Answer{WDLT_E_FILE, {kAsBefore}}));
    const Handle abandoned = abandonedMutex(m_subject.mutex);
    const LogFile log;
    EXPECT_EQ(ask(list({"one"}), {"one"}), (Answer{WDLT_E_GENERAL, {kAsBefore}}));
    EXPECT_THAT(log.messages(), Contains(line("::CheckIfUrlRecordExists: Failed to lock for reading DB")));
    EXPECT_EQ(ask(list({"one"}), {"one"}), (Answer{0, {1}}));
}

} // namespace
