// The search of a URL list file: which records a URL matches, how far the file is read, and what the entries of a query
// hold after a failure.
#include "StoreFiles.h"

#include <LogFile.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace {

using namespace store_files;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;

constexpr std::uint32_t kAsBefore = 7; // an entry that nothing was said about

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

TEST_F(UrlQuery, RecordsAndTheirUrls) {
    const struct {
        std::string record;
        std::vector<std::string> matched;
        std::vector<std::string> others;
    } cases[] = {
        {"http://a.b", {"http://a.b", "http://a.b/"}, {"http://a.b/c", "a.b", "https://a.b"}},
        {"http://a.b/", {"http://a.b", "http://a.b/"}, {"http://a.b/c"}},
        {"http://a.b/c", {"HTTP://A.B/C", "http://a.b/c"}, {"http://a.b/c?d", "http://a.b/c/"}},
        {"http://a.b/a", {"http://a.b/%41", "http://a.b/%61"}, {"http://a.b/%2541"}},
        {"a.b", {"a.b", "A.b/"}, {"http://a.b/", "a.b:80"}},
        {"*a.b", {"http://a.b/", "xa.b"}, {"http://a.b/c", "http://a.b:80/"}},
        {"http://a.b*", {"http://a.bc/d/e", "http://a.b"}, {"http://a.c"}},
        {"http://a.b/*", {"http://a.b/", "http://a.b/d"}, {"http://a.bc/"}},
        {"http://a.b:8080/", {"http://a.b:8080"}, {"http://a.b/"}},
        {"http://::1/", {"http://0:0:0:0:0:0:0:1/", "http://::1"}, {"http://[::1]/"}},
        {"http://[::1]/", {"http://[::1]"}, {"http://::1/"}},
        {"a.b/c?u=http://d.e/f", {"a.b/c?u=http://d.e/f"}, {"a.b/c?u=http://d.e/*"}},
        {"a.b*/f", {"a.b/c?u=http://d.e/f"}, {"a.b/f/g"}},
        {"a*a", {"aa", "aba"}, {"a"}},
        {"a*b*c", {"abc", "axbxc"}, {"acb"}},
        {"*", {"http://a.b/c", ""}, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.record);
        std::vector<std::string> urls = c.matched;
        urls.insert(urls.end(), c.others.begin(), c.others.end());
        std::vector<std::uint32_t> expected(urls.size(), 0);
        std::fill_n(expected.begin(), c.matched.size(), 1u);
        const Answer answer = ask(list({c.record}), urls);
        EXPECT_EQ(answer.code, 0);
        EXPECT_THAT(answer.exists, ElementsAreArray(expected));
    }
}

TEST_F(UrlQuery, AnyRecordOfTheListWillDo) {
    const LogFile log;
    EXPECT_EQ(ask(list({"one", "two", "t*"}), {"two", "four", "one", "three"}), (Answer{0, {1, 0, 1, 1}}));
    EXPECT_THAT(
        log.messages(),
        ElementsAre(line("::CheckIfUrlRecordExists: URL was matched in DB, set URL existing (url = one).", "@@@ "),
                    line("::CheckIfUrlRecordExists: URL was matched in DB, set URL existing (url = two).", "@@@ "),
                    line("::CheckIfUrlRecordExists: URL was matched in DB, set URL existing (url = three).", "@@@ ")));
    EXPECT_EQ(ask(list({}), {"one"}), (Answer{0, {0}}));
}

TEST_F(UrlQuery, ReadsNoFartherThanItMust) {
    const FileMaker damaged = list({"one", "two"}, 1).raw("damaged");
    EXPECT_EQ(ask(damaged, {"one"}), (Answer{0, {1}}));
    EXPECT_EQ(ask(damaged, {"two", "one"}), (Answer{0, {1, 1}}));
    EXPECT_EQ(ask(damaged, {"one", "none", "two"}), (Answer{-8, {1, 0, 1}})) << "what was found before stays found";
    // No entry left to find: the first record is read all the same, the second isn't.
    EXPECT_EQ(ask(list({"one"}, 1).raw("damaged"), {}), (Answer{0, {}}));
    EXPECT_EQ(ask(list({}, 1).raw("damaged"), {}), (Answer{-8, {}}));
}

