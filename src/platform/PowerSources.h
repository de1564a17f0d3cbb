// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Subscription.h"

namespace corvanta {

/// What one power source says of itself. What it does not tell, or tells in a form of no use, is absent.
struct PowerSourceDescription {
    std::optional<std::int64_t> currentCapacity = std::nullopt;  ///< in the unit of `maxCapacity`
    std::optional<std::int64_t> maxCapacity = std::nullopt;
    std::optional<bool> isCharging = std::nullopt;
    std::optional<std::int64_t> timeToFullCharge = std::nullopt;  ///< minutes; -1 while there is no estimate
    std::optional<std::int64_t> timeToEmpty = std::nullopt;       ///< minutes; -1 while there is no estimate
    std::optional<std::string> powerSourceState = std::nullopt;   ///< "AC Power", "Battery Power" or another

    bool operator==(const PowerSourceDescription&) const = default;
};

/// What the battery's own electronics have counted.
struct BatteryRegistry {
    std::optional<std::int64_t> cycleCount = std::nullopt;
    std::optional<std::int64_t> rawMaxCapacity = std::nullopt;  ///< in the unit of `designCapacity`
    std::optional<std::int64_t> designCapacity = std::nullopt;

    bool operator==(const BatteryRegistry&) const = default;
};

/// The machine's own power sources; not those of its peripherals.
///
/// Owned by the platform for the program's life. One caller at a time, on a background thread: a reading may
/// take as long as a service's limit. This base is a machine that only knows the mains.
class PowerSourceReader {
  public:
    virtual ~PowerSourceReader() = default;

    /// Empty without any, and when they could not be read.
    virtual std::vector<PowerSourceDescription> readPowerSources() { return {}; }
    /// Of the batteries that `readPowerSources` has found last. Absent without one.
    virtual std::optional<BatteryRegistry> readBatteryRegistry() { return std::nullopt; }
};

/// Whether the machine saves power at the user's or the system's wish.
///
/// Owned by the platform for the program's life. This base is a machine without such a mode: off, and no
/// events.
class LowPowerSource {
  public:
    virtual ~LowPowerSource() = default;

    /// Asks the system. One caller at a time, on a background thread: it may take as long as a service's
    /// limit.
    virtual void refresh() {}

    /// As the system last told; off before that. Any thread; never blocks.
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
