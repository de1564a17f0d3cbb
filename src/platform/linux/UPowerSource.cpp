// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/UPowerSource.h"

#include <algorithm>
#include <cmath>

#include "core/Saturate.h"
#include "platform/linux/BusValues.h"

namespace corvanta {
namespace {

constexpr const char* daemonPath = "/org/freedesktop/UPower";
constexpr const char* daemonInterface = "org.freedesktop.UPower";
constexpr const char* displayPath = "/org/freedesktop/UPower/devices/DisplayDevice";
constexpr const char* deviceInterface = "org.freedesktop.UPower.Device";

constexpr std::int64_t batteryType = 2;
constexpr std::int64_t chargingState = 1;

QString text(const char* literal) {
    return QString::fromLatin1(literal);
}

/// One round of questions.
struct Inquiry {
    BusService& service;
    bool isThere = true;  ///< it has answered each of them, be it with an error

    QVariantList call(const QString& path, const char* interface, const char* member,
                      const QVariantList& arguments = {}) {
        const BusAnswer answer = service.call(path, text(interface), text(member), arguments);
        if (answer.kind == BusAnswer::Kind::absent || answer.kind == BusAnswer::Kind::silent) isThere = false;
        return answer.arguments;
    }
    std::optional<QVariantMap> properties(const QString& path, const char* interface) {
        return propertiesOf(call(path, "org.freedesktop.DBus.Properties", "GetAll", {text(interface)}));
    }
};

/// From seconds, where 0 is none.
std::optional<std::int64_t> minutesOf(const QVariantMap& device, const char* property) {
    const auto seconds = integerOf(device, text(property));
    if (!seconds) return std::nullopt;
    return *seconds == 0 ? noEstimate : *seconds / 60;
}

PowerSourceDescription descriptionOf(const QVariantMap& display) {
    PowerSourceDescription source;
    if (const auto share = shareOfPercentage(numberOf(display, text("Percentage")).value_or(-1))) {
        source.currentCapacity = share->current;
        source.maxCapacity = share->max;
    }
    if (const auto state = integerOf(display, text("State"))) source.isCharging = *state == chargingState;
    source.timeToFullCharge = minutesOf(display, "TimeToFull");
    source.timeToEmpty = minutesOf(display, "TimeToEmpty");
    return source;
}

/// Adds one battery's energies, if it tells both.
void addEnergies(BatteryRegistry& registry, const QVariantMap& device) {
    const double full = numberOf(device, text("EnergyFull")).value_or(0);
    const double design = numberOf(device, text("EnergyFullDesign")).value_or(0);
    if (full <= 0 || design <= 0) return;
    const auto add = [](std::optional<std::int64_t>& sum, double wattHours) {
        sum = saturatedInt64(static_cast<double>(sum.value_or(0)) + std::round(1000 * wattHours));
    };
    add(registry.rawMaxCapacity, full);
    add(registry.designCapacity, design);
}

/// In thousandths of watt hours. The cycles are those of the battery that has the most of them.
BatteryRegistry registryOf(Inquiry& inquiry) {
    BatteryRegistry registry;
    const auto paths = pathsOf(inquiry.call(text(daemonPath), daemonInterface, "EnumerateDevices"));
    for (const QString& path : paths.value_or(QStringList())) {
        const QVariantMap device = inquiry.properties(path, deviceInterface).value_or(QVariantMap());
        // Without the second it would be a peripheral's.
        if (integerOf(device, text("Type")) != batteryType || boolOf(device, text("PowerSupply")) != true) {
            continue;
        }
        const auto cycles = integerOf(device, text("ChargeCycles"));
        if (cycles >= 1) registry.cycleCount = std::max(registry.cycleCount, cycles);
        addEnergies(registry, device);
    }
    return registry;
}

/// Absent when UPower does not answer the first question.
std::optional<PowerReading> readingOf(Inquiry& inquiry) {
    const auto display = inquiry.properties(text(displayPath), deviceInterface);
    if (!display) return std::nullopt;
    // Another type is that of a desktop's own supply that guards it against power cuts.
    if (integerOf(*display, text("Type")) != batteryType || boolOf(*display, text("IsPresent")) != true) {
        return PowerReading{};
    }
    PowerSourceDescription source = descriptionOf(*display);
    const auto daemon = inquiry.properties(text(daemonPath), daemonInterface).value_or(QVariantMap());
    if (const auto onBattery = boolOf(daemon, text("OnBattery"))) {
        source.powerSourceState = *onBattery ? onBatteryState : onMainsState;
    }
    return PowerReading{{source}, registryOf(inquiry)};
}

}  // namespace

BusService::Description UPowerSource::description() {
    return {.name = text(daemonInterface),
            .isStartedOnDemand = true,
            .signalNames = {{text(daemonInterface), text("DeviceAdded")},
                            {text(daemonInterface), text("DeviceRemoved")}}};
}

std::optional<PowerReading> UPowerSource::read() {
    const bool isListening = service_.listen();
    // What changes while it is being read is read again the next time.
    const std::uint64_t changes = service_.changes();
    if (isListening && isHeld_ && changes == changes_) return reading_;
    Inquiry inquiry{service_};
    reading_ = readingOf(inquiry);
    if (!inquiry.isThere) reading_.reset();
    isHeld_ = inquiry.isThere;
    changes_ = changes;
    return reading_;
}

bool UPowerSource::isPowerChange(const QDBusMessage& signal) {
    if (signal.member() == QLatin1String("DeviceAdded") || signal.member() == QLatin1String("DeviceRemoved"))
        return true;
    const auto changed = changedPropertiesOf(signal);
    if (!changed) return false;
    if (signal.path() == QLatin1String(daemonPath)) return changed->names(text("OnBattery"));
    return signal.path() == QLatin1String(displayPath) && changed->names(text("State"));
}

}  // namespace corvanta
