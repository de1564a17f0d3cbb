// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/Buses.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

namespace corvanta {

bool hasSessionBus(const EnvironmentLookup& environment) {
    if (!environment("DBUS_SESSION_BUS_ADDRESS").value_or("").empty()) return true;
    // The library takes no other user's socket, and would then start a bus after all.
    struct stat socket {};
    const std::string path = environment("XDG_RUNTIME_DIR").value_or("") + "/bus";
    return lstat(path.c_str(), &socket) == 0 && S_ISSOCK(socket.st_mode) && socket.st_uid == getuid();
}

QDBusConnection sessionBusIfThere() {
    if (hasSessionBus(processEnvironment)) return QDBusConnection::sessionBus();
    return QDBusConnection(QString());
}

QDBusConnection SystemBus::connection() {
    LockGuard guard(mutex_);
    QDBusConnection present(name_);
    if (present.isConnected()) return present;
    const auto now = std::chrono::steady_clock::now();
    if (now < nextAttempt_) return present;
    QDBusConnection::disconnectFromBus(name_);
    QDBusConnection next = connect_(QStringLiteral("corvanta-system-%1").arg(++attempts_));
    name_ = next.name();
    // The library keeps what it could not connect for ever, so that attempts must become rare.
    pause_ = next.isConnected() ? std::chrono::milliseconds(0)
                                : std::clamp(2 * pause_, shortestPause_, longestPause);
    nextAttempt_ = now + std::max(pause_, shortestPause_);
    return next;
}

QDBusConnection SystemBus::connectToSystemBus(const QString& name) {
    return QDBusConnection::connectToBus(QDBusConnection::SystemBus, name);
}

}  // namespace corvanta
