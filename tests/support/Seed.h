// The seed of a random test: WDLT_SEED, to repeat a failure, else a new one each time. It is printed, and shown with
// every failure while the object lives.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

class Seed {
  public:
    Seed() {
        std::printf("%s\n", m_trace.c_str());
        std::fflush(stdout); // before children inherit the buffer
    }
    operator unsigned() const { return m_seed; }

  private:
    static unsigned given() {
        const char* const text = std::getenv("WDLT_SEED");
        return text == nullptr ? std::random_device()() : static_cast<unsigned>(std::strtoul(text, nullptr, 10));
    }

    const unsigned m_seed = given();
    const std::string m_trace = "WDLT_SEED=" + std::to_string(m_seed);
    const testing::ScopedTrace m_told{__FILE__, __LINE__, m_trace};
};
