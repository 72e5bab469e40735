// A private home for the test process: created before the first test, removed after the last.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

class TestHome {
  public:
    // This process's home. Main.cpp creates it first and sets WARDLET_HOME, so that the layer and every child use it.
    static TestHome& instance();

    const std::filesystem::path& path() const { return m_path; }
    std::filesystem::path write(std::string_view name, std::string_view content) const;
    std::string read(std::string_view name) const;

    ~TestHome();
    TestHome(const TestHome&) = delete;
    TestHome& operator=(const TestHome&) = delete;

  private:
    TestHome();
    std::filesystem::path m_path;
    int m_owner; // a forked child that returns from main must not remove its parent's home
};
