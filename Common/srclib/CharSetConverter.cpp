#include "CharSetConverter.h"

#include "WdCommon/DebugLog.h"

#include <platform/loader.h>
#include <wdltcfg/charsets.h>
#include <wdltcfg/status.h>

#include <cstring>
#include <string_view>

namespace {

constexpr const char* kDefaultName = "WdMsg.dll";

// Arguments of the library's calls for a locator and for a conversion.
constexpr int kMemory = 1;
constexpr std::uint8_t kNone = 0;
constexpr std::uint8_t kSubstitute = '?';

constexpr char kEscape = '\x1B';
constexpr std::size_t kEscapeBytes = 3;
constexpr std::string_view kHzOpening = "~{";
constexpr std::string_view kHzClosing = "~}";

template <class Entry>
bool find(HMODULE module, const char* name, Entry& entry) {
    entry = WdEntryOf<Entry>(GetProcAddress(module, name));
    if (entry == nullptr)
        WDLOG_ERROR("*** CCharSetConverter::Initialize() - Failed to GetProcAddress() for %s(). LastError[0x%08x]",
                    name, GetLastError());
    return entry != nullptr;
}

} // namespace

void CCharSetConverter::SetModulePathAndName(const char* path, const char* name) {
    if (path != nullptr)
        m_szModulePath = path;
    m_szModulePath += name == nullptr || *name == '\0' ? kDefaultName : name;
}

std::int32_t CCharSetConverter::Initialize() {
    const bool wasLoaded = m_hModule != nullptr;
    std::int32_t status = wasLoaded ? WDLT_OK : load();
    if (status == WDLT_OK)
        status = bind();
    if (status == WDLT_OK && m_lpFuncInitialize() == 0) {
        WDLOG_ERROR("*** CCharSetConverter::Initialize() - Failed to m_lpFuncInitialize().");
        status = WDLT_E_CHARSET;
    }
    if (status != WDLT_OK && !wasLoaded)
        unload();
    return status;
}

std::int32_t CCharSetConverter::load() {
    if (m_szModulePath.empty())
        SetModulePathAndName(nullptr, nullptr);
    m_hModule = LoadLibraryA(m_szModulePath.c_str());
    if (m_hModule != nullptr)
        return WDLT_OK;
    const DWORD error = GetLastError();
    if (error == ERROR_DLL_INIT_FAILED) {
        WDLOG_ERROR("*** CCharSetConverter::Initialize() - Failed to initialize DLL at LoadLibrary(). "
                    "LastError[0x%08x]",
                    error);
        return WDLT_E_CHARSET_START;
    }
    WDLOG_ERROR("*** CCharSetConverter::Initialize() - Failed to LoadLibrary(). LastError[0x%08x]", error);
    return WDLT_E_LIBRARY;
}

std::int32_t CCharSetConverter::bind() {
    const bool bound = find(m_hModule, "WdMsg_Initialize", m_lpFuncInitialize) &&
                       find(m_hModule, "WdMsg_UnInitialize", m_lpFuncUnInitialize) &&
                       find(m_hModule, "WdMsg_CreateResourceLocator", m_lpFuncCreateResourceLocator) &&
                       find(m_hModule, "WdMsg_DeleteResourceLocator", m_lpFuncDeleteResourceLocator) &&
                       find(m_hModule, "WdMsg_CharsetConverterResource", m_lpFuncCharsetConverterResource);
    return bound ? WDLT_OK : WDLT_E_CHARSET;
}

std::int32_t CCharSetConverter::UnInitialize() {
    if (m_lpFuncUnInitialize == nullptr || m_lpFuncUnInitialize() == 0) {
        WDLOG_ERROR("*** CCharSetConverter::UnInitialize() - Failed to m_lpFuncUnInitialize().");
        return WDLT_E_CHARSET;
    }
    unload();
    return WDLT_OK;
}

void CCharSetConverter::unload() {
    if (m_hModule != nullptr)
        FreeLibrary(m_hModule);
    m_hModule = nullptr;
    m_lpFuncInitialize = nullptr;
    m_lpFuncUnInitialize = nullptr;
    m_lpFuncCreateResourceLocator = nullptr;
    m_lpFuncDeleteResourceLocator = nullptr;
    m_lpFuncCharsetConverterResource = nullptr;
}

const char* CCharSetConverter::GetCharSetStr(DWORD number) {
    constexpr DWORD kMostBits = 32;
    return number == 0 || number > kMostBits ? "" : wdltCharsetName(DWORD{1} << (number - 1));
}

