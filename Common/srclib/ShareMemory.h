// Named memory shared between processes: one mapping, one view of it. For one thread at a time.
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

    // Creates the mapping, open to everybody, or opens an existing one, whose content stays. False (logged) on failure,
    // or when one is open already.
    bool Create(const char* name, DWORD size, bool zeroFill);
    // Opens a mapping that another process created; likewise.
    bool Open(const char* name);
    // Gives the view's address, or null and false (logged), also when the mapping has fewer bytes than `atLeast`.
    bool Map(void** pointerOut, bool readOnly, std::size_t atLeast = 0);
    void Unmap();
    // The same address without a view, valid until Close; null (logged) when it can't be had.
    void* Bytes(std::size_t atLeast);
    void Close();

  private:
    bool zero(DWORD size);

    HANDLE mapHandle = nullptr;
    void* view = nullptr;
    std::string mapName; // with its prefix
};
