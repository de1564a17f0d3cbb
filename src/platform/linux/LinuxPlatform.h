// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "platform/Platform.h"
#include "platform/linux/BluezQuery.h"
#include "platform/linux/BusService.h"
#include "platform/linux/Buses.h"
#include "platform/linux/JsonDefaultsStore.h"
#include "platform/linux/LinuxBluetoothFallback.h"
#include "platform/linux/LinuxDriveHealth.h"
#include "platform/linux/LinuxLowPowerSource.h"
#include "platform/linux/LinuxMachineFacts.h"
#include "platform/linux/LinuxMemorySource.h"
#include "platform/linux/LinuxNotificationService.h"
#include "platform/linux/LinuxPeripheralBatteries.h"
#include "platform/linux/LinuxPowerSource.h"
#include "platform/linux/LinuxProcessSignaller.h"
#include "platform/linux/LinuxThermalSource.h"
#include "platform/linux/LinuxThreadSetup.h"
#include "platform/linux/NetlinkCounterSource.h"
#include "platform/linux/ProcLister.h"
#include "platform/linux/ProcStat.h"
#include "platform/linux/PsiPressureSource.h"
#include "platform/linux/StatfsCapacitySource.h"
#include "platform/linux/XdgDirectories.h"
#include "platform/linux/XdgLoginItem.h"

namespace corvanta {

/// All ports of a Linux machine.
///
/// Owned by the program and never destroyed, as a thread that is left behind at the end may still read from
/// it.
class LinuxPlatform {
  public:
    /// `executablePath` is what a login would start. With read-only access nothing is ever written to
    /// `settingsFile`.
    LinuxPlatform(Executor& mainExecutor, const XdgDirectories& directories, const std::string& settingsFile,
                  std::string executablePath, JsonDefaultsStore::Access access);
    LinuxPlatform(const LinuxPlatform&) = delete;
    LinuxPlatform& operator=(const LinuxPlatform&) = delete;

    const Platform& ports() const { return ports_; }

  private:
    BusService::Connect connectToSystem();

    SystemBus systemBus_;
    SystemClock clock_;
    SystemWaiter waiter_;
    LinuxThreadSetup threadSetup_;
    ProcStatTickSource cpuTicks_;
    LinuxMemorySource memoryCounters_;
    PsiPressureSource memoryPressureEvents_;
    NetlinkCounterSource netCounters_;
    StatfsCapacitySource volumeCapacity_;
    LinuxDriveHealth driveHealth_;
    ProcLister processes_;
    LinuxProcessSignaller processSignaller_;
    LinuxPowerSource powerSources_;
    LinuxLowPowerSource lowPower_;
    BluezQuery bluetoothQuery_;
    LinuxBluetoothFallback bluetoothFallback_;
    LinuxPeripheralBatteries peripheralBatteries_;
    LinuxThermalSource thermal_;
    LinuxMachineFacts machineFacts_;
    JsonDefaultsStore defaults_;
    XdgLoginItem loginItem_;
    LinuxNotificationService notifications_;
    Platform ports_;
};

}  // namespace corvanta
