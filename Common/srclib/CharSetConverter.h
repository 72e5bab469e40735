// Converts texts between charsets, with a library that is loaded for the length of a call. A converter belongs to the
// call that made it and to one thread; any number of them may be loaded at once.
#pragma once

#include <platform/base.h>

#include <cstdint>
#include <string>

class CCharSetConverter {
  public:
    CCharSetConverter() = default;
    // Doesn't unload the library: whoever called Initialize calls UnInitialize.
    virtual ~CCharSetConverter() = default;
    CCharSetConverter(const CCharSetConverter&) = delete;
    CCharSetConverter& operator=(const CCharSetConverter&) = delete;

    // Replaces the stored path with `path`, unless that is null; then appends `name`, or the default name.
    void SetModulePathAndName(const char* path, const char* name);

    // Loads the library, unless it is loaded already, and starts it. WDLT_E_CHARSET_START when it fails to initialize
    // while being loaded, WDLT_E_LIBRARY when it can't be loaded for another reason, WDLT_E_CHARSET when it lacks a
    // function or refuses to start. After a failure nothing is loaded that wasn't before.
    [[nodiscard]] std::int32_t Initialize();
    // WDLT_E_CHARSET when the library refuses; it then stays loaded.
    std::int32_t UnInitialize();

    // A charset's number is its bit's number plus 1; "" for a number without a charset.
    static const char* GetCharSetStr(DWORD number);

    // Converts a null-terminated text into `output` of `_MaxOutBufSize` bytes, which it zeroes first: the result has a
    // terminator only where it leaves room for one. WDLT_E_INVALID_ARGUMENT and WDLT_E_BUFFER_SIZE for bad arguments,
    // WDLT_E_CHARSET_HANDLE when no library is loaded, WDLT_E_CHARSET for a text that is malformed or can't be
    // represented in the target charset.
    [[nodiscard]] std::int32_t ConvertResource(void* output, const char* _lptszInString, DWORD from, DWORD to,
                                               DWORD _MaxOutBufSize) const;

    // A null-terminated text without the sequences that switch its charset at either end: three bytes that begin with
    // ESC, or "~{" and "~}". A text too short for a sequence is logged and gives an empty one; what is too short only
    // after the first step is the result.
    static std::string Trim_ISO_2022(const char* _lptszString);
    static std::string Trim_HZ_GB(const char* _lptszString);

  private:
    [[nodiscard]] std::int32_t load();
    [[nodiscard]] std::int32_t bind();
    void unload();

    // Locators are passed as void*: the two sides share no type.
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
