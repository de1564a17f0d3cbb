// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace corvanta {

/// One connected peripheral. Its name identifies it.
struct BluetoothDevice {
    static constexpr std::int64_t unknownLevel = -1;
    static constexpr std::int64_t lowLevel = 20;

    std::string name;
    std::int64_t batteryLevel = unknownLevel;  ///< percent
    bool isConnected = true;

    bool operator==(const BluetoothDevice&) const = default;

    /// An unknown level is not low.
    bool isLowBattery() const { return batteryLevel >= 0 && batteryLevel <= lowLevel; }
    /// The system symbol for its kind, as far as the name tells it.
    std::string_view iconName() const;
};

/// The connected devices as one source lists them, each name once.
struct BluetoothListing {
    std::vector<BluetoothDevice> devices;
    /// By address, of every device that was told of.
    std::map<std::string, std::string> names;
    bool isCertain = false;  ///< the source knows: what it does not list is not connected

    /// Lists a device that is not in the list yet under exactly that name.
    void add(const std::string& name, const std::string& address,
             std::int64_t level = BluetoothDevice::unknownLevel);
    /// The device of exactly that name, or null.
    BluetoothDevice* find(std::string_view name);
};

}  // namespace corvanta
