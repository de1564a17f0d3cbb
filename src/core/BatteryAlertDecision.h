// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

namespace corvanta {

/// What one battery sample calls for.
struct BatteryAlertDecision {
    bool shouldNotifyLowBattery = false;
    std::optional<std::int64_t> dischargeMilestone;  ///< the multiple of ten percent that was crossed, if any

    bool operator==(const BatteryAlertDecision&) const = default;
};

}  // namespace corvanta
