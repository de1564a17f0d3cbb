// SPDX-License-Identifier: Apache-2.0
#include "shell/linux/SingleInstance.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QThread>
#include <cerrno>
#include <cstring>

#include "core/Log.h"

namespace corvanta {
namespace {

QString busName() {
    return QStringLiteral("com.corvanta.app");
}
QString busPath() {
    return QStringLiteral("/com/corvanta/app");
}
QString busInterface() {
    return QStringLiteral("org.freedesktop.Application");
}
QString openCenterAction() {
    return QStringLiteral("open-center");
}

// A process that is being ended gives up its name and its lock one after the other.
constexpr std::chrono::milliseconds handoffGap{500};

}  // namespace

ProcessLock::ProcessLock(QString path) : path_(std::move(path)) {}

ProcessLock::~ProcessLock() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

ProcessLock::Result ProcessLock::take(std::chrono::milliseconds patience) {
    // The folder is the user's alone, whoever comes first makes it so.
    const QString folder = QFileInfo(path_).path();
    QDir().mkpath(QFileInfo(folder).path());
    ::mkdir(QFile::encodeName(folder).constData(), 0700);
    // The file stays when the lock ends: to remove it would let two processes lock two files of one name.
    descriptor_ = ::open(QFile::encodeName(path_).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (descriptor_ < 0) return Result::impossible;
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (::flock(descriptor_, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) return Result::impossible;
        if (std::chrono::steady_clock::now() >= deadline) return Result::heldByAnother;
        QThread::msleep(10);
    }
    return Result::taken;
}

void ApplicationBusObject::Activate(const QVariantMap&) {
    Q_EMIT activationRequested();
}

void ApplicationBusObject::Open(const QStringList&, const QVariantMap&) {
    Q_EMIT activationRequested();
}

void ApplicationBusObject::ActivateAction(const QString& action, const QVariantList&, const QVariantMap&) {
    if (action == openCenterAction()) {
        Q_EMIT openCenterRequested();
    } else {
        sendErrorReply(QDBusError::InvalidArgs, QStringLiteral("There is no such action"));
    }
}

SingleInstance::SingleInstance(const QString& lockPath, QDBusConnection bus,
                               std::chrono::milliseconds patience)
    : patience_(patience), bus_(std::move(bus)), lock_(lockPath) {
    // Queued, so that the caller has its reply before a window is built.
    connect(&busObject_, &ApplicationBusObject::activationRequested, this, &SingleInstance::activated,
            Qt::QueuedConnection);
    connect(&busObject_, &ApplicationBusObject::openCenterRequested, this,
            &SingleInstance::openCenterRequested, Qt::QueuedConnection);
}

SingleInstance::~SingleInstance() {
    dropName();
}

SingleInstance::Outcome SingleInstance::start(Request request) {
    if (!bus_.isConnected()) return takeLock();
    if (ownName()) return takeLock();
    switch (handOver(request)) {
        case Answer::accepted:
            return Outcome::handedOver;
        case Answer::nobody:
            // The owner has gone in the meantime.
            if (ownName()) return takeLock();
            break;
        case Answer::silent:
            break;
    }
    logLine("Corvanta is already running, but does not answer");
    return Outcome::refused;
}

bool SingleInstance::ownName() {
    // The object comes first: whoever sees the name can call it.
    ownsName_ = bus_.registerObject(busPath(), &busObject_, QDBusConnection::ExportScriptableSlots) &&
                bus_.registerService(busName());
    if (!ownsName_) bus_.unregisterObject(busPath());
    return ownsName_;
}

void SingleInstance::dropName() {
    if (!ownsName_) return;
    bus_.unregisterService(busName());
    bus_.unregisterObject(busPath());
    ownsName_ = false;
}

SingleInstance::Answer SingleInstance::handOver(Request request) {
    const bool openCenter = request == Request::openCenter;
    QDBusMessage call = QDBusMessage::createMethodCall(
        busName(), busPath(), busInterface(),
        openCenter ? QStringLiteral("ActivateAction") : QStringLiteral("Activate"));
    if (openCenter) call << openCenterAction() << QVariantList();
    call << QVariantMap();
    // Nobody is started to answer: this process would be the one.
    call.setAutoStartService(false);
    const QDBusMessage reply = bus_.call(call, QDBus::Block, static_cast<int>(patience_.count()));
    if (reply.type() == QDBusMessage::ReplyMessage) return Answer::accepted;
    const bool stillOwned = bus_.interface() != nullptr && bus_.interface()->isServiceRegistered(busName());
    return stillOwned ? Answer::silent : Answer::nobody;
}

SingleInstance::Outcome SingleInstance::takeLock() {
    switch (lock_.take(handoffGap)) {
        case ProcessLock::Result::taken:
            return Outcome::primary;
        case ProcessLock::Result::impossible:
            logLine("Shell: cannot lock against a second start: " + std::string(std::strerror(errno)));
            return Outcome::primary;
        case ProcessLock::Result::heldByAnother:
            dropName();
            logLine("Corvanta is already running");
            return Outcome::refused;
    }
    std::abort();
}

}  // namespace corvanta
