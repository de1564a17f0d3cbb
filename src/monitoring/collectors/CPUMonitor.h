// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "core/Mutex.h"
#include "monitoring/collectors/Collectors.h"
#include "platform/CpuTickSource.h"

namespace corvanta {

/// The load of the whole machine, from the processors' tick counters.
///
/// Owned by the monitoring loop. Any thread (locks sampleLock for the whole pass). A reading that fails gives
/// 0 and keeps the previous sample, so that the next success measures across the gap.
class CPUMonitor final : public CPUCollector {
  public:
    explicit CPUMonitor(CpuTickSource& source);

    /// Busy time (user, system and nice) as a share of all time since the last call, in percent. 0 for the
    /// first call, and when no tick passed on any processor. A processor counts when it is in both samples
    /// and its ticks have moved forward; a counter that fell counts as unmoved.
    double getCPUUsage() override EXCLUDES(sampleLock_);

  private:
    CpuTickSource& source_;

    Mutex sampleLock_;
    std::vector<CpuTicks> previous_ GUARDED_BY(sampleLock_);  // empty before the first sample
    std::vector<CpuTicks> current_ GUARDED_BY(sampleLock_);   // kept for its memory
};

}  // namespace corvanta
