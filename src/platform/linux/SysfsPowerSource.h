// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <optional>
#include <string>
#include <vector>

#include "core/Clock.h"
#include "platform/linux/PowerSupply.h"

namespace corvanta {

/// The batteries that the kernel itself tells of, below /sys/class/power_supply.
///
/// Owned by the port of the power sources. One thread at a time, but for `expectChange`; a controller may
/// take tens of milliseconds to answer. What can't be read is absent.
class SysfsPowerSource {
  public:
    /// Seconds for which the list of supplies holds.
    static constexpr double listInterval = 30;

    SysfsPowerSource(const std::string& sysRoot, const Clock& clock);

    /// Reads nothing while there is no battery, until the list is due.
    PowerReading read();

    /// Whether the list has supplies of the machine's own whose changes matter.
    bool hasSupplies() const { return hasSupplies_; }

    /// A supply may have come or gone: the next reading lists them again. Any thread.
    void expectChange() { isListDue_ = true; }

  private:
    void list();

    std::string folder_;
    const Clock& clock_;
    std::atomic<bool> isListDue_ = true;
    double listedAt_ = 0;
    std::vector<std::string> batteries_;  // the folders, in the order of their names
    std::vector<std::string> externals_;
    bool hasSupplies_ = false;
};

}  // namespace corvanta
