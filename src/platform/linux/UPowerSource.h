// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDBusMessage>
#include <cstdint>
#include <optional>

#include "platform/linux/BusService.h"
#include "platform/linux/PowerSupply.h"

namespace corvanta {

/// The batteries as UPower knows them: its display device, which joins them, and what each has counted.
///
/// Owned by the port of the power sources. Background threads, one at a time. While UPower's signals arrive,
/// it is asked only when something has changed.
class UPowerSource {
  public:
    static BusService::Description description();

    explicit UPowerSource(BusService& service) : service_(service) {}

    /// Absent when UPower can't be had.
    std::optional<PowerReading> read();

    /// Whether a signal of UPower's tells more than a charge that moves: another source, another state, a
    /// device that has come or gone.
    static bool isPowerChange(const QDBusMessage& signal);

  private:
    BusService& service_;
    std::optional<PowerReading> reading_;
    bool isHeld_ = false;
    std::uint64_t changes_ = 0;  // when `reading_` was taken
};

}  // namespace corvanta
