/* backup: the whole installation in one file. */

#include "ChangeLock.h"
#include "Display.h"
#include "Files.h"
#include "Installation.h"
#include "Owner.h"
#include "Replacement.h"
#include "SavedState.h"
#include "ToolError.h"
#include "Verbs.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <fmt/format.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <system_error>

namespace wdlt {
namespace {

std::string packOf(const SavedState& state) {
    try {
        return state.pack();
    } catch (const std::runtime_error& error) {
        throw ToolError(ExitStatus::Failed, fmt::format("the backup can't be made: {}", error.what()));
    }
}

/* A home that was moved, or a disk that isn't mounted: there would be a backup without any list. */
void refuseWithoutInstall() {
    const std::string install = storedInstall();
    std::error_code error;
    if (!std::filesystem::is_directory(install, error))
        throw ToolError(ExitStatus::Unknown,
                        fmt::format("{}: {}", install.empty() ? "installPath" : displayFile(install), kInstallIsGone),
                        {.path = install});
}

void backUp(const std::string& file, const Options& options) {
    const SavedState state = [] {
        const ChangeLock lock;
        refuseWithoutInstall();
        return SavedState::take();
    }();
    const std::string bytes = packOf(state);
    writeFile(file, bytes);
    if (file == kStandardStream)
        return;
    if (options.json)
        printJson({{"file", file}, {"bytes", bytes.size()}, {"files", state.files.size()}});
    else
        fmt::print("{}: {}\n", file, toldOf(state));
}

} // namespace

void addBackup(CLI::App& app, const Options& options) {
    auto* verb = app.add_subcommand("backup", "Write settings, lists, privacy database and items to one file");
    const auto file = std::make_shared<std::string>();
    verb->add_option("FILE", *file, "The file, which is replaced; - for the standard output")->required();
    verb->footer("It is its owner's alone (0600), since it holds passwords and private texts. restore brings all of it "
                 "back, here or elsewhere. Inside is a tar: tar --zstd -tf FILE.");
    runs(*verb, Needs::Tree, [file, &options] { backUp(*file, options); });
}

} // namespace wdlt
