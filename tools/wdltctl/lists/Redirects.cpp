/* The redirects of a handler: each has a session, and the process, image or port it applies to. */

#include "Redirects.h"

#include "Display.h"
#include "FieldText.h"
#include "Handlers.h"
#include "LibraryStatus.h"
#include "Lists.h"
#include "Table.h"
#include "ToolError.h"
#include "Utf.h"
#include "WideText.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {

WdchSystemRedirect redirectFrom(const RedirectArguments& arguments) {
    WdchSystemRedirect redirect{};
    // The name becomes a key's name: with a backslash the key would be a subkey of another session's.
    if (arguments.session.empty() || arguments.session.find('\\') != std::string::npos)
        throw ToolError(ExitStatus::Usage, "SESSION: 1 to 10 characters, none of them a backslash");
    setWide(redirect.sessionType, "SESSION", arguments.session);
    if (std::string narrow;
        !narrowFromUtf8(arguments.session, narrow) || narrow.size() >= std::size(redirect.sessionType))
        throw ToolError(ExitStatus::Usage, "SESSION: 1 to 10 bytes in the system code page");
    setNarrow(redirect.process, "process", arguments.process);
    setWide(redirect.image, "image", arguments.image);
    redirect.port = arguments.port;
    redirect.direction = arguments.direction;
    redirect.flag = arguments.flag | (arguments.image.empty() ? 0 : WDLT_REDIRECT_IMAGE);
    redirect.tcpAutoTuningLevel = arguments.level;
    redirect.cancelAfMask = arguments.cancelMask;
    if (!arguments.process.empty() && (redirect.flag & WDLT_REDIRECT_IMAGE) != 0)
        throw ToolError(ExitStatus::Usage, "process: with this flag an image is meant");
    return redirect;
}

bool appliesToSomething(const WdchSystemRedirect& redirect) {
    return redirect.port != 0 || redirect.process[0] != '\0' || redirect.image[0] != u'\0';
}

std::int32_t storeRedirect(std::uint32_t handlerType, WdchSystemRedirect redirect, std::uint64_t configType) {
    return WdltWriteConfig(WDLT_PROTOCOL_SYSTEM + handlerType, WDLT_SCAN_NONE, configType, &redirect, sizeof redirect);
}

namespace {

std::string processOf(const WdchSystemRedirect& redirect) {
    return displayNarrow(narrowOf(redirect.process));
}

Json redirectJson(const WdchSystemRedirect& redirect) {
    return {{"session", utf8FromUtf16(textOf(redirect.sessionType))},
            {"process", processOf(redirect)},
            {"image", utf8FromUtf16(textOf(redirect.image))},
            {"port", redirect.port},
            {"direction", redirect.direction},
            {"flag", redirect.flagPresent != 0 ? Json(redirect.flag) : Json(nullptr)},
            {"level", redirect.tcpAutoTuningLevel},
            {"cancelMask", redirect.cancelAfMask}};
}

TableRow redirectRow(const WdchSystemRedirect& redirect) {
    return {displayText(textOf(redirect.sessionType)),
            processOf(redirect),
            displayText(textOf(redirect.image)),
            std::to_string(redirect.port),
            std::to_string(redirect.direction),
            redirect.flagPresent != 0 ? fmt::format("{:#x}", redirect.flag) : "",
            std::to_string(redirect.tcpAutoTuningLevel),
            fmt::format("{:#x}", redirect.cancelAfMask)};
}

void listRedirects(const RedirectArguments& arguments, const Options& options) {
    const Handler handler = findHandler(arguments.handler);
    if (options.json) {
        Json document = Json::array();
        for (const WdchSystemRedirect& redirect : handler.redirects)
            document.push_back(redirectJson(redirect));
        printJson(document);
        return;
    }
    std::vector<TableRow> rows = {{"SESSION", "PROCESS", "IMAGE", "PORT", "DIRECTION", "FLAG", "LEVEL", "CANCEL MASK"}};
    for (const WdchSystemRedirect& redirect : handler.redirects)
        rows.push_back(redirectRow(redirect));
    printTable(rows);
}

void write(const RedirectArguments& arguments, std::uint64_t configType, const Options& options) {
    const WdchSystemRedirect redirect = redirectFrom(arguments);
    if (configType == WDLT_CONFIG_REDIRECT_ADD && !appliesToSomething(redirect))
        throw ToolError(ExitStatus::Usage, "one of --process, --image and --port is needed");
    const Handler handler = findHandler(arguments.handler);
    const std::string session = fmt::format("session {} of {}", arguments.session, handler.name());
    const std::int32_t status = storeRedirect(handler.head.type, redirect, configType);
    if (configType == WDLT_CONFIG_REDIRECT_DELETE && status == WDLT_E_NOT_FOUND) {
        printRemoved(0, options);
        return;
    }
    checkStatus(status, session);
    if (options.json)
        printJson({{"handler", handler.name()}, {"session", arguments.session}});
    else
        fmt::print("{} {}\n", session, configType == WDLT_CONFIG_REDIRECT_ADD ? "stored" : "removed");
}

CLI::App* addRedirects(CLI::App& verb, const char* help, const std::shared_ptr<RedirectArguments>& arguments) {
    auto* redirects = verb.add_subcommand("redirects", help);
    redirects->add_option("HANDLER", arguments->handler, "Name or type of the handler")->required();
    return redirects;
}

void addRedirectList(CLI::App& verb, const Options& options) {
    const auto arguments = std::make_shared<RedirectArguments>();
    auto* redirects = addRedirects(verb, "Show a handler's redirects", arguments);
    runs(*redirects, Needs::Tree, [arguments, &options] { listRedirects(*arguments, options); });
}

void addRedirectAdd(CLI::App& verb, const Options& options) {
    const auto arguments = std::make_shared<RedirectArguments>();
    auto* redirects = addRedirects(verb, "Add a redirect, or overwrite its session's", arguments);
    redirects->add_option("SESSION", arguments->session, "Its name, 1 to 10 characters")->required();
    auto* process = redirects->add_option("--process", arguments->process, "Name of the process, at most 15 bytes");
    redirects->add_option("--image", arguments->image, "Name of the image, at most 299 characters; adds 16 to the flag")
        ->excludes(process);
    redirects->add_option("--port", arguments->port, "Port, 0 for none")->check(CLI::Range(UINT16_MAX));
    redirects->add_option("--direction", arguments->direction, "Direction");
    redirects->add_option("--flag", arguments->flag, "Flags; 0 leaves a stored one");
    redirects->add_option("--level", arguments->level, "TCP auto-tuning level, -1 for unset");
    redirects->add_option("--cancel-mask", arguments->cancelMask, "Cancel mask");
    redirects->footer("One of --process, --image and --port is needed.");
    runs(*redirects, Needs::Change, [arguments, &options] { write(*arguments, WDLT_CONFIG_REDIRECT_ADD, options); });
}

void addRedirectRemove(CLI::App& verb, const Options& options) {
    const auto arguments = std::make_shared<RedirectArguments>();
    auto* redirects = addRedirects(verb, "Remove a session's redirect", arguments);
    redirects->add_option("SESSION", arguments->session, "Its name")->required();
    runs(*redirects, Needs::Change, [arguments, &options] { write(*arguments, WDLT_CONFIG_REDIRECT_DELETE, options); });
}

} // namespace

const List kRedirectList = {addRedirectList, addRedirectAdd, addRedirectRemove};

} // namespace wdlt
