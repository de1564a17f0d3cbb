// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/LinuxBluetoothFallback.h"

#include <filesystem>
#include <utility>

#include "platform/linux/BluetoothText.h"
#include "platform/linux/CommandOutput.h"
#include "platform/linux/FolderNames.h"
#include "platform/linux/KernelFile.h"

namespace corvanta {
namespace {

constexpr std::size_t longestText = 4096;
// The kernel's number for Bluetooth among the buses of input devices, which their names begin with.
constexpr std::string_view bluetoothBus = "0005:";

}  // namespace

LinuxBluetoothFallback::LinuxBluetoothFallback(std::string sysRoot, std::string searchPath,
                                               std::function<BluetoothServiceState()> serviceState)
    : sysRoot_(std::move(sysRoot)),
      searchPath_(std::move(searchPath)),
      serviceState_(std::move(serviceState)) {}

std::vector<ListedBluetoothDevice> LinuxBluetoothFallback::readConnectedDevices(std::chrono::seconds limit,
                                                                                const std::stop_token& stop) {
    switch (serviceState_()) {
        case BluetoothServiceState::answers:
            // The tool would only repeat that there is nothing, and the kernel keeps devices that have left.
            return {};
        case BluetoothServiceState::isAbsent:
            break;  // the tool would wait for the service for ever
        case BluetoothServiceState::fails:
            if (limit.count() <= 0 || !hasAdapter()) break;
            if (auto devices = askTool(searchPath_, std::chrono::steady_clock::now() + limit, stop))
                return std::move(*devices);
            break;
    }
    return readInputDevices();
}

std::optional<std::vector<ListedBluetoothDevice>> LinuxBluetoothFallback::askTool(
    std::string_view searchPath, std::chrono::steady_clock::time_point deadline,
    const std::stop_token& stop) {
    const auto tool = findProgram("bluetoothctl", searchPath);
    if (!tool) return std::nullopt;
    const auto result = runCommand(*tool, {"devices", "Connected"}, deadline, stop);
    if (!result || result->exitStatus != 0) return std::nullopt;
    return parseConnectedDevices(result->output);
}

bool LinuxBluetoothFallback::hasAdapter() const {
    return !folderNames(sysRoot_ + "/class/bluetooth").empty();
}

std::vector<ListedBluetoothDevice> LinuxBluetoothFallback::readInputDevices() const {
    const auto root = std::filesystem::path(sysRoot_) / "bus/hid/devices";
    std::vector<ListedBluetoothDevice> devices;
    for (const std::string& name : folderNames(root)) {
        if (name.substr(0, bluetoothBus.size()) != bluetoothBus) continue;
        KernelFile uevent(root / name / "uevent");
        HidFacts facts = parseHidEvent(uevent.read(longestText).value_or(std::string_view()));
        if (facts.name.empty()) continue;
        devices.push_back({.name = std::move(facts.name), .address = std::move(facts.address)});
    }
    return devices;
}

}  // namespace corvanta
