// SPDX-License-Identifier: Apache-2.0
#include "monitoring/collectors/Collectors.h"

#include "monitoring/collectors/CPUMonitor.h"
#include "monitoring/collectors/RAMMonitor.h"
#include "monitoring/collectors/SystemMemoryPressureMonitor.h"

namespace corvanta {

CollectorSet makeCollectorSet(const Platform& platform) {
    CollectorSet set;
    set.cpu = std::make_unique<CPUMonitor>(platform.cpuTicks);
    set.ram = std::make_unique<RAMMonitor>(platform.memoryCounters);
    set.memoryPressure = std::make_unique<SystemMemoryPressureMonitor>(platform.memoryPressureEvents);
    return set;
}

}  // namespace corvanta
