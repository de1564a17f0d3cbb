// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

#include "platform/MemoryPressureEventSource.h"
#include "platform/ThreadSetup.h"

namespace corvanta {

/// Opens the kernel's pressure file as a trigger: poll() tells POLLPRI when tasks begin to stall, and POLLERR
/// when the trigger is lost. Negative where the kernel refuses it.
int openPressureTrigger(const std::string& procRoot);

/// Memory pressure events made from the kernel's stall totals and meminfo, by a PressureWatch.
///
/// Owned by the platform. Each subscription has a thread of its own, which sleeps in poll(): the kernel's
/// trigger wakes it early, and otherwise it looks every 10 s, or every 2 s while the level is elevated or
/// where there is no trigger. Where the system refuses the thread, one line is logged and there is no
/// subscription.
class PsiPressureSource final : public MemoryPressureEventSource {
  public:
    using OpenTrigger = std::function<int(const std::string& procRoot)>;

    /// `openTrigger` gives a descriptor that the subscription closes; another one is for tests only.
    PsiPressureSource(std::string procRoot, ThreadSetup& threadSetup,
                      OpenTrigger openTrigger = openPressureTrigger);

    std::unique_ptr<Subscription> subscribe(const std::string& queueLabel,
                                            std::function<void(MemoryPressureEvents)> handler) override;

  private:
    std::string procRoot_;
    ThreadSetup& threadSetup_;
    OpenTrigger openTrigger_;
};

}  // namespace corvanta
