/* where: what this installation consists of, as far as it can be told. */

#include "Display.h"
#include "Files.h"
#include "HomeLook.h"
#include "Installation.h"
#include "Interrupted.h"
#include "KeyPath.h"
#include "Owner.h"
#include "RunTool.h"
#include "Table.h"
#include "ToolError.h"
#include "Utf.h"
#include "Verbs.h"

#include <CLI/CLI.hpp>
#include <array>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <fmt/format.h>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <platform/identity.h>
#include <platform/ini.h>
#include <platform/loader.h>
#include <system_error>

namespace wdlt {
namespace {

namespace fs = std::filesystem;

struct Place {
    std::string what;
    std::string path;
    std::optional<std::uintmax_t> bytes; /* of a file */
    std::string note;
};

/* Looks at a file or folder without opening it: closing the registry's own would drop its locks. */
Place placeOf(std::string what, const std::string& path, std::string note = {}) {
    Place place{std::move(what), path, {}, std::move(note)};
    std::error_code failure;
    const fs::file_status status = fs::status(path, failure);
    if (status.type() == fs::file_type::not_found)
        return {place.what, path, {}, place.note + (place.note.empty() ? "not there" : ", not there")};
    if (fs::is_regular_file(status))
        place.bytes = fs::file_size(path, failure);
    if (failure)
        place.note += fmt::format("{}{}", place.note.empty() ? "" : ", ", failure.message());
    return place;
}

/* "layout = 1", a line of the home's settings. */
std::string layoutOf(const fs::path& home) {
    constexpr std::string_view kName = "layout = ";
    const std::string text = readFile(home / "settings");
    const std::size_t at = text.find(kName);
    return at == std::string::npos
               ? ""
               : "layout " + text.substr(at + kName.size(), text.find('\n', at) - at - kName.size());
}

std::string pathOfModule(HMODULE module) {
    std::array<WCHAR, PATH_MAX> path{};
    const fs::path file =
        utf8FromUtf16({path.data(), GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()))});
    std::error_code ignored;
    return fs::weakly_canonical(file.parent_path(), ignored) / file.filename(); // found by way of the program's folder
}

/* The log's settings stand in a file beside the library; where they say nothing, this is what the library takes. */
std::vector<Place> placesOfLog(const fs::path& library) {
    const std::string file = library.parent_path() / "Wardlet.ini";
    std::string fileName;
    narrowFromUtf8(file, fileName);
    DWORD session = 0;
    ProcessIdToSessionId(GetCurrentProcessId(), &session);
    const char* const section = session == 0 ? "ServiceSession" : "InteractiveSession";
    const auto textOf = [&](const char* name, const char* unset) {
        std::array<char, PATH_MAX> text{};
        GetPrivateProfileStringA(section, name, unset, text.data(), static_cast<DWORD>(text.size()), fileName.c_str());
        return std::string(text.data());
    };
    const auto variable = [](const char* name) {
        const char* const value = std::getenv(name);
        return value != nullptr && *value == '/' ? value : nullptr;
    };
    std::string folder = textOf("LogFolder", "");
    if (!folder.empty())
        folder = pathOf(folder);
    else if (const char* const home = variable("WARDLET_HOME"))
        folder = std::string(home) + "/log";
    else
        folder = variable("TMPDIR") != nullptr ? variable("TMPDIR") : "/tmp";
    const std::string name = textOf("LogFile", "");
    const std::string extension = textOf("LogExtension", "log");
    const std::string whole = fmt::format("{}{}{}{}", textOf("LogPrefix", "qxc"), name.empty() ? "WdltCfg" : name,
                                          extension.empty() ? "" : ".", extension);
    const bool isOn = GetPrivateProfileIntA(section, "Enable", 0, fileName.c_str()) != 0;
    return {placeOf("log", fmt::format("{}/{}", folder, utf8FromNarrow(whole)), isOn ? "on" : "off"),
            placeOf("log settings", file, fmt::format("[{}]", section))};
}

std::vector<Place> placesOfTree() {
    const Installation installation = Installation::read();
    std::vector<Place> places;
    const auto named = [&](std::string_view what, const std::string& path) {
        places.push_back(path.empty() ? Place{std::string(what), "", {}, "no setting names it"}
                                      : placeOf(std::string(what), path));
    };
    named("install", installation.install);
    if (const std::string warning = ownerWarning(homePath(), installation.install); !warning.empty())
        places.back().note = warning;
    named("temporary files", installation.temp);
    named("service's logs", installation.log);
    for (const DataFile& file : allDataFiles())
        named(file.what, installation.install.empty() || file.name().empty() ? "" : installation.pathOf(file));
    return places;
}

/* Adds what `look` finds; or that it can't be told, and why. */
void addTo(std::vector<Place>& places, const char* what, const std::function<std::vector<Place>()>& look) {
    try {
        const std::vector<Place> found = look();
        places.insert(places.end(), found.begin(), found.end());
    } catch (const ToolError& error) {
        places.push_back({what, "", {}, error.what()});
    }
}

std::vector<Place> allPlaces() {
    std::vector<Place> places;
    const fs::path home = homePath();
    bool isThere = false;
    bool isTold = false;
    addTo(places, "home", [&]() -> std::vector<Place> {
        std::string path;
        isThere = lookAtHome(path, HomeUse::Read);
        isTold = true;
        return {placeOf("home", home, isThere ? layoutOf(home) : "not set up")};
    });
    places.push_back(placeOf("registry", home / "registry/data.mdb"));
    addTo(places, "settings", [&]() -> std::vector<Place> {
        const std::string key = fullKeyName(kBasePath);
        isThere = isThere && hasTree();
        return {{"settings", key, {}, isThere ? "" : isTold ? "nothing is laid down: wdltctl init" : "can't be told"}};
    });
    addTo(places, "install and lists", [&] {
        return isThere ? placesOfTree() : std::vector<Place>{{"install and lists", "", {}, "no setting names them"}};
    });
    const std::string version = "version " WDLT_VERSION;
    const std::string library = pathOfModule(LoadLibraryA("WdltCfg.dll"));
    addTo(places, "log", [&] { return placesOfLog(library); });
    places.push_back(placeOf("library", library, version));
    places.push_back(placeOf("wdltctl", pathOfModule(nullptr), version));
    return places;
}

void where(const Options& options) {
    try {
        finishInterrupted();
    } catch (const ToolError& error) { // the places are there all the same
        printRemark(error.what());
    }
    const auto places = allPlaces();
    if (options.json) {
        Json document = Json::object();
        for (const Place& place : places)
            document[place.what] = {{"path", place.path.empty() ? Json(nullptr) : Json(place.path)},
                                    {"bytes", place.bytes ? Json(*place.bytes) : Json(nullptr)},
                                    {"note", place.note}};
        printJson(document);
        return;
    }
    std::vector<TableRow> rows = {{"WHAT", "BYTES", "WHERE", "NOTE"}};
    for (const Place& place : places)
        rows.push_back({place.what, place.bytes ? std::to_string(*place.bytes) : "", place.path, place.note});
    printTable(rows);
}

} // namespace

void addWhere(CLI::App& app, const Options& options) {
    auto* verb = app.add_subcommand("where", "Show where everything is, its size and version");
    verb->footer("What can't be told has the reason in its row; the exit status is 0 all the same.");
    runs(*verb, Needs::Nothing, [&options] { where(options); });
}

} // namespace wdlt
