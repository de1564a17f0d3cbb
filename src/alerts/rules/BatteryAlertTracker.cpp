// SPDX-License-Identifier: Apache-2.0
#include "alerts/rules/BatteryAlertTracker.h"

#include <algorithm>

namespace corvanta {
namespace {

/// The lowest multiple of ten, 10 at the least, that a fall reached or passed.
std::optional<std::int64_t> crossedMilestone(std::int64_t from, std::int64_t to) {
    const std::int64_t lowest = std::max<std::int64_t>(10, (to + 9) / 10 * 10);
    return lowest < from ? std::optional(lowest) : std::nullopt;
}

}  // namespace

BatteryAlertDecision BatteryAlertTracker::observe(std::int64_t percentage, bool isPluggedIn,
                                                  std::int64_t lowThreshold, bool lowAlertEnabled) {
    const Sample now{std::clamp<std::int64_t>(percentage, 0, 100), isPluggedIn};
    BatteryAlertDecision decision;
    if (isPluggedIn) {
        lowBatterySentThisCycle_ = false;
    } else {
        // A sample that was preceded by one on external power tells of no fall on battery.
        if (last_ && !last_->isPluggedIn)
            decision.dischargeMilestone = crossedMilestone(last_->percentage, now.percentage);
        if (lowAlertEnabled && now.percentage <= lowThreshold && !lowBatterySentThisCycle_) {
            lowBatterySentThisCycle_ = true;
            decision.shouldNotifyLowBattery = true;
        }
    }
    last_ = now;
    return decision;
}

}  // namespace corvanta
