// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDBusConnection>
#include <QDBusContext>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <chrono>
#include <memory>

namespace corvanta {

/// A lock on a file that ends with the process that holds it, however that process ends.
class ProcessLock {
  public:
    explicit ProcessLock(QString path);
    ~ProcessLock();
    ProcessLock(const ProcessLock&) = delete;
    ProcessLock& operator=(const ProcessLock&) = delete;

    enum class Result {
        taken,
        heldByAnother,
        impossible,  ///< there is no such place, or no right to write there
    };
    /// Tries until the time is over. The folder is made if it is missing.
    Result take(std::chrono::milliseconds patience);

  private:
    QString path_;
    int descriptor_ = -1;
};

/// What org.freedesktop.Application asks for, as D-Bus delivers it.
class ApplicationBusObject final : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

  public:
    using QObject::QObject;

  public Q_SLOTS:
    Q_SCRIPTABLE void Activate(const QVariantMap& platformData);
    Q_SCRIPTABLE void Open(const QStringList& uris, const QVariantMap& platformData);
    Q_SCRIPTABLE void ActivateAction(const QString& action, const QVariantList& parameters,
                                     const QVariantMap& platformData);

  Q_SIGNALS:
    void activationRequested();
    void openCenterRequested();
};

/// Keeps the program to one instance per user. The session bus's name says who is first, and carries what
/// later starts ask for; the lock keeps a second one out where there is no common bus.
///
/// Owned by main() until its end. Main thread only. A first instance that does not answer refuses the new one
/// after a bounded wait. A lock file that cannot be written keeps nobody out: one line is logged.
class SingleInstance final : public QObject {
    Q_OBJECT

  public:
    enum class Outcome {
        primary,     ///< this is the one; it holds the lock and, if there is a bus, the name
        handedOver,  ///< another one runs and has taken the request over
        refused,     ///< another one runs and could not be asked; a line is logged
    };
    enum class Request { activate, openCenter };

    /// `bus` may be unconnected. `patience` bounds each wait for the other instance.
    SingleInstance(const QString& lockPath, QDBusConnection bus,
                   std::chrono::milliseconds patience = std::chrono::seconds(3));
    ~SingleInstance() override;

    /// Decides once what this start is. `request` is what it hands over if it is a later one.
    Outcome start(Request request);

  Q_SIGNALS:
    /// A later start asked for the program to show itself, or for the Center.
    void activated();
    void openCenterRequested();

  private:
    bool ownName();
    void dropName();
    enum class Answer { accepted, nobody, silent };
    Answer handOver(Request request);
    Outcome takeLock();

    const std::chrono::milliseconds patience_;
    QDBusConnection bus_;
    ProcessLock lock_;
    ApplicationBusObject busObject_;
    bool ownsName_ = false;
};

}  // namespace corvanta
