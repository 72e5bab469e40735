// Calls of the registry that fail as a full disk or a missing right would make them fail: the program that links this
// has its own definitions of them before the layer's, for a library that it loads too.
#pragma once

#include <string>

// While it lives, the calls of that name (without its A or W) fail with error 5 when they are about that value or key:
// the last name of a path. In all threads; one at a time.
class RegistryRefusal {
  public:
    RegistryRefusal(const char* call, std::string name);
    ~RegistryRefusal();
    RegistryRefusal(const RegistryRefusal&) = delete;
    RegistryRefusal& operator=(const RegistryRefusal&) = delete;
};

// While it lives, an enumeration of keys in their wide form fails with error 1015, as a damaged record makes it fail.
class FailingEnumeration {
  public:
    FailingEnumeration();
    ~FailingEnumeration();
    FailingEnumeration(const FailingEnumeration&) = delete;
    FailingEnumeration& operator=(const FailingEnumeration&) = delete;
};

// While it lives, the end of a batch says that nothing could be put on disk.
class FailingCommit {
  public:
    FailingCommit();
    ~FailingCommit();
    FailingCommit(const FailingCommit&) = delete;
    FailingCommit& operator=(const FailingCommit&) = delete;
};

// While it lives, the n-th value that any thread writes is refused, with error 112.
class FailingWrite {
  public:
    explicit FailingWrite(int nth);
    ~FailingWrite();
    FailingWrite(const FailingWrite&) = delete;
    FailingWrite& operator=(const FailingWrite&) = delete;
};
