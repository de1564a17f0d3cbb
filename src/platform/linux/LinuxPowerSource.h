// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "core/Clock.h"
#include "core/Executor.h"
#include "platform/PowerSources.h"
#include "platform/linux/BusService.h"
#include "platform/linux/HandlerList.h"
#include "platform/linux/PowerUevent.h"
#include "platform/linux/SysfsPowerSource.h"
#include "platform/linux/UPowerSource.h"

namespace corvanta {

/// The machine's power sources and their changes: as UPower tells them, and, as long as UPower can't be had,
/// as the kernel does. The kernel announces every device, so it is heard only on a machine that has supplies.
///
/// Owned by the platform; made and subscribed to on the main thread, read on background threads, one at a
/// time. Which of the two tells is settled anew by each reading.
class LinuxPowerSource final : public PowerSourceReader, public PowerChangeSource {
  public:
    /// Seconds until a socket that failed is opened again.
    static constexpr double reopenInterval = 30;

    using OpenUevents = std::function<std::unique_ptr<UeventSocket>()>;

    LinuxPowerSource(
        BusService::Connect systemBus, const std::string& sysRoot, const Clock& clock, Executor& mainExecutor,
        OpenUevents openUevents = [] { return std::make_unique<UeventSocket>(); });
    ~LinuxPowerSource() override;

    std::vector<PowerSourceDescription> readPowerSources() override;
    std::optional<BatteryRegistry> readBatteryRegistry() override { return reading_.registry; }

    std::unique_ptr<Subscription> subscribe(const std::function<void()>& onChange) override;

  private:
    class KernelListener;

    void listenToKernel(bool mustListen);

    BusService service_;
    const Clock& clock_;
    Executor& mainExecutor_;
    HandlerList<> handlers_;

    // Reading threads only.
    UPowerSource upower_;
    std::shared_ptr<SysfsPowerSource> sysfs_;
    PowerReading reading_;
    bool listensToKernel_ = false;
    double listenedAt_ = 0;  // system uptime

    std::shared_ptr<KernelListener> kernel_;

    // Main thread only.
    std::unique_ptr<Subscription> upowerSubscription_;
};

}  // namespace corvanta
