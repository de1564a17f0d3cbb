// SPDX-License-Identifier: Apache-2.0
#include "monitoring/collectors/BluetoothDevice.h"

#include <algorithm>
#include <array>
#include <utility>

#include "core/AsciiCase.h"

namespace corvanta {
namespace {

/// The first keyword in the name decides.
constexpr std::array<std::pair<std::string_view, std::string_view>, 7> icons = {{
    {"mouse", "cursorarrow"},
    {"keyboard", "keyboard"},
    {"airpods", "airpods"},
    {"trackpad", "hand.draw"},
    {"headphone", "headphones"},
    {"gamepad", "gamecontroller"},
    {"controller", "gamecontroller"},
}};

}  // namespace

std::string_view BluetoothDevice::iconName() const {
    // All keywords are ASCII, so no other letter's case matters.
    const std::string lower = asciiLowerCase(name);
    for (const auto& [keyword, symbol] : icons) {
        if (lower.find(keyword) != std::string::npos) return symbol;
    }
    return "antenna.radiowaves.left.and.right";
}

void BluetoothListing::add(const std::string& name, const std::string& address, std::int64_t level) {
    if (!address.empty()) names.emplace(address, name);
    if (!find(name)) devices.push_back({.name = name, .batteryLevel = level});
}

BluetoothDevice* BluetoothListing::find(std::string_view name) {
    const auto found = std::find_if(devices.begin(), devices.end(),
                                    [name](const BluetoothDevice& device) { return device.name == name; });
    return found == devices.end() ? nullptr : &*found;
}

}  // namespace corvanta
