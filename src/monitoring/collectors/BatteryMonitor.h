// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "core/Mutex.h"
#include "monitoring/collectors/Collectors.h"
#include "monitoring/collectors/MonitoringRefreshGate.h"
#include "platform/PowerSources.h"

namespace corvanta {

/// Charge, state, time remaining, cycle count and health of the machine's battery.
///
/// Owned by the monitoring loop. Any thread (locks stateLock for short reads and writes, never across a
/// reading). A reading that fails repeats the last good details; without a battery there never are any.
class BatteryMonitor final : public BatteryCollector {
  public:
    /// Least time between two readings, in seconds.
    static constexpr double refreshInterval = 1.0;

    explicit BatteryMonitor(PowerSourceReader& powerSources) : powerSources_(powerSources) {}

    std::optional<BatteryDetails> getBatteryUsage(double now) override;
    /// The last good details stay, for the case that the next reading fails.
    void invalidateCache() override;

    /// Absent when the source lacks one of the values that a battery always has: its charge, a capacity of at
    /// least 1, and whether it is charging. Quotients are truncated, not rounded.
    static std::optional<BatteryDetails> detailsOf(const PowerSourceDescription& source);

  private:
    PowerSourceReader& powerSources_;
    mutable Mutex stateLock_;
    MonitoringRefreshGate refreshGate_ GUARDED_BY(stateLock_){refreshInterval};
    std::optional<BatteryDetails> cachedDetails_ GUARDED_BY(stateLock_);
};

}  // namespace corvanta
