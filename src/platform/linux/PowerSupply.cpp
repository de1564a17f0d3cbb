// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/PowerSupply.h"

#include <algorithm>
#include <cmath>

#include "core/Saturate.h"
#include "platform/linux/TextScan.h"

namespace corvanta {
namespace {

using Batteries = std::vector<BatteryFigures>;

// Below this the time left is an estimate of nothing: a battery at rest.
constexpr double leastFlow = 100'000;  // µW

bool hasContents(const BatteryFigures& battery) {
    return battery.now && battery.full && *battery.full >= 1;
}

bool haveOneUnit(const Batteries& batteries) {
    return std::all_of(batteries.begin(), batteries.end(),
                       [&](const BatteryFigures& battery) { return battery.unit == batteries.front().unit; });
}

/// The sum of one figure, as far as it is told.
double sum(const Batteries& batteries, std::optional<std::int64_t> BatteryFigures::*figure) {
    double total = 0;
    for (const BatteryFigures& battery : batteries)
        total += static_cast<double>((battery.*figure).value_or(0));
    return total;
}

bool isPercentage(double figure) {
    return figure >= 0 && figure <= 100;
}

/// As far as the battery itself tells it.
std::optional<double> percentage(const BatteryFigures& battery) {
    const auto told = static_cast<double>(battery.capacity.value_or(-1));
    return isPercentage(told) ? std::optional(told) : std::nullopt;
}

std::optional<CapacityShare> charge(const Batteries& batteries) {
    if (const auto told = percentage(batteries[0]); told && batteries.size() == 1) {
        return shareOfPercentage(*told);
    }
    if (haveOneUnit(batteries) && std::all_of(batteries.begin(), batteries.end(), hasContents)) {
        return CapacityShare{saturatedInt64(sum(batteries, &BatteryFigures::now)),
                             saturatedInt64(sum(batteries, &BatteryFigures::full))};
    }
    double total = 0;
    for (const BatteryFigures& battery : batteries) {
        if (const auto told = percentage(battery)) {
            total += *told;
        } else if (hasContents(battery)) {
            total += static_cast<double>(*battery.now) / static_cast<double>(*battery.full) * 100;
        } else {
            return std::nullopt;
        }
    }
    return CapacityShare{saturatedInt64(total), 100 * static_cast<std::int64_t>(batteries.size())};
}

/// Absent when no battery tells.
std::optional<bool> isAnyCharging(const Batteries& batteries) {
    std::optional<bool> isCharging;
    for (const BatteryFigures& battery : batteries) {
        if (battery.status) isCharging = isCharging.value_or(false) || battery.status == "Charging";
    }
    return isCharging;
}

/// In µW. Absent for a current without a voltage.
std::optional<double> power(const BatteryFigures& battery) {
    if (!battery.flow) return std::nullopt;
    const double flow = std::abs(static_cast<double>(*battery.flow));
    if (battery.unit == BatteryFigures::Unit::energy) return flow;
    if (!battery.voltage) return std::nullopt;
    return flow * std::abs(static_cast<double>(*battery.voltage)) / 1e6;
}

/// Minutes that what is given lasts or takes at the present flow.
std::int64_t minutes(double contents, const Batteries& batteries) {
    double flow = 0;
    double watts = 0;
    for (const BatteryFigures& battery : batteries) {
        watts += power(battery).value_or(0);
        flow += std::abs(static_cast<double>(battery.flow.value_or(0)));
    }
    if (watts < leastFlow || flow <= 0) return noEstimate;
    return saturatedInt64(contents / flow * 60);
}

void addTimes(PowerSourceDescription& source, const Batteries& batteries) {
    source.timeToEmpty = source.timeToFullCharge = noEstimate;
    if (!haveOneUnit(batteries) || !std::all_of(batteries.begin(), batteries.end(), hasContents)) return;
    const auto isDischarging = [](const BatteryFigures& battery) { return battery.status == "Discharging"; };
    const double now = sum(batteries, &BatteryFigures::now);
    if (source.isCharging == true) {
        source.timeToFullCharge = minutes(sum(batteries, &BatteryFigures::full) - now, batteries);
    } else if (std::any_of(batteries.begin(), batteries.end(), isDischarging)) {
        source.timeToEmpty = minutes(now, batteries);
    }
}

BatteryRegistry registryOf(const Batteries& batteries) {
    BatteryRegistry registry;
    for (const BatteryFigures& battery : batteries) {
        // An absent count is less than any.
        if (battery.cycleCount >= 1) registry.cycleCount = std::max(registry.cycleCount, battery.cycleCount);
    }
    Batteries known;
    std::copy_if(batteries.begin(), batteries.end(), std::back_inserter(known), [](const auto& battery) {
        return battery.full.value_or(0) > 0 && battery.fullDesign.value_or(0) > 0;
    });
    if (known.empty() || !haveOneUnit(known)) return registry;
    registry.rawMaxCapacity = saturatedInt64(sum(known, &BatteryFigures::full));
    registry.designCapacity = saturatedInt64(sum(known, &BatteryFigures::fullDesign));
    return registry;
}

}  // namespace

std::optional<CapacityShare> shareOfPercentage(double percentage) {
    if (!isPercentage(percentage)) return std::nullopt;
    return CapacityShare{2 * static_cast<std::int64_t>(percentage) + 1, 200};
}

PowerReading joinedBatteries(const Batteries& batteries, std::optional<bool> isOnMains) {
    if (batteries.empty()) return {};
    PowerSourceDescription source;
    if (const auto part = charge(batteries)) {
        source.currentCapacity = part->current;
        source.maxCapacity = part->max;
    }
    source.isCharging = isAnyCharging(batteries);
    if (isOnMains) source.powerSourceState = *isOnMains ? onMainsState : onBatteryState;
    addTimes(source, batteries);
    return {{source}, registryOf(batteries)};
}

std::optional<std::string_view> parseAttribute(std::string_view text) {
    const std::string_view line = text.substr(0, text.find('\n'));
    if (line.empty()) return std::nullopt;
    return line;
}

std::optional<std::int64_t> parseFigure(std::string_view text) {
    const auto line = parseAttribute(text);
    return line ? parseNumber<std::int64_t>(*line) : std::nullopt;
}

bool isExternalSupply(std::string_view type) {
    return type == "Mains" || type.substr(0, 3) == "USB";
}

}  // namespace corvanta
