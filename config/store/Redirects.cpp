#include "Redirects.h"

#include "ObjectName.h"
#include "Utility.h"
#include "WdCommon/DebugLog.h"

#include <platform/registry_batch.h>
#include <platform/win32.h>
#include <wdltcfg/status.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <vector>

namespace wdlt {
namespace {

constexpr const char* kMutex = "wdlt_config_redirect_mutex";
constexpr const char* kSection = "Redirect";
constexpr std::size_t kSessionSize = 11; // of a session's name in the code page, with its terminator
constexpr std::size_t kSessionLength = std::extent_v<decltype(WdchSystemRedirect::sessionType)>;

std::string sectionOf(std::string_view session) {
    return std::string(kSection).append("\\").append(session);
}

template <class Character, std::size_t Size>
std::size_t lengthUpTo(const Character (&text)[Size], std::size_t limit) {
    return static_cast<std::size_t>(std::find(text, text + limit, Character{0}) - text);
}

class RedirectLock {
  public:
    // Best effort for reads, which go on without the lock.
    bool isHeld() const { return m_lock.isHeld(); }

  private:
    CWdMutex m_mutex{createMutex(kMutex)};
    WdltSingleLock m_lock{&m_mutex};
};

// The caller's record, and its session's name in the code page.
struct Request {
    WdchSystemRedirect redirect{};
    std::array<char, kSessionSize> session{};

