// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace corvanta {

/// Who is told that a peripheral's battery runs low. The program fills it; this base tells nobody.
///
/// Owned by the program and outlives the monitor. Main thread only. Calls never fail.
class BluetoothAlerts {
  public:
    virtual ~BluetoothAlerts() = default;

    virtual void notifyLowBluetoothBattery(const std::string& /*deviceName*/, std::int64_t /*batteryLevel*/) {
    }
};

}  // namespace corvanta
