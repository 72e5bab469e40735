/* The features that can be on or off, one row each: what the exports say about it and where it is switched. */
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
    std::uint32_t type; /* the feature's bit for it, 0 where it has no bits */
};

struct Feature {
    std::string_view name;
    const char* help;
    /* `types` is made of the places' bits, or all; passed over where a feature has none. 1, 0 or a failure. */
    std::int32_t (*isEnabled)(std::uint32_t types);
    /* `detail`: the types, or the option of a feature that has one. */
    std::int32_t (*enable)(bool on, std::uint32_t detail);
    std::span<const FeatureItem> places; /* none: it has a switch of its own */
    bool hasOption = false;              /* a number that is stored with its switch, and that nothing reads */
    bool needsWeb = false;               /* switching it on switches the URL filter and the plug-in manager on first */
};

std::span<const Feature> allFeatures();
/* An unknown one is a usage error that lists them. */
const Feature& findFeature(std::string_view name);
std::string_view onOff(bool on);

} // namespace wdlt
