// Where a target that reads files puts them: a folder, in memory if /dev/shm exists, that also holds the layer's home.
// Removed at exit.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <span>
#include <string>
#include <string_view>

namespace fuzz {

inline void demand(bool holds) {
    if (!holds)
        std::abort();
}

inline const std::filesystem::path& folder() {
    static const std::filesystem::path made = [] {
        const std::filesystem::path shared = "/dev/shm";
        std::error_code ignored;
        const auto root =
            std::filesystem::is_directory(shared, ignored) ? shared : std::filesystem::temp_directory_path();
        std::string name = (root / "fuzz-XXXXXX").string();
        demand(mkdtemp(name.data()) != nullptr);
        setenv("WARDLET_HOME", (name + "/home").c_str(), 1);
        setenv("WARDLET_DURABILITY", "process", 1);
        static std::string toRemove = name;
        std::atexit([] {
            std::error_code left;
            std::filesystem::remove_all(toRemove, left);
        });
        return std::filesystem::path(name);
    }();
    return made;
}

inline void put(const std::string& file, std::string_view bytes) {
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    demand(stream.good());
}
inline void put(const std::string& file, std::span<const std::uint8_t> bytes) {
    put(file, std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

} // namespace fuzz
