#include "FeatureState.h"

#include "Handlers.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>

namespace wdlt {

std::vector<Switch> switchesOf(const Feature& feature, std::span<const FeatureItem> places) {
    std::vector<Switch> switches;
    if (feature.needsWeb)
        for (const std::string_view name : {"urlf", "plugin-manager"}) {
            const Feature& needed = findFeature(name);
            for (const Switch& each : switchesOf(needed, needed.places))
                switches.push_back({each.what, each.isOn});
        }
    if (places.empty()) {
        const std::int32_t state = feature.isEnabled(WDLT_PRIVACY_ALL);
        switches.push_back({std::string(feature.name), state < 0 ? std::nullopt : std::optional(state != 0), true});
    }
    for (const FeatureItem& place : places) {
        const auto handler = handlerOf(place.protocol);
        const auto name = handler ? handler->name() : fmt::format("protocol {}", place.protocol);
        switches.push_back({fmt::format("{} of {}", itemName(place.scan, place.input), name),
                            itemIsOn(place.protocol, place.scan, place.input), true});
        const std::string handlerNamed = fmt::format("handler {}", name);
        if (std::ranges::find(switches, handlerNamed, &Switch::what) == switches.end())
            switches.push_back({handlerNamed, handler ? std::optional(handler->isOn()) : std::nullopt});
    }
    return switches;
}

std::vector<FeatureItem> placesInUse(const Feature& feature) {
    std::vector<FeatureItem> places;
    std::ranges::copy_if(feature.places, std::back_inserter(places), [](const FeatureItem& place) {
        return place.type == 0 || handlerOf(place.protocol).has_value();
    });
    return places;
}

FeatureState stateOf(const Feature& feature) {
    const auto switches = switchesOf(feature, placesInUse(feature));
    const auto hasOwn = [&](std::optional<bool> isOn) {
        return std::ranges::any_of(switches, [&](const Switch& each) { return each.isOwn && each.isOn == isOn; });
    };
    if (!hasOwn(true))
        return hasOwn(std::nullopt) ? FeatureState{"not available", std::nullopt, {}} : FeatureState{"off", false, {}};
    FeatureState state{"on", true, {}};
    for (const Switch& each : switches)
        if (!each.isOn.value_or(false))
            state.offOnes.push_back(each.what);
    if (!state.offOnes.empty())
        state = {"part", false, std::move(state.offOnes)};
    return state;
}

} // namespace wdlt
