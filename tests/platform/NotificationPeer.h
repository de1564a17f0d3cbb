// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QStringList>
#include <QVariantList>
#include <map>
#include <utility>
#include <vector>

#include "support/MockService.h"

namespace corvanta::test {

inline const QString notificationsName = QStringLiteral("org.freedesktop.Notifications");
inline const QString notificationsPath = QStringLiteral("/org/freedesktop/Notifications");

/// A notification server inside the test, which remembers what it was given.
///
/// Owned by a test. Main thread only, whose events must be served.
class NotificationPeer {
  public:
    explicit NotificationPeer(const QString& address)
        : peer_(address, notificationsName, [this](const QDBusMessage& call) { return answer(call); }) {}

    /// The calls of one member so far.
    std::vector<QDBusMessage> calls(const QString& member) const {
        const auto found = calls_.find(member);
        return found == calls_.end() ? std::vector<QDBusMessage>() : found->second;
    }
    std::vector<QDBusMessage> notifications() const { return calls(QStringLiteral("Notify")); }
    /// One argument of the latest `Notify`.
    QVariant lastArgument(int index) const {
        const auto all = notifications();
        return all.empty() ? QVariant() : all.back().arguments().value(index);
    }

    /// From now on a member is answered like this.
    void setAnswer(const QString& member, BusPeer::Answer answer) { answers_[member] = std::move(answer); }
    /// From now on a member is not answered at all.
    void silence(const QString& member) {
        setAnswer(member, [](const QDBusMessage&) { return QDBusMessage(); });
    }
    void answerAsUsual() { answers_.clear(); }

    void invoke(unsigned number, const QString& action = QStringLiteral("default")) {
        emitSignal(QStringLiteral("ActionInvoked"), {number, action});
    }
    void close(unsigned number) { emitSignal(QStringLiteral("NotificationClosed"), {number, 2U}); }
    void emitSignal(const QString& member, const QVariantList& arguments) {
        peer_.emitSignal(notificationsPath, notificationsName, member, arguments);
    }
    void leave() { peer_.leave(); }

    QStringList capabilities{QStringLiteral("actions"), QStringLiteral("body")};
    unsigned nextNumber = 1;
    bool keepsNumbers = true;  ///< when it replaces

  private:
    QDBusMessage answer(const QDBusMessage& call) {
        calls_[call.member()].push_back(call);
        const auto found = answers_.find(call.member());
        if (found != answers_.end()) return found->second(call);
        if (call.member() == QLatin1String("GetCapabilities")) return call.createReply(capabilities);
        if (call.member() == QLatin1String("GetServerInformation")) {
            const QString text = QStringLiteral("peer");
            return call.createReply(QVariantList{text, text, text, QStringLiteral("1.2")});
        }
        const unsigned replaced = call.arguments().value(1).toUInt();
        return call.createReply(replaced != 0 && keepsNumbers ? replaced : nextNumber++);
    }

    std::map<QString, BusPeer::Answer> answers_;
    std::map<QString, std::vector<QDBusMessage>> calls_;
    BusPeer peer_;
};

}  // namespace corvanta::test
