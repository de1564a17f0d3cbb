// SPDX-License-Identifier: Apache-2.0
#include "monitoring/collectors/DiskMonitor.h"

#include <string_view>
#include <utility>

#include "core/AsciiCase.h"

namespace corvanta {
namespace {

std::optional<DiskUsage> usageOf(const VolumeCapacity& capacity) {
    const auto free =
        capacity.availableForImportantUsage ? capacity.availableForImportantUsage : capacity.available;
    if (!free || !capacity.total) return std::nullopt;
    return DiskUsage{.free = static_cast<double>(*free), .total = static_cast<double>(*capacity.total)};
}

}  // namespace

DiskMonitor::DiskMonitor(VolumeCapacitySource& capacities, DriveHealthSource& drives,
                         ThreadSetup& threadSetup)
    : capacities_(capacities), drives_(drives), smartQueue_(threadSetup) {
    refreshSMARTStatus();
}

DiskMonitor::~DiskMonitor() {
    smartQueue_.cancelAll();
    smartQueue_.waitForAll();
}

DiskUsage DiskMonitor::getDiskUsage(double now) {
    {
        LockGuard guard(state_->stateLock);
        const bool isDue = state_->usageRefreshGate.shouldRefresh(now);
        if (!isDue && state_->cachedDiskUsage) return *state_->cachedDiskUsage;
    }
    const auto usage = usageOf(capacities_.readRootVolume());

    LockGuard guard(state_->stateLock);
    if (usage) state_->cachedDiskUsage = usage;
    return state_->cachedDiskUsage.value_or(DiskUsage{});
}

void DiskMonitor::invalidateUsageCache() {
    LockGuard guard(state_->stateLock);
    state_->usageRefreshGate = MonitoringRefreshGate(usageRefreshInterval);
}

SMARTStatus DiskMonitor::smartStatus() const {
    LockGuard guard(state_->stateLock);
    return state_->verdict.status;
}

std::string DiskMonitor::diskModel() const {
    LockGuard guard(state_->stateLock);
    return state_->verdict.model;
}

bool DiskMonitor::isAskingDrives() const {
    LockGuard guard(state_->stateLock);
    return state_->refreshInProgress;
}

void DiskMonitor::refreshSMARTStatus() {
    {
        LockGuard guard(state_->stateLock);
        if (state_->refreshInProgress) return;
        state_->refreshInProgress = true;
    }
    smartQueue_.start("com.corvanta.diskmonitor.smart",
                      [weak = std::weak_ptr(state_), &drives = drives_](const std::stop_token& stop) {
                          if (weak.expired() || stop.stop_requested()) return;
                          const auto reports = drives.readDrives(driveHealthLimit, stop);
                          const auto state = weak.lock();
                          if (!state) return;
                          LockGuard guard(state->stateLock);
                          if (reports) state->verdict = verdictOf(*reports);
                          state->refreshInProgress = false;
                      });
}

DiskMonitor::DriveVerdict DiskMonitor::verdictOf(const std::vector<DriveReport>& reports) {
    DriveVerdict verdict;
    for (const DriveReport& report : reports) {
        if (report.deviceName) verdict.model = *report.deviceName;
        const std::string status = asciiLowerCase(report.smartStatus.value_or(""));
        const auto says = [&](std::string_view word) { return status.find(word) != std::string::npos; };
        if (says("verified") || says("passed")) {
            verdict.status = SMARTStatus::verified;
        } else if (says("failing") || says("failed")) {
            verdict.status = SMARTStatus::failing;
        }
    }
    return verdict;
}

}  // namespace corvanta
