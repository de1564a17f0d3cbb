// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/LinuxPlatform.h"

#include <utility>

namespace corvanta {
namespace {

constexpr const char* procRoot = "/proc";
constexpr const char* sysRoot = "/sys";

}  // namespace

LinuxPlatform::LinuxPlatform(Executor& mainExecutor, const XdgDirectories& directories,
                             const std::string& settingsFile, std::string executablePath,
                             JsonDefaultsStore::Access access)
    : cpuTicks_(procRoot),
      memoryCounters_(procRoot, sysRoot),
      memoryPressureEvents_(procRoot, threadSetup_),
      defaults_(settingsFile, access),
      loginItem_(directories, processEnvironment("XDG_CURRENT_DESKTOP").value_or(""),
                 std::move(executablePath)),
      ports_{clock_,
             waiter_,
             mainExecutor,
             threadSetup_,
             cpuTicks_,
             memoryCounters_,
             memoryPressureEvents_,
             lowPower_,
             powerChanges_,
             thermal_,
             defaults_,
             loginItem_} {}

}  // namespace corvanta
