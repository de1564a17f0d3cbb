// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>

#include "platform/Subscription.h"

namespace corvanta {

/// Whether the machine saves power at the user's or the system's wish.
///
/// Owned by the platform for the program's life. This base is a machine without such a mode: off, and no
/// events.
class LowPowerSource {
  public:
    virtual ~LowPowerSource() = default;

    /// Any thread.
    virtual bool isLowPowerModeEnabled() const { return false; }

    /// Calls `handler` on the main thread after each change. Null when there are no events.
    virtual std::unique_ptr<Subscription> subscribe(const std::function<void()>& /*handler*/) {
        return nullptr;
    }
};

/// Announcements that the power source or its state has changed.
///
/// Owned by the platform for the program's life. This base is a machine without such events.
class PowerChangeSource {
  public:
    virtual ~PowerChangeSource() = default;

    /// Calls `onChange` on the main thread. Null when there are no events.
    virtual std::unique_ptr<Subscription> subscribe(const std::function<void()>& /*onChange*/) {
        return nullptr;
    }
};

}  // namespace corvanta
