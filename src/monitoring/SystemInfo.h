// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "platform/MachineFacts.h"

namespace corvanta {

/// The facts about the machine as the user reads them.
struct SystemInfo {
    std::string cpuModel;      ///< the full description: the machine, if it has a name, and the processor
    std::string machineModel;  ///< the name that the machine is sold by, or "Mac"
    std::string chipName;      ///< the processor's own name
    std::int64_t physicalCores = 0;
    std::int64_t logicalCores = 0;

    bool operator==(const SystemInfo&) const = default;

    /// The facts about the installed platform's machine, which the first call asks for: it belongs on a
    /// background thread. The monitor does not need it; its cycles bring a description of their own.
    static const SystemInfo& shared();
};

SystemInfo makeSystemInfo(const MachineDescription& machine);

}  // namespace corvanta
