// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

#include "platform/BluetoothSources.h"

namespace corvanta {

/// How the Bluetooth service took the last question that it was asked.
enum class BluetoothServiceState {
    answers,
    isAbsent,
    fails,  ///< there, but silent or of no use
};

/// The connected devices by other ways than the service's own answer: by its command line tool, which is more
/// patient, or else by what input devices the kernel has over Bluetooth.
///
/// Owned by the platform for the program's life. One caller at a time.
class LinuxBluetoothFallback final : public BluetoothFallback {
  public:
    /// The tool is looked for in the folders of `searchPath`, which ":" separates.
    LinuxBluetoothFallback(std::string sysRoot, std::string searchPath,
                           std::function<BluetoothServiceState()> serviceState);

    std::vector<ListedBluetoothDevice> readConnectedDevices(std::chrono::seconds limit,
                                                            const std::stop_token& stop) override;

    /// By the tool. Absent when it is missing, fails or still runs at `deadline`.
    static std::optional<std::vector<ListedBluetoothDevice>> askTool(
        std::string_view searchPath, std::chrono::steady_clock::time_point deadline,
        const std::stop_token& stop);

  private:
    bool hasAdapter() const;
    std::vector<ListedBluetoothDevice> readInputDevices() const;

    // Constant after construction.
    const std::string sysRoot_;
    const std::string searchPath_;
    const std::function<BluetoothServiceState()> serviceState_;
};

}  // namespace corvanta
