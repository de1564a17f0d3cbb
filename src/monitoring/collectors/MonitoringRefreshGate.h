// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

namespace corvanta {

/// A minimum-interval gate for costly readings, fed with the system uptime.
///
/// A value; the owner guards it. It remembers the moment it allowed, whether or not the reading then
/// succeeds.
class MonitoringRefreshGate {
  public:
    explicit constexpr MonitoringRefreshGate(double minimumInterval) : minimumInterval_(minimumInterval) {}

    constexpr double minimumInterval() const { return minimumInterval_; }
    constexpr std::optional<double> lastRefreshTime() const { return lastRefreshTime_; }

    /// False while less than the minimum interval has passed since the last refresh. A first call and a clock
    /// that has gone backwards always pass. `uptime` in seconds.
    constexpr bool shouldRefresh(double uptime) {
        if (lastRefreshTime_ && *lastRefreshTime_ <= uptime &&
            uptime - *lastRefreshTime_ < minimumInterval_) {
            return false;
        }
        lastRefreshTime_ = uptime;
        return true;
    }

  private:
    double minimumInterval_;
    std::optional<double> lastRefreshTime_;
};

}  // namespace corvanta
