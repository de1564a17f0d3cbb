// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/sysmacros.h>

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QList>
#include <QString>
#include <QVariantMap>

#include "support/MockService.h"

namespace corvanta::test {

/// A method of a mocked object, in the form that the mock takes.
struct MockMethod {
    QString name;
    QString in;
    QString out;
    QString code;
};

inline QDBusArgument& operator<<(QDBusArgument& argument, const MockMethod& method) {
    argument.beginStructure();
    argument << method.name << method.in << method.out << method.code;
    argument.endStructure();
    return argument;
}

inline const QDBusArgument& operator>>(const QDBusArgument& argument, MockMethod& method) {
    argument.beginStructure();
    argument >> method.name >> method.in >> method.out >> method.code;
    argument.endStructure();
    return argument;
}

/// The disk service with one disk, of the number 8:0.
class MockUdisks : public MockService {
  public:
    static constexpr const char* busName = "org.freedesktop.UDisks2";

    explicit MockUdisks(const QString& address)
        : MockService(address, QLatin1String(busName), root(),
                      QStringLiteral("org.freedesktop.UDisks2.Manager")) {
        qDBusRegisterMetaType<MockMethod>();
        qDBusRegisterMetaType<QList<MockMethod>>();
        add(drive(), QStringLiteral("org.freedesktop.UDisks2.Drive"),
            {{QStringLiteral("Vendor"), QString()},
             {QStringLiteral("Model"), QStringLiteral("Samsung SSD 860 EVO 500GB")}});
        add(QStringLiteral("/org/freedesktop/UDisks2/block_devices/sda"),
            QStringLiteral("org.freedesktop.UDisks2.Block"),
            {{QStringLiteral("Device"), QByteArray("/dev/sda", 9)},
             {QStringLiteral("DeviceNumber"), qulonglong(gnu_dev_makedev(8, 0))},
             {QStringLiteral("Drive"), QVariant::fromValue(QDBusObjectPath(drive()))}});
    }

    void describeDrive(const QString& interface, const QVariantMap& properties) const {
        mock(drive(), QStringLiteral("AddProperties"), {interface, properties});
    }
    void tellAta(bool isFailing) const {
        describeDrive(QStringLiteral("org.freedesktop.UDisks2.Drive.Ata"),
                      {{QStringLiteral("SmartSupported"), true},
                       {QStringLiteral("SmartEnabled"), true},
                       {QStringLiteral("SmartUpdated"), qulonglong(1'795'000'000)},
                       {QStringLiteral("SmartFailing"), isFailing}});
    }

  private:
    static QString root() { return QStringLiteral("/org/freedesktop/UDisks2"); }
    static QString drive() { return QStringLiteral("/org/freedesktop/UDisks2/drives/Disk"); }

    void add(const QString& path, const QString& interface, const QVariantMap& properties) const {
        mock(root(), QStringLiteral("AddObject"),
             {path, interface, properties, QVariant::fromValue(QList<MockMethod>())});
    }
};

}  // namespace corvanta::test
