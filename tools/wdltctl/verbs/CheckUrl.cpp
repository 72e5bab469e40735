/* check-url: whether URLs are on one of the URL filter's lists. */

#include "Files.h"
#include "TextLists.h"
#include "ToolError.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {
namespace {

struct CheckArguments {
    std::vector<std::string> urls;
    std::string list;
};

void checkUrls(const CheckArguments& arguments, const Options& options) {
    const TextList& list = *std::ranges::find(allTextLists(), "urls", &TextList::name);
    Json document = Json::object();
    std::string text;
    std::size_t missing = 0;
    for (const std::string& url : arguments.urls) {
        WdpeUrlfUrlRecord record{};
        storedText(list, url, list.noun).copy(record.szUrl, list.mostBytes);
        const bool isOn =
            WdltUrlfIsRecordExists(arguments.list == "white" ? WDLT_LIST_WHITE : WDLT_LIST_BLACK, &record) == 1;
        missing += isOn ? 0 : 1;
        document[url] = isOn;
        text += fmt::format("{}: {}\n", url, isOn ? "on the list" : "not on the list");
    }
    if (options.json)
        printJson(document);
    else
        writeFile(std::string(kStandardStream), text);
    if (missing != 0)
        throw ToolError(ExitStatus::Failure,
                        fmt::format("{} of {} not on the {} list", missing, arguments.urls.size(), arguments.list));
}

} // namespace

void addCheckUrl(CLI::App& app, const Options& options) {
    const auto arguments = std::make_shared<CheckArguments>();
    auto* verb = app.add_subcommand("check-url", "Ask whether URLs are on a list");
    verb->add_option("URL", arguments->urls, "The URLs")->required();
    verb->add_option("--list", arguments->list, "white or black")->required()->check(CLI::IsMember({"white", "black"}));
    verb->footer(
        "The running service is asked; without one the list's file decides. Exit status 0 when all of them are "
        "on the list, 1 when not.");
    verb->callback([arguments, &options] { checkUrls(*arguments, options); });
}

} // namespace wdlt