    // Converts the session's name. Returns what is wrong with it, for the log, or null. Two names must not become one
    // key, so the conversion has to be reversible.
    const char* narrowSession() {
        const WideStringView name(redirect.sessionType, lengthUpTo(redirect.sessionType, kSessionLength));
        if (name.empty())
            return "not specified";
        if (name.size() == kSessionLength)
            return "too long";
        if (name.find(WTEXT('\\')) != name.npos)
            return "no name of a key";
        const int bytes = WideCharToMultiByte(CP_ACP, 0, name.data(), static_cast<int>(name.size()), session.data(),
                                              static_cast<int>(session.size() - 1), nullptr, nullptr);
        if (bytes <= 0)
            return "too long in the code page";
        std::array<WCHAR, kSessionSize> again{};
        const int length = MultiByteToWideChar(CP_ACP, 0, session.data(), bytes, again.data(), kSessionSize);
        const bool isSame = length > 0 && name == WideStringView(again.data(), static_cast<std::size_t>(length));
        return isSame ? nullptr : "no text of the code page";
    }
};

struct Item {
    const char* name;
    DWORD type;
    const void* data;
    DWORD size;
    bool wide;
    void (*failed)(const char* key, const char* item, std::int32_t status);
};

constexpr auto failedWithClass = [](const char* key, const char* item, std::int32_t status) {
    WDLOG_ERROR("[CSystemProtocolCfg::AddRedirect] Failed to write registry item (key=%s, item=%s, ret=%ld)", key, item,
                static_cast<long>(status));
};
constexpr auto failedPlainly = [](const char* key, const char* item, std::int32_t status) {
    WDLOG_ERROR("AddRedirect Failed to write registry item (key=%s, item=%s, ret=%ld)", key, item,
                static_cast<long>(status));
};

} // namespace

// What fails here is logged by the operations, which try it again.
RedirectMutexKept::RedirectMutexKept() : m_mutex(CreateMutexA(nullptr, FALSE, GlobalObjectName(kMutex).c_str())) {}

std::uint32_t Redirects::count() const {
    const RedirectLock lock;
    std::vector<std::string> names;
    const std::int32_t status =
        m_handler.store->EnumSubSections(m_handler.protocol, m_handler.scan, m_handler.input, kSection, names);
    return status == WDLT_OK ? static_cast<std::uint32_t>(names.size()) : 0;
}

void Redirects::read(std::span<BYTE> records) const {
    const RedirectLock lock;
    std::vector<std::string> names;
    if (m_handler.store->EnumSubSections(m_handler.protocol, m_handler.scan, m_handler.input, kSection, names) !=
        WDLT_OK)
        return;
    for (const std::string& name : names) {
        if (records.size() < sizeof(WdchSystemRedirect))
            return;
        const WdchSystemRedirect redirect = readOne(name);
        std::memcpy(records.data(), &redirect, sizeof redirect);
        records = records.subspan(sizeof redirect);
    }
}

bool Redirects::readNumber(const char* section, const char* name, std::uint32_t& number) const {
    DWORD read = 0;
    DWORD size = sizeof read;
    if (m_handler.ReadItem(section, name, &read, &size, false) != WDLT_OK)
        return false;
    number = read;
    return true;
}

WdchSystemRedirect Redirects::readOne(const std::string& name) const {
    const std::string section = sectionOf(name);
    WdchSystemRedirect redirect{};
    DWORD size = sizeof redirect.sessionType;
    if (const std::int32_t status = m_handler.ReadItem(section.c_str(), "", redirect.sessionType, &size, true))
        WDLOG_ERROR("ReadValue( SubSection = %s) fails (%d)", section.c_str(), status);
    std::uint32_t port = 0;
    readNumber(section.c_str(), "Port", port);
    redirect.port = static_cast<std::uint16_t>(port & 0xFFFF);
    readNumber(section.c_str(), "Direction", redirect.direction);
    if (readNumber(section.c_str(), "Flag", redirect.flag))
        redirect.flagPresent = 1;
    else
        WDLOG_TRACE("Failed to read %s \"Flag\". set Flag to zero.", section.c_str());
    readTarget(section.c_str(), redirect);
    readNumber(section.c_str(), "CancelAfMask", redirect.cancelAfMask);
    auto level = static_cast<std::uint32_t>(-1);
    if (!readNumber(section.c_str(), "TcpAutoTuningLevel", level))
        WDLOG_TRACE("Failed to read \"TcpAutoTuningLevel\".");
    redirect.tcpAutoTuningLevel = static_cast<std::int32_t>(level);
    return redirect;
}

// Reads the one value that names an image or a process, depending on the flag, cut to its field.
void Redirects::readTarget(const char* section, WdchSystemRedirect& redirect) const {
    const bool isImage = (redirect.flag & WDLT_REDIRECT_IMAGE) != 0;
    const std::span<std::byte> field = isImage ? std::span<std::byte>(std::as_writable_bytes(std::span(redirect.image)))
                                               : std::as_writable_bytes(std::span(redirect.process));
    const std::size_t terminator = isImage ? sizeof(WCHAR) : sizeof(char);
    auto size = static_cast<DWORD>(field.size());
    std::int32_t status = m_handler.ReadItem(section, "Process", field.data(), &size, isImage);
    for (int tries = 0; status == WDLT_E_BUFFER_SIZE && tries < kTriesForGrowing; ++tries) {
        WDLOG_TRACE("Insufficient buffer for \"Process\"(Need %d).", static_cast<int>(size));
        const std::unique_ptr<std::byte[]> whole(new (std::nothrow) std::byte[size]);
        if (whole == nullptr) {
            WDLOG_TRACE("failed to allocae buffer for \"Process\"");
            break;
        }
        status = m_handler.ReadItem(section, "Process", whole.get(), &size, isImage);
        if (status == WDLT_OK)
            std::copy_n(whole.get(), std::min<std::size_t>(size, field.size()), field.begin());
    }
    std::ranges::fill(status == WDLT_OK ? field.last(terminator) : field, std::byte{0});
}

namespace {

std::int32_t checkAdded(Request& request) {
    const WdchSystemRedirect& redirect = request.redirect;
    if (const char* const wrong = request.narrowSession()) {
        WDLOG_ERROR("[CSystemProtocolCfg::AddRedirect] sessionType %s", wrong);
        return WDLT_E_INVALID_ARGUMENT;
    }
    const bool isImage = (redirect.flag & WDLT_REDIRECT_IMAGE) != 0;
    if (redirect.port != 0 || (isImage ? redirect.image[0] != 0 : redirect.process[0] != '\0'))
        return WDLT_OK;
    WDLOG_ERROR("[CSystemProtocolCfg::AddRedirect] Both %s name and port number are not specified",
                isImage ? "image" : "process");
    return WDLT_E_INVALID_ARGUMENT;
}

} // namespace

std::int32_t Redirects::add(const void* data, std::uint64_t size) const {
    if (size != sizeof(WdchSystemRedirect)) {
        WDLOG_ERROR("[CSystemProtocolCfg::AddRedirect] Invalid buffer size (%d)", loggedSize(size));
        return WDLT_E_GENERAL;
    }
    Request request;
    if (data != nullptr)
        std::memcpy(&request.redirect, data, sizeof request.redirect);
    if (const std::int32_t status = checkAdded(request); status != WDLT_OK)
        return status;

    WdchSystemRedirect& redirect = request.redirect;
    const bool isImage = (redirect.flag & WDLT_REDIRECT_IMAGE) != 0;
    const DWORD port = redirect.port;
    const std::size_t imageLength = lengthUpTo(redirect.image, std::size(redirect.image) - 1);
    const std::size_t processLength = lengthUpTo(redirect.process, std::size(redirect.process) - 1);
    redirect.image[imageLength] = 0;
    redirect.process[processLength] = '\0';
    const Item target =
        isImage
            ? Item{"process", REG_SZ,         redirect.image, static_cast<DWORD>((imageLength + 1) * sizeof(WCHAR)),
                   true,      failedWithClass}
            : Item{"process", REG_SZ, redirect.process, static_cast<DWORD>(processLength + 1), false, failedWithClass};
    const auto number = [](const char* name, const auto& value, auto failed) {
        static_assert(sizeof value == sizeof(DWORD));
        return Item{name, REG_DWORD, &value, sizeof value, false, failed};
    };
    const Item items[] = {
        target,
        number("TcpAutoTuningLevel", redirect.tcpAutoTuningLevel, failedWithClass),
        number("port", port, failedWithClass),
        number("direction", redirect.direction, failedPlainly),
        number("flag", redirect.flag, failedPlainly),
        number("CancelAfMask", redirect.cancelAfMask, failedPlainly),
    };

    const RedirectLock lock;
    if (!lock.isHeld())
        return WDLT_E_GENERAL;
    const std::string section = sectionOf(request.session.data());
    RegistryBatch batch;
    const Item* written = nullptr;
    bool passesFlagOver = false;
    std::int32_t status = WDLT_OK;
    for (const Item& item : items) {
        if (item.data == &redirect.flag && redirect.flag == 0) {
            passesFlagOver = true;
            continue;
        }
        written = &item;
        status = m_handler.WriteItem(section.c_str(), item.name, item.type, item.data, item.size, item.wide);
        if (status != WDLT_OK)
            break;
    }
    // Logged outside the batch: a log may wait for the disk.
    if (batch.end() != 0 && status == WDLT_OK)
        status = WDLT_E_REGISTRY;
    if (passesFlagOver)
        WDLOG_TRACE("Not write flag because Flag is zero.");
    if (status != WDLT_OK)
        written->failed(section.c_str(), written->name, status);
    return status;
}

std::int32_t Redirects::remove(const void* data, std::uint64_t size) const {
    if (size != sizeof(WdchSystemRedirect)) {
        WDLOG_ERROR("DelRedirect Invalid buffer size (%d)", loggedSize(size));
        return WDLT_E_GENERAL;
    }
    Request request;
    if (data != nullptr)
        std::memcpy(&request.redirect, data, sizeof request.redirect);
    if (const char* const wrong = request.narrowSession()) {
        WDLOG_ERROR("DelRedirect sessionType %s", wrong);
        return WDLT_E_INVALID_ARGUMENT;
    }
    const RedirectLock lock;
    if (!lock.isHeld())
        return WDLT_E_GENERAL;
    const std::int32_t status = m_handler.store->DeleteSubSection(m_handler.protocol, m_handler.scan, m_handler.input,
                                                                  kSection, request.session.data());
    if (status != WDLT_OK) {
        std::array<WCHAR, kSessionLength> session{};
        std::copy_n(request.redirect.sessionType, kSessionLength - 1, session.begin());
        WDLOGW(status == WDLT_E_NOT_FOUND ? kLogTrace : kLogError,
               WTEXT("DelRedirect Failed to delete registry key (key=redirect\\%s, ret=%ld)"), session.data(),
               static_cast<long>(status));
    }
    return status;
}

} // namespace wdlt
