#include "TestHome.h"

#include <platform/testing.h>

#include <fstream>
#include <iterator>
#include <system_error>

TestHome& TestHome::instance() {
    static TestHome home;
    return home;
}

TestHome::TestHome()
    : m_path(std::filesystem::temp_directory_path() / ("wdlt-test-" + std::to_string(GetCurrentProcessId()))),
      m_owner(0) {
    std::filesystem::create_directories(m_path);
    setenv("WARDLET_TIME_SCALE", "0.01", 0);
}

TestHome::~TestHome() {
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
