#include "ItemCharset.h"

#include "LayerError.h"
#include "ToolError.h"

#include <fmt/format.h>
#include <memory>
#include <platform/loader.h>
#include <wdltcfg/charsets.h>

namespace wdlt {
namespace {

constexpr const char* kLibrary = "WdMsg.dll";

template <class Entry>
Entry entryOf(HMODULE module, const char* name) {
    const FARPROC entry = GetProcAddress(module, name);
    if (entry == nullptr)
        throw LayerError(fmt::format("{} of {}", name, kLibrary), static_cast<LONG>(GetLastError()));
    return reinterpret_cast<Entry>(entry);
}

/* The charset library, as any caller loads it. */
class Converter {
  public:
    Converter() : m_module(LoadLibraryA(kLibrary)) {
        if (!m_module)
            throw LayerError(fmt::format("charset library {}", kLibrary), static_cast<LONG>(GetLastError()));
        if (entryOf<Start>(m_module.get(), "WdMsg_Initialize")() == 0)
            throw ToolError(ExitStatus::Failed, fmt::format("charset library {} doesn't start", kLibrary));
        m_create = entryOf<CreateLocator>(m_module.get(), "WdMsg_CreateResourceLocator");
        m_delete = entryOf<DeleteLocator>(m_module.get(), "WdMsg_DeleteResourceLocator");
        m_convert = entryOf<Convert>(m_module.get(), "WdMsg_CharsetConverterResource");
    }
    ~Converter() { reinterpret_cast<Start>(GetProcAddress(m_module.get(), "WdMsg_UnInitialize"))(); }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    std::optional<std::string> convert(const std::string& text, const char* from, const char* to) const {
        constexpr std::size_t kMostGrowth = 8; /* bytes per character, with its shift sequences */
        std::string source = text;
        std::string target(text.size() * kMostGrowth + kMostGrowth, '\0');
        auto size = static_cast<DWORD>(target.size());
        const Locator in = locator(source, static_cast<DWORD>(source.size()));
        const Locator out = locator(target, 0);
        if (!in || !out || m_convert(in.get(), from, out.get(), to, &size, 0, kSubstitute) != 0)
            return std::nullopt;
        target.resize(size);
        return target;
    }

  private:
    using Start = std::uint8_t (*)();
    using CreateLocator = void* (*)(void* buffer, int kind, DWORD bufferSize, DWORD contentSize, std::uint8_t zero);
    using DeleteLocator = void (*)(void* locator);
    using Convert = std::int32_t (*)(void* source, const char* from, void* target, const char* to, DWORD* size,
                                     std::uint8_t zero, std::uint8_t substitute);
    using Locator = std::unique_ptr<void, DeleteLocator>;
    struct Unload {
        void operator()(HMODULE module) const { FreeLibrary(module); }
    };

    static constexpr int kMemory = 1;
    static constexpr std::uint8_t kSubstitute = '?';

    Locator locator(std::string& text, DWORD contentSize) const {
        return {m_create(text.data(), kMemory, static_cast<DWORD>(text.size()), contentSize, 0), m_delete};
    }

    std::unique_ptr<void, Unload> m_module;
    CreateLocator m_create = nullptr;
    DeleteLocator m_delete = nullptr;
    Convert m_convert = nullptr;
};

std::optional<std::string> convert(const std::string& text, const char* from, const char* to) {
    static const Converter converter;
    return converter.convert(text, from, to);
}

const char* utf8Name() {
    return wdltCharsetName(WDLT_CHARSET_UTF_8);
}

} // namespace

ItemCharset::ItemCharset(std::uint32_t charset) : m_charset(charset) {
    if (*name() == '\0')
        throw ToolError(ExitStatus::Failed,
                        fmt::format("privacy items: the default charset {:#x} is no charset's bit", charset));
}

const char* ItemCharset::name() const {
    return wdltCharsetName(m_charset);
}

std::optional<std::string> ItemCharset::fromUtf8(const std::string& text) const {
    return convert(text, utf8Name(), name());
}

std::optional<std::string> ItemCharset::toUtf8(const std::string& text) const {
    return convert(text, name(), utf8Name());
}

} // namespace wdlt
