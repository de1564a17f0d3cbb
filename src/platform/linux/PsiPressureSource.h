// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "platform/MemoryPressureEventSource.h"
#include "platform/ThreadSetup.h"

namespace corvanta {

/// Memory pressure events made from the kernel's stall totals and meminfo, by PressureClassifier.
///
/// Owned by the platform. Each subscription has a thread of its own, which sleeps in poll(): the kernel's
/// trigger wakes it early when tasks begin to stall, and otherwise it looks every 10 s, or every 2 s while
/// the level is elevated or where there is no trigger. Without the pressure file the level follows meminfo
/// and vmstat alone.
class PsiPressureSource final : public MemoryPressureEventSource {
  public:
    PsiPressureSource(std::string procRoot, ThreadSetup& threadSetup);

    std::unique_ptr<Subscription> subscribe(const std::string& queueLabel,
                                            std::function<void(MemoryPressureEvents)> handler) override;

  private:
    std::string procRoot_;
    ThreadSetup& threadSetup_;
};

}  // namespace corvanta
