// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "core/Clock.h"
#include "core/Mutex.h"
#include "platform/BackgroundTasks.h"
#include "platform/ThermalSource.h"

namespace corvanta {

/// The thermal state from the kernel's sensors, thermal zones and throttle counters, by a ThermalClassifier.
///
/// Owned by the platform. Any thread (a lock that is held for moments). Firmware may take its time to answer,
/// so a worker reads: it sleeps until somebody asks for the state, at most every 2 s, and so wakes together
/// with the program's cycle and not beside it. What is returned is the last reading's state; unknown before
/// the first, or when it is older than 30 s, as after a long pause or behind a file that hangs. A machine
/// that has nothing to read has no worker; it is looked at again once a minute, as drivers load late.
class LinuxThermalSource final : public ThermalSource {
  public:
    /// `isPerformanceDegraded` tells whether a service has slowed the machine down because of its heat. Any
    /// thread, at once.
    LinuxThermalSource(
        std::string sysRoot, const Clock& clock, ThreadSetup& threadSetup,
        std::function<bool()> isPerformanceDegraded = [] { return false; });
    ~LinuxThermalSource() override;

    int thermalState() const override;

  private:
    class Worker;

    /// Starts one when it is time to look and there is something to read.
    std::shared_ptr<Worker> runningWorker(double now) const;

    // Constant after construction.
    const std::string sysRoot_;
    const Clock& clock_;
    const std::function<bool()> isPerformanceDegraded_;

    mutable Mutex mutex_;
    mutable std::weak_ptr<Worker> worker_ GUARDED_BY(mutex_);  ///< held by its own thread
    mutable double nextStart_ GUARDED_BY(mutex_) = 0;          ///< uptime
    mutable BackgroundTasks tasks_;
};

}  // namespace corvanta
