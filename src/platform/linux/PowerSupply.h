// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/PowerSources.h"

namespace corvanta {

/// All power sources at one moment, with what their batteries have counted.
struct PowerReading {
    std::vector<PowerSourceDescription> sources = {};
    std::optional<BatteryRegistry> registry = std::nullopt;

    bool operator==(const PowerReading&) const = default;
};

inline constexpr std::string_view onMainsState = "AC Power";
inline constexpr std::string_view onBatteryState = "Battery Power";
/// A time that nobody can estimate, in minutes.
inline constexpr std::int64_t noEstimate = -1;

/// A share of a whole.
struct CapacityShare {
    std::int64_t current = 0;
    std::int64_t max = 0;

    bool operator==(const CapacityShare&) const = default;
};
/// A percentage, cut to a whole one, as a share: the middle of that percent. A share that is turned back in
/// floating point and cut again would else read 28 for 29. Absent outside 0 to 100, which no battery means.
std::optional<CapacityShare> shareOfPercentage(double percentage);

/// One battery in the kernel's words and units. What it does not tell is absent.
struct BatteryFigures {
    enum class Unit {
        energy,  ///< µWh and µW
        charge,  ///< µAh and µA
    };
    std::optional<std::string> status = std::nullopt;     ///< "Charging", "Discharging" or another
    std::optional<std::int64_t> capacity = std::nullopt;  ///< percent
    Unit unit = Unit::energy;                             ///< of the next four
    std::optional<std::int64_t> now = std::nullopt;
    std::optional<std::int64_t> full = std::nullopt;
    std::optional<std::int64_t> fullDesign = std::nullopt;
    std::optional<std::int64_t> flow = std::nullopt;     ///< in or out, with or without a sign
    std::optional<std::int64_t> voltage = std::nullopt;  ///< µV
    std::optional<std::int64_t> cycleCount = std::nullopt;

    bool operator==(const BatteryFigures&) const = default;
};

/// The machine's batteries as one source, the way they empty and fill together. `isOnMains` is absent on a
/// machine that does not tell.
///
/// One battery has the percentage that it tells, or that of its contents. Several are joined by their
/// contents, or, where one has none or another unit, by the mean of their percentages. They charge when one
/// does. The cycles are those of the battery that has the most of them: to take one out never adds any.
PowerReading joinedBatteries(const std::vector<BatteryFigures>& batteries, std::optional<bool> isOnMains);

/// What a file of the kernel's holds: a text without its newline, and a number. Absent when it is empty or
/// holds something else.
std::optional<std::string_view> parseAttribute(std::string_view text);
std::optional<std::int64_t> parseFigure(std::string_view text);

/// Whether a supply of this type brings power from outside, be it a charger's or a computer's.
bool isExternalSupply(std::string_view type);

}  // namespace corvanta
