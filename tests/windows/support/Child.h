// Nothing forks here: cases with children are left out (left_out.txt), and only have to compile.
#pragma once

#include <gtest/gtest.h>

#include <stdexcept>

class Child {
  public:
    template <class Body>
    explicit Child(Body&&) {
        throw std::logic_error("no child on this system");
    }
    void kill() {}
    int wait() { return -1; }
};
