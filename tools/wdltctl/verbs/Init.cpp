/* init: sets up a fresh installation: first its directories and privacy database, then the tree, in one transaction.
   With --force it replaces one, of which it keeps a copy; with --upgrade it only adds to one. */

#include "ChangeLock.h"
#include "Directory.h"
#include "Display.h"
#include "Files.h"
#include "Findings.h"
#include "HomeCopy.h"
#include "HomeLook.h"
#include "Installation.h"
#include "Interrupted.h"
#include "Journal.h"
#include "KeyPath.h"
#include "LayDown.h"
#include "LayerError.h"
#include "Owner.h"
#include "PrivacyMend.h"
#include "RegTransfer.h"
#include "ToolError.h"
#include "Utf.h"
#include "Verbs.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <platform/home.h>

namespace wdlt {
namespace {

constexpr const char* kDefaultInstall = "C:\\Program Files\\Wardlet";

struct InitArguments {
    std::optional<std::string> install;
    bool force = false;
    bool upgrade = false;
};

/* The tree as text, and the files of the installation's directory. */
void keepInstallation(HomeCopy& kept) {
    RegDocument settings = exportSubtree(std::u16string(kBasePath));
    settings.keys.insert(settings.keys.begin(), RegKey{std::u16string(kBasePath), {}, true}); // to come back alone
    kept.keepText("settings.reg", writeRegText(settings));
    const Installation old = Installation::read();
    if (!old.install.empty())
        for (const DataFile& file : allDataFiles())
            kept.copyFile(old.pathOf(file));
}

/* The registry's file itself is all that is left of the settings. */
void keepDamaged(HomeCopy& kept, const std::string& home, bool knowsInstall) {
    if (!knowsInstall)
        throw ToolError(ExitStatus::Usage, fmt::format("{}/registry is damaged and can't tell the install directory: "
                                                       "--install is needed",
                                                       home));
    if (const DWORD error = WdSetRegistryAside(kept.folder().c_str()))
        throw LayerError(home + "/registry", static_cast<LONG>(error));
}

/* The library's writes need an existing database. */
void makeDatabase(const std::string& path, bool force, HomeCopy& kept) {
    if (!force && isThere(path))
        throw ToolError(ExitStatus::Failed, fmt::format("{} is there already; --force replaces it", path));
    kept.copyFile(path);
    writeFreshDatabase(path);
}

void printDone(Json document, const std::string& text, const HomeCopy& kept, const Options& options) {
    if (!kept.path().empty())
        document["kept"] = kept.path();
    if (options.json)
        printJson(document);
    else
        fmt::print("{}\n{}", text,
                   kept.path().empty() ? "" : fmt::format("what was there is kept in {}\n", displayFile(kept.path())));
}

void init(const InitArguments& arguments, const Options& options) {
    std::optional<Directories> directories;
    if (arguments.install)
        directories = Directories::below(*arguments.install);
    std::string home;
    if (!arguments.force)
        finishInterrupted();
    const bool isHome = lookAtHome(home, arguments.force ? HomeUse::Replace : HomeUse::Change);
    const ChangeLock lock;
    if (arguments.force)
        Journal::remove(); // what was to be undone is replaced
    HomeCopy kept(home);
    const std::u16string base(kBasePath);
    if (isHome && arguments.force && !registryFault(home).empty()) {
        if (directories)
            directories->make();
        keepDamaged(kept, home, directories.has_value());
    }
    const bool isThere = holdsValues(base);
    if (isThere && !arguments.force)
        throw ToolError(ExitStatus::Failed, fmt::format("{} is there already; --force replaces it", fullKeyName(base)));
    if (isThere)
        keepInstallation(kept);
    if (!directories)
        directories = Directories::stored();
    if (!directories)
        directories = Directories::below(kDefaultInstall);

    const std::string folder = folderIfSet(narrowPath(directories->install));
    refuseOthers(home, folder);
    directories->make();
    claimInstall(home, folder);
    RegDocument document = freshTree(*directories);
    const std::size_t keys = document.keys.size();
    document.keys.insert(document.keys.begin(), RegKey{base, {}, true});
    const std::string install = utf8FromUtf16(directories->install);
    std::string narrow;
    narrowFromUtf8(install, narrow);
    const std::string database = pathOf(narrow + std::string(kPrivacyDatabase.freshName()));
    try {
        // The tree last: it makes an installation. But of one that is replaced, nothing goes while that may still fail.
        if (!isThere)
            makeDatabase(database, arguments.force, kept);
        importDocument(document);
    } catch (const ToolError& error) {
        throw kept.told(error, error.status());
    }
    try {
        if (isThere)
            makeDatabase(database, arguments.force, kept);
    } catch (const ToolError& error) {
        throw kept.told(error, ExitStatus::Partial);
    }
    takeInstall(home, folder);
    makeLocksOfLists();
    dropInterrupted(home);
    printDone({{"key", fullKeyName(base)}, {"keys", keys}, {"values", valuesIn(document)}, {"installPath", install}},
              fmt::format("{} keys and {} values laid down in {}, installed in {}", keys, valuesIn(document),
                          fullKeyName(base), install),
              kept, options);
}

/* What an administrator removed can't be told from what is new: all that is missing is added. */
void upgrade(const InitArguments& arguments, const Options& options) {
    std::string home;
    finishInterrupted();
    const bool isHome = lookAtHome(home, HomeUse::Change);
    const ChangeLock lock;
    if (!isHome || !holdsValues(std::u16string(kBasePath)))
        throw ToolError(ExitStatus::Unknown, fmt::format("nothing is laid down in {}: wdltctl init", home));
    auto directories = Directories::stored();
    if (directories && arguments.install)
        throw ToolError(ExitStatus::Usage,
                        fmt::format("--install: the install directory stays {}", utf8FromUtf16(directories->install)));
    if (!directories && !arguments.install)
        throw ToolError(ExitStatus::Usage, "the settings don't tell the install directory: --install is needed");
    if (!directories)
        directories = Directories::below(*arguments.install);

    refuseOthers(home, folderIfSet(narrowPath(directories->install)));
    const RegDocument missing = missingFrom(freshTree(*directories));
    directories->make();
    importDocument(missing);
    const Installation installation = Installation::read();
    HomeCopy kept(home);
    const bool lacksDatabase = !isThere(installation.pathOf(kPrivacyDatabase));
    std::string made;
    try {
        made = lacksDatabase ? mendDatabase(installation, kept, true) : "";
    } catch (const ToolError& error) {
        throw ToolError(ExitStatus::Partial,
                        fmt::format("{} values added, but the privacy database: {}", valuesIn(missing), error.what()));
    }
    takeInstall(home, installation.install);
    printDone({{"keys", missing.keys.size()}, {"values", valuesIn(missing)}, {"database", made}},
              fmt::format("{} values added in {} keys{}", valuesIn(missing), missing.keys.size(),
                          made.empty() ? "" : ", privacy database " + made),
              kept, options);
}

} // namespace

void addInit(CLI::App& app, const Options& options) {
    auto* verb = app.add_subcommand("init", "Lay down a fresh installation: directories, settings, privacy database");
    const auto arguments = std::make_shared<InitArguments>();
    verb->add_option(
        "--install", arguments->install,
        fmt::format("Install directory, as X:\\... or /...; else the one that is there, or {}", kDefaultInstall));
    auto* force = verb->add_flag("--force", arguments->force,
                                 "Replace the settings and the privacy database that are there, all of them; a copy of "
                                 "them and of the lists is kept in the home's folder backup");
    verb->add_flag("--upgrade", arguments->upgrade,
                   "Add the settings that this version has and the installation lacks, also those that somebody "
                   "removed, and the privacy database if it is missing; change nothing that is there")
        ->excludes(force);
    runs(*verb, Needs::Nothing, [arguments, &options] {
        if (arguments->upgrade)
            upgrade(*arguments, options);
        else
            init(*arguments, options);
    });
}

} // namespace wdlt
