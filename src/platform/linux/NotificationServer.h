// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDeadlineTimer>
#include <QObject>
#include <QString>
#include <QVariantList>
#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "platform/NotificationService.h"
#include "platform/linux/BusService.h"
#include "platform/linux/HandlerList.h"

namespace corvanta {

/// The desktop's notification server, whichever program that is, by the Desktop Notifications protocol.
///
/// Owned by the port of the notifications. Main thread only. Notifications are handed over one at a time, as
/// the server's answer to one may tell how to replace it by the next. One that is not taken within the limit
/// has failed, and so has one too many that would have to wait.
class NotificationServer final : public QObject {
    Q_OBJECT

  public:
    static constexpr std::size_t mostWaiting = 32;

    /// `connect` gives the present connection to the session bus.
    NotificationServer(BusService::Connect connect, std::chrono::milliseconds limit);

    void requestAuthorization(NotificationService::AuthorizationHandler handler);
    void deliver(NotificationRequest request, NotificationService::DeliveryHandler handler);
    /// Forgets what the server has not been given yet.
    void dropWaiting();
    std::unique_ptr<Subscription> subscribe(NotificationService::ClickHandler onClick);

  private Q_SLOTS:
    void receive(const QDBusMessage& signal);

  private:
    struct Delivery {
        NotificationRequest request;
        NotificationService::DeliveryHandler handler;
        QDeadlineTimer deadline;
        bool isHandedOver = false;
        bool isDropped = false;  ///< while the server was asked what it can do
    };
    /// The program that runs the server at present. Its numbers mean nothing to the next one.
    struct Program {
        QString name;  ///< the unique one on the bus
        bool hasActions = false;
        bool hasMarkup = false;
        std::map<std::string, unsigned> numbers = {};  ///< of what it shows, by identifier
    };

    using Answered = std::function<void(const QDBusMessage& answer)>;

    /// Never calls `answered` before it returns.
    void ask(const QDBusConnection& bus, const QString& destination, const QString& member,
             const QVariantList& arguments, const QDeadlineTimer& deadline, Answered answered);
    void listenOn(QDBusConnection bus);
    void startNext();
    void notify(const QDBusConnection& bus);
    void finish(const std::optional<std::string>& error);
    QVariantList notifyArguments(const NotificationRequest& request) const;
    std::optional<std::string> identifierOf(unsigned number) const;

    const BusService::Connect connect_;
    const std::chrono::milliseconds limit_;

    std::deque<Delivery> waiting_;
    std::optional<Delivery> current_;
    std::optional<Program> program_;  // once it has told what it can do
    QString heardOn_;                 // the connection's name
    QByteArray activationToken_;      // of the click that comes next
    HandlerList<const std::string&> clicks_;
};

}  // namespace corvanta
