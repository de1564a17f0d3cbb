// SPDX-License-Identifier: Apache-2.0
#include "monitoring/SystemInfo.h"

#include "platform/Platform.h"

namespace corvanta {

const SystemInfo& SystemInfo::shared() {
    static const SystemInfo& instance =
        *new SystemInfo(makeSystemInfo(installedPlatform().machineFacts.describe()));
    return instance;
}

SystemInfo makeSystemInfo(const MachineDescription& machine) {
    const bool hasName = !machine.name.empty();
    return {.cpuModel = hasName ? machine.name + ", " + machine.processorBrand : machine.processorBrand,
            .machineModel = hasName ? machine.name : "Mac",
            .chipName = machine.processorBrand,
            .physicalCores = machine.physicalCores,
            .logicalCores = machine.logicalCores};
}

}  // namespace corvanta
