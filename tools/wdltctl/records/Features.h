/* The features that can be switched on and off, one row each: the exports for it and the items that it switches. */
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace wdlt {

/* One scan item that a feature switches, with its handler. */
struct FeatureItem {
    std::string_view protocolName;
    std::uint32_t protocol;
    std::uint32_t scan;
    std::uint32_t input;
    std::uint32_t type; /* the feature's bit for this item; 0 where the feature has no bits */
};

struct Feature {
    std::string_view name;
    const char* help;
    /* `types` is a set of the places' bits, or all; ignored where a feature has none. Returns 1, 0 or a failure. */
    std::int32_t (*isEnabled)(std::uint32_t types);
    /* `detail`: the types, or the option of a feature that has one. */
    std::int32_t (*enable)(bool on, std::uint32_t detail);
    std::span<const FeatureItem> places; /* empty: it has a switch of its own */
    /* The number that is stored with its switch, which no export reads; null: it has none. */
    std::uint32_t (*storedOption)() = nullptr;
    bool needsWeb = false; /* switching it on first switches on the URL filter and plug-in manager */
};

std::span<const Feature> allFeatures();
/* By name, in any case; an unknown one is a usage error that suggests another. */
const Feature& findFeature(std::string_view name);
std::string_view onOff(bool on);

} // namespace wdlt
