/* The features' own switches in the document: true or false; where one has several, or a number stored with it, an
   object of them. A handler's switch stands in its record. */

#include "FeatureState.h"
#include "Features.h"
#include "Handlers.h"
#include "Part.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

namespace wdlt {
namespace {

constexpr const char* kEnabled = "enabled";
constexpr const char* kOption = "option";

class FeaturePart : public Part {
  public:
    explicit FeaturePart(const Feature& feature)
        : Part({"features", std::string(feature.name)}, feature.help), m_feature(feature),
          m_isSplit(!feature.places.empty() && feature.places.front().type != 0) {
        if (m_isSplit)
            for (const FeatureItem& place : feature.places)
                m_members.emplace_back(place.protocolName);
        else if (feature.storedOption != nullptr)
            m_members = {kEnabled, kOption};
    }

    Json read() const override {
        if (m_feature.storedOption != nullptr)
            return {{kEnabled, own().value_or(false)}, {kOption, m_feature.storedOption()}};
        if (!m_isSplit)
            return asJson(own());
        Json state = Json::object();
        const std::vector<Handler> handlers = allHandlers();
        for (const FeatureItem& place : m_feature.places)
            if (std::ranges::any_of(handlers, [&](const Handler& each) { return each.head.type == place.protocol; }))
                if (const auto isOn = itemIsOn(place.protocol, place.scan, place.input))
                    state[std::string(place.protocolName)] = *isOn;
        return state;
    }

    Json wanted(const Json& given, const Json& now, Complaints& complaints) const override {
        if (m_members.empty())
            return wantedSwitch(given, now, path(), complaints);
        Json wanted = now;
        const auto take = [&](const std::string& name, const Json& value) {
            const DocumentPath place = below(path(), name);
            wanted[name] = name == kOption ? wantedOption(value, now[name], place, complaints)
                                           : wantedSwitch(value, now.value(name, Json()), place, complaints);
        };
        if (given.is_null())
            for (const auto& [name, state] : now.items())
                take(name, nullptr);
        else
            eachMember(given, path(), m_members, complaints, take);
        return wanted;
    }

    std::int32_t write(const Json& now, const Json& wanted) const override {
        if (m_feature.storedOption != nullptr)
            return m_feature.enable(wanted.at(kEnabled).get<bool>(), wanted.at(kOption).get<std::uint32_t>());
        if (!m_isSplit)
            return m_feature.enable(wanted.get<bool>(), 0);
        std::int32_t status = WDLT_OK;
        for (const bool on : {true, false}) {
            std::uint32_t types = 0;
            for (const FeatureItem& place : m_feature.places)
                if (const std::string name(place.protocolName);
                    wanted.contains(name) && wanted.at(name) == on && now.value(name, !on) != on)
                    types |= place.type;
            if (types != 0 && status >= WDLT_OK)
                status = m_feature.enable(on, types);
        }
        return status;
    }

    Json schema() const override {
        if (m_members.empty())
            return schemaOf({{"type", "boolean"}});
        Json properties = Json::object();
        for (const std::string& name : m_members)
            if (name == kOption)
                properties[name] = {{"type", {"integer", "null"}}, {"minimum", 0}, {"maximum", UINT32_MAX}};
            else
                properties[name] = {{"type", {"boolean", "null"}}};
        return schemaOf({{"type", "object"}, {"properties", properties}, {"additionalProperties", false}});
    }

  private:
    static Json asJson(std::optional<bool> isOn) { return isOn ? Json(*isOn) : Json(nullptr); }

    std::optional<bool> own() const {
        if (!m_feature.places.empty()) {
            const FeatureItem& place = m_feature.places.front();
            return itemIsOn(place.protocol, place.scan, place.input);
        }
        const std::int32_t state = m_feature.isEnabled(WDLT_PRIVACY_ALL);
        return state < 0 ? std::nullopt : std::optional(state != 0);
    }

    /* Every switch of a fresh installation is off. */
    static Json wantedSwitch(const Json& given, const Json& now, const DocumentPath& place, Complaints& complaints) {
        if (!given.is_boolean() && !given.is_null())
            complaints.add(place, "true or false is needed");
        else if (now.is_null() && given == true)
            complaints.add(place, "this installation has no such switch");
        else if (!now.is_null())
            return given.is_boolean() ? given : Json(false);
        return now;
    }

    static Json wantedOption(const Json& given, const Json& now, const DocumentPath& place, Complaints& complaints) {
        if (given.is_null())
            return 0u;
        if (given.is_number_unsigned() && given.get<std::uint64_t>() <= UINT32_MAX)
            return given;
        complaints.add(place, "a number of 32 bits is needed");
        return now;
    }

    const Feature& m_feature;
    const bool m_isSplit;
    std::vector<std::string> m_members; /* of the object; none for a mere switch */
};

} // namespace

/* What others need first. */
void addFeatureParts(std::vector<const Part*>& parts) {
    static std::vector<std::unique_ptr<const Part>> all;
    for (const bool needsWeb : {false, true})
        for (const Feature& feature : allFeatures())
            if (feature.needsWeb == needsWeb)
                parts.push_back(all.emplace_back(std::make_unique<FeaturePart>(feature)).get());
}

} // namespace wdlt
