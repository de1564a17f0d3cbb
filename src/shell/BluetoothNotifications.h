// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "alerts/NotificationManager.h"
#include "monitoring/BluetoothAlerts.h"

namespace corvanta {

/// Tells the user of a peripheral's low battery by a notification.
///
/// Owned by the application delegate. Main thread only. It never fails.
class BluetoothNotifications final : public BluetoothAlerts {
  public:
    /// Outlives this.
    explicit BluetoothNotifications(NotificationManager& notifications) : notifications_(notifications) {}

    void notifyLowBluetoothBattery(const std::string& deviceName, std::int64_t batteryLevel) override {
        notifications_.notifyLowBluetoothBattery(deviceName, batteryLevel);
    }

  private:
    NotificationManager& notifications_;
};

}  // namespace corvanta
