// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/JsonDefaultsStore.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <cstdlib>
#include <utility>

#include "core/Log.h"
#include "platform/linux/PrivateFile.h"

namespace corvanta {
namespace {

// A settings file has a few kilobytes. The limit keeps a wrong file from filling the memory.
constexpr qint64 largestFile = 4'194'304;

QString text(std::string_view utf8) {
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

std::optional<DefaultsValue> number(const QJsonValue& value) {
    // JSON doesn't tell 3 from 3.0. An integer beyond 2^53 is exact only when it is not read as a double.
    const QVariant variant = value.toVariant();
    if (variant.typeId() == QMetaType::LongLong) return DefaultsValue(std::int64_t{variant.toLongLong()});
    return DefaultsValue(value.toDouble());
}

std::optional<DefaultsValue> strings(const QJsonArray& array) {
    std::vector<std::string> list;
    for (const auto& item : array) {
        if (!item.isString()) return std::nullopt;
        list.push_back(item.toString().toStdString());
    }
    return list;
}

}  // namespace

std::optional<QJsonObject> parseSettings(QByteArrayView bytes) {
    const auto document = QJsonDocument::fromJson(QByteArray::fromRawData(bytes.data(), bytes.size()));
    if (!document.isObject()) return std::nullopt;
    return document.object();
}

std::optional<DefaultsValue> defaultsValue(const QJsonValue& value) {
    switch (value.type()) {
        case QJsonValue::Bool:
            return value.toBool();
        case QJsonValue::Double:
            return number(value);
        case QJsonValue::String:
            return value.toString().toStdString();
        case QJsonValue::Array:
            return strings(value.toArray());
        case QJsonValue::Null:
        case QJsonValue::Object:
        case QJsonValue::Undefined:
            return std::nullopt;
    }
    std::abort();
}

QJsonValue jsonValue(const DefaultsValue& value) {
    struct Writer {
        QJsonValue operator()(bool stored) const { return stored; }
        QJsonValue operator()(std::int64_t stored) const { return qint64{stored}; }
        QJsonValue operator()(double stored) const { return stored; }
        QJsonValue operator()(const std::string& stored) const { return text(stored); }
        QJsonValue operator()(const std::vector<std::string>& stored) const {
            QJsonArray array;
            for (const std::string& item : stored) array.append(text(item));
            return array;
        }
    };
    return std::visit(Writer{}, value);
}

JsonDefaultsStore::JsonDefaultsStore(std::string path, Access access)
    : path_(std::move(path)), mayWrite_(access == Access::readWrite) {
    load();
}

std::optional<DefaultsValue> JsonDefaultsStore::value(std::string_view key) const {
    thread_.check();
    return defaultsValue(object_.value(text(key)));
}

void JsonDefaultsStore::set(std::string_view key, const DefaultsValue& value) {
    thread_.check();
    object_.insert(text(key), jsonValue(value));
    write();
}

void JsonDefaultsStore::remove(std::string_view key) {
    thread_.check();
    if (object_.take(text(key)).isUndefined()) return;
    write();
}

void JsonDefaultsStore::load() {
    QFile file(text(path_));
    const QFileInfo info(file);
    if (!info.exists()) return;
    if (!info.isFile()) return leaveAlone("it is not a regular file");
    if (!file.open(QIODevice::ReadOnly)) return leaveAlone(file.errorString().toStdString());
    const QByteArray bytes = file.read(largestFile + 1);
    if (file.error() != QFile::NoError) return leaveAlone(file.errorString().toStdString());
    file.close();
    auto object = bytes.size() > largestFile ? std::nullopt : parseSettings(bytes);
    if (object) {
        object_ = *std::move(object);
    } else {
        setAside();
    }
}

void JsonDefaultsStore::setAside() {
    if (!mayWrite_) return leaveAlone("it holds no settings");
    QString free;
    for (int number = 1; free.isEmpty() || QFileInfo::exists(free) || QFileInfo(free).isSymLink(); ++number) {
        free = text(path_) + QStringLiteral(".damaged-%1").arg(number);
    }
    // Refuses, too, if the name is taken by now.
    if (!QFile::rename(text(path_), free)) return leaveAlone("it holds no settings and can't be set aside");
    logLine("The settings file held no settings and was set aside as " + free.toStdString());
}

void JsonDefaultsStore::leaveAlone(const std::string& reason) {
    mayWrite_ = false;
    logLine("Could not read the settings file " + path_ + ": " + reason);
}

void JsonDefaultsStore::write() {
    if (!mayWrite_) return;
    const auto failure = writePrivateFile(path_, QJsonDocument(object_).toJson().toStdString());
    if (failure && !writeFailed_) logLine("Could not write the settings file " + path_ + ": " + *failure);
    writeFailed_ = failure.has_value();
}

}  // namespace corvanta
