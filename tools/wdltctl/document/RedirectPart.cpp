/* The redirects of all handlers in the document, by handler and session. */

#include "Entries.h"
#include "FieldText.h"
#include "Handlers.h"
#include "LibraryStatus.h"
#include "Part.h"
#include "Redirects.h"
#include "ToolError.h"
#include "Utf.h"
#include "WideText.h"

#include <algorithm>
#include <wdltcfg/status.h>

namespace wdlt {
namespace {

constexpr const char* kRedirectProcess = "process";
constexpr const char* kRedirectImage = "image";
constexpr const char* kRedirectPort = "port";
constexpr const char* kRedirectDirection = "direction";
constexpr const char* kRedirectFlag = "flag";
constexpr const char* kRedirectLevel = "level";
constexpr const char* kRedirectCancelMask = "cancel-mask";

constexpr Column redirectNumber(const char* name, std::int64_t most) {
    return {.name = name, .kind = Column::Kind::Number, .most = most};
}

constexpr Column kRedirectColumns[] = {
    {.name = kRedirectProcess, .kind = Column::Kind::Narrow, .most = sizeof(WdchSystemRedirect::process) - 1},
    {.name = kRedirectImage, .kind = Column::Kind::Wide, .most = std::size(WdchSystemRedirect{}.image) - 1},
    redirectNumber(kRedirectPort, UINT16_MAX),
    redirectNumber(kRedirectDirection, UINT32_MAX),
    redirectNumber(kRedirectFlag, UINT32_MAX),
    {.name = kRedirectLevel, .kind = Column::Kind::Number, .most = INT32_MAX, .least = INT32_MIN, .absent = -1},
    redirectNumber(kRedirectCancelMask, UINT32_MAX),
};

Json redirectEntry(const WdchSystemRedirect& redirect) {
    return {{kRedirectProcess, utf8FromNarrow(narrowOf(redirect.process))},
            {kRedirectImage, utf8FromUtf16(textOf(redirect.image))},
            {kRedirectPort, redirect.port},
            {kRedirectDirection, redirect.direction},
            {kRedirectFlag, redirect.flagPresent != 0 ? redirect.flag : 0},
            {kRedirectLevel, redirect.tcpAutoTuningLevel},
            {kRedirectCancelMask, redirect.cancelAfMask}};
}

RedirectArguments argumentsOf(const std::string& session, const Json& entry) {
    RedirectArguments arguments;
    arguments.session = session;
    arguments.process = entry.at(kRedirectProcess).get<std::string>();
    arguments.image = entry.at(kRedirectImage).get<std::string>();
    arguments.port = entry.at(kRedirectPort).get<std::uint16_t>();
    arguments.direction = entry.at(kRedirectDirection).get<std::uint32_t>();
    arguments.flag = entry.at(kRedirectFlag).get<std::uint32_t>();
    arguments.level = entry.at(kRedirectLevel).get<std::int32_t>();
    arguments.cancelMask = entry.at(kRedirectCancelMask).get<std::uint32_t>();
    return arguments;
}

class RedirectPart : public Part {
  public:
    RedirectPart() : Part({"lists", "redirects"}, "the handlers' redirects, by handler and session") {}

    Json read() const override {
        Json state = Json::object();
        for (const Handler& handler : allHandlers()) {
            Json& sessions = state[handler.name()] = Json::object();
            for (const WdchSystemRedirect& redirect : handler.redirects)
                sessions[utf8FromUtf16(textOf(redirect.sessionType))] = redirectEntry(redirect);
        }
        return state;
    }

    Json wanted(const Json& given, const Json& now, Complaints& complaints) const override {
        Json wanted = now;
        std::vector<std::string> handlers;
        for (auto& [handler, sessions] : wanted.items()) {
            handlers.push_back(handler);
            if (given.is_null())
                sessions = Json::object();
        }
        if (given.is_null())
            return wanted;
        eachMember(given, path(), handlers, complaints, [&](const std::string& handler, const Json& list) {
            const DocumentPath place = below(path(), handler);
            Json sessions = Json::object();
            if (eachEntry(list, place, complaints, [&](const std::string& session, const Json& entry) {
                    sessions[session] = wantedRedirect(session, entry, below(place, session), complaints);
                }))
                wanted[handler] = std::move(sessions);
        });
        return wanted;
    }

    /* A redirect is made anew, since a stored flag can't be taken away. */
    std::int32_t write(const Json& now, const Json& wanted) const override {
        for (const auto& [name, sessions] : wanted.items()) {
            const std::uint32_t type = findHandler(name).head.type;
            for (const auto& [session, entry] : now[name].items())
                if (!sessions.contains(session) || !isSame(sessions[session], entry))
                    store(type, session, entry, WDLT_CONFIG_REDIRECT_DELETE);
            for (const auto& [session, entry] : sessions.items())
                if (!now[name].contains(session) || !isSame(now[name][session], entry))
                    store(type, session, entry, WDLT_CONFIG_REDIRECT_ADD);
        }
        return WDLT_OK;
    }

    Json schema() const override {
        return schemaOf({{"type", "object"},
                         {"additionalProperties",
                          {{"oneOf", {entriesSchema(kRedirectColumns, "^[^\\\\]{1,10}$"), {{"type", "null"}}}}}}});
    }

  private:
    static Json wantedRedirect(const std::string& session, const Json& entry, const DocumentPath& place,
                               Complaints& complaints) {
        Json wanted = wantedEntry(kRedirectColumns, entry, place, complaints);
        complaints.collect(place, [&] {
            const WdchSystemRedirect redirect = redirectFrom(argumentsOf(session, wanted));
            wanted[kRedirectFlag] = redirect.flag;
            if (!appliesToSomething(redirect))
                throw ToolError(ExitStatus::Usage, "one of process, image and port is needed");
        });
        return wanted;
    }

    void store(std::uint32_t type, const std::string& session, const Json& entry, std::uint64_t configType) const {
        checkStatus(storeRedirect(type, redirectFrom(argumentsOf(session, entry)), configType),
                    pathText(below(path(), session)));
    }
};

} // namespace

const Part* redirectPart() {
    static const RedirectPart part;
    return &part;
}

} // namespace wdlt
