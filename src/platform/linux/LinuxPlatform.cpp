// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/LinuxPlatform.h"

#include <unistd.h>

#include <string>
#include <utility>
#include <vector>

namespace corvanta {
namespace {

constexpr const char* procRoot = "/proc";
constexpr const char* sysRoot = "/sys";

// Where the user's space is on a machine whose root can't be written.
std::vector<std::string> writableFolders() {
    std::vector<std::string> folders;
    if (const auto home = processEnvironment("HOME")) {
        folders.push_back(*home);
    } else if (const auto account = accountHome()) {
        folders.push_back(*account);
    }
    folders.emplace_back("/var");
    return folders;
}

// Asking a drive takes a privileged user, for whom the folder may still be missing from the path.
std::string smartctlFolders() {
    if (geteuid() != 0) return {};
    return processEnvironment("PATH").value_or("") + ":/usr/sbin";
}

}  // namespace

LinuxPlatform::LinuxPlatform(Executor& mainExecutor, const XdgDirectories& directories,
                             const std::string& settingsFile, std::string executablePath,
                             JsonDefaultsStore::Access access)
    : cpuTicks_(procRoot),
      memoryCounters_(procRoot, sysRoot),
      memoryPressureEvents_(procRoot, threadSetup_),
      netCounters_(procRoot, sysRoot),
      volumeCapacity_("/", writableFolders()),
      driveHealth_(connectToSystem(), {.searchPath = smartctlFolders()}),
      processes_(procRoot),
      processSignaller_(procRoot),
      powerSources_(connectToSystem(), sysRoot, clock_, mainExecutor),
      lowPower_(connectToSystem(), sessionBusIfThere, sysRoot, mainExecutor),
      bluetoothQuery_(connectToSystem()),
      bluetoothFallback_(sysRoot, processEnvironment("PATH").value_or(""),
                         [this] { return bluetoothQuery_.state(); }),
      peripheralBatteries_(bluetoothQuery_, connectToSystem(), sysRoot),
      thermal_(sysRoot, clock_, threadSetup_, [this] { return lowPower_.isPerformanceDegraded(); }),
      machineFacts_(procRoot, sysRoot, ""),
      defaults_(settingsFile, access),
      loginItem_(directories, processEnvironment("XDG_CURRENT_DESKTOP").value_or(""),
                 std::move(executablePath)),
      notifications_(sessionBusIfThere),
      ports_{clock_,
             waiter_,
             mainExecutor,
             threadSetup_,
             cpuTicks_,
             memoryCounters_,
             memoryPressureEvents_,
             netCounters_,
             volumeCapacity_,
             driveHealth_,
             processes_,
             processSignaller_,
             powerSources_,
             lowPower_,
             powerSources_,
             bluetoothQuery_,
             bluetoothFallback_,
             peripheralBatteries_,
             thermal_,
             machineFacts_,
             defaults_,
             loginItem_,
             notifications_} {}

BusService::Connect LinuxPlatform::connectToSystem() {
    return [this] { return systemBus_.connection(); };
}

}  // namespace corvanta
