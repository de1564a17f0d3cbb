// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/Clock.h"
#include "core/Executor.h"
#include "core/Waiter.h"
#include "platform/BluetoothSources.h"
#include "platform/CpuTickSource.h"
#include "platform/DefaultsStore.h"
#include "platform/DriveHealthSource.h"
#include "platform/LoginItem.h"
#include "platform/MachineFacts.h"
#include "platform/MemoryCounterSource.h"
#include "platform/MemoryPressureEventSource.h"
#include "platform/NetCounterSource.h"
#include "platform/NotificationService.h"
#include "platform/PowerSources.h"
#include "platform/ProcessLister.h"
#include "platform/ProcessSignaller.h"
#include "platform/ThermalSource.h"
#include "platform/ThreadSetup.h"
#include "platform/VolumeCapacitySource.h"

namespace corvanta {

/// Everything that the program asks of one machine. The backend owns the ports; this only names them.
struct Platform {
    Clock& clock;
    Waiter& waiter;
    Executor& mainExecutor;
    ThreadSetup& threadSetup;
    CpuTickSource& cpuTicks;
    MemoryCounterSource& memoryCounters;
    MemoryPressureEventSource& memoryPressureEvents;
    NetCounterSource& netCounters;
    VolumeCapacitySource& volumeCapacity;
    DriveHealthSource& driveHealth;
    ProcessLister& processes;
    ProcessSignaller& processSignaller;
    PowerSourceReader& powerSources;
    LowPowerSource& lowPower;
    PowerChangeSource& powerChanges;
    BluetoothQuery& bluetoothQuery;
    BluetoothFallback& bluetoothFallback;
    PeripheralBatterySource& peripheralBatteries;
    ThermalSource& thermal;
    MachineFacts& machineFacts;
    DefaultsStore& defaults;
    LoginItem& loginItem;
    NotificationService& notifications;
};

/// The platform that the shared instances are built on. Installed once by the program before the first of
/// them is made; asking before that ends the program. The installed platform must outlive all of them.
const Platform& installedPlatform();
void installPlatform(const Platform& platform);

}  // namespace corvanta
