// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/ThermalReading.h"

#include <algorithm>
#include <array>

#include "platform/linux/TextScan.h"

namespace corvanta {
namespace {

constexpr std::int64_t lowestSlowingTrip = 70'000;
constexpr std::int64_t highestTrip = 125'000;
constexpr std::int64_t lowestTemperature = -50'000;
constexpr std::int64_t highestTemperature = 150'000;

constexpr std::array<std::string_view, 5> cpuSensorChips = {"coretemp", "k10temp", "zenpower", "cpu_thermal",
                                                            "soc_thermal"};
constexpr std::array<std::string_view, 4> foreignZones = {"iwlwifi", "ath", "nvme", "BAT"};

void lower(std::optional<std::int64_t>& lowest, std::int64_t temperature) {
    lowest = std::min(lowest.value_or(temperature), temperature);
}

}  // namespace

void TripPoints::add(std::string_view kind, std::int64_t temperature) {
    if (temperature <= 0 || temperature > highestTrip) return;
    if (kind == "hot") lower(hot, temperature);
    if (kind == "critical") lower(critical, temperature);
    if (kind != "passive") return;
    if (temperature < lowestSlowingTrip) {
        hasComfortTrip = true;
    } else {
        lower(passive, temperature);
    }
}

std::optional<std::int64_t> parseTemperature(std::string_view text) {
    const auto line = takeLine(text);
    const auto value = line ? parseNumber<std::int64_t>(*line) : std::nullopt;
    if (!value || *value < lowestTemperature || *value > highestTemperature) return std::nullopt;
    return value;
}

std::optional<std::uint64_t> parseThrottleTotal(std::string_view text) {
    const auto line = takeLine(text);
    return line ? parseNumber<std::uint64_t>(*line) : std::nullopt;
}

bool isCpuSensorChip(std::string_view name) {
    return std::find(cpuSensorChips.begin(), cpuSensorChips.end(), name) != cpuSensorChips.end();
}

bool isForeignZone(std::string_view type) {
    return std::any_of(foreignZones.begin(), foreignZones.end(),
                       [type](std::string_view prefix) { return type.substr(0, prefix.size()) == prefix; });
}

}  // namespace corvanta
