// The search of a URL list file: which records a URL matches, how far the file is read, and what the entries of a query
// hold after a failure.
#include "StoreFiles.h"

#include <LogFile.h>

#include <wdltcfg/status.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
