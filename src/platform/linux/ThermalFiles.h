// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "platform/linux/KernelFile.h"
#include "platform/linux/ThermalReading.h"

namespace corvanta {

/// Whether the kernel shows anything that could tell how hot the machine is. Reads no sensor and costs a few
/// microseconds.
bool hasThermalFiles(const std::string& sysRoot);

/// The files below /sys that tell how hot the machine is: processor sensors, thermal zones and throttle
/// counters, of which one is read for each core and one for each package.
///
/// Owned by one reader. One thread at a time. Descriptors are kept, so that a reading opens nothing. Files
/// come and go with drivers and processors and are searched for anew once in a while; one that can't be read
/// is left out of the reading. Reading may take milliseconds, as firmware may have to answer.
class ThermalFiles {
  public:
    explicit ThermalFiles(std::string sysRoot);

    /// Replaces `reading`.
    void read(ThermalReading& reading);

    /// Whether the last search found anything.
    bool isAny() const { return !sensors_.empty() || !zones_.empty() || !counters_.empty(); }

  private:
    struct SensorFile {
        KernelFile file;
        std::int64_t limit;
    };
    struct ZoneFile {
        KernelFile file;
        int number;
        TripPoints trips;
    };
    struct CounterFile {
        KernelFile file;
        int number;
        ThrottleCounter::Unit unit;
    };

    void search();
    void findSensors();
    void findZones();
    void findCounters();
    /// False when there is no such counter.
    bool addCounter(const std::string& folder, const std::string& part, int number);

    std::string sysRoot_;
    std::vector<SensorFile> sensors_;
    std::vector<ZoneFile> zones_;
    std::vector<CounterFile> counters_;
    unsigned readings_ = 0;
};

}  // namespace corvanta
