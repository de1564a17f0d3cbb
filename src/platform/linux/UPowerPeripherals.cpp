// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/UPowerPeripherals.h"

#include <QStringList>
#include <utility>

#include "platform/linux/BluetoothText.h"
#include "platform/linux/BusValues.h"

namespace corvanta {
namespace {

// As UPower numbers them.
constexpr std::int64_t batteryType = 2;
constexpr std::int64_t firstPeripheralType = 5;
constexpr std::int64_t unknownLevel = 0;

QString managerPath() {
    return QStringLiteral("/org/freedesktop/UPower");
}
QString managerInterface() {
    return QStringLiteral("org.freedesktop.UPower");
}
QString deviceInterface() {
    return QStringLiteral("org.freedesktop.UPower.Device");
}

/// Whether it feeds the machine itself.
bool isMachineSupply(const QVariantMap& properties) {
    return boolOf(properties, QStringLiteral("PowerSupply")).value_or(true);
}

}  // namespace

UPowerPeripherals::UPowerPeripherals(BusService::Connect connect)
    : service_(std::move(connect), {.name = QStringLiteral("org.freedesktop.UPower"),
                                    .signalNames = {{managerInterface(), QStringLiteral("DeviceAdded")},
                                                    {managerInterface(), QStringLiteral("DeviceRemoved")}}}) {
}

std::vector<UPowerPeripherals::Battery> UPowerPeripherals::read() {
    const bool isListening = service_.listen();
    const std::uint64_t changes = changes_;
    {
        LockGuard guard(mutex_);
        if (isListening && validAt_ == changes) return batteries_;
    }
    std::vector<Battery> batteries;
    const bool isCertain = ask(batteries);

    LockGuard guard(mutex_);
    batteries_ = batteries;
    validAt_.reset();
    if (isListening && isCertain) validAt_ = changes;
    return batteries;
}

/// False when the answer, or that there is none, may be another the next time.
bool UPowerPeripherals::ask(std::vector<Battery>& batteries) {
    using Kind = BusAnswer::Kind;
    const BusAnswer list =
        service_.call(managerPath(), managerInterface(), QStringLiteral("EnumerateDevices"));
    const auto paths = pathsOf(list.arguments);
    if (!paths) return list.kind == Kind::absent;
    bool isCertain = true;
    QSet<QString> machineSupplies;
    for (const QString& path : *paths) {
        const auto properties = service_.properties(path, deviceInterface());
        if (!properties) {
            isCertain = false;
            continue;
        }
        if (isMachineSupply(*properties)) machineSupplies.insert(path);
        if (auto battery = batteryOf(*properties)) batteries.push_back(std::move(*battery));
    }
    LockGuard guard(mutex_);
    machineSupplies_ = std::move(machineSupplies);
    return isCertain;
}

std::unique_ptr<Subscription> UPowerPeripherals::subscribe(const std::function<void()>& onChange) {
    ++changes_;  // what happened before was not heard
    return service_.subscribe([this, onChange](const QDBusMessage& signal) {
        if (!isChange(signal)) return;
        ++changes_;
        onChange();
    });
}

std::optional<UPowerPeripherals::Battery> UPowerPeripherals::batteryOf(const QVariantMap& properties) {
    const auto type = integerOf(properties, QStringLiteral("Type")).value_or(0);
    const bool isPeripheral =
        !isMachineSupply(properties) && (type == batteryType || type >= firstPeripheralType);
    const bool isPresent = boolOf(properties, QStringLiteral("IsPresent")).value_or(true);
    const auto percentage = numberOf(properties, QStringLiteral("Percentage"));
    if (!isPeripheral || !isPresent || !percentage || *percentage < 0 || *percentage > 100 ||
        integerOf(properties, QStringLiteral("BatteryLevel")) == unknownLevel)
        return std::nullopt;

    Battery battery;
    battery.battery.batteryPercent = static_cast<std::int64_t>(*percentage);
    // What it doesn't know it calls by no name.
    auto model = textOf(properties, QStringLiteral("Model"));
    if (model && !model->empty()) battery.battery.product = std::move(model);
    battery.nativePath = textOf(properties, QStringLiteral("NativePath")).value_or("");
    battery.battery.address = bluetoothAddressIn(battery.nativePath);
    if (battery.battery.address.empty())
        battery.battery.address =
            bluetoothAddressIn(textOf(properties, QStringLiteral("Serial")).value_or(""));
    return battery;
}

bool UPowerPeripherals::isChange(const QDBusMessage& signal) const {
    if (signal.member() != QLatin1String("PropertiesChanged")) return true;
    const auto change = changedPropertiesOf(signal);
    if (!change || change->interface != deviceInterface() ||
        signal.path().endsWith(QLatin1String("/DisplayDevice")))
        return false;
    {
        LockGuard guard(mutex_);
        if (machineSupplies_.contains(signal.path())) return false;
    }
    // It tells of the time of each of its own readings, too.
    for (const char* name : {"Percentage", "IsPresent", "BatteryLevel", "Model", "Type", "PowerSupply"}) {
        if (change->names(QLatin1String(name))) return true;
    }
    return false;
}

}  // namespace corvanta
