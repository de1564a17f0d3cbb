// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>
#include <vector>

#include "platform/MemoryCounterSource.h"
#include "platform/linux/KernelFile.h"
#include "platform/linux/MemInfo.h"

namespace corvanta {

/// Memory counters from /proc/meminfo, /proc/swaps and the zram devices.
///
/// Owned by the platform. One caller at a time. Physical memory stays known when /proc/meminfo is not
/// readable. Swap on a zram device whose figures can't be read counts as swap on a disk.
class LinuxMemorySource final : public MemoryCounterSource {
  public:
    LinuxMemorySource(const std::string& procRoot, std::string sysRoot);

    MemoryReading readMemory() override;

  private:
    void findZramDevices();
    void addSwapAndZram(LinuxMemory& memory);

    std::string sysRoot_;
    KernelFile memInfo_;
    KernelFile swaps_;
    KernelFile arcStats_;
    std::map<std::string, KernelFile> zramStats_;  ///< by device name, as in "zram0"
    bool hasArc_ = false;
    unsigned readings_ = 0;
};

}  // namespace corvanta
