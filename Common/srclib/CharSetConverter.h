// Texts from one charset into another, by a library that is loaded for the length of a call. A converter belongs to the
// call that made it and is one thread's; any number of them may be loaded at once.
#pragma once

#include <platform/base.h>

#include <cstdint>
#include <string>

class CCharSetConverter {
  public:
    CCharSetConverter() = default;
    // Unloads nothing: who has called Initialize calls UnInitialize.
    virtual ~CCharSetConverter() = default;
    CCharSetConverter(const CCharSetConverter&) = delete;
    CCharSetConverter& operator=(const CCharSetConverter&) = delete;

    // `path` in place of what stands, unless it is null; then `name`, or the usual one, right behind it.
    void SetModulePathAndName(const char* path, const char* name);

    // Loads the library, unless that was done, and starts it. WDLT_E_CHARSET_START when it fails to start while it is
    // being loaded, WDLT_E_LIBRARY when it can't be loaded otherwise, WDLT_E_CHARSET when it lacks a function or
    // refuses. After a failure this call leaves nothing loaded that wasn't before.
    std::int32_t Initialize();
    // WDLT_E_CHARSET when the library refuses, and it stays loaded then.
    std::int32_t UnInitialize();

    // A charset's number is that of its bit plus 1; "" for a number without a charset.
    static const char* GetCharSetStr(DWORD number);

    // Converts a terminated text into `output` of `_MaxOutBufSize` bytes, which it zeroes first: the result has a
    // terminator only where it leaves room for one. WDLT_E_INVALID_ARGUMENT and WDLT_E_BUFFER_SIZE for the arguments,
    // WDLT_E_CHARSET_HANDLE when nothing is loaded, WDLT_E_CHARSET for a text that is malformed or can't be in the
    // target charset.
    std::int32_t ConvertResource(void* output, const char* _lptszInString, DWORD from, DWORD to,
                                 DWORD _MaxOutBufSize) const;

    // A terminated text without what switches its charset at either end: three bytes that begin with an escape, and
    // "~{" and "~}". A text that is too short for a sequence is logged and gives an empty one; what is too short after
    // the first step is the result.
    static std::string Trim_ISO_2022(const char* _lptszString);
    static std::string Trim_HZ_GB(const char* _lptszString);

  private:
    std::int32_t load();
    std::int32_t bind();
    void unload();

    // Locators cross as plain memory: the two sides share no type.
    using Start = std::uint8_t (*)();
    using CreateLocator = void* (*)(void* buffer, int kind, DWORD bufferSize, DWORD contentSize, std::uint8_t zero);
    using DeleteLocator = void (*)(void* locator);
    using Convert = std::int32_t (*)(void* source, const char* sourceCharset, void* target, const char* targetCharset,
                                     DWORD* size, std::uint8_t zero, std::uint8_t substitute);

    std::string m_szModulePath;
    HMODULE m_hModule = nullptr;
    Start m_lpFuncInitialize = nullptr;
    Start m_lpFuncUnInitialize = nullptr;
    CreateLocator m_lpFuncCreateResourceLocator = nullptr;
    DeleteLocator m_lpFuncDeleteResourceLocator = nullptr;
    Convert m_lpFuncCharsetConverterResource = nullptr;
};
