// Everything that a home holds for its callers, by name: the registry's keys and values, and the files. Call lookAtHome
// in a process of its own, since it uses the layer.
#pragma once

#include <filesystem>
#include <map>
#include <string>

using HomeState = std::map<std::string, std::string>;

// Includes only the names of the registry's own files, not their content.
HomeState lookAtHome(const std::filesystem::path& home);

void writeState(const HomeState& state, const std::filesystem::path& file);
HomeState readState(const std::filesystem::path& file);

// Which states of a home are allowed while an operation changes it from `before` to `behind`.
struct Between {
    const HomeState& before;
    const HomeState& behind;
    bool isDone = true;    // everything must be as in `behind`
    bool inSteps = false;  // each value may be old or new; otherwise all are old or all are new
    bool mayLeave = false; // one unfinished .new file and one temporary file may be left

    // Says what isn't allowed; empty if all is well. A complete backup may stay until its original has been replaced.
    // `isWhole`: the files, too, are all old or all new.
    std::string complaint(const HomeState& found, bool isWhole = false) const;
};
