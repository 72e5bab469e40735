#include "TestHome.h"

#include <platform/testing.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <system_error>
#include <unistd.h>

TestHome& TestHome::instance() {
    static TestHome home;
    return home;
}

TestHome::TestHome() : m_owner(getpid()) {
    std::random_device random;
    do
        m_path = std::filesystem::temp_directory_path() / ("wdlt-test-" + std::to_string(random()));
    while (!std::filesystem::create_directory(m_path));
    std::filesystem::permissions(m_path, std::filesystem::perms::owner_all);
    setenv("WARDLET_HOME", m_path.string().c_str(), 1);
    setenv("WARDLET_DURABILITY", "process", 0);
    setenv("WARDLET_TIME_SCALE", "0.01", 0);
}

TestHome::~TestHome() {
    if (getpid() != m_owner)
        return;
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::filesystem::path TestHome::write(std::string_view name, std::string_view content) const {
    const auto file = m_path / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
    return file;
}

std::string TestHome::read(std::string_view name) const {
    std::ifstream file(m_path / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}
