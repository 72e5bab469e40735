#include "ShareMemory.h"

#include "ObjectName.h"
#include "SecurityAttributes.h"
#include "WdCommon/DebugLog.h"

#include <platform/robust.h>

#include <algorithm>
#include <cstddef>

CWdShareMemory::~CWdShareMemory() {
    Close();
}

bool CWdShareMemory::Create(const char* name, DWORD size, bool zeroFill) {
    if (mapHandle != nullptr) {
        WDLOG_ERROR("Map file has already opened.");
        return false;
    }
    mapName = GlobalObjectName(name);
    const SharedSecAttr security;
    mapHandle =
        CreateFileMappingA(INVALID_HANDLE_VALUE, security.m_pAttributes, PAGE_READWRITE, 0, size, mapName.c_str());
    const DWORD created = GetLastError();
    if (mapHandle == nullptr) {
        WDLOG_ERROR("CreateFileMapping failed (%08x): size = %d, name = %s", created, static_cast<int>(size),
                    mapName.c_str());
        return false;
    }
    WDLOG_TRACE("CreateFileMapping succeeded: size = %d, name = %s", static_cast<int>(size), mapName.c_str());
    if (zeroFill && created != ERROR_ALREADY_EXISTS && !zero(size)) {
        Close();
        return false;
    }
    if (!SetOjectApplicationPremission(mapName.c_str(), SE_KERNEL_OBJECT))
        WDLOG_ERROR("SetOjectApplicationPremission failed (%08x): name = %s", GetLastError(), mapName.c_str());
    if (!SetObjectToLowIntegrity(mapHandle))
        WDLOG_ERROR("SetObjectToLowIntegrity failed (%08x): handle = %p", GetLastError(), mapHandle);
    return true;
}

bool CWdShareMemory::zero(DWORD size) {
    void* memory = nullptr;
    if (!Map(&memory, false))
        return false;
    std::fill_n(static_cast<std::byte*>(memory), size, std::byte{0});
    Unmap();
    return true;
}

bool CWdShareMemory::Open(const char* name) {
    if (mapHandle != nullptr) {
        WDLOG_ERROR("Map file has already opened.");
        return false;
    }
    mapName = GlobalObjectName(name);
    mapHandle = OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, mapName.c_str());
    if (mapHandle == nullptr) {
        WDLOG_ERROR("OpenFileMapping failed (%08x): name = %s", GetLastError(), mapName.c_str());
        return false;
    }
    WDLOG_TRACE("OpenFileMapping succeeded: name = %s", mapName.c_str());
    return true;
}

bool CWdShareMemory::Map(void** pointerOut, bool readOnly, std::size_t atLeast) {
    view = MapViewOfFile(mapHandle, readOnly ? FILE_MAP_READ : FILE_MAP_ALL_ACCESS, 0, 0, atLeast);
    *pointerOut = view;
    if (view == nullptr)
        WDLOG_ERROR("MapViewOfFile failed (%08x)", GetLastError());
    return view != nullptr;
}

void* CWdShareMemory::Bytes(std::size_t atLeast) {
    void* const bytes = WdMappingBytes(mapHandle, atLeast);
    if (bytes == nullptr)
        WDLOG_ERROR("MapViewOfFile failed (%08x)", GetLastError());
    return bytes;
}

void CWdShareMemory::Unmap() {
    if (view == nullptr)
        return;
    if (UnmapViewOfFile(view) == FALSE)
        WDLOG_ERROR("UnmapViewOfFile failed (%08x): %s", GetLastError(), mapName.c_str());
    view = nullptr;
}

void CWdShareMemory::Close() {
    Unmap();
    if (mapHandle == nullptr)
        return;
    WdForgetBytes(mapHandle);
    if (CloseHandle(mapHandle) == FALSE)
        WDLOG_ERROR("CloseHandle failed (%08x): %s", GetLastError(), mapName.c_str());
    mapHandle = nullptr;
}
