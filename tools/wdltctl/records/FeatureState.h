/* Whether a feature is on: altogether, in part or not at all, and which of its switches are off. */
#pragma once

#include "Features.h"

#include <optional>
#include <string>
#include <vector>

namespace wdlt {

/* One of the switches that a feature depends on. */
struct Switch {
    std::string what;
    std::optional<bool> isOn; /* nullopt: not there, or unreadable */
    bool isOwn = false;       /* the feature's alone: a scan item, or the feature itself where it has none */
};

/* First those of the features it needs; then each place's scan item and its handler, or the feature itself. */
std::vector<Switch> switchesOf(const Feature& feature, std::span<const FeatureItem> places);

/* The places of a feature with protocols that a handler serves, all those of another. */
std::vector<FeatureItem> placesInUse(const Feature& feature);

struct FeatureState {
    std::string_view word;            /* "on", "part", "off" or "not available" */
    std::optional<bool> isOn;         /* nullopt: it can't be read */
    std::vector<std::string> offOnes; /* what is off of a feature that is on in part */
};

FeatureState stateOf(const Feature& feature);

} // namespace wdlt
