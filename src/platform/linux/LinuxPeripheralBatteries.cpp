// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/LinuxPeripheralBatteries.h"

#include <utility>

#include "platform/linux/PeripheralSupplies.h"

namespace corvanta {

LinuxPeripheralBatteries::LinuxPeripheralBatteries(const BluezQuery& bluez, BusService::Connect connect,
                                                   std::string sysRoot)
    : bluez_(bluez), upower_(std::move(connect)), sysRoot_(std::move(sysRoot)) {}

std::vector<PeripheralBattery> LinuxPeripheralBatteries::readServiceBatteries() {
    told_.clear();
    std::vector<PeripheralBattery> batteries = bluez_.batteries();
    for (UPowerPeripherals::Battery& battery : upower_.read()) {
        batteries.push_back(std::move(battery.battery));
        told_.insert(std::move(battery.nativePath));
    }
    return batteries;
}

std::vector<PeripheralBattery> LinuxPeripheralBatteries::readDriverBatteries() {
    return readPeripheralSupplies(sysRoot_, told_);
}

std::unique_ptr<Subscription> LinuxPeripheralBatteries::subscribe(const std::function<void()>& onChange) {
    return upower_.subscribe(onChange);
}

}  // namespace corvanta
