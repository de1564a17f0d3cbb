// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QString>
#include <QVariantMap>

#include "support/MockService.h"

namespace corvanta::test {

/// BlueZ with one adapter, in a program of its own on a private bus.
class MockBluez final : public MockService {
  public:
    explicit MockBluez(const QString& address)
        : MockService(address, QStringLiteral("org.bluez"), QStringLiteral("bluez5")) {
        ask(QStringLiteral("AddAdapter"), {QStringLiteral("hci0"), QStringLiteral("pc")});
    }

    static QString pathOf(QString device) {
        return QStringLiteral("/org/bluez/hci0/dev_") + device.replace(u':', u'_');
    }

    void add(const QString& device, const QString& alias) const {
        ask(QStringLiteral("AddDevice"), {QStringLiteral("hci0"), device, alias});
    }
    void connect(const QString& device) const {
        ask(QStringLiteral("ConnectDevice"), {QStringLiteral("hci0"), device});
    }
    void disconnect(const QString& device) const {
        ask(QStringLiteral("DisconnectDevice"), {QStringLiteral("hci0"), device});
    }
    void remove(const QString& device) const {
        call(QStringLiteral("/org/bluez/hci0"), QStringLiteral("org.bluez.Adapter1"),
             QStringLiteral("RemoveDevice"), {QVariant::fromValue(QDBusObjectPath(pathOf(device)))});
    }
    void rename(const QString& device, const QString& alias) const {
        update(device, QStringLiteral("org.bluez.Device1"), {{QStringLiteral("Alias"), alias}});
    }
    /// The template knows no batteries, and announces none.
    void addBattery(const QString& device, uchar percentage) const {
        mock(pathOf(device), QStringLiteral("AddProperties"),
             {batteryInterface(),
              QVariantMap{{QStringLiteral("Percentage"), QVariant::fromValue(percentage)}}});
        update(device, batteryInterface(), {{QStringLiteral("Percentage"), QVariant::fromValue(percentage)}});
    }
    void setBattery(const QString& device, uchar percentage) const {
        update(device, batteryInterface(), {{QStringLiteral("Percentage"), QVariant::fromValue(percentage)}});
    }
    void update(const QString& device, const QString& interface, const QVariantMap& properties) const {
        mock(pathOf(device), QStringLiteral("UpdateProperties"), {interface, properties});
    }

  private:
    static QString batteryInterface() { return QStringLiteral("org.bluez.Battery1"); }
    void ask(const QString& member, const QVariantList& arguments) const {
        call(QStringLiteral("/"), QStringLiteral("org.bluez.Mock"), member, arguments);
    }
};

}  // namespace corvanta::test