TEST_F(UrlQuery, DamageIsToldAsTheSearchs) {
    const std::string zeros(4096, '\0');
    const std::string search = "::CheckIfUrlRecordExists: ";
    const std::string file = ", file=" + at("list").string() + ")";
    const struct {
        FileMaker list;
        std::int32_t code;
        std::string line;
    } cases[] = {
        {list({"one"}, 1), -8, search + "Failed to read a size of URL record"},
        {list({"one"}, 1).raw(number(2100)).raw(zeros), -8, search + "A record size is too large (size=2100" + file},
        {list({"one"}, 1).raw(number(16)), -8, search + "Failed to read a URL record"},
        {list({"one"}, 1).raw(number(2099)).raw(zeros), -1,
         "::CheckIfUrlRecordExists(): Failed to decrypt a record (err=-7" + file},
        {list({"one"}, 1).lengthed(zeros.substr(0, 2084)), -1,
         "::CheckIfUrlRecordExists(): A decrypted record is too large (size=2084" + file},
        {list({"one"}, 1).raw(number(0)), -1, ": Unable to initialize URL read from DB."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        const LogFile log;
        EXPECT_EQ(ask(c.list, {"none", "one"}), (Answer{c.code, {0, 1}}));
        EXPECT_THAT(log.messages(), Contains(line(c.line)));
    }
    {
        const LogFile log;
        put("list", FileMaker(m_subject, 600).records(500).content());
        EXPECT_EQ(ask("list", {"none"}), (Answer{0, {0}}));
        EXPECT_THAT(log.messages(),
                    ElementsAre(line(search + "The DB file contains too many record (count=600" + file)));
    }
}

TEST_F(UrlQuery, WithoutAListNothingIsSaid) {
    EXPECT_EQ(ask("missing", {"one"}), (Answer{-6, {kAsBefore}}));
    EXPECT_EQ(ask("no/list", {"one"}), (Answer{-8, {kAsBefore}}));
    put("list", fileOf(subject("CUrlCategoryDB"), 1));
    EXPECT_EQ(ask("list", {"one"}), (Answer{-8, {kAsBefore}}));
    const Handle abandoned = abandonedMutex(m_subject.mutex);
    const LogFile log;
    EXPECT_EQ(ask(list({"one"}), {"one"}), (Answer{-1, {kAsBefore}}));
    EXPECT_THAT(log.messages(), Contains(line("::CheckIfUrlRecordExists: Failed to lock for reading DB")));
    EXPECT_EQ(ask(list({"one"}), {"one"}), (Answer{0, {1}}));
}

TEST_F(UrlQuery, QueriesThatAreNone) {
    put("list", list({"one"}).content());
    WdpeUrlfQueryEntry entry{"one", kAsBefore};
    WdpeUrlfQuery negative{0, -1, &entry};
    WdpeUrlfQuery nowhere{0, 1, nullptr};
    WdpeUrlfQuery empty{0, 0, nullptr};
    CUrlListDB store;
    EXPECT_EQ(store.CheckIfUrlRecordExists(at("list").c_str(), nullptr), -1);
    EXPECT_EQ(store.CheckIfUrlRecordExists(at("list").c_str(), &negative), -1);
    EXPECT_EQ(store.CheckIfUrlRecordExists(at("list").c_str(), &nowhere), -1);
    EXPECT_EQ(store.CheckIfUrlRecordExists(nullptr, &empty), -1);
    EXPECT_EQ(store.CheckIfUrlRecordExists(at("list").c_str(), &empty), 0);
    EXPECT_EQ(entry.dwExists, kAsBefore);
}

TEST_F(UrlQuery, AUrlThatFillsItsSlotEndsThere) {
    const LogFile log;
    const std::string full(sizeof(WdpeUrlfQueryEntry::szUrl), 'u');
    EXPECT_EQ(ask(list({"u*"}), {full}), (Answer{0, {1}}));
    // What dwExists held before the search is no letter of it.
    EXPECT_EQ(ask(list({"u*\7"}), {full, full}), (Answer{0, {0, 0}}));
    EXPECT_TRUE(log.contains("(url = " + full.substr(0, 500)));
}

} // namespace
