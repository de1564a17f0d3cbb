// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/BusValues.h"

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QStringList>
#include <cmath>
#include <limits>
#include <utility>

namespace corvanta {
namespace {

std::optional<std::int64_t> integerIn(const QVariant& value) {
    switch (value.typeId()) {
        case QMetaType::UChar:
        case QMetaType::Short:
        case QMetaType::UShort:
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::LongLong:
            return value.toLongLong();
        case QMetaType::ULongLong:
            if (value.toULongLong() > std::uint64_t(std::numeric_limits<std::int64_t>::max())) break;
            return value.toLongLong();
        default:
            break;
    }
    return std::nullopt;
}

/// The argument, if it is of this signature. Reading one of another would end in garbage.
std::optional<QDBusArgument> argumentOf(const QVariant& value, const char* signature) {
    if (!value.canConvert<QDBusArgument>()) return std::nullopt;
    auto argument = value.value<QDBusArgument>();
    if (argument.currentSignature() != QLatin1String(signature)) return std::nullopt;
    return argument;
}

std::optional<QDBusArgument> onlyArgument(const QVariantList& arguments, const char* signature) {
    if (arguments.size() != 1) return std::nullopt;
    return argumentOf(arguments[0], signature);
}

BusInterfaces readInterfaces(const QDBusArgument& argument) {
    BusInterfaces interfaces;
    for (argument.beginMap(); !argument.atEnd(); argument.endMapEntry()) {
        QString name;
        argument.beginMapEntry();
        argument >> name;
        argument >> interfaces[name];
    }
    argument.endMap();
    return interfaces;
}

/// The first of two arguments, a path.
std::optional<QString> pathOf(const QDBusMessage& signal) {
    const QVariantList arguments = signal.arguments();
    if (arguments.size() != 2 || !arguments[0].canConvert<QDBusObjectPath>()) return std::nullopt;
    return arguments[0].value<QDBusObjectPath>().path();
}

}  // namespace

std::optional<bool> boolOf(const QVariantMap& values, const QString& name) {
    const QVariant value = values.value(name);
    if (value.typeId() != QMetaType::Bool) return std::nullopt;
    return value.toBool();
}

std::optional<std::int64_t> integerOf(const QVariantMap& values, const QString& name) {
    return integerIn(values.value(name));
}

std::optional<double> numberOf(const QVariantMap& values, const QString& name) {
    const QVariant value = values.value(name);
    if (const auto integer = integerIn(value)) return static_cast<double>(*integer);
    if (value.typeId() != QMetaType::Double || !std::isfinite(value.toDouble())) return std::nullopt;
    return value.toDouble();
}

std::optional<std::string> textOf(const QVariantMap& values, const QString& name) {
    const QVariant value = values.value(name);
    if (value.canConvert<QDBusObjectPath>()) return value.value<QDBusObjectPath>().path().toStdString();
    if (value.typeId() != QMetaType::QString) return std::nullopt;
    return value.toString().toStdString();
}

std::optional<QVariantMap> propertiesOf(const QVariantList& arguments) {
    const auto argument = onlyArgument(arguments, "a{sv}");
    if (!argument) return std::nullopt;
    return qdbus_cast<QVariantMap>(*argument);
}

std::optional<BusObjects> managedObjectsOf(const QVariantList& arguments) {
    const auto argument = onlyArgument(arguments, "a{oa{sa{sv}}}");
    if (!argument) return std::nullopt;
    BusObjects objects;
    for (argument->beginMap(); !argument->atEnd(); argument->endMapEntry()) {
        QDBusObjectPath path;
        argument->beginMapEntry();
        *argument >> path;
        objects[path.path()] = readInterfaces(*argument);
    }
    argument->endMap();
    return objects;
}

std::optional<QStringList> pathsOf(const QVariantList& arguments) {
    const auto argument = onlyArgument(arguments, "ao");
    if (!argument) return std::nullopt;
    QStringList paths;
    for (argument->beginArray(); !argument->atEnd();) {
        QDBusObjectPath path;
        *argument >> path;
        paths.append(path.path());
    }
    argument->endArray();
    return paths;
}

std::optional<ChangedProperties> changedPropertiesOf(const QDBusMessage& signal) {
    if (signal.member() != QLatin1String("PropertiesChanged")) return std::nullopt;
    const QVariantList arguments = signal.arguments();
    if (arguments.size() != 3 || arguments[0].typeId() != QMetaType::QString ||
        arguments[2].typeId() != QMetaType::QStringList) {
        return std::nullopt;
    }
    const auto values = argumentOf(arguments[1], "a{sv}");
    if (!values) return std::nullopt;
    return ChangedProperties{arguments[0].toString(), qdbus_cast<QVariantMap>(*values),
                             arguments[2].toStringList()};
}

std::optional<AddedInterfaces> addedInterfacesOf(const QDBusMessage& signal) {
    if (signal.member() != QLatin1String("InterfacesAdded")) return std::nullopt;
    auto path = pathOf(signal);
    if (!path) return std::nullopt;
    const auto interfaces = argumentOf(signal.arguments()[1], "a{sa{sv}}");
    if (!interfaces) return std::nullopt;
    return AddedInterfaces{std::move(*path), readInterfaces(*interfaces)};
}

std::optional<RemovedInterfaces> removedInterfacesOf(const QDBusMessage& signal) {
    if (signal.member() != QLatin1String("InterfacesRemoved")) return std::nullopt;
    auto path = pathOf(signal);
    if (!path) return std::nullopt;
    const QVariant interfaces = signal.arguments()[1];
    if (interfaces.typeId() != QMetaType::QStringList) return std::nullopt;
    return RemovedInterfaces{std::move(*path), interfaces.toStringList()};
}

}  // namespace corvanta