std::int32_t CCharSetConverter::ConvertResource(void* output, const char* _lptszInString, DWORD from, DWORD to,
                                                DWORD _MaxOutBufSize) const {
    if (from == 0 || to == 0) {
        WDLOG_ERROR("*** CCharSetConverter::ConvertResource() - specified charset was invalid.");
        return WDLT_E_INVALID_ARGUMENT;
    }
    if (output == nullptr || _lptszInString == nullptr) {
        WDLOG_ERROR("*** CCharSetConverter::ConvertResource() - specified parameters were invalid handle.");
        return WDLT_E_INVALID_ARGUMENT;
    }
    const std::size_t textLength = std::strlen(_lptszInString);
    if (textLength == 0) {
        WDLOG_ERROR("*** CCharSetConverter::ConvertResource() - _lptszInString were invalid size as zero.");
        return WDLT_E_INVALID_ARGUMENT;
    }
    if (textLength > _MaxOutBufSize) {
        WDLOG_ERROR("*** CCharSetConverter::ConvertResource() - length of _lptszInString was over specified "
                    "_MaxOutBufSize.");
        return WDLT_E_BUFFER_SIZE;
    }
    const char* const fromName = GetCharSetStr(from);
    const char* const toName = GetCharSetStr(to);
    if (*fromName == '\0' || *toName == '\0')
        return WDLT_E_INVALID_ARGUMENT;
    std::memset(output, 0, _MaxOutBufSize);
    if (m_lpFuncCreateResourceLocator == nullptr) {
        WDLOG_ERROR("*** CCharSetConverter::ConvertResource() - m_lpFuncCreateResourceLocator was invalid handle.");
        return WDLT_E_CHARSET_HANDLE;
    }

    const auto length = static_cast<DWORD>(textLength);
    // The library's interface takes every buffer as writable; it only reads a source's.
    void* const text = const_cast<char*>(_lptszInString);
    void* const source = m_lpFuncCreateResourceLocator(text, kMemory, length, length, kNone);
    if (source == nullptr) {
        WDLOG_ERROR("*** CCharSetConverter::ConvertResource() - Failed to m_lpFuncCreateResourceLocator() for "
                    "pMsgResFrom.");
        return WDLT_E_CHARSET;
    }
    void* const target = m_lpFuncCreateResourceLocator(output, kMemory, _MaxOutBufSize, 0, kNone);
    if (target == nullptr) {
        WDLOG_ERROR("*** CCharSetConverter::ConvertResource() - Failed to m_lpFuncCreateResourceLocator() for "
                    "pMsgResTo.");
        m_lpFuncDeleteResourceLocator(source);
        return WDLT_E_CHARSET;
    }
    DWORD size = _MaxOutBufSize;
    const bool converted =
        m_lpFuncCharsetConverterResource(source, fromName, target, toName, &size, kNone, kSubstitute) == 0;
    if (!converted)
        WDLOG_ERROR("*** CCharSetConverter::ConvertResource() - Failed to m_lpFuncCharsetConverterResource().");
    m_lpFuncDeleteResourceLocator(source);
    m_lpFuncDeleteResourceLocator(target);
    return converted ? WDLT_OK : WDLT_E_CHARSET;
}

std::string CCharSetConverter::Trim_ISO_2022(const char* _lptszString) {
    if (_lptszString == nullptr)
        return {};
    std::string_view text = _lptszString;
    if (text.size() < kEscapeBytes) {
        WDLOG_ERROR("*** CCharSetConverter::Trim_ISO_2022() - specified _lptszString size was too short.");
        return {};
    }
    if (text.front() == kEscape)
        text.remove_prefix(kEscapeBytes);
    if (text.size() >= kEscapeBytes && text[text.size() - kEscapeBytes] == kEscape)
        text.remove_suffix(kEscapeBytes);
    return std::string(text);
}

std::string CCharSetConverter::Trim_HZ_GB(const char* _lptszString) {
    if (_lptszString == nullptr)
        return {};
    std::string_view text = _lptszString;
    if (text.size() < kHzOpening.size()) {
        WDLOG_ERROR("*** CCharSetConverter::Trim_HZ_GB() - specified _lptszString size was too short.");
        return {};
    }
    if (text.starts_with(kHzOpening))
        text.remove_prefix(kHzOpening.size());
    if (text.ends_with(kHzClosing))
        text.remove_suffix(kHzClosing.size());
    return std::string(text);
}
