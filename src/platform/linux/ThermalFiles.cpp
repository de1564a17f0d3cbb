// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/ThermalFiles.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <system_error>
#include <utility>

#include "platform/linux/TextScan.h"

namespace corvanta {
namespace {

constexpr std::size_t mostText = 64;  // a number
constexpr std::int64_t assumedLimit = 95'000;
constexpr std::int64_t highestLimit = 125'000;

// About once a minute. A search opens every file there is.
constexpr unsigned readingsBetweenSearches = 30;

// A large server has hundreds of counters, and a process only a thousand descriptors.
constexpr std::size_t mostKeptCounters = 128;

/// The numbers N of the folder's entries that are called `prefix`N`suffix`, ascending.
std::vector<int> numbered(const std::string& folder, std::string_view prefix, std::string_view suffix = {}) {
    std::vector<int> numbers;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string file = entry->path().filename().string();
        std::string_view name = file;
        if (name.size() <= prefix.size() + suffix.size() || name.substr(0, prefix.size()) != prefix ||
            name.substr(name.size() - suffix.size()) != suffix) {
            continue;
        }
        name = name.substr(prefix.size(), name.size() - prefix.size() - suffix.size());
        if (const auto number = parseNumber<std::uint16_t>(name)) numbers.push_back(*number);
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

std::optional<std::int64_t> readTemperature(KernelFile& file) {
    const auto text = file.read(mostText);
    return text ? parseTemperature(*text) : std::nullopt;
}

TripPoints readTrips(const std::string& zone) {
    TripPoints trips;
    for (const int number : numbered(zone, "trip_point_", "_temp")) {
        const std::string trip = zone + "/trip_point_" + std::to_string(number);
        KernelFile temperature(trip + "_temp");
        const auto kind = readFirstLine(trip + "_type");
        const auto value = readTemperature(temperature);
        if (kind && value) trips.add(*kind, *value);
    }
    return trips;
}

/// The processors that share a core, in the kernel's words, which are the same for each of them.
std::optional<std::string> coreOf(const std::string& topology) {
    const auto processors = readFirstLine(topology + "core_cpus_list");
    return processors ? processors : readFirstLine(topology + "thread_siblings_list");
}

}  // namespace

bool hasThermalFiles(const std::string& sysRoot) {
    std::error_code error;
    return std::filesystem::exists(sysRoot + "/devices/system/cpu/cpu0/thermal_throttle", error) ||
           !numbered(sysRoot + "/class/hwmon", "hwmon").empty() ||
           !numbered(sysRoot + "/class/thermal", "thermal_zone").empty();
}

ThermalFiles::ThermalFiles(std::string sysRoot) : sysRoot_(std::move(sysRoot)) {}

void ThermalFiles::read(ThermalReading& reading) {
    if (readings_++ % readingsBetweenSearches == 0) search();
    reading.sensors.clear();
    reading.zones.clear();
    reading.throttling.clear();
    for (SensorFile& sensor : sensors_) {
        if (const auto temperature = readTemperature(sensor.file))
            reading.sensors.push_back({*temperature, sensor.limit});
    }
    for (ZoneFile& zone : zones_) {
        if (const auto temperature = readTemperature(zone.file))
            reading.zones.push_back({zone.number, *temperature, zone.trips});
    }
    for (std::size_t i = 0; i < counters_.size(); ++i) {
        CounterFile& counter = counters_[i];
        const auto text = counter.file.read(mostText);
        const auto total = text ? parseThrottleTotal(*text) : std::nullopt;
        if (total) reading.throttling.push_back({counter.number, counter.unit, *total});
        if (i >= mostKeptCounters) counter.file.close();
    }
}

void ThermalFiles::search() {
    sensors_.clear();
    zones_.clear();
    counters_.clear();
    findSensors();
    findZones();
    findCounters();
}

void ThermalFiles::findSensors() {
    const std::string chips = sysRoot_ + "/class/hwmon";
    for (const int chipNumber : numbered(chips, "hwmon")) {
        const std::string chip = chips + "/hwmon" + std::to_string(chipNumber);
        const auto name = readFirstLine(chip + "/name");
        if (!name || !isCpuSensorChip(*name)) continue;
        for (const int number : numbered(chip, "temp", "_input")) {
            const std::string sensor = chip + "/temp" + std::to_string(number);
            KernelFile limitFile(sensor + "_crit");
            const auto limit = readTemperature(limitFile);
            const bool isLimit = limit && *limit > 0 && *limit <= highestLimit;
            sensors_.push_back({KernelFile(sensor + "_input"), isLimit ? *limit : assumedLimit});
        }
    }
}

void ThermalFiles::findZones() {
    const std::string all = sysRoot_ + "/class/thermal";
    for (const int number : numbered(all, "thermal_zone")) {
        const std::string zone = all + "/thermal_zone" + std::to_string(number);
        const auto type = readFirstLine(zone + "/type");
        if (!type || isForeignZone(*type)) continue;
        const TripPoints trips = readTrips(zone);
        if (trips.isAny()) zones_.push_back({KernelFile(zone + "/temp"), number, trips});
    }
}

void ThermalFiles::findCounters() {
    const std::string processors = sysRoot_ + "/devices/system/cpu";
    // The threads of a core count the same, as do the cores of a package: the first of each speaks for all. A
    // processor without a known place speaks for itself.
    std::set<std::string> cores;
    std::set<std::string> packages;
    for (const int processor : numbered(processors, "cpu")) {
        const std::string number = std::to_string(processor);
        const std::string folder = std::string(processors).append("/cpu").append(number);
        const std::string counters = folder + "/thermal_throttle/";
        const std::string alone = "cpu" + number;
        const std::string core = coreOf(folder + "/topology/").value_or(alone);
        const std::string package = readFirstLine(folder + "/topology/physical_package_id").value_or(alone);
        if (cores.count(core) == 0 && addCounter(counters, "core", 2 * processor)) cores.insert(core);
        if (packages.count(package) == 0 && addCounter(counters, "package", 2 * processor + 1)) {
            packages.insert(package);
        }
    }
}

bool ThermalFiles::addCounter(const std::string& folder, const std::string& part, int number) {
    using Unit = ThrottleCounter::Unit;
    const std::string time = folder + part + "_throttle_total_time_ms";
    const std::string count = folder + part + "_throttle_count";
    std::error_code error;
    if (std::filesystem::exists(time, error)) {
        counters_.push_back({KernelFile(time), number, Unit::milliseconds});
    } else if (std::filesystem::exists(count, error)) {
        counters_.push_back({KernelFile(count), number, Unit::events});
    } else {
        return false;
    }
    return true;
}

}  // namespace corvanta
