// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "core/Clock.h"
#include "core/Mutex.h"
#include "monitoring/collectors/Collectors.h"
#include "monitoring/collectors/MonitoringRefreshGate.h"
#include "platform/ProcessLister.h"

namespace corvanta {

/// Every process with its share of a processor and of the memory.
///
/// Owned by the monitoring loop. Any thread (locks sampleLock for the whole pass). When the system gives no
/// list, the last one stands, and the next success measures across the gap. A process of which the system
/// tells nothing is listed with zeros.
class ProcessMonitor final : public ProcessCollector {
  public:
    /// `clock` is what the shares are measured on. `physicalRAM` in bytes; 0 when unknown, and the shares of
    /// memory are then 0.
    ProcessMonitor(ProcessLister& lister, const Clock& clock, std::uint64_t physicalRAM);

    /// A list at most 10 s old, or a fresh one when it is forced; a forced one leaves the 10 s as they run.
    /// In the lister's order. A process that was not in the list before has no share of a processor yet, so
    /// that the first list has none at all.
    ProcessList getAllProcesses(bool forceRefresh, double nowUptime) override EXCLUDES(sampleLock_);

  private:
    struct Sample {
        std::int64_t id = 0;
        std::uint64_t startTime = 0;
        double cpuTime = 0;  ///< seconds
    };

    ProcessLister& lister_;
    const Clock& clock_;
    const double physicalRAM_;
    const double ticksPerSecond_;

    Mutex sampleLock_;
    MonitoringRefreshGate refreshGate_ GUARDED_BY(sampleLock_){10.0};
    std::optional<double> lastPollTime_ GUARDED_BY(sampleLock_);          // uptime in seconds
    std::vector<Sample> previousSamples_ GUARDED_BY(sampleLock_);         // by ascending id
    std::vector<Sample> samples_ GUARDED_BY(sampleLock_);                 // kept for its memory
    std::vector<ListedProcess> listedProcesses_ GUARDED_BY(sampleLock_);  // kept for its memory
    ProcessList cachedProcesses_ GUARDED_BY(sampleLock_);
};

}  // namespace corvanta
