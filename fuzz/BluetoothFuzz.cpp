// SPDX-License-Identifier: Apache-2.0
// What is read of Bluetooth devices: the tool's list, the kernel's file for an input device, its word for a
// level, and addresses wherever they stand.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "core/Utf8Text.h"
#include "platform/linux/BluetoothText.h"

using namespace corvanta;

namespace {

void check(bool holds) {
    if (!holds) std::abort();
}

void checkAddress(const std::string& address) {
    check(address.empty() || address.size() == 17);
    check(bluetoothAddressIn(address) == address);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    checkAddress(bluetoothAddressIn(text));

    for (const ListedBluetoothDevice& device : parseConnectedDevices(text)) {
        check(!device.name.empty() && device.name.find('\n') == std::string::npos);
        check(repairedUtf8(device.name) == device.name);
        check(device.batteryLevel == -1 && !device.address.empty());
        checkAddress(device.address);
    }

    const HidFacts facts = parseHidEvent(text);
    check(facts.name.find('\n') == std::string::npos && repairedUtf8(facts.name) == facts.name);
    checkAddress(facts.address);

    const auto percent = percentOfCapacityLevel(text);
    check(!percent || (*percent >= 0 && *percent <= 100));
    return 0;
}
