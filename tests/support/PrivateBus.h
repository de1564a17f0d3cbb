// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QProcess>
#include <QString>
#include <QTemporaryFile>

namespace corvanta::test {

/// A session bus of the test's own, which ends with it. It knows nothing of the machine's services, and so
/// never starts one of them.
class PrivateBus {
  public:
    /// At an address of its own choice, or at the one that is given. Services are started on demand as the
    /// files in a folder say, if there is one.
    explicit PrivateBus(const QString& address = {}, const QString& servicesFolder = {}) {
        writeConfiguration(servicesFolder);
        QStringList arguments{QStringLiteral("--config-file=") + configuration_.fileName(),
                              QStringLiteral("--nofork"), QStringLiteral("--print-address=1")};
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
    void writeConfiguration(const QString& servicesFolder) {
        QString services;
        if (!servicesFolder.isEmpty()) {
            services = QStringLiteral("<servicedir>%1</servicedir>").arg(servicesFolder);
        }
        const QString text = QStringLiteral(R"(
            <busconfig>
              <type>session</type>
              <listen>unix:tmpdir=/tmp</listen>
              <auth>EXTERNAL</auth>
              %1
              <policy context="default">
                <allow send_destination="*" eavesdrop="true"/>
                <allow eavesdrop="true"/>
                <allow own="*"/>
              </policy>
            </busconfig>)");
        configuration_.open();
        configuration_.write(text.trimmed().arg(services).toUtf8());
        configuration_.close();
    }

    QTemporaryFile configuration_;
    QProcess daemon_;
    QString address_;
};

}  // namespace corvanta::test
