// SPDX-License-Identifier: Apache-2.0
#include "monitoring/BluetoothMonitor.h"

#include <QCollator>
#include <QPointer>
#include <QThread>
#include <algorithm>
#include <utility>

namespace corvanta {
namespace {

void sortByName(std::vector<BluetoothDevice>& devices) {
    // A process's first collator loads large tables, which most machines can do without.
    if (devices.size() < 2) return;
    QCollator collator;
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    std::stable_sort(devices.begin(), devices.end(), [&](const BluetoothDevice& a, const BluetoothDevice& b) {
        return collator.compare(QString::fromStdString(a.name), QString::fromStdString(b.name)) < 0;
    });
}

QString keyOf(const BluetoothDevice& device) {
    return QString::fromStdString(device.name).toLower();
}

}  // namespace

BluetoothMonitor::BluetoothMonitor(const Platform& platform, AppSettings& settings, BluetoothAlerts& alerts)
    : platform_(platform),
      settings_(settings),
      alerts_(alerts),
      gatherer_(std::make_shared<BluetoothGatherer>(platform)),
      workQueue_(platform.threadSetup) {
    // Whole seconds are enough, and let the timer share a wake-up with others.
    refreshTimer_.setTimerType(Qt::VeryCoarseTimer);
    refreshTimer_.callOnTimeout(this, &BluetoothMonitor::refresh);
    eventTimer_.setSingleShot(true);
    eventTimer_.callOnTimeout(this, &BluetoothMonitor::refresh);
    const auto onEvent = [this] { eventTimer_.start(eventDelay); };
    connectionEvents_ = platform.bluetoothQuery.subscribe(onEvent);
    batteryEvents_ = platform.peripheralBatteries.subscribe(onEvent);
    refreshTimer_.start(refreshInterval);
    refresh();
}

BluetoothMonitor::~BluetoothMonitor() {
    workQueue_.cancelAll();
    workQueue_.waitForAll();
}

void BluetoothMonitor::refresh() {
    Q_ASSERT(thread() == QThread::currentThread());
    if (refreshInProgress_) return;
    refreshInProgress_ = true;

    workQueue_.compute<Devices>(
        "com.corvanta.bluetoothmonitor.work",
        [gatherer = gatherer_](const std::stop_token& stop) {
            Devices devices = gatherer->gather(stop);
            sortByName(devices);
            return devices;
        },
        platform_.mainExecutor,
        [self = QPointer(this)](std::optional<Devices> devices) {
            if (self) self->finish(std::move(devices));
        });
}

std::vector<BluetoothDevice> BluetoothMonitor::readOnce(const Platform& platform) {
    Devices devices = BluetoothGatherer(platform, std::chrono::seconds(0)).gather({});
    sortByName(devices);
    return devices;
}

void BluetoothMonitor::finish(std::optional<Devices> devices) {
    Q_ASSERT(thread() == QThread::currentThread());
    refreshInProgress_ = false;
    if (!devices) return;
    if (*devices != connectedDevices_) {
        connectedDevices_ = std::move(*devices);
        Q_EMIT changed();
    }
    warnOfLowBatteries();
}

void BluetoothMonitor::warnOfLowBatteries() {
    QSet<QString> present;
    for (const BluetoothDevice& device : connectedDevices_) present.insert(keyOf(device));
    lowBatteryNotifiedDevices_.intersect(present);
    if (!settings_.notificationsEnabled() || !settings_.notifyOnLowBluetoothBattery()) return;

    for (const BluetoothDevice& device : connectedDevices_) {
        const QString key = keyOf(device);
        // Levels in between change nothing, so that one which flickers about the limit warns once.
        if (device.batteryLevel >= rearmedLevel) {
            lowBatteryNotifiedDevices_.remove(key);
        } else if (device.isLowBattery() && !lowBatteryNotifiedDevices_.contains(key)) {
            alerts_.notifyLowBluetoothBattery(device.name, device.batteryLevel);
            lowBatteryNotifiedDevices_.insert(key);
        }
    }
}

}  // namespace corvanta
