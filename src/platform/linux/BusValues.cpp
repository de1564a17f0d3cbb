// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/BusValues.h"

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QStringList>
#include <cmath>
#include <limits>

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
std::optional<QDBusArgument> onlyArgument(const QVariantList& arguments, const char* signature) {
    if (arguments.size() != 1 || !arguments[0].canConvert<QDBusArgument>()) return std::nullopt;
    auto argument = arguments[0].value<QDBusArgument>();
    if (argument.currentSignature() != QLatin1String(signature)) return std::nullopt;
    return argument;
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
        BusInterfaces& interfaces = objects[path.path()];
        argument->beginMap();
        for (; !argument->atEnd(); argument->endMapEntry()) {
            QString name;
            argument->beginMapEntry();
            *argument >> name >> interfaces[name];
        }
        argument->endMap();
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

std::optional<PropertiesChange> propertiesChangeOf(const QVariantList& arguments) {
    if (arguments.size() != 3 || arguments[0].typeId() != QMetaType::QString ||
        arguments[2].typeId() != QMetaType::QStringList)
        return std::nullopt;
    const auto values = propertiesOf({arguments[1]});
    if (!values) return std::nullopt;
    PropertiesChange change{arguments[0].toString(), {}};
    for (auto value = values->begin(); value != values->end(); ++value) change.names.insert(value.key());
    for (const QString& name : arguments[2].toStringList()) change.names.insert(name);
    return change;
}

}  // namespace corvanta
