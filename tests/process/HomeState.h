// All that a home holds for its callers: the registry's values and the files, whole. Looked at in a process of its own,
// through the layer.
#pragma once

#include <filesystem>
#include <map>
#include <string>

struct HomeState {
    using Contents = std::map<std::string, std::string>;

    Contents values; // by key and name; a key is there too
    Contents files;  // by the path below the home; of the registry's own files and folders the names alone

    static HomeState now(const std::filesystem::path& home);
    // From one process to another.
    void write(const std::filesystem::path& file) const;
    static HomeState read(const std::filesystem::path& file);
    bool operator==(const HomeState&) const = default;
};

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
