#include "Report.h"

#include <type_traits>

namespace wdlt {
namespace {

/* Calls `each` with the name and the place of every member. */
template <class Of, class Each>
void eachMemberOf(Of& report, const Each& each) {
    each("machine", report.machine);
    each("groups", report.groups);
    each("state", report.state);
    each("revision", report.revision);
    each("applied", report.applied);
    each("generation", report.generation);
    each("since", report.since);
    each("reason", report.reason);
    each("drift", report.drift);
    each("put-back", report.putBack);
    each("failures", report.failures);
}

} // namespace

std::string reportText(const Report& report) {
    Json document = Json::object();
    eachMemberOf(report, [&](const char* name, const auto& member) { document[name] = member; });
    return document.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::optional<Report> reportFrom(const std::string& text) {
    Report report;
    try {
        const Json document = Json::parse(text);
        eachMemberOf(report, [&](const char* name, auto& member) {
            member = document.at(name).get<std::remove_reference_t<decltype(member)>>();
        });
    } catch (const Json::exception&) {
        return std::nullopt;
    }
    return report;
}

} // namespace wdlt
