// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDBusMessage>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace corvanta {

// What a peer on a bus has sent, read without trust: a value of another type than the one asked for is
// absent, as is one that is not there. Any thread.

std::optional<bool> boolOf(const QVariantMap& values, const QString& name);
/// Of any of the bus's integer types that fits.
std::optional<std::int64_t> integerOf(const QVariantMap& values, const QString& name);
/// A finite number, or an integer.
std::optional<double> numberOf(const QVariantMap& values, const QString& name);
/// A text or an object's path, in UTF-8.
std::optional<std::string> textOf(const QVariantMap& values, const QString& name);

/// The properties of each interface of one object, by the interface's name.
using BusInterfaces = std::map<QString, QVariantMap>;
/// The objects of a service, by their paths.
using BusObjects = std::map<QString, BusInterfaces>;

/// The only argument of a `GetAll`.
std::optional<QVariantMap> propertiesOf(const QVariantList& arguments);
/// The only argument of a `GetManagedObjects`.
std::optional<BusObjects> managedObjectsOf(const QVariantList& arguments);
/// The only argument, a list of paths.
std::optional<QStringList> pathsOf(const QVariantList& arguments);

/// What a `PropertiesChanged` tells.
struct ChangedProperties {
    QString interface;
    QVariantMap values;
    QStringList invalidated;  ///< changed as well, without the new value

    bool names(const QString& property) const {
        return values.contains(property) || invalidated.contains(property);
    }
};
/// Absent for any other signal.
std::optional<ChangedProperties> changedPropertiesOf(const QDBusMessage& signal);

/// What an `InterfacesAdded` tells: an object that has come, or more about one that was there.
struct AddedInterfaces {
    QString path;
    BusInterfaces interfaces;
};
/// Absent for any other signal.
std::optional<AddedInterfaces> addedInterfacesOf(const QDBusMessage& signal);

/// What an `InterfacesRemoved` tells: an object that has left, or less about one that is still there.
struct RemovedInterfaces {
    QString path;
    QStringList interfaces;
};
/// Absent for any other signal.
std::optional<RemovedInterfaces> removedInterfacesOf(const QDBusMessage& signal);

}  // namespace corvanta
