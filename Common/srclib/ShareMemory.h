// A piece of named memory between processes: one mapping, one view of it. For one thread at a time.
#pragma once

#include <platform/win32.h>

#include <cstddef>
#include <string>

class CWdShareMemory {
  public:
    CWdShareMemory() = default;
    virtual ~CWdShareMemory();
    CWdShareMemory(const CWdShareMemory&) = delete;
    CWdShareMemory& operator=(const CWdShareMemory&) = delete;

    // Makes the mapping, open to everybody, or joins one that is there, whose content stays. False (logged) when it
    // can't be had, or when one is open already.
    bool Create(const char* name, DWORD size, bool zeroFill);
    // Opens what another process made; likewise.
    bool Open(const char* name);
    // The view's address, or null and false (logged), also when the mapping has fewer bytes than `atLeast`.
    bool Map(void** pointerOut, bool readOnly, std::size_t atLeast = 0);
    void Unmap();
    void Close();

  private:
    bool zero(DWORD size);

    HANDLE mapHandle = nullptr;
    void* view = nullptr;
    std::string mapName; // as the kernel knows it
};
