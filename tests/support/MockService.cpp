// SPDX-License-Identifier: Apache-2.0
#include "support/MockService.h"

#include <signal.h>

#include <QDBusConnectionInterface>
#include <QDBusVariant>
#include <QUuid>
#include <utility>

#include "support/Eventually.h"

namespace corvanta::test {
namespace {

QStringList mockArguments(const QStringList& arguments) {
    return QStringList{QStringLiteral("-m"), QStringLiteral("dbusmock"), QStringLiteral("--session")} +
           arguments;
}

// Not the first python of the path, which may be one without the system's modules.
QString python() {
    return QStringLiteral("/usr/bin/python3");
}

}  // namespace

QDBusConnection connectionTo(const QString& address, const QString& name) {
    return QDBusConnection::connectToBus(address, address + name);
}

ServiceProgram::ServiceProgram(const QString& address, const QString& busName, const QString& program,
                               const QStringList& arguments, const QStringList& environment)
    : address_(address), busName_(busName) {
    QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
    variables.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), address);
    variables.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), address);
    for (const QString& entry : environment) {
        variables.insert(entry.section(u'=', 0, 0), entry.section(u'=', 1));
    }
    process_.setProcessEnvironment(variables);
    process_.setStandardOutputFile(QProcess::nullDevice());
    process_.setStandardErrorFile(QProcess::nullDevice());
    process_.start(program, arguments);
    eventually([this] { return isOnBus() || process_.state() == QProcess::NotRunning; });
}

ServiceProgram::~ServiceProgram() {
    kill();
}

bool ServiceProgram::isOnBus() const {
    return connectionTo(address_, QStringLiteral("test")).interface()->isServiceRegistered(busName_);
}

void ServiceProgram::kill() {
    process_.kill();
    process_.waitForFinished();
}

void ServiceProgram::freeze() const {
    ::kill(static_cast<pid_t>(pid()), SIGSTOP);
}

void ServiceProgram::resume() const {
    ::kill(static_cast<pid_t>(pid()), SIGCONT);
}

QDBusMessage ServiceProgram::call(const QString& path, const QString& interface, const QString& member,
                                  const QVariantList& arguments) const {
    QDBusMessage message = QDBusMessage::createMethodCall(busName_, path, interface, member);
    message.setArguments(arguments);
    return connectionTo(address_, QStringLiteral("test")).call(message);
}

MockService::MockService(const QString& address, const QString& busName, const QString& templateName)
    : ServiceProgram(address, busName, python(),
                     mockArguments({QStringLiteral("--template"), templateName})) {}

MockService::MockService(const QString& address, const QString& busName, const QString& path,
                         const QString& interface)
    : ServiceProgram(address, busName, python(),
                     mockArguments({QStringLiteral("-m"), busName, path, interface})) {}

QDBusMessage MockService::mock(const QString& path, const QString& member,
                               const QVariantList& arguments) const {
    return call(path, QLatin1String(mockInterface), member, arguments);
}

void MockService::setProperty(const QString& path, const QString& interface, const QString& name,
                              const QVariant& value) const {
    call(path, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Set"),
         {interface, name, QVariant::fromValue(QDBusVariant(value))});
}

BusPeer::BusPeer(const QString& address, QString busName, Answer answer)
    : connectionName_(QUuid::createUuid().toString()), answer_(std::move(answer)) {
    QDBusConnection bus = QDBusConnection::connectToBus(address, connectionName_);
    isOnBus_ = bus.registerVirtualObject(QStringLiteral("/"), this, QDBusConnection::SubPath) &&
               bus.registerService(busName);
}

BusPeer::~BusPeer() {
    leave();
}

void BusPeer::emitSignal(const QString& path, const QString& interface, const QString& member,
                         const QVariantList& arguments) {
    QDBusMessage signal = QDBusMessage::createSignal(path, interface, member);
    signal.setArguments(arguments);
    QDBusConnection(connectionName_).send(signal);
}

void BusPeer::leave() {
    if (!std::exchange(isOnBus_, false)) return;
    QDBusConnection::disconnectFromBus(connectionName_);
}

bool BusPeer::handleMessage(const QDBusMessage& message, const QDBusConnection& connection) {
    ++calls_;
    const QDBusMessage reply = answer_(message);
    if (reply.type() == QDBusMessage::InvalidMessage) {
        message.setDelayedReply(true);
    } else {
        connection.send(reply);
    }
    return true;
}

QString BusPeer::introspect(const QString&) const {
    return {};
}

}  // namespace corvanta::test
