/* What may come next on a command line, for the completions of the shells. */
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

namespace wdlt {

/* A word that may come next, and what it means. */
struct Completion {
    std::string word;
    std::string help = {};
};
using Completions = std::vector<Completion>;

/* What is to be completed. */
struct Completed {
    const CLI::App& verb;
    std::string_view place;                   /* the operand or option, as --help calls it: "RECORD", "--list" */
    const std::vector<std::string>& operands; /* that stand before it */
    std::string_view begun;                   /* what is typed of it */
};

/* A tool's words for its operands' and options' values. Where it knows none of a place, there is none. */
using WordsOf = Completions (*)(const Completed& completed);

/* One place of a tool's table of words. */
struct PlaceWords {
    std::string_view place;
    WordsOf words;
};
Completions wordsFrom(std::span<const PlaceWords> table, const Completed& completed);

/* Stands for the names of files, which the shell completes by itself. */
inline constexpr const char* kFilesWord = ":files";

/* The verbs that are told to users: one without a group is the tool's own. */
std::vector<const CLI::App*> verbsOf(const CLI::App& app);

/* The last of `typed` is completed. Never fails: where something can't be told, nothing is proposed. */
Completions completions(const CLI::App& app, std::span<const std::string> typed, WordsOf wordsOf);

} // namespace wdlt
