// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

namespace corvanta {

/// What the physical memory is used for, in bytes.
struct VirtualMemoryCounters {
    std::uint64_t free = 0;
    std::uint64_t active = 0;
    std::uint64_t wired = 0;       ///< can't be reclaimed quickly
    std::uint64_t purgeable = 0;   ///< can be dropped at once
    std::uint64_t compressed = 0;  ///< held by the compressor
    std::uint64_t external = 0;    ///< file-backed, can be dropped

    bool operator==(const VirtualMemoryCounters&) const = default;
};

struct MemoryReading {
    std::optional<VirtualMemoryCounters> counters;  ///< absent when they could not be read
    std::uint64_t swapUsed = 0;                     ///< bytes; 0 when it could not be read
    std::uint64_t physicalMemory = 0;               ///< bytes; 0 when unknown

    bool operator==(const MemoryReading&) const = default;
};

/// The system's memory counters.
///
/// Owned by the platform for the program's life. One caller at a time.
class MemoryCounterSource {
  public:
    virtual ~MemoryCounterSource() = default;
    virtual MemoryReading readMemory() = 0;
};

}  // namespace corvanta
