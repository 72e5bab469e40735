#include "Exchange.h"

#include "Display.h"
#include "LayerError.h"
#include "MachineKey.h"
#include "UrlQuestion.h"

#include <nlohmann/json.hpp>
#include <string>

namespace wdlt {
namespace {

constexpr std::string_view kConfigNumbers[] = {"protocol", "scan"};
constexpr std::string_view kActionNumbers[] = {"reply", "protocol", "scan", "action", "waitReply"};
constexpr std::size_t kNumberSize = 4;

std::uint32_t numberAt(const BYTE* bytes) {
    std::uint32_t number = 0;
    for (std::size_t i = kNumberSize; i-- > 0;)
        number = (number << 8) | bytes[i];
    return number;
}

void putNumber(BYTE* bytes, std::uint32_t number) {
    for (std::size_t i = 0; i < kNumberSize; ++i)
        bytes[i] = static_cast<BYTE>(number >> (8 * i));
}

bool isSet(HANDLE event) {
    return WaitForSingleObject(event, 0) == WAIT_OBJECT_0;
}

} // namespace

const std::array<ExchangeKind, 3> kExchangeKinds = {{
    {"config", [] { return std::string(kConfigStem); }, kRequestEnd, kReplyEnd, kConfigNumbers, false},
    {"action", [] { return std::string(kActionStem); }, kRequestEnd, kReplyEnd, kActionNumbers, true},
    {"drs", GetMachineKeyText, "814B", "A9FF", {}, false},
}};

Exchange::Exchange(const ExchangeKind& kind, const Behaviour& behaviour) : m_kind(kind), m_behaviour(behaviour) {
    const std::string stem = kind.stem();
    if (behaviour.hasEvents)
        m_objects.makeEvents(stem, kind.request, kind.reply);
    if (behaviour.hasMemory && !kind.numbers.empty())
        m_objects.makeMemory(stem, static_cast<DWORD>(kind.numbers.size() * kNumberSize));
}

void Exchange::serve(Journal& journal, HANDLE stopping, const std::function<void()>& served) {
    for (;;) {
        if (WaitForSingleObject(m_objects.request.get(), INFINITE) != WAIT_OBJECT_0)
            throw LayerError(std::string(m_kind.name), static_cast<LONG>(GetLastError()));
        if (isSet(stopping)) {
            // Spares a sender that asked just now its time-out of a minute; when nobody asked, the next sender resets
            // the event before it asks.
            if (!m_behaviour.isSilent)
                SetEvent(m_objects.reply.get());
            return;
        }
        const std::int32_t reply = hear(journal);
        if (!m_behaviour.isSilent) {
            if (m_behaviour.delay != 0)
                WaitForSingleObject(stopping, m_behaviour.delay);
            answer(reply);
        }
        served();
    }
}

void Exchange::wake() {
    if (hasEvents())
        SetEvent(m_objects.request.get());
}

std::int32_t Exchange::hear(Journal& journal) const {
    std::int32_t reply = m_behaviour.reply;
    auto rest = nlohmann::ordered_json::object();
    for (std::size_t i = m_kind.hasReply ? 1 : 0; i < m_kind.numbers.size(); ++i) {
        auto& number = rest[std::string(m_kind.numbers[i])];
        if (m_objects.memory != nullptr)
            number = numberAt(m_objects.memory.get() + i * kNumberSize);
    }
    if (m_behaviour.isSilent)
        rest["silent"] = true;
    else if (m_kind.hasReply) {
        if (reply == 0 && m_objects.memory != nullptr && asksForUrl())
            reply = tellUrlAnswer(rest);
        rest["reply"] = reply;
    }
    journal.tell(m_kind.name, rest);
    return reply;
}

bool Exchange::asksForUrl() const {
    const auto number = [&](std::size_t i) { return numberAt(m_objects.memory.get() + i * kNumberSize); };
    return isUrlQuestion(number(1), number(2), number(3));
}

std::int32_t Exchange::tellUrlAnswer(nlohmann::ordered_json& rest) {
    const UrlAnswer answer = answerUrlQuestion();
    rest["list"] = answer.listType;
    rest["url"] = utf8FromNarrow(answer.url);
    rest["found"] = answer.isFound;
    return answer.status;
}

void Exchange::answer(std::int32_t reply) {
    if (m_kind.hasReply && m_objects.memory != nullptr)
        putNumber(m_objects.memory.get(), static_cast<std::uint32_t>(reply));
    SetEvent(m_objects.reply.get());
}

} // namespace wdlt
