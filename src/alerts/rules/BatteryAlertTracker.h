// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

#include "core/BatteryAlertDecision.h"

namespace corvanta {

/// Turns battery samples into a low-battery alert, at most once per discharge, and a milestone each time the
/// charge falls to or through a multiple of ten percent.
///
/// A value, owned by whoever feeds it; it begins anew with each launch. One thread at a time. Never fails.
class BatteryAlertTracker {
  public:
    /// Takes the next sample, whose percentage counts as 0 to 100. `lowThreshold` is inclusive. Of several
    /// milestones that one fall crosses, as over a sleep, the decision holds the lowest.
    BatteryAlertDecision observe(std::int64_t percentage, bool isPluggedIn, std::int64_t lowThreshold,
                                 bool lowAlertEnabled);

  private:
    struct Sample {
        std::int64_t percentage;
        bool isPluggedIn;
    };

    bool lowBatterySentThisCycle_ = false;  ///< since the machine was last on external power
    std::optional<Sample> last_;
};

}  // namespace corvanta
