// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace corvanta {

/// The alert that a worn battery calls for.
struct BatteryWearAlert {
    static constexpr std::string_view title = "Battery needs attention";
    static constexpr std::string_view systemImage = "battery.100.exclamationmark";

    std::string signature;  ///< the same for 50 cycles, or 5 points of health, for which one alert is enough
    std::string message;

    bool operator==(const BatteryWearAlert&) const = default;
};

/// From 800 cycles on, whatever the health; otherwise below 80 percent of health. Absent for a battery that
/// is sound or tells neither.
std::optional<BatteryWearAlert> batteryWearAlert(std::optional<std::int64_t> cycles,
                                                 std::optional<std::int64_t> health);

}  // namespace corvanta
