// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QProcess>
#include <QStringList>
#include <functional>
#include <memory>

namespace corvanta::test {

/// A connection of the test's own to a bus. Each name is one connection.
QDBusConnection connectionTo(const QString& address, const QString& name);

/// A service that runs as a program of its own on a private bus, which it sees as the system's and the
/// session's.
///
/// Owned by a test and killed with it.
class ServiceProgram {
  public:
    /// Returns once `busName` is on the bus, or when that took too long.
    ServiceProgram(const QString& address, const QString& busName, const QString& program,
                   const QStringList& arguments, const QStringList& environment = {});
    ~ServiceProgram();
    ServiceProgram(const ServiceProgram&) = delete;
    ServiceProgram& operator=(const ServiceProgram&) = delete;

    bool isOnBus() const;
    void kill();
    /// Stops it where it is, without an answer to anything; `resume` lets it go on.
    void freeze() const;
    void resume() const;
    qint64 pid() const { return process_.processId(); }

    /// Calls it and returns the reply; an error message when it refuses.
    QDBusMessage call(const QString& path, const QString& interface, const QString& member,
                      const QVariantList& arguments = {}) const;

  private:
    QProcess process_;
    QString address_;
    QString busName_;
};

/// A service of python-dbusmock on a private bus: one of its templates, or an object to be filled.
class MockService : public ServiceProgram {
  public:
    static constexpr const char* mockInterface = "org.freedesktop.DBus.Mock";

    /// One of the templates that come with it, as in "upower".
    MockService(const QString& address, const QString& busName, const QString& templateName);
    /// A single object without properties.
    MockService(const QString& address, const QString& busName, const QString& path,
                const QString& interface);

    /// One of the mock's own methods.
    QDBusMessage mock(const QString& path, const QString& member, const QVariantList& arguments) const;
    /// Changes a property, which is announced.
    void setProperty(const QString& path, const QString& interface, const QString& name,
                     const QVariant& value) const;
};

/// A service inside the test, which answers each call as the test says.
///
/// Owned by a test. Main thread only, whose events must be served.
class BusPeer final : public QDBusVirtualObject {
    Q_OBJECT

  public:
    /// The reply to a call. A message of no type means that there never is one.
    using Answer = std::function<QDBusMessage(const QDBusMessage& call)>;

    BusPeer(const QString& address, QString busName, Answer answer);
    ~BusPeer() override;

    bool isOnBus() const { return isOnBus_; }
    int calls() const { return calls_; }
    void setAnswer(Answer answer) { answer_ = std::move(answer); }
    void emitSignal(const QString& path, const QString& interface, const QString& member,
                    const QVariantList& arguments = {});
    /// Leaves the bus at once, whatever it still owes an answer to.
    void leave();

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;
    QString introspect(const QString& path) const override;

  private:
    QString connectionName_;
    Answer answer_;
    bool isOnBus_ = false;
    int calls_ = 0;
};

}  // namespace corvanta::test
