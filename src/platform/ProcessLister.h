// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace corvanta {

/// What the system has counted of one process.
struct ProcessUsage {
    std::uint64_t cpuTime = 0;  ///< user and system time of all its threads, in ticks
    std::uint64_t threads = 0;
    std::uint64_t residentBytes = 0;
    std::uint64_t startTime = 0;  ///< in ticks; tells two processes apart that had the same id

    bool operator==(const ProcessUsage&) const = default;
};

struct ListedProcess {
    std::int64_t id = 0;                ///< 0 is the kernel itself, with all its threads
    std::string name;                   ///< valid UTF-8, trimmed; empty when the system gives none
    std::optional<ProcessUsage> usage;  ///< absent when the system does not tell it

    bool operator==(const ListedProcess&) const = default;
};

/// The system's list of processes.
///
/// Owned by the platform for the program's life. One caller at a time.
class ProcessLister {
  public:
    virtual ~ProcessLister() = default;

    /// Replaces `processes` by one entry per process, by ascending id. A process that ends during the call
    /// may be missing. False when there is no list to be had; `processes` is then empty.
    virtual bool listProcesses(std::vector<ListedProcess>& processes) = 0;

    /// The unit of the ticks above. Above 0.
    virtual double ticksPerSecond() const = 0;
};

}  // namespace corvanta
