// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/CpuTickSource.h"
#include "platform/linux/KernelFile.h"

namespace corvanta {

/// Reads the "cpuN" lines at the head of /proc/stat. Guest time is part of user time there already;
/// interrupts and stolen time count as system time, waiting for a disk as idle. A line with fewer than four
/// counters, with something else than numbers, or out of order is left out. True when the text goes on beyond
/// the "cpu" lines, so that none can be missing.
bool parseProcStat(std::string_view text, std::vector<CpuTicks>& ticks);

/// The processors' ticks from /proc/stat. A file that ends within the "cpu" lines was cut short, and counts
/// as not readable.
///
/// Owned by the platform. One caller at a time.
class ProcStatTickSource final : public CpuTickSource {
  public:
    explicit ProcStatTickSource(const std::string& procRoot);

    bool readTicks(std::vector<CpuTicks>& ticks) override;

  private:
    KernelFile file_;
    std::size_t headLength_;  ///< how much of the file holds the "cpu" lines
};

}  // namespace corvanta
