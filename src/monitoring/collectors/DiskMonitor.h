// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/Mutex.h"
#include "monitoring/collectors/Collectors.h"
#include "monitoring/collectors/MonitoringRefreshGate.h"
#include "platform/BackgroundTasks.h"
#include "platform/DriveHealthSource.h"
#include "platform/ThreadSetup.h"
#include "platform/VolumeCapacitySource.h"

namespace corvanta {

/// Free and total space of the root volume, and the drive's model and verdict on itself.
///
/// Owned by the monitoring loop. Any thread (locks stateLock for short reads and writes, never across a
/// reading). The drives are asked once, from creation, on a thread of their own that the cycle never waits
/// for; without an answer the verdict stays `unknown` and the model "Unknown". A volume that can't be read
/// gives the last good reading, or zeros.
class DiskMonitor final : public DiskCollector {
  public:
    /// Least time between two readings of the volume, in seconds.
    static constexpr double usageRefreshInterval = 5.0;
    /// The most time that asking the drives may take.
    static constexpr std::chrono::seconds driveHealthLimit{15};

    DiskMonitor(VolumeCapacitySource& capacities, DriveHealthSource& drives, ThreadSetup& threadSetup);
    /// Calls the drives' reading off and waits for its end, but not for one that hangs.
    ~DiskMonitor() override;
    DiskMonitor(const DiskMonitor&) = delete;
    DiskMonitor& operator=(const DiskMonitor&) = delete;

    /// Free is what is free for important usage where the system tells that, otherwise what is plainly
    /// available.
    DiskUsage getDiskUsage(double now) override;
    /// The last good reading stays, for the case that the next one fails.
    void invalidateUsageCache() override;

    SMARTStatus smartStatus() const override;
    std::string diskModel() const override;
    bool isAskingDrives() const override;

    /// Asks the drives in the background, unless a query is queued or running.
    void refreshSMARTStatus();

    struct DriveVerdict {
        SMARTStatus status = SMARTStatus::unknown;
        std::string model = "Unknown";

        bool operator==(const DriveVerdict&) const = default;
    };

    /// What a list of reports says, read to its end: the last name is the model, and the last status with a
    /// known word decides, be it "verified" or "passed", or else "failing" or "failed", in any case.
    static DriveVerdict verdictOf(const std::vector<DriveReport>& reports);

  private:
    // A query may outlive this object, so it holds the state, and that weakly.
    struct State {
        mutable Mutex stateLock;
        bool refreshInProgress GUARDED_BY(stateLock) = false;
        DriveVerdict verdict GUARDED_BY(stateLock);
        MonitoringRefreshGate usageRefreshGate GUARDED_BY(stateLock){usageRefreshInterval};
        std::optional<DiskUsage> cachedDiskUsage GUARDED_BY(stateLock);
    };

    VolumeCapacitySource& capacities_;
    DriveHealthSource& drives_;
    std::shared_ptr<State> state_ = std::make_shared<State>();
    BackgroundTasks smartQueue_;
};

}  // namespace corvanta
