// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QProcess>
#include <QString>

namespace corvanta::test {

/// A session bus of the test's own, which ends with it.
class PrivateBus {
  public:
    PrivateBus() {
        daemon_.start(QStringLiteral("dbus-daemon"), {QStringLiteral("--session"), QStringLiteral("--nofork"),
                                                      QStringLiteral("--print-address=1")});
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
