// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDBusError>
#include <QDBusObjectPath>
#include <map>
#include <memory>
#include <utility>

#include "support/MockService.h"

namespace corvanta::test {

/// A service inside the test whose objects have properties, and which lists the paths of its devices.
///
/// Owned by a test. Main thread only, whose events must be served.
class PropertyPeer {
  public:
    PropertyPeer(const QString& address, const QString& busName)
        : peer_(address, busName, [this](const QDBusMessage& call) { return answer(call); }) {}

    /// The properties of an object, each time they are asked for.
    QVariantMap& properties(const QString& path) { return objects_[path]; }
    /// Changes a property and announces it.
    void change(const QString& path, const QString& interface, const QString& name, const QVariant& value) {
        objects_[path][name] = value;
        announce(path, interface, {{name, value}}, {});
    }
    void announce(const QString& path, const QString& interface, const QVariantMap& values,
                  const QStringList& invalidated) {
        peer_.emitSignal(path, QStringLiteral("org.freedesktop.DBus.Properties"),
                         QStringLiteral("PropertiesChanged"), {interface, values, invalidated});
    }

    /// From now on this stands in place of the list of its devices.
    void listDevicesAs(const QVariant& list) { list_ = list; }
    /// From now on no call is answered.
    void fallSilent() {
        peer_.setAnswer([](const QDBusMessage&) { return QDBusMessage(); });
    }
    /// From now on every call is refused.
    void refuse() {
        peer_.setAnswer([](const QDBusMessage& call) {
            return call.createErrorReply(QDBusError::AccessDenied, QStringLiteral("no"));
        });
    }
    BusPeer& peer() { return peer_; }

  private:
    QDBusMessage answer(const QDBusMessage& call) const {
        if (call.member() == QLatin1String("EnumerateDevices")) {
            if (list_.isValid()) return call.createReply(list_);
            QList<QDBusObjectPath> paths;
            for (const auto& [path, properties] : objects_) {
                if (path.contains(QLatin1String("/devices/battery"))) paths.append(QDBusObjectPath(path));
            }
            return call.createReply(QVariant::fromValue(paths));
        }
        const auto object = objects_.find(call.path());
        if (object == objects_.end()) {
            return call.createErrorReply(QDBusError::UnknownObject, QStringLiteral("no such object"));
        }
        return call.createReply(QVariant(object->second));
    }

    std::map<QString, QVariantMap> objects_;
    QVariant list_;
    BusPeer peer_;
};

}  // namespace corvanta::test
