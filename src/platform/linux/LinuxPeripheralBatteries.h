// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/BluetoothSources.h"
#include "platform/linux/BluezQuery.h"
#include "platform/linux/BusService.h"
#include "platform/linux/UPowerPeripherals.h"

namespace corvanta {

/// The batteries of peripherals: those that BlueZ and UPower tell of, and the kernel's for the rest.
///
/// Owned by the platform for the program's life. One caller at a time.
class LinuxPeripheralBatteries final : public PeripheralBatterySource {
  public:
    /// `bluez` is not asked again: its last answer counts.
    LinuxPeripheralBatteries(const BluezQuery& bluez, BusService::Connect connect, std::string sysRoot);

    std::vector<PeripheralBattery> readServiceBatteries() override;
    std::vector<PeripheralBattery> readDriverBatteries() override;
    std::unique_ptr<Subscription> subscribe(const std::function<void()>& onChange) override;

  private:
    const BluezQuery& bluez_;
    UPowerPeripherals upower_;
    const std::string sysRoot_;
    // UPower asks the drivers, some of which ask their device over the air. Nobody needs that twice.
    std::set<std::string, std::less<>> told_;
};

}  // namespace corvanta
