// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/Executor.h"
#include "platform/PowerSources.h"
#include "platform/linux/BusService.h"
#include "platform/linux/HandlerList.h"
#include "platform/linux/KernelFile.h"
#include "platform/linux/PowerProfileService.h"

namespace corvanta {

/// The power saver of the desktop, as the first of these tells it that is there: the power profiles' service
/// under its current or its former name, or else the portal or the firmware's own profile, of which one is
/// enough.
///
/// Owned by the platform; made and subscribed to on the main thread, refreshed on background threads, one at
/// a time. The flags: any thread. With none of them it is off.
class LinuxLowPowerSource final : public LowPowerSource {
  public:
    LinuxLowPowerSource(const BusService::Connect& systemBus, BusService::Connect sessionBus,
                        const std::string& sysRoot, Executor& mainExecutor);

    void refresh() override;
    bool isLowPowerModeEnabled() const override;
    std::unique_ptr<Subscription> subscribe(const std::function<void()>& handler) override;

    /// Whether the profiles' service has slowed the machine down because it is hot. Never blocks.
    bool isPerformanceDegraded() const;

  private:
    /// Of the service under the name that goes first, if it is there.
    PowerProfileService::Word profiles() const;
    /// Whether the flag is another than when this was last asked.
    bool hasChanged();

    PowerProfileService current_;
    PowerProfileService former_;
    PowerProfileService portal_;
    KernelFile firmwareProfile_;  // refreshing threads only
    Executor& mainExecutor_;
    HandlerList<> handlers_;

    std::atomic<bool> isFirmwareSaving_ = false;
    std::atomic<bool> announced_ = false;

    std::vector<std::unique_ptr<Subscription>> subscriptions_;  // main thread only
};

}  // namespace corvanta
