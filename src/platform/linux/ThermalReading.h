// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace corvanta {

// Temperatures are in the kernel's unit, thousandths of a degree Celsius.

/// A temperature sensor of a processor.
struct CpuSensor {
    std::int64_t temperature = 0;
    std::int64_t limit = 0;  ///< where the processor slows itself down

    bool operator==(const CpuSensor&) const = default;
};

/// The temperatures at which a thermal zone acts, the lowest of each kind.
struct TripPoints {
    std::optional<std::int64_t> passive;  ///< the machine is slowed down; at least 70 degrees
    std::optional<std::int64_t> hot;
    std::optional<std::int64_t> critical;
    bool hasComfortTrip = false;  ///< there is a passive one below 70 degrees, which is for skin and fans

    /// Takes one trip point in. An unset one, at 0 or above 125 degrees, is none; so is one of another kind.
    void add(std::string_view kind, std::int64_t temperature);

    bool isAny() const { return passive || hot || critical || hasComfortTrip; }

    bool operator==(const TripPoints&) const = default;
};

struct ThermalZone {
    int number = 0;
    std::int64_t temperature = 0;
    TripPoints trips;

    bool operator==(const ThermalZone&) const = default;
};

/// A running total of a processor's throttling.
struct ThrottleCounter {
    enum class Unit { milliseconds, events };

    int number = 0;  ///< the same counter has the same number in every reading
    Unit unit = Unit::milliseconds;
    std::uint64_t total = 0;

    bool operator==(const ThrottleCounter&) const = default;
};

/// Everything that tells how hot the machine is, at one moment.
struct ThermalReading {
    std::vector<CpuSensor> sensors;
    std::vector<ThermalZone> zones;  ///< only those with a trip point
    std::vector<ThrottleCounter> throttling;

    bool isEmpty() const { return sensors.empty() && zones.empty() && throttling.empty(); }

    bool operator==(const ThermalReading&) const = default;
};

/// A temperature file's text; nothing when it holds no temperature between -50 and 150 degrees, which is what
/// a sensor without a reading shows.
std::optional<std::int64_t> parseTemperature(std::string_view text);

/// A counter file's text.
std::optional<std::uint64_t> parseThrottleTotal(std::string_view text);

/// Whether a sensor chip of that name measures a processor.
bool isCpuSensorChip(std::string_view name);

/// Whether a thermal zone of that type belongs to a part that says nothing about the machine as a whole.
bool isForeignZone(std::string_view type);

}  // namespace corvanta
