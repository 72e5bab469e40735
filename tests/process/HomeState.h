// All that a home holds for its callers: the registry's keys and values and the files, by name. Looked at through the
// layer, in a process of its own.
#pragma once

#include <filesystem>
#include <map>
#include <string>

using HomeState = std::map<std::string, std::string>;

// Of the registry's own files the names alone.
HomeState lookAtHome(const std::filesystem::path& home);

void writeState(const HomeState& state, const std::filesystem::path& file);
HomeState readState(const std::filesystem::path& file);

// What a home may hold while an operation leads from the one to the other.
struct Between {
    const HomeState& before;
    const HomeState& behind;
    bool isDone = true;    // all is as behind it
    bool inSteps = false;  // each value is old or new; else all of them are
    bool mayLeave = false; // a file that was to take another's name and a temporary one

    // What is neither; empty when all is well. A whole backup may stay as long as what it is of hasn't been replaced.
    std::string complaint(const HomeState& found) const;
};
