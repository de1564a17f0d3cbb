// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/NotificationServer.h"

#include <QDBusError>
#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>
#include <QMetaObject>
#include <QStringList>
#include <QVariantMap>
#include <utility>

#include "core/PlainText.h"
#include "core/Utf8Text.h"

namespace corvanta {
namespace {

QString serverName() {
    return QStringLiteral("org.freedesktop.Notifications");
}
QString serverPath() {
    return QStringLiteral("/org/freedesktop/Notifications");
}
QString applicationId() {
    return QStringLiteral("com.corvanta.app");
}
QString defaultAction() {
    return QStringLiteral("default");
}

QString silence() {
    return QStringLiteral("The notification server does not answer");
}

/// What went wrong, if the answer is not a reply of the one type that is expected.
std::optional<std::string> errorIn(const QDBusMessage& answer, const char* signature) {
    if (answer.type() == QDBusMessage::ReplyMessage) {
        if (answer.signature() == QLatin1String(signature)) return std::nullopt;
        return "The notification server's answer can't be understood";
    }
    const QDBusError error(answer);
    return (error.message().isEmpty() ? error.name() : error.message()).toStdString();
}

bool isWithoutServer(const QDBusMessage& answer) {
    return answer.errorName() == QLatin1String("org.freedesktop.DBus.Error.ServiceUnknown") ||
           answer.errorName() == QLatin1String("org.freedesktop.DBus.Error.NameHasNoOwner");
}

QString shownText(const std::string& text) {
    return QString::fromStdString(plainText(repairedUtf8(text)));
}

QString asMarkup(QString text) {
    text.replace(QLatin1Char('&'), QLatin1String("&amp;"));
    text.replace(QLatin1Char('<'), QLatin1String("&lt;"));
    text.replace(QLatin1Char('>'), QLatin1String("&gt;"));
    return text;
}

QVariantMap hintsOf(const NotificationRequest& request) {
    const bool isUrgent = request.interruptionLevel == InterruptionLevel::timeSensitive;
    QVariantMap hints{{QStringLiteral("urgency"), QVariant::fromValue<uchar>(isUrgent ? 2 : 1)},
                      {QStringLiteral("desktop-entry"), applicationId()},
                      {QStringLiteral("category"), QStringLiteral("device")}};
    if (request.playsDefaultSound) {
        hints[QStringLiteral("sound-name")] =
            isUrgent ? QStringLiteral("dialog-warning") : QStringLiteral("message-new-instant");
    }
    return hints;
}

}  // namespace

NotificationServer::NotificationServer(BusService::Connect connect, std::chrono::milliseconds limit)
    : connect_(std::move(connect)), limit_(limit) {}

void NotificationServer::requestAuthorization(NotificationService::AuthorizationHandler handler) {
    ask(connect_(), serverName(), QStringLiteral("GetServerInformation"), {}, QDeadlineTimer(limit_),
        [handler = std::move(handler)](const QDBusMessage& answer) {
            if (isWithoutServer(answer)) return handler({});
            const auto error = errorIn(answer, "ssss");
            handler({.isGranted = !error, .error = error});
        });
}

void NotificationServer::deliver(NotificationRequest request, NotificationService::DeliveryHandler handler) {
    if (waiting_.size() >= mostWaiting) return handler("Too many notifications wait for the server");
    waiting_.push_back({std::move(request), std::move(handler), QDeadlineTimer(limit_)});
    startNext();
}

void NotificationServer::dropWaiting() {
    waiting_.clear();
    if (current_ && !current_->isHandedOver) current_->isDropped = true;
}

std::unique_ptr<Subscription> NotificationServer::subscribe(NotificationService::ClickHandler onClick) {
    return clicks_.add(std::move(onClick));
}

void NotificationServer::ask(const QDBusConnection& bus, const QString& destination, const QString& member,
                             const QVariantList& arguments, const QDeadlineTimer& deadline,
                             Answered answered) {
    QDBusMessage message = QDBusMessage::createMethodCall(destination, serverPath(), serverName(), member);
    message.setArguments(arguments);
    // What waited too long is not sent after all: a server that wakes up would show it long after its time.
    const QDBusPendingCall call = deadline.hasExpired()
                                      ? QDBusPendingCall::fromError({QDBusError::NoReply, silence()})
                                      : bus.asyncCall(message, static_cast<int>(deadline.remainingTime()));
    // There is nothing to watch, nor is there without a connection.
    if (call.isError()) {
        QMetaObject::invokeMethod(
            this, [answered = std::move(answered), answer = call.reply()] { answered(answer); },
            Qt::QueuedConnection);
        return;
    }
    auto* watcher = new QDBusPendingCallWatcher(call, this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [watcher, answered = std::move(answered)] {
        watcher->deleteLater();
        answered(watcher->reply());
    });
}

// Over the connection of the calls, as some servers tell only the caller. The sender is left open, as the
// library would wait for the bus to name it.
void NotificationServer::listenOn(QDBusConnection bus) {
    if (heardOn_ == bus.name()) return;
    const bool isConnected =
        bus.connect(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                    QStringLiteral("org.freedesktop.DBus"), QStringLiteral("NameOwnerChanged"),
                    {serverName()}, QString(), this, SLOT(receive(QDBusMessage))) &&
        bus.connect(QString(), serverPath(), serverName(), QString(), this, SLOT(receive(QDBusMessage)));
    heardOn_ = isConnected ? bus.name() : QString();
    program_.reset();
}

void NotificationServer::startNext() {
    if (current_ || waiting_.empty()) return;
    current_ = std::move(waiting_.front());
    waiting_.pop_front();
    const QDBusConnection bus = connect_();
    listenOn(bus);
    if (program_) return notify(bus);
    ask(bus, serverName(), QStringLiteral("GetCapabilities"), {}, current_->deadline,
        [this, bus](const QDBusMessage& answer) {
            if (current_->isDropped) {
                current_.reset();
                return startNext();
            }
            if (const auto error = errorIn(answer, "as")) return finish(error);
            const QStringList capabilities = answer.arguments().first().toStringList();
            program_ = Program{.name = answer.service(),
                               .hasActions = capabilities.contains(QLatin1String("actions")),
                               .hasMarkup = capabilities.contains(QLatin1String("body-markup"))};
            notify(bus);
        });
}

// To the very program that has told what it can do: another might take a text for markup, and a number for
// some other notification.
void NotificationServer::notify(const QDBusConnection& bus) {
    current_->isHandedOver = true;
    ask(bus, program_->name, QStringLiteral("Notify"), notifyArguments(current_->request), current_->deadline,
        [this](const QDBusMessage& answer) {
            const auto error = errorIn(answer, "u");
            if (!error && program_) {
                program_->numbers[current_->request.identifier] = answer.arguments().first().toUInt();
            }
            finish(error);
        });
}

void NotificationServer::finish(const std::optional<std::string>& error) {
    const Delivery delivery = std::move(*current_);
    current_.reset();
    delivery.handler(error);
    startNext();
}

QVariantList NotificationServer::notifyArguments(const NotificationRequest& request) const {
    const auto shown = program_->numbers.find(request.identifier);
    const QString body = shownText(request.body);
    return {QStringLiteral("Corvanta"),
            shown == program_->numbers.end() ? 0U : shown->second,
            applicationId(),
            shownText(request.title),
            program_->hasMarkup ? asMarkup(body) : body,
            program_->hasActions ? QStringList{defaultAction(), QStringLiteral("Open")} : QStringList(),
            hintsOf(request),
            -1};
}

void NotificationServer::receive(const QDBusMessage& signal) {
    if (signal.member() == QLatin1String("NameOwnerChanged")) return program_.reset();
    if (!program_ || signal.service() != program_->name) return;
    const QVariantList arguments = signal.arguments();
    const unsigned number = arguments.value(0).toUInt();
    if (signal.member() == QLatin1String("NotificationClosed")) {
        std::erase_if(program_->numbers, [&](const auto& entry) { return entry.second == number; });
        return;
    }
    const auto identifier = identifierOf(number);
    if (!identifier || signal.signature() != QLatin1String("us")) return;
    const QString text = arguments.value(1).toString();
    if (signal.member() == QLatin1String("ActivationToken")) {
        activationToken_ = text.toUtf8();
    } else if (signal.member() == QLatin1String("ActionInvoked") && text == defaultAction()) {
        // Where Qt looks for it when a window is to come to the front; no child process may inherit it.
        qputenv("XDG_ACTIVATION_TOKEN", std::exchange(activationToken_, {}));
        clicks_.call(*identifier);
        qunsetenv("XDG_ACTIVATION_TOKEN");
    }
}

/// Absent for another program's notification, of which some servers tell everybody.
std::optional<std::string> NotificationServer::identifierOf(unsigned number) const {
    for (const auto& [identifier, shown] : program_->numbers) {
        if (shown == number) return identifier;
    }
    return std::nullopt;
}

}  // namespace corvanta
