// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "core/RawEnum.h"

namespace corvanta {

/// When the battery item shows in the menu bar. The raw value is persisted and shown.
enum class BatteryMenuBarVisibility { always, unpluggedOnly, hidden };

inline constexpr std::array allBatteryMenuBarVisibilities = {BatteryMenuBarVisibility::always,
                                                             BatteryMenuBarVisibility::unpluggedOnly,
                                                             BatteryMenuBarVisibility::hidden};
constexpr const auto& allCases(BatteryMenuBarVisibility) {
    return allBatteryMenuBarVisibilities;
}

constexpr std::string_view rawValue(BatteryMenuBarVisibility value) {
    switch (value) {
        case BatteryMenuBarVisibility::always:
            return "Always";
        case BatteryMenuBarVisibility::unpluggedOnly:
            return "Only While Unplugged";
        case BatteryMenuBarVisibility::hidden:
            return "Hidden";
    }
    std::abort();
}

constexpr std::optional<BatteryMenuBarVisibility> batteryMenuBarVisibilityFromRaw(std::string_view raw) {
    return caseFromRaw<BatteryMenuBarVisibility>(raw);
}

}  // namespace corvanta
