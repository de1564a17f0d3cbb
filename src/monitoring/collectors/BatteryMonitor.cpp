// SPDX-License-Identifier: Apache-2.0
#include "monitoring/collectors/BatteryMonitor.h"

#include <algorithm>

namespace corvanta {
namespace {

// Batteries without an estimate give figures beyond a hundred hours.
constexpr std::int64_t longestTime = 5999;  // minutes

std::int64_t percentOf(std::int64_t part, std::int64_t whole) {
    const double percent = static_cast<double>(part) / static_cast<double>(whole) * 100;
    return static_cast<std::int64_t>(std::clamp(percent, 0.0, 100.0));
}

std::optional<BatteryDetails> firstBattery(const std::vector<PowerSourceDescription>& sources) {
    for (const PowerSourceDescription& source : sources) {
        if (auto details = BatteryMonitor::detailsOf(source)) return details;
    }
    return std::nullopt;
}

void addRegistry(BatteryDetails& details, const BatteryRegistry& registry) {
    details.cycleCount = registry.cycleCount;
    if (registry.rawMaxCapacity && registry.designCapacity && *registry.designCapacity >= 1) {
        details.healthPercent = percentOf(*registry.rawMaxCapacity, *registry.designCapacity);
    }
}

}  // namespace

std::optional<BatteryDetails> BatteryMonitor::getBatteryUsage(double now) {
    {
        LockGuard guard(stateLock_);
        if (!refreshGate_.shouldRefresh(now)) return cachedDetails_;
    }
    auto details = firstBattery(powerSources_.readPowerSources());
    if (details) {
        if (const auto registry = powerSources_.readBatteryRegistry()) addRegistry(*details, *registry);
    }

    LockGuard guard(stateLock_);
    if (details) cachedDetails_ = details;
    return cachedDetails_;
}

void BatteryMonitor::invalidateCache() {
    LockGuard guard(stateLock_);
    refreshGate_ = MonitoringRefreshGate(refreshInterval);
}

std::optional<BatteryDetails> BatteryMonitor::detailsOf(const PowerSourceDescription& source) {
    if (!source.currentCapacity || !source.maxCapacity || *source.maxCapacity < 1 || !source.isCharging) {
        return std::nullopt;
    }
    BatteryDetails details;
    details.percentage = percentOf(*source.currentCapacity, *source.maxCapacity);
    details.isCharging = *source.isCharging;
    details.isPluggedIn =
        source.powerSourceState ? *source.powerSourceState == "AC Power" : *source.isCharging;
    const auto time = *source.isCharging ? source.timeToFullCharge : source.timeToEmpty;
    if (time && *time >= 1 && *time <= longestTime) details.timeRemaining = time;
    return details;
}

}  // namespace corvanta
