// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDBusConnection>
#include <QString>
#include <chrono>
#include <functional>

#include "core/Mutex.h"
#include "platform/linux/XdgDirectories.h"

namespace corvanta {

/// Whether the user has a session bus. To ask the library for one that is not there would start it, and it
/// would stay.
bool hasSessionBus(const EnvironmentLookup& environment);
/// The session bus of this process's user; an unconnected one if there is none.
QDBusConnection sessionBusIfThere();

/// The system's bus, over a new connection when the last one could not be made or was lost.
///
/// Owned by the platform. Any thread (locks mutex); one that connects may wait for the bus. Without a bus the
/// connection is unconnected.
class SystemBus {
  public:
    /// Makes a connection under a name that no other one has had.
    using Connect = std::function<QDBusConnection(const QString& name)>;

    static constexpr std::chrono::milliseconds shortestPause = std::chrono::seconds(30);
    static constexpr std::chrono::milliseconds longestPause = std::chrono::hours(1);

    explicit SystemBus(Connect connect = connectToSystemBus, std::chrono::milliseconds pause = shortestPause)
        : connect_(std::move(connect)), shortestPause_(pause) {}

    /// The present connection. After each failure in a row the next attempt is twice as long in coming.
    QDBusConnection connection() EXCLUDES(mutex_);

  private:
    static QDBusConnection connectToSystemBus(const QString& name);

    const Connect connect_;
    const std::chrono::milliseconds shortestPause_;

    Mutex mutex_;
    QString name_ GUARDED_BY(mutex_);
    int attempts_ GUARDED_BY(mutex_) = 0;
    std::chrono::milliseconds pause_ GUARDED_BY(mutex_){0};
    std::chrono::steady_clock::time_point nextAttempt_ GUARDED_BY(mutex_);
};

}  // namespace corvanta
