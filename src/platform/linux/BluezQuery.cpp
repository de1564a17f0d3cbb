// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/BluezQuery.h"

#include <utility>

#include "platform/linux/BluetoothText.h"
#include "platform/linux/BusValues.h"

namespace corvanta {
namespace {

QString objectManager() {
    return QStringLiteral("org.freedesktop.DBus.ObjectManager");
}
QString deviceInterface() {
    return QStringLiteral("org.bluez.Device1");
}
QString batteryInterface() {
    return QStringLiteral("org.bluez.Battery1");
}

}  // namespace

BluezQuery::BluezQuery(BusService::Connect connect, std::chrono::milliseconds callTime)
    : callTime_(callTime),
      service_(std::move(connect),
               {.name = QStringLiteral("org.bluez"),
                .signalNames = {{objectManager(), QStringLiteral("InterfacesAdded")},
                                {objectManager(), QStringLiteral("InterfacesRemoved")}}}) {}

std::optional<BluetoothAnswer> BluezQuery::knownDevices() {
    {
        LockGuard guard(mutex_);
        if (validAt_ != changes_) return std::nullopt;
    }
    // After the first question this no longer blocks.
    if (!service_.listen()) return std::nullopt;
    LockGuard guard(mutex_);
    return told_.answer;
}

std::optional<BluetoothAnswer> BluezQuery::pairedDevices() {
    {
        LockGuard guard(mutex_);
        state_ = BluetoothServiceState::fails;
        validAt_.reset();
        told_ = {};  // should the question hang, no old level stands beside the fallback's devices
    }
    // First, so that no change slips through between the answer and the signals.
    const bool isListening = service_.listen();
    const std::uint64_t changes = changes_;
    const BusAnswer answer = service_.call(QStringLiteral("/"), objectManager(),
                                           QStringLiteral("GetManagedObjects"), {}, callTime_);
    BluetoothServiceState state = BluetoothServiceState::fails;
    Told told = toldBy(answer, state);

    LockGuard guard(mutex_);
    state_ = state;
    told_ = std::move(told);
    if (isListening && state != BluetoothServiceState::fails) validAt_ = changes;
    if (state != BluetoothServiceState::answers) return std::nullopt;
    return told_.answer;
}

std::unique_ptr<Subscription> BluezQuery::subscribe(const std::function<void()>& onChange) {
    ++changes_;  // what happened before was not heard
    return service_.subscribe([this, onChange](const QDBusMessage& signal) {
        if (!isChange(signal)) return;
        ++changes_;
        onChange();
    });
}

std::vector<PeripheralBattery> BluezQuery::batteries() const {
    LockGuard guard(mutex_);
    return told_.batteries;
}

BluetoothServiceState BluezQuery::state() const {
    LockGuard guard(mutex_);
    return state_;
}

BluezQuery::Told BluezQuery::toldBy(const BusAnswer& answer, BluetoothServiceState& state) {
    if (answer.kind == BusAnswer::Kind::absent) state = BluetoothServiceState::isAbsent;
    const auto objects = managedObjectsOf(answer.arguments);
    if (!objects) return {};
    state = BluetoothServiceState::answers;
    Told told;
    told.answer.isCertain = true;
    for (const auto& [path, interfaces] : *objects) {
        const auto found = interfaces.find(deviceInterface());
        if (found == interfaces.end()) continue;
        const QVariantMap& properties = found->second;
        PairedBluetoothDevice device{
            .name = textOf(properties, QStringLiteral("Alias")),
            .isConnected = boolOf(properties, QStringLiteral("Connected")).value_or(false),
            .address = bluetoothAddressIn(textOf(properties, QStringLiteral("Address")).value_or(""))};
        const auto battery = interfaces.find(batteryInterface());
        if (battery != interfaces.end() || device.isConnected) told.counted.insert(path);
        if (battery != interfaces.end() && device.isConnected) {
            const auto percent = integerOf(battery->second, QStringLiteral("Percentage"));
            if (percent && *percent >= 0 && *percent <= 100)
                told.batteries.push_back({percent, device.name, device.address});
        }
        told.answer.devices.push_back(std::move(device));
    }
    return told;
}

bool BluezQuery::isChange(const QDBusMessage& signal) const {
    if (const auto added = addedInterfacesOf(signal)) {
        const auto device = added->interfaces.find(deviceInterface());
        const bool isConnected = device != added->interfaces.end() &&
                                 boolOf(device->second, QStringLiteral("Connected")).value_or(false);
        return isConnected || added->interfaces.count(batteryInterface()) > 0;
    }
    if (const auto removed = removedInterfacesOf(signal)) {
        const bool isOfDevice = removed->interfaces.contains(deviceInterface()) ||
                                removed->interfaces.contains(batteryInterface());
        return isOfDevice && isCounted(removed->path);
    }
    if (const auto change = changedPropertiesOf(signal)) {
        if (change->interface == batteryInterface()) return true;
        if (change->interface != deviceInterface()) return false;
        return change->names(QStringLiteral("Connected")) ||
               (change->names(QStringLiteral("Alias")) && isCounted(signal.path()));
    }
    return signal.member() == QLatin1String("NameOwnerChanged");
}

/// While a question is open its answer may already hold the device, so then any may count.
bool BluezQuery::isCounted(const QString& path) const {
    LockGuard guard(mutex_);
    return !validAt_ || told_.counted.contains(path);
}

}  // namespace corvanta
