#include "Completion.h"

#include "KeyPath.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>

namespace wdlt {
namespace {

constexpr std::string_view kFilePlaces[] = {"FILE", "OTHER", "--out", "--output", "--install"};

bool looksLikeOption(std::string_view word) {
    return word.size() > 1 && word[0] == '-';
}

/* Reads the words before the one that is completed, as the parser would. */
class Reader {
  public:
    explicit Reader(const CLI::App& app) : m_verb(&app) {}

    void read(const std::string& word) {
        if (m_option != nullptr) {
            m_option = nullptr;
        } else if (!m_onlyOperands && word == "--") {
            m_onlyOperands = true;
        } else if (!m_onlyOperands && looksLikeOption(word)) {
            m_option = word.find('=') == std::string::npos ? optionNamed(word) : nullptr;
        } else if (const CLI::App* next = verbNamed(word); next != nullptr) {
            m_verb = next;
        } else {
            m_operands.push_back(word);
        }
    }

    Completions completed(const std::string& begun, WordsOf wordsOf) const {
        if (m_option != nullptr)
            return words("--" + m_option->get_lnames().front(), begun, wordsOf);
        if (!m_onlyOperands && begun.starts_with('-'))
            return options();
        if (const auto verbs = verbsOf(*m_verb); !verbs.empty()) {
            Completions all;
            for (const CLI::App* verb : verbs)
                all.push_back({verb->get_name(), verb->get_description()});
            return all;
        }
        const CLI::Option* const operand = nextOperand();
        return operand == nullptr ? Completions() : words(operand->get_name(true), begun, wordsOf);
    }

  private:
    /* An option with a value; of the verb or of those that it belongs to. */
    const CLI::Option* optionNamed(const std::string& name) const {
        for (const CLI::App* app = m_verb; app != nullptr; app = app->get_parent())
            if (const CLI::Option* option = app->get_option_no_throw(name); option != nullptr)
                return option->get_items_expected_max() > 0 && !option->get_lnames().empty() ? option : nullptr;
        return nullptr;
    }

    const CLI::App* verbNamed(const std::string& word) const {
        const auto found = m_verb->get_subcommands(
            [&](const CLI::App* each) { return equalsIgnoringCase(std::string_view(each->get_name()), word); });
        return m_operands.empty() && !found.empty() ? found.front() : nullptr;
    }

    /* The last one may take any number of words. */
    const CLI::Option* nextOperand() const {
        const auto operands = m_verb->get_options([](const CLI::Option* each) { return each->get_positional(); });
        if (operands.empty())
            return nullptr;
        if (m_operands.size() < operands.size())
            return operands[m_operands.size()];
        return operands.back()->get_items_expected_max() > 1 ? operands.back() : nullptr;
    }

    Completions options() const {
        Completions all;
        for (const CLI::App* app = m_verb; app != nullptr; app = app->get_parent())
            for (const CLI::Option* option : app->get_options())
                for (const std::string& name : option->get_lnames())
                    if (app == m_verb || (name != "help" && name != "version"))
                        all.push_back({"--" + name, option->get_description()});
        return all;
    }

    Completions words(const std::string& place, std::string_view begun, WordsOf wordsOf) const {
        if (std::ranges::find(kFilePlaces, place) != std::end(kFilePlaces))
            return {{kFilesWord}};
        try {
            return wordsOf == nullptr ? Completions() : wordsOf({*m_verb, place, m_operands, begun});
        } catch (const std::exception&) {
            return {}; // a mistyped name before it, or no home
        }
    }

    const CLI::App* m_verb;
    const CLI::Option* m_option = nullptr; // whose value comes next
    bool m_onlyOperands = false;
    std::vector<std::string> m_operands;
};

} // namespace

std::vector<const CLI::App*> verbsOf(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App* verb) { return !verb->get_group().empty(); });
}

Completions wordsFrom(std::span<const PlaceWords> table, const Completed& completed) {
    const auto found = std::ranges::find(table, completed.place, &PlaceWords::place);
    return found == table.end() ? Completions() : found->words(completed);
}

Completions completions(const CLI::App& app, std::span<const std::string> typed, WordsOf wordsOf) {
    if (typed.empty())
        return {};
    Reader reader(app);
    for (const std::string& word : typed.first(typed.size() - 1))
        reader.read(word);
    Completions all = reader.completed(typed.back(), wordsOf);
    std::erase_if(all, [&](const Completion& each) {
        return each.word != kFilesWord &&
               !equalsIgnoringCase(std::string_view(each.word).substr(0, typed.back().size()), typed.back());
    });
    return all;
}

} // namespace wdlt
