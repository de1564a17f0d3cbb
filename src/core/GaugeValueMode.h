// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "core/RawEnum.h"

namespace corvanta {

/// What a gauge shows: the used side or the free one.
enum class GaugeValueMode { usage, remaining };

inline constexpr std::array allGaugeValueModes = {GaugeValueMode::usage, GaugeValueMode::remaining};
constexpr const auto& allCases(GaugeValueMode) {
    return allGaugeValueModes;
}

constexpr std::string_view rawValue(GaugeValueMode value) {
    switch (value) {
        case GaugeValueMode::usage:
            return "Used";
        case GaugeValueMode::remaining:
            return "Free";
    }
    std::abort();
}

constexpr std::optional<GaugeValueMode> gaugeValueModeFromRaw(std::string_view raw) {
    return caseFromRaw<GaugeValueMode>(raw);
}

}  // namespace corvanta
