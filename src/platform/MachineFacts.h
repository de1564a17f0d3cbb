// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace corvanta {

/// What does not change about a machine while it runs. A text that the system does not tell is empty, a count
/// 0.
struct MachineDescription {
    std::string name;            ///< as its maker sells it
    std::string hardwareModel;   ///< as its firmware calls it
    std::string processorBrand;  ///< as the processor calls itself
    std::int64_t physicalCores = 0;
    std::int64_t logicalCores = 0;
    std::string systemVersion;  ///< the operating system with its version

    bool operator==(const MachineDescription&) const = default;
};

/// The facts about the machine.
///
/// Owned by the platform for the program's life. Background threads: the time grows with the number of
/// processors, to several milliseconds, and the system may put the caller to sleep meanwhile. Starts no other
/// program. This base is a machine that tells nothing.
class MachineFacts {
  public:
    virtual ~MachineFacts() = default;
    virtual MachineDescription describe() const { return {}; }
};

}  // namespace corvanta
