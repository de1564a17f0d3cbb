// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "monitoring/collectors/Collectors.h"
#include "platform/MemoryCounterSource.h"

namespace corvanta {

/// A breakdown of memory with a pressure estimate.
///
/// Owned by the monitoring loop. One caller at a time. Counters that can't be read give zeros and the level
/// `unavailable`; swap and total are filled all the same.
class RAMMonitor final : public RAMCollector {
  public:
    explicit RAMMonitor(MemoryCounterSource& source);

    /// The estimate is wired plus compressed memory, which can't be reclaimed quickly, as a share of physical
    /// memory; at most 100.
    RAMDetails getRAMUsage() override;

  private:
    MemoryCounterSource& source_;
};

}  // namespace corvanta
