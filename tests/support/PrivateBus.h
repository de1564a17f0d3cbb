// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QProcess>
#include <QString>

namespace corvanta::test {

/// A session bus of the test's own, which ends with it.
class PrivateBus {
  public:
    /// At an address of its own choice, or at the one that is given.
    explicit PrivateBus(const QString& address = {}) {
        QStringList arguments{QStringLiteral("--session"), QStringLiteral("--nofork"),
                              QStringLiteral("--print-address=1")};
        if (!address.isEmpty()) arguments.append(QStringLiteral("--address=") + address);
        daemon_.start(QStringLiteral("dbus-daemon"), arguments);
        while (!daemon_.canReadLine() && daemon_.waitForReadyRead(20'000)) {
        }
        address_ = QString::fromUtf8(daemon_.readLine()).trimmed();
    }
    ~PrivateBus() {
        daemon_.kill();
        daemon_.waitForFinished();
    }
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    /// Empty if no bus could be started.
    const QString& address() const { return address_; }

  private:
    QProcess daemon_;
    QString address_;
};

}  // namespace corvanta::test
