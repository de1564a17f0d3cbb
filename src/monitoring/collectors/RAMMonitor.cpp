// SPDX-License-Identifier: Apache-2.0
#include "monitoring/collectors/RAMMonitor.h"

#include <algorithm>

namespace corvanta {

RAMMonitor::RAMMonitor(MemoryCounterSource& source) : source_(source) {}

RAMDetails RAMMonitor::getRAMUsage() {
    const MemoryReading reading = source_.readMemory();
    RAMDetails details;
    details.swap = static_cast<double>(reading.swapUsed);
    details.total = static_cast<double>(reading.physicalMemory);
    if (!reading.counters) return details;

    const VirtualMemoryCounters& counters = *reading.counters;
    details.wired = static_cast<double>(counters.wired);
    details.compressed = static_cast<double>(counters.compressed);
    details.active = static_cast<double>(counters.active);
    details.available = static_cast<double>(counters.free) + static_cast<double>(counters.external) +
                        static_cast<double>(counters.purgeable);
    if (details.total > 0) {
        details.estimatedPressurePercentage =
            std::min(100.0, (details.wired + details.compressed) / details.total * 100);
    }
    details.estimatedPressureLevel = memoryPressureLevelFromEstimate(details.estimatedPressurePercentage);
    return details;
}

}  // namespace corvanta
