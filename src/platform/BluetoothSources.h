// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "platform/Subscription.h"

namespace corvanta {

// A device's address is written as "AA:BB:CC:DD:EE:FF", and empty where it is not told. By it the different
// names that the sources have for one device are known to mean the same.

/// A device that the Bluetooth service knows.
struct PairedBluetoothDevice {
    std::optional<std::string> name = std::nullopt;
    bool isConnected = false;
    std::string address = {};

    bool operator==(const PairedBluetoothDevice&) const = default;
};

/// What is known of the Bluetooth service's devices. Of those that are not connected it may lack some.
struct BluetoothAnswer {
    std::vector<PairedBluetoothDevice> devices = {};
    /// The service itself said so, and has told of no change since. That no device is connected is then
    /// final: a slow listing could only bring back those that have left. Otherwise it says no more than no
    /// answer, as where there is no service to ask.
    bool isCertain = false;

    bool operator==(const BluetoothAnswer&) const = default;
};

/// The Bluetooth service, asked for its devices.
///
/// Owned by the platform for the program's life. This base is a machine without Bluetooth.
class BluetoothQuery {
  public:
    virtual ~BluetoothQuery() = default;

    /// What is known without asking. Absent when the service has to be asked. Any thread; never blocks.
    virtual std::optional<BluetoothAnswer> knownDevices() { return BluetoothAnswer(); }

    /// Asks. Absent when there is no answer. One caller at a time, on a thread that may stall.
    virtual std::optional<BluetoothAnswer> pairedDevices() { return std::nullopt; }

    /// Calls `onChange` on the main thread after a device has come, gone or changed. Null when there are no
    /// events. Main thread.
    virtual std::unique_ptr<Subscription> subscribe(const std::function<void()>& /*onChange*/) {
        return nullptr;
    }
};

/// A connected device as the slow listing has it.
struct ListedBluetoothDevice {
    std::string name;                ///< never empty
    std::int64_t batteryLevel = -1;  ///< percent as it was told; -1 is unknown
    std::string address = {};

    bool operator==(const ListedBluetoothDevice&) const = default;
};

/// A slow listing of the connected devices, for when the Bluetooth service gives nothing.
///
/// Owned by the platform for the program's life. One caller at a time, on a background thread. Failure is an
/// empty list. This base has nothing to list.
class BluetoothFallback {
  public:
    virtual ~BluetoothFallback() = default;

    /// Starts another program where that is how to learn it, and kills it after `limit`, or as soon as `stop`
    /// is requested. With no time at all it starts none.
    virtual std::vector<ListedBluetoothDevice> readConnectedDevices(std::chrono::seconds /*limit*/,
                                                                    const std::stop_token& /*stop*/) {
        return {};
    }
};

/// What is told of one peripheral's battery. What is not told, or is of no use, is absent.
struct PeripheralBattery {
    std::optional<std::int64_t> batteryPercent = std::nullopt;
    std::optional<std::string> product = std::nullopt;  ///< its name, as it came
    std::string address = {};

    bool operator==(const PeripheralBattery&) const = default;
};

/// The batteries of peripherals, on whatever bus they are.
///
/// Owned by the platform for the program's life. One caller at a time, on a background thread, who asks the
/// services before the drivers. Failure is an empty list. This base is a machine without such peripherals.
class PeripheralBatterySource {
  public:
    virtual ~PeripheralBatterySource() = default;

    /// As the system's services tell.
    virtual std::vector<PeripheralBattery> readServiceBatteries() { return {}; }
    /// As the drivers tell, where no service just told of the same battery.
    virtual std::vector<PeripheralBattery> readDriverBatteries() { return {}; }

    /// Calls `onChange` on the main thread after a service's answer has changed. Null when there are no
    /// events. Main thread.
    virtual std::unique_ptr<Subscription> subscribe(const std::function<void()>& /*onChange*/) {
        return nullptr;
    }
};

}  // namespace corvanta
