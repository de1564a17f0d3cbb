// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

namespace corvanta {

/// Cumulative time that one processor has spent in each state, in the system's ticks.
struct CpuTicks {
    std::uint32_t cpu = 0;  ///< the system's number of the processor; numbers can have holes
    std::uint64_t user = 0;
    std::uint64_t system = 0;
    std::uint64_t idle = 0;
    std::uint64_t nice = 0;

    bool operator==(const CpuTicks&) const = default;
};

/// The system's processor tick counters.
///
/// Owned by the platform for the program's life. One caller at a time.
class CpuTickSource {
  public:
    virtual ~CpuTickSource() = default;

    /// Replaces `ticks` by one entry per online processor, by ascending number. False when the counters could
    /// not be read; `ticks` is then empty.
    virtual bool readTicks(std::vector<CpuTicks>& ticks) = 0;
};

}  // namespace corvanta
