// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "support/TempDirectory.h"

namespace corvanta::test {

/// A folder that stands for /sys. Temperatures are in thousandths of a degree.
class ThermalTree {
  public:
    using Trips = std::vector<std::pair<std::string, std::int64_t>>;  ///< kind and temperature

    void writeChip(int chip, const std::string& name) const { write(chipFile(chip, "name"), name); }
    void writeSensor(int chip, int sensor, std::int64_t temperature) const {
        write(sensorFile(chip, sensor, "input"), std::to_string(temperature));
    }
    void writeLimit(int chip, int sensor, std::int64_t limit) const {
        write(sensorFile(chip, sensor, "crit"), std::to_string(limit));
    }
    void writeZone(int zone, const std::string& type, std::int64_t temperature, const Trips& trips) const {
        write(zoneFile(zone, "type"), type);
        write(zoneFile(zone, "temp"), std::to_string(temperature));
        int number = 0;
        for (const auto& [kind, limit] : trips) {
            const std::string trip = "trip_point_" + std::to_string(number++);
            write(zoneFile(zone, trip + "_type"), kind);
            write(zoneFile(zone, trip + "_temp"), std::to_string(limit));
            write(zoneFile(zone, trip + "_hyst"), "2000");
        }
    }
    void writeThrottling(int processor, const std::string& file, std::uint64_t total) const {
        write("devices/system/cpu/cpu" + std::to_string(processor) + "/thermal_throttle/" + file,
              std::to_string(total));
    }

    void writeTopology(int processor, const std::string& file, const std::string& line) const {
        write("devices/system/cpu/cpu" + std::to_string(processor) + "/topology/" + file, line);
    }

    /// A file of one line.
    void write(const std::string& file, const std::string& line) const { folder_.write(file, line + "\n"); }
    /// A file without a reading: opening works and reading fails, as with a sensor that is asleep.
    void makeUnreadable(const std::string& file) const {
        std::filesystem::remove(folder_.path() / file);
        std::filesystem::create_directories(folder_.path() / file);
    }
    void remove(const std::string& file) const { std::filesystem::remove_all(folder_.path() / file); }

    static std::string chipFile(int chip, const std::string& file) {
        return "class/hwmon/hwmon" + std::to_string(chip) + "/" + file;
    }
    static std::string sensorFile(int chip, int sensor, const std::string& file) {
        return chipFile(chip, "temp" + std::to_string(sensor) + "_" + file);
    }
    static std::string zoneFile(int zone, const std::string& file) {
        return "class/thermal/thermal_zone" + std::to_string(zone) + "/" + file;
    }

    std::string root() const { return folder_.path().string(); }

  private:
    TempDirectory folder_;
};

}  // namespace corvanta::test
