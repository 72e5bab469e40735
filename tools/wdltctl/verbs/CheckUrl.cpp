/* check-url: whether URLs are on one of the URL filter's lists. */

#include "Files.h"
#include "LibraryStatus.h"
#include "TextLists.h"
#include "ToolError.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {
namespace {

struct CheckArguments {
    std::vector<std::string> urls;
    std::string list;
};

const TextList& urlList() {
    return *std::ranges::find(allTextLists(), "urls", &TextList::name);
}

void checkUrls(const CheckArguments& arguments, const Options& options) {
    const TextList& list = urlList();
    Json document = Json::array();
    std::string text;
    std::size_t missing = 0;
    const std::uint32_t type = arguments.list == "white" ? WDLT_LIST_WHITE : WDLT_LIST_BLACK;
    // The library answers "no" for a list that it can't read.
    Texts texts;
    std::int32_t failure = missingIsEmpty(list.read(type, texts));
    for (const std::string& url : arguments.urls) {
        WdpeUrlfUrlRecord record{};
        storedText(list, url, list.noun).copy(record.szUrl, list.mostBytes);
        const std::int32_t answer = failure < 0 ? failure : WdltUrlfIsRecordExists(type, &record);
        failure = std::min(failure, answer);
        missing += answer == 0 ? 1 : 0;
        document.push_back({{"url", url}, {"found", answer < 0 ? Json(nullptr) : Json(answer != 0)}});
        text += fmt::format("{}: {}\n", url,
                            answer < 0    ? "can't be told"
                            : answer == 0 ? "not on the list"
                                          : "on the list");
    }
    if (options.json)
        printJson(document);
    else
        writeFile(std::string(kStandardStream), text);
    if (failure != WDLT_OK)
        throw ToolError(ExitStatus::Unknown, fmt::format("the {} list: {}", arguments.list, statusText(failure)));
    if (missing != 0)
        throw ToolError(ExitStatus::No,
                        fmt::format("{} of {} not on the {} list", missing, arguments.urls.size(), arguments.list));
}

} // namespace

void addCheckUrl(CLI::App& app, const Options& options) {
    const auto arguments = std::make_shared<CheckArguments>();
    auto* verb = app.add_subcommand("check-url", "Ask whether URLs are on a list");
    verb->add_option("URL", arguments->urls, "The URLs")->required();
    verb->add_option("--list", arguments->list, "white or black")->required()->transform([](const std::string& word) {
        return typeNamed(urlList(), word);
    });
    verb->footer(
        "The running service is asked; without one the list's file decides. Exit status 0 when all of them are "
        "on the list, 1 when one isn't, 3 when it can't be told.");
    runs(*verb, Needs::Tree, [arguments, &options] { checkUrls(*arguments, options); });
}

} // namespace wdlt
