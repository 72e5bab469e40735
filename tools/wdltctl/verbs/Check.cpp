/* check: looks through the home and the installation, says what it finds, and mends what loses nothing. */

#include "ChangeLock.h"
#include "Display.h"
#include "Files.h"
#include "Findings.h"
#include "HomeLook.h"
#include "Interrupted.h"
#include "LayDown.h"
#include "Owner.h"
#include "ToolError.h"
#include "Verbs.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <fmt/format.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <unistd.h>

namespace wdlt {

bool isGranted(const std::string& question) {
    if (::isatty(STDIN_FILENO) != 1)
        return false;
    fmt::print(stderr, "{} [y/N]? ", question);
    char answer[16] = {};
    return std::fgets(answer, sizeof answer, stdin) != nullptr && (answer[0] == 'y' || answer[0] == 'Y');
}

namespace {

/* Then the finding says what was done, or why not. */
void mend(Finding& finding) {
    if (finding.mend == nullptr ||
        (finding.question != nullptr &&
         !isGranted(fmt::format("{}: {}. {}", displayFile(finding.path), finding.what, finding.question))))
        return;
    try {
        finding.what += "; " + finding.mend();
        finding.isMended = true;
    } catch (const std::exception& error) {
        finding.what += fmt::format("; it stays: {}", error.what());
    }
}

Findings lookAtAll(const std::string& home, Installation& installation, HomeCopy& kept) {
    Findings findings;
    if (const std::string fault = registryFault(home); !fault.empty()) {
        findings.push_back({home + "/registry",
                            fault + "; records, lists and the installation can't be looked at. wdltctl init --force "
                                    "--install DIR keeps it and begins anew, wdltreg import brings an export back"});
    } else if (!hasTree()) {
        findings.push_back({home, holdsValues(std::u16string(kBasePath))
                                      ? "the settings are incomplete: wdltctl init --upgrade"
                                      : "nothing is laid down: wdltctl init"});
    } else {
        settle();
        installation = Installation::read();
        if (const std::string warning = ownerWarning(home, installation.install); !warning.empty())
            findings.push_back({installation.install, warning});
        lookAtSettings(findings, installation, kept);
    }
    lookAtFiles(findings, home, installation, kept);
    return findings;
}

void printFindings(const Findings& findings, const Options& options) {
    Json document = Json::array();
    std::string text = findings.empty() ? "nothing found\n" : "";
    for (const Finding& finding : findings) {
        document.push_back({{"path", finding.path},
                            {"what", finding.what},
                            {"severity", finding.isFault ? "error" : "warning"},
                            {"repaired", finding.isMended}});
        text += fmt::format("{}: {}\n", displayFile(finding.path), finding.what);
    }
    if (options.json)
        printJson(document);
    else
        writeFile(std::string(kStandardStream), text);
}

void check(bool repairs, const Options& options) {
    std::string home;
    if (!lookAtHome(home, repairs ? HomeUse::Replace : HomeUse::Check))
        throw ToolError(ExitStatus::Unknown, fmt::format("nothing is laid down in {}: wdltctl init", home));
    finishInterrupted();
    // Nobody changes settings meanwhile: what is half done is no finding.
    const ChangeLock lock;
    HomeCopy kept(home);
    Installation installation;
    Findings findings = lookAtAll(home, installation, kept);
    if (repairs) {
        takeInstall(home, installation.install);
        std::ranges::for_each(findings, mend);
    }
    printFindings(findings, options);
    if (const auto left = std::ranges::count(findings, false, &Finding::isMended); left != 0)
        throw ToolError(ExitStatus::No,
                        repairs ? fmt::format("{} of {} left", left, findings.size()) : fmt::format("{} found", left));
}

} // namespace

void addCheck(CLI::App& app, const Options& options) {
    auto* verb = app.add_subcommand("check", "Look for damage, leftovers and rights that are too wide");
    const auto repairs = std::make_shared<bool>(false);
    verb->add_flag("--repair", *repairs,
                   "Mend what can be mended without losing settings: make the privacy database anew from the items, "
                   "remove leftovers, narrow modes; on a terminal ask about the rest");
    verb->footer("Exit status 0 when nothing was found, or all of it is repaired; 1 when something is left; 3 when it "
                 "can't be told. A damaged registry is found, but not repaired.");
    runs(*verb, Needs::Nothing, [repairs, &options] { check(*repairs, options); });
}

} // namespace wdlt
