// Command lines as a user types them, and their results. Lines that don't begin with another program's name are
// wdltctl's.
#pragma once

#include "RunProgram.h"
#include "TestHome.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <iomanip>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

using nlohmann::json;

// A word in single quotes may contain spaces, or be empty.
inline std::vector<std::string> wordsOf(const std::string& line) {
    std::vector<std::string> words;
    std::istringstream stream(line);
    for (std::string word; stream >> std::quoted(word, '\'', '\x01');)
        words.push_back(word);
    if (words.empty() || (words[0] != "wdltreg" && !words[0].starts_with("wardlet-")))
        words.insert(words.begin(), "wdltctl");
    return words;
}

// Runs the line with `input` as its standard input.
inline ProgramResult typed(const std::string& line, std::string_view input = {}) {
    return runProgram(wordsOf(line), input);
}

// Runs the line, which must succeed; returns what it printed.
inline std::string done(const std::string& line, std::string_view input = {}) {
    const ProgramResult result = typed(line, input);
    EXPECT_EQ(result.status, 0) << line;
    EXPECT_EQ(result.err, "") << line;
    return result.out;
}

inline json doneJson(const std::string& line) {
    return json::parse(done(line + " --json"), nullptr, false);
}

struct Typed {
    std::string line;
    std::string out; // compared as a JSON document if the line ends in --json
    std::string input = {};
};

inline void expectOutputs(const std::vector<Typed>& rows) {
    for (const Typed& row : rows) {
        const std::string out = done(row.line, row.input);
        if (row.line.ends_with(" --json"))
            EXPECT_EQ(json::parse(out, nullptr, false), json::parse(row.out)) << row.line;
        else
            EXPECT_EQ(out, row.out) << row.line;
    }
}

inline const std::string& install() {
    static const std::string path = TestHome::instance().path() / "install";
    return path;
}

// Everything that a user could lose: the registry's text and the files of the installation, except for the backup of
// the privacy items that a write makes first.
inline std::map<std::string, std::string> stored() {
    std::map<std::string, std::string> content{{"registry", runProgram({"wdltreg", "export"}).out}};
    if (std::filesystem::exists(install()))
        for (const auto& entry : std::filesystem::recursive_directory_iterator(install()))
            if (entry.is_regular_file() && entry.path().extension() != ".bak")
                content[entry.path()] = TestHome::instance().read(entry.path().string());
    return content;
}

struct Refused {
    std::string line;
    int status;
    std::string words;
    std::string input = {};
};

// Each line must print nothing, give its reason and change nothing that is stored.
inline void expectRefused(const std::vector<Refused>& rows) {
    auto before = stored();
    for (const Refused& row : rows) {
        const ProgramResult result = typed(row.line, row.input);
        EXPECT_EQ(result.status, row.status) << row.line;
        EXPECT_EQ(result.out, "") << row.line;
        const bool isJson = row.line.find(" --json") != std::string::npos;
        EXPECT_THAT(result.err, testing::StartsWith(isJson ? "{\n  \"error\": {" : wordsOf(row.line)[0] + ": "))
            << row.line;
        EXPECT_FALSE(row.words.empty()) << row.line;
        EXPECT_THAT(result.err, testing::HasSubstr(row.words)) << row.line;
        auto after = stored();
        EXPECT_EQ(after, before) << row.line;
        before = std::move(after);
    }
}

// A line, how it ends, and what is stored after it.
struct Outcome {
    std::string line;
    int status;
    std::string out; // within what is printed; empty: nothing is
    std::string err; // within the message; empty: there is none
    std::string then = {};
    std::string shows = {}; // all that the line `then` prints
    std::string input = {};
};

inline void expectOutcomes(const std::vector<Outcome>& rows) {
    const auto expectWithin = [](const std::string& text, const std::string& part, const std::string& line) {
        EXPECT_EQ(text.empty(), part.empty()) << line << '\n' << text;
        EXPECT_THAT(text, testing::HasSubstr(part)) << line;
    };
    for (const Outcome& row : rows) {
        const ProgramResult result = typed(row.line, row.input);
        EXPECT_EQ(result.status, row.status) << row.line;
        expectWithin(result.out, row.out, row.line);
        expectWithin(result.err, row.err, row.line);
        if (!row.then.empty()) {
            EXPECT_EQ(typed(row.then).out, row.shows) << row.line;
        }
    }
}

inline const std::string kBase = "HKLM\\SOFTWARE\\Halvermoor\\PLK\\Wardlet";

class Wdltctl : public testing::Test {
  protected:
    void SetUp() override {
        std::filesystem::remove_all(install());
        done("init --force --install " + install());
    }
};
