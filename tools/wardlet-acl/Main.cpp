/* wardlet-acl: answers a web proxy whether URLs are blocked, by the URL filter's and the host filter's lists. */

#include "Decider.h"
#include "Lines.h"
#include "Question.h"
#include "RunTool.h"
#include "StandIn.h"
#include "Suggestion.h"
#include "ToolError.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace wdlt {
namespace {

constexpr const char* kExplanation =
    "Reads a line for each question, \"[channel] URL [word]\", and answers with \"[channel] OK\" for yes, ERR for no, "
    "or BH "
    "for what can't be decided, each with message= and tag=. A number in front is taken for the channel.\n"
    "The word says what is asked: \"blocked\" (also without a word) whether the URL filter is on, and the URL on its "
    "black "
    "list and not on its white list; \"white\", \"black\", \"hosts\" whether it is on that list, and the filter on.\n"
    "In squid.conf:\n"
    "  external_acl_type wardlet ttl=0 cache=0 children-max=1 concurrency=1000 %URI "
    "/usr/bin/wardlet-acl\n"
    "  acl wardlet_blocked external wardlet blocked\n"
    "  http_access deny wardlet_blocked\n"
    "A change counts from the next question on. While no service runs in the home, the helper answers the notices of "
    "changes in its place.\n"
    "Ends at the end of its input. Exit status: 0 ended, 2 wrong usage, 3 the home was replaced (the proxy starts "
    "another helper), 5 the answers can't be written.";

struct Arguments {
    Dialect dialect;
    bool isUndecidedGiven = false;
    bool noListen = false;
};

/* A change counts without it, too. */
bool startListening(std::optional<StandIn>& standIn) {
    try {
        standIn.emplace();
        return true;
    } catch (const std::exception& error) {
        printRemark(error.what());
        return false;
    }
}

void run(const Arguments& arguments) {
    Dialect dialect = arguments.dialect;
    // A rewriting program's BH lets the request through, which everybody can bring about by a long URL.
    if (!arguments.isUndecidedGiven && !dialect.redirect.empty())
        dialect.undecided = Outcome::Yes;
    bool listens = !arguments.noListen;
    Lines input(STDIN_FILENO);
    Decider decider;
    std::optional<StandIn> standIn;
    std::vector<std::string_view> lines;
    std::vector<Question> questions;
    std::string out;
    while (input.read(lines)) {
        questions.resize(lines.size());
        for (std::size_t i = 0; i < lines.size(); ++i)
            parseQuestion(lines[i], dialect, questions[i]);
        const auto answers = decider.decide(questions, standIn ? standIn->heard() : 0);
        out.clear();
        for (std::size_t i = 0; i < lines.size(); ++i)
            appendAnswer(out, questions[i].channel, answers[i], dialect);
        writeAll(STDOUT_FILENO, out);
        if (decider.isOver()) // the proxy starts another
            throw ToolError(ExitStatus::Unknown, "the home was replaced");
        if (listens && !standIn && decider.isReady()) // a home that isn't there isn't made
            listens = startListening(standIn);
    }
}

constexpr struct {
    const char* word;
    Outcome outcome;
} kUndecided[] = {{"bh", Outcome::Undecided}, {"ok", Outcome::Yes}, {"err", Outcome::No}};

Completions undecidedWords(const Completed&) {
    Completions words;
    for (const auto& each : kUndecided)
        words.push_back({each.word});
    return words;
}

Completions aclWords(const Completed& completed) {
    constexpr PlaceWords kWords[] = {{"--undecided", undecidedWords}};
    return wordsFrom(kWords, completed);
}

void addOptions(CLI::App& app, std::string_view) {
    const auto arguments = std::make_shared<Arguments>();
    app.add_option_function<std::string>(
           "--undecided",
           [arguments](const std::string& word) {
               arguments->isUndecidedGiven = true;
               arguments->dialect.undecided =
                   findNamed(kUndecided, word, "answer", [](const auto& each) { return each.word; }).outcome;
           },
           "Answer what can't be decided with bh, ok or err; without it bh, with --redirect ok")
        ->type_name("ANSWER");
    app.add_option("--redirect", arguments->dialect.redirect,
                   "Answer as a url_rewrite_program: a blocked URL is sent to this one")
        ->type_name("URL");
    app.add_flag("--no-listen", arguments->noListen, "Leave the notices of changes to a service");
    app.callback([arguments] { run(*arguments); });
}

} // namespace
} // namespace wdlt

int main(int argc, char** argv) {
    return wdlt::runTool({"wardlet-acl", "Answers a web proxy whether URLs are blocked.", wdlt::kExplanation,
                          wdlt::addOptions, /* needsVerb = */ false, wdlt::aclWords},
                         argc, argv);
}
