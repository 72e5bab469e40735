#include "ManualPage.h"

#include "Completion.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cctype>
#include <fmt/format.h>
#include <string_view>
#include <utility>

namespace wdlt {
namespace {

constexpr std::string_view kTools[] = {"wardlet-acl", "wardlet-peer", "wdltctl", "wdltreg"};

/* --help has what is longer: whole tables of records. */
constexpr auto kMostLines = 25;

constexpr const char* kSurroundings =
    ".SH ENVIRONMENT\n"
    ".TP\n.B WARDLET_HOME\n"
    "The home: the directory that holds registry, locks and, unless it is set up elsewhere, the installation.\n"
    ".TP\n.B XDG_STATE_HOME\n"
    "The folder wardlet in it is the home where WARDLET_HOME isn't set and /var/lib/wardlet doesn't exist.\n"
    ".SH FILES\n"
    ".TP\n.I /var/lib/wardlet\nThe home where WARDLET_HOME isn't set, if that directory exists.\n"
    ".TP\n.I \\(ti/.local/state/wardlet\nThe home otherwise, if XDG_STATE_HOME isn't set.\n";

/* Text as text: nothing in it is a request or an escape. */
std::string escaped(std::string_view text) {
    constexpr std::pair<char, std::string_view> kEscapes[] = {
        {'\\', "\\e"}, {'-', "\\-"}, {'\'', "\\(aq"}, {'"', "\\(dq"}, {'^', "\\(ha"}, {'~', "\\(ti"}, {'`', "\\(ga"},
    };
    std::string roff;
    for (const char c : text) {
        const auto* const found = std::ranges::find(kEscapes, c, &std::pair<char, std::string_view>::first);
        if (found != std::end(kEscapes))
            roff += found->second;
        else if (c == '.' && (roff.empty() || roff.back() == '\n'))
            roff += "\\&.";
        else
            roff += c;
    }
    return roff;
}

std::string bold(std::string_view text) {
    return fmt::format("\\fB{}\\fR", escaped(text));
}

std::string italic(std::string_view text) {
    return fmt::format("\\fI{}\\fR", escaped(text));
}

std::string sentence(std::string text) {
    if (!text.empty() && std::isalnum(static_cast<unsigned char>(text.back())) != 0)
        text += '.';
    return escaped(text) + "\n";
}

std::string operandUsage(const CLI::Option& operand) {
    const std::string name = italic(operand.get_name(true)) + (operand.get_items_expected_max() > 1 ? "\\&..." : "");
    return operand.get_required() ? name : fmt::format("[{}]", name);
}

/* "-o, --output TEXT" */
std::string optionUsage(const CLI::Option& option) {
    std::string usage;
    for (const std::string& name : option.get_snames())
        usage += bold("-" + name) + ", ";
    for (const std::string& name : option.get_lnames())
        usage += bold("--" + name) + ", ";
    usage.resize(usage.size() - 2);
    const std::string type = option.get_type_name();
    return option.get_items_expected_max() == 0 ? usage : usage + " " + italic(type.substr(0, type.find(':')));
}

std::string optionsOf(const CLI::App& app) {
    std::string roff;
    for (const CLI::Option* option : app.get_options())
        if (option != app.get_help_ptr() || app.get_parent() == nullptr)
            roff += fmt::format(".TP\n{}\n{}", option->get_positional() ? operandUsage(*option) : optionUsage(*option),
                                sentence(option->get_description()));
    return roff;
}

/* What stands at the end of --help: paragraphs, and blocks of indented lines. */
struct Footer {
    std::string text;
    std::string examples;
    std::string status;
};

Footer footerOf(const CLI::App& app) {
    constexpr std::string_view kStatus = "Exit status: ";
    const std::string whole = app.get_footer();
    Footer footer;
    std::string* block = nullptr; /* that indented lines go to */
    for (const std::string& line : CLI::detail::split(whole, '\n')) {
        if (line == "Examples:") {
            block = &footer.examples;
        } else if (line.starts_with(kStatus)) {
            footer.status = sentence(line.substr(kStatus.size()));
        } else if (line.starts_with(' ')) {
            block = block == nullptr ? &footer.text : block;
            *block += fmt::format(".EX\n{}\n.EE\n", escaped(line));
        } else if (!line.empty()) {
            footer.text += ".PP\n" + escaped(line) + "\n";
            block = &footer.text;
        }
    }
    for (std::string* each : {&footer.text, &footer.examples})
        for (std::size_t at = 0; (at = each->find(".EE\n.EX\n", at)) != std::string::npos;)
            each->erase(at, std::string_view(".EE\n.EX\n").size());
    return footer;
}

std::string fullName(const CLI::App& app) {
    return app.get_parent() == nullptr ? app.get_name() : fullName(*app.get_parent()) + " " + app.get_name();
}

std::string usageOf(const CLI::App& app) {
    std::string usage = bold(fullName(app));
    for (const CLI::Option* operand : app.get_options([](const CLI::Option* each) { return each->get_positional(); }))
        usage += " " + operandUsage(*operand);
    return usage;
}

/* The verbs with all that belongs to each. Verbs inherit the footer of the one that they belong to. */
std::string verbPages(const CLI::App& app) {
    std::string roff;
    for (const CLI::App* verb : verbsOf(app)) {
        const std::string footer = verb->get_footer();
        const bool isLong = std::ranges::count(footer, '\n') > kMostLines;
        if (verbsOf(*verb).empty() || !footer.empty())
            roff += fmt::format(".SS {}\n{}{}", usageOf(*verb), sentence(verb->get_description()), optionsOf(*verb));
        if (isLong)
            roff += fmt::format(".PP\n{} lists them.\n", bold(fullName(*verb) + " --help"));
        else if (footer != app.get_footer())
            roff += footerOf(*verb).text;
        roff += verbPages(*verb);
    }
    return roff;
}

std::string section(const char* title, const std::string& content) {
    return content.empty() ? std::string() : fmt::format(".SH {}\n{}", title, content);
}

} // namespace

std::string manualPage(const CLI::App& app, std::string_view version, std::string_view date) {
    const std::string& name = app.get_name();
    const Footer footer = footerOf(app);
    const bool hasVerbs = !verbsOf(app).empty();
    std::string title = name;
    std::ranges::transform(title, title.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    std::string description = app.get_description();
    std::string roff = fmt::format(".TH {} 1 {} \"wdltcfg {}\"\n", escaped(title), date, version);
    roff += section("NAME", fmt::format("{} \\- {}\n", escaped(name),
                                        escaped(description.substr(0, description.find_last_not_of('.') + 1))));
    roff += section("SYNOPSIS", fmt::format("{} [{}]{}\n", bold(name), italic("OPTIONS"),
                                            hasVerbs ? " " + italic("VERB") + " \\&..." : ""));
    roff += section("DESCRIPTION", sentence(description) + footer.text);
    roff += section("OPTIONS", optionsOf(app));
    roff += section("VERBS", verbPages(app));
    roff += section("EXIT STATUS", footer.status);
    roff += kSurroundings;
    roff += section("EXAMPLES", footer.examples);
    std::string others;
    for (const std::string_view tool : kTools)
        if (tool != name)
            others += fmt::format("{}.BR {} (1)", others.empty() ? "" : " ,\n", escaped(tool));
    return roff + section("SEE ALSO", others + "\n");
}

} // namespace wdlt
