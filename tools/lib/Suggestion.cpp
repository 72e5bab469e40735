#include "Suggestion.h"

#include "Completion.h"

#include <CLI/CLI.hpp>
#include <cctype>
#include <fmt/format.h>
#include <set>

namespace wdlt {
namespace {

constexpr std::size_t kShortList = 80;
constexpr std::size_t kLeastPart = 3; // of a name, to be taken for the whole

std::string inLowerCase(std::string_view text) {
    std::string lowered(text);
    std::ranges::transform(lowered, lowered.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return lowered;
}

/* How many letters are missing, too many, wrong or exchanged with their neighbour. */
std::size_t editDistance(std::string_view a, std::string_view b) {
    std::vector<std::vector<std::size_t>> steps(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i) {
        for (std::size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                steps[i][j] = i + j;
                continue;
            }
            const std::size_t wrong = a[i - 1] == b[j - 1] ? 0 : 1;
            steps[i][j] = std::min({steps[i - 1][j] + 1, steps[i][j - 1] + 1, steps[i - 1][j - 1] + wrong});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                steps[i][j] = std::min(steps[i][j], steps[i - 2][j - 2] + 1);
        }
    }
    return steps[a.size()][b.size()];
}

/* Empty when no name is near. */
std::string nearest(std::string_view name, const std::vector<std::string>& known) {
    const std::string typed = inLowerCase(name);
    const std::size_t most = (typed.size() + 3) / 4;
    std::size_t least = most + 1;
    std::string best;
    for (const std::string& each : known) {
        const std::string candidate = inLowerCase(each);
        const bool isPart = typed.size() >= kLeastPart && candidate.find(typed) != std::string::npos;
        const std::size_t distance = isPart ? most : editDistance(typed, candidate);
        if (distance < least) {
            least = distance;
            best = each;
        }
    }
    return best;
}

std::vector<std::string> namesOfOptions(const CLI::App& app) {
    std::set<std::string> names;
    for (const CLI::App* each = &app; each != nullptr; each = each->get_parent())
        for (const CLI::Option* option : each->get_options())
            for (const std::string& name : option->get_lnames())
                names.insert("--" + name);
    return {names.begin(), names.end()};
}

} // namespace

ToolError unknownName(std::string_view name, std::string_view kind, const std::vector<std::string>& known) {
    const std::string meant = nearest(name, known);
    const std::string all = fmt::format("{}", fmt::join(known, ", "));
    std::string message = fmt::format("{}: no such {}", name, kind);
    if (!meant.empty())
        message += fmt::format("; did you mean {}?", meant);
    if (known.empty())
        message += "; there is none";
    else if (meant.empty() || all.size() <= kShortList)
        message += fmt::format("{} {} {}", meant.empty() ? "; there" : " There", known.size() == 1 ? "is" : "are", all);
    return {ExitStatus::Usage, message};
}

ToolError usageError(const CLI::App& app, const CLI::ParseError& error) {
    const auto code = static_cast<CLI::ExitCodes>(error.get_exit_code());
    const bool isAboutWords = code == CLI::ExitCodes::ExtrasError || code == CLI::ExitCodes::RequiredError;
    const auto words = app.remaining(true);
    const CLI::App* chosen = &app;
    while (!chosen->get_subcommands().empty())
        chosen = chosen->get_subcommands().front();
    const auto choices = verbsOf(*chosen);
    if (isAboutWords && !words.empty() && words[0].size() > 1 && words[0][0] == '-')
        return {ExitStatus::Usage, fmt::format("{} (behind -- a word may begin with -)",
                                               unknownName(words[0], "option", namesOfOptions(*chosen)).what())};
    if (isAboutWords && !words.empty() && !choices.empty()) {
        std::vector<std::string> names;
        names.reserve(choices.size());
        for (const CLI::App* choice : choices)
            names.push_back(choice->get_name());
        return unknownName(words[0], chosen == &app ? "verb" : "list", names);
    }
    return {ExitStatus::Usage, fmt::format("{} (--help shows the usage)", error.what())};
}

} // namespace wdlt
