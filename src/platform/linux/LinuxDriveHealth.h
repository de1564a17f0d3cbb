// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "platform/DriveHealthSource.h"
#include "platform/linux/BusService.h"
#include "platform/linux/BusValues.h"
#include "platform/linux/RootDisks.h"

namespace corvanta {

/// The self-assessment of the disks that the root file system stands on: what the disk service says, or else
/// a flash drive's own word, or else smartctl's; at least a disk's model where none of these has a verdict.
/// Drives without a verdict come first and those that fail last, as the last name and the last verdict are
/// the ones that stay. Of several drives, a nameless one goes by the kernel's name.
///
/// Owned by the platform. One caller at a time, on a background thread. A source that is missing, hangs or
/// talks nonsense counts as one that has nothing to say.
class LinuxDriveHealth final : public DriveHealthSource {
  public:
    struct Places {
        std::string procRoot = "/proc";
        std::string sysRoot = "/sys";
        std::string runRoot = "/run";
        DeviceNumberOf deviceNumberOf = blockDeviceNumber;
        std::string searchPath;  ///< where smartctl may be; it is of use to a privileged user only
    };

    LinuxDriveHealth(BusService::Connect systemBus, Places places);

    /// A reading that is called off ends within a second.
    std::optional<std::vector<DriveReport>> readDrives(std::chrono::seconds limit,
                                                       const std::stop_token& stop) override;

  private:
    using Moment = std::chrono::steady_clock::time_point;

    std::optional<BusObjects> askService(Moment deadline, const std::stop_token& stop);
    DriveReport askDisk(const RootDisk& disk, const std::optional<BusObjects>& objects, Moment deadline,
                        const std::stop_token& stop) const;

    const Places places_;
    BusService service_;
};

}  // namespace corvanta
