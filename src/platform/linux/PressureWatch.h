// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "platform/linux/KernelFile.h"
#include "platform/linux/PressureClassifier.h"

namespace corvanta {

/// Reads the kernel's stall totals and memory figures, and follows the pressure level from one look to the
/// next.
///
/// Owned by one thread. No clock of its own; moments are seconds on any one clock. Without the pressure file
/// the level follows meminfo and vmstat. A look at which the memory figures can't be read leaves everything
/// as it was.
class PressureWatch {
  public:
    explicit PressureWatch(const std::string& procRoot);

    /// The event for a level that has just changed.
    std::optional<MemoryPressureEvents> look(double moment);

    MemoryPressureEvents level() const { return classifier_.level(); }

  private:
    KernelFile pressure_;
    KernelFile memInfo_;
    KernelFile vmStat_;
    PressureWindow window_;
    PressureClassifier classifier_;
};

}  // namespace corvanta
