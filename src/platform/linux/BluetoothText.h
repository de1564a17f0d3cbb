// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/BluetoothSources.h"

namespace corvanta {

/// The first Bluetooth address in a text, as "AA:BB:CC:DD:EE:FF"; empty without one. Its six bytes may be
/// parted by ":", "_" or "-", and have letters of either case, but touch no other letter or digit.
std::string bluetoothAddressIn(std::string_view text);

/// The devices in what "bluetoothctl devices Connected" prints, one in a line, as in
/// "Device AA:BB:CC:DD:EE:FF MX Mouse". Other lines are skipped.
std::vector<ListedBluetoothDevice> parseConnectedDevices(std::string_view output);

/// What the kernel says of an input device, in its file "uevent". What isn't told is empty.
struct HidFacts {
    std::string name;     ///< HID_NAME
    std::string address;  ///< HID_UNIQ, if that is one

    bool operator==(const HidFacts&) const = default;
};
HidFacts parseHidEvent(std::string_view uevent);

/// The percentage that one of the kernel's words for a battery's level stands for.
std::optional<std::int64_t> percentOfCapacityLevel(std::string_view word);

}  // namespace corvanta
