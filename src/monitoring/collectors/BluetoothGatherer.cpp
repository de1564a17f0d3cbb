// SPDX-License-Identifier: Apache-2.0
#include "monitoring/collectors/BluetoothGatherer.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "core/Utf8Text.h"

namespace corvanta {
namespace {

constexpr std::string_view unknownDevice = "Unknown Device";

/// The name by which a battery's device is listed: that of the device with its address, or else its own.
std::optional<std::string> nameOf(const PeripheralBattery& battery, const BluetoothListing& listing) {
    if (const auto known = listing.names.find(battery.address); known != listing.names.end())
        return known->second;
    if (!battery.product) return std::nullopt;
    return std::string(trimmedUtf8(*battery.product));
}

bool isInternalSensor(std::string_view name) {
    return name.find("temp") != std::string_view::npos || name.substr(0, 3) == "PMU" ||
           name.substr(0, 4) == "NAND";
}

void setLevel(BluetoothListing& listing, const std::string& name, std::int64_t level) {
    if (name.empty()) return;
    if (BluetoothDevice* const device = listing.find(name)) {
        device->batteryLevel = level;
        device->isConnected = true;
    } else {
        listing.devices.push_back({.name = name, .batteryLevel = level});
    }
}

void enrichWithBatteryLevels(BluetoothListing& listing, PeripheralBatterySource& source) {
    for (const PeripheralBattery& battery : source.readServiceBatteries()) {
        if (!battery.batteryPercent) continue;
        setLevel(listing, nameOf(battery, listing).value_or(std::string(unknownDevice)),
                 *battery.batteryPercent);
    }
    for (const PeripheralBattery& battery : source.readDriverBatteries()) {
        const auto name = nameOf(battery, listing);
        if (!battery.batteryPercent || !name || isInternalSensor(*name)) continue;
        setLevel(listing, *name, *battery.batteryPercent);
    }
}

}  // namespace

BluetoothGatherer::BluetoothGatherer(const Platform& platform, std::chrono::seconds fallbackLimit)
    : clock_(platform.clock),
      fallback_(platform.bluetoothFallback),
      batteries_(platform.peripheralBatteries),
      fallbackLimit_(fallbackLimit),
      deviceQuery_(platform.bluetoothQuery, platform.waiter, platform.threadSetup) {}

std::vector<BluetoothDevice> BluetoothGatherer::gather(const std::stop_token& stop) {
    BluetoothListing listing = deviceQuery_.devices(queryTimeout, stop).value_or(BluetoothListing{});
    if (stop.stop_requested()) return {};
    if (listing.devices.empty()) {
        if (listing.isCertain) {
            fallbackCache_.drop();
        } else {
            listing = fallbackCache_.devices(clock_.systemUptime(), [&] { return readFallback(stop); });
        }
    }
    if (stop.stop_requested()) return {};
    enrichWithBatteryLevels(listing, batteries_);
    return std::move(listing.devices);
}

BluetoothListing BluetoothGatherer::readFallback(const std::stop_token& stop) {
    BluetoothListing listing;
    for (const ListedBluetoothDevice& device : fallback_.readConnectedDevices(fallbackLimit_, stop))
        listing.add(device.name, device.address, device.batteryLevel);
    return listing;
}

}  // namespace corvanta
