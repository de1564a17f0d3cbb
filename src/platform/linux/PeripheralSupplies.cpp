// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/PeripheralSupplies.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string_view>
#include <utility>

#include "core/Utf8Text.h"
#include "platform/linux/BluetoothText.h"
#include "platform/linux/FolderNames.h"
#include "platform/linux/KernelFile.h"
#include "platform/linux/TextScan.h"

namespace corvanta {
namespace {

constexpr std::size_t longestText = 4096;  // the most that the kernel gives

/// Empty when it can't be read.
std::string textOf(const std::filesystem::path& path) {
    return std::string(trimmedUtf8(KernelFile(path).read(longestText).value_or(std::string_view())));
}

/// Whole percent from 0 through 100.
std::optional<std::int64_t> levelOf(const std::filesystem::path& folder) {
    const auto percent = parseNumber<std::int64_t>(textOf(folder / "capacity"));
    if (!percent) return percentOfCapacityLevel(textOf(folder / "capacity_level"));
    if (*percent < 0 || *percent > 100) return std::nullopt;
    return percent;
}

bool isBatteryOfPeripheral(const std::filesystem::path& folder) {
    return textOf(folder / "scope") == "Device" && textOf(folder / "type") == "Battery" &&
           textOf(folder / "present") != "0" && textOf(folder / "online") != "0";
}

PeripheralBattery batteryOf(const std::string& name, const std::filesystem::path& folder) {
    HidFacts hid = parseHidEvent(KernelFile(folder / "device/uevent").read(longestText).value_or(""));
    PeripheralBattery battery{.batteryPercent = levelOf(folder), .address = std::move(hid.address)};
    if (battery.address.empty()) battery.address = bluetoothAddressIn(name);
    std::string model = repairedUtf8(textOf(folder / "model_name"));
    if (model.empty()) model = std::move(hid.name);
    if (!model.empty()) battery.product = std::move(model);
    return battery;
}

}  // namespace

std::vector<PeripheralBattery> readPeripheralSupplies(const std::string& sysRoot,
                                                      const std::set<std::string, std::less<>>& told) {
    const auto root = std::filesystem::path(sysRoot) / "class/power_supply";
    std::vector<PeripheralBattery> batteries;
    for (const std::string& name : folderNames(root)) {
        const auto folder = root / name;
        if (!told.contains(name) && isBatteryOfPeripheral(folder))
            batteries.push_back(batteryOf(name, folder));
    }
    return batteries;
}

}  // namespace corvanta
