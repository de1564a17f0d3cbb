// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QString>
#include <QVariantMap>

#include "support/MockService.h"

namespace corvanta::test {

inline const QString upowerName = QStringLiteral("org.freedesktop.UPower");
inline const QString upowerPath = QStringLiteral("/org/freedesktop/UPower");
inline const QString upowerDeviceInterface = QStringLiteral("org.freedesktop.UPower.Device");

/// A mouse with half a charge.
inline QVariantMap peripheral(const QVariantMap& others = {}) {
    QVariantMap result = {{QStringLiteral("Type"), 5U},
                          {QStringLiteral("PowerSupply"), false},
                          {QStringLiteral("IsPresent"), true},
                          {QStringLiteral("Model"), QStringLiteral("Mouse")},
                          {QStringLiteral("NativePath"), QStringLiteral("hidpp_battery_0")},
                          {QStringLiteral("Percentage"), 50.0},
                          {QStringLiteral("BatteryLevel"), 1U}};
    for (auto other = others.begin(); other != others.end(); ++other) result[other.key()] = other.value();
    return result;
}

/// The power service of the system, whose devices a test adds.
///
/// Owned by a test.
class MockUPower final : public MockService {
  public:
    explicit MockUPower(const QString& address)
        : MockService(address, upowerName, QStringLiteral("upower")) {}

    static QString pathOf(const QString& device) { return upowerPath + QStringLiteral("/devices/") + device; }

    void add(const QString& device, const QVariantMap& properties) const {
        mock(upowerPath, QStringLiteral("AddDischargingBattery"), {device, QStringLiteral("x"), 1.0, 1LL});
        set(device, properties);
        mock(upowerPath, QStringLiteral("EmitSignal"),
             {upowerName, QStringLiteral("DeviceAdded"), QStringLiteral("o"),
              QVariantList{QVariant::fromValue(QDBusObjectPath(pathOf(device)))}});
    }
    void set(const QString& device, const QVariantMap& properties) const {
        // Those that are there already are refused.
        for (auto property = properties.begin(); property != properties.end(); ++property) {
            mock(
                pathOf(device), QStringLiteral("AddProperty"),
                {upowerDeviceInterface, property.key(), QVariant::fromValue(QDBusVariant(property.value()))});
        }
        mock(pathOf(device), QStringLiteral("UpdateProperties"), {upowerDeviceInterface, properties});
    }
    void remove(const QString& device) const {
        mock(upowerPath, QStringLiteral("RemoveDevice"),
             {QVariant::fromValue(QDBusObjectPath(pathOf(device)))});
    }
};

}  // namespace corvanta::test
