// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/BusService.h"

#include <QCoreApplication>
#include <QDBusError>
#include <QObject>
#include <QThread>
#include <utility>

#include "platform/linux/BusValues.h"

namespace corvanta {
namespace {

using Kind = BusAnswer::Kind;

QString propertiesInterface() {
    return QStringLiteral("org.freedesktop.DBus.Properties");
}

Kind kindOf(const QDBusMessage& answer, bool isEarly) {
    if (answer.type() == QDBusMessage::ReplyMessage) return Kind::reply;
    const QDBusError error(answer);
    switch (error.type()) {
        case QDBusError::ServiceUnknown:
        case QDBusError::Disconnected:
            return Kind::absent;
        case QDBusError::NoReply:
        case QDBusError::Timeout:
        case QDBusError::TimedOut:
            // A service that ends in the middle of a call is told of in the same words, but at once.
            return isEarly ? Kind::absent : Kind::silent;
        default:
            break;
    }
    const QString name = error.name();
    const bool isAbsent = name == QLatin1String("org.freedesktop.DBus.Error.NameHasNoOwner") ||
                          name.startsWith(QLatin1String("org.freedesktop.DBus.Error.Spawn.")) ||
                          // The system's manager could not start it, or may not.
                          name.startsWith(QLatin1String("org.freedesktop.systemd1."));
    return isAbsent ? Kind::absent : Kind::refused;
}

}  // namespace

/// Receives the signals on the main thread.
class BusService::Relay final : public QObject {
    Q_OBJECT

  public:
    explicit Relay(BusService& service) : service_(service) {}

    bool connectTo(QDBusConnection& bus) {
        const Description& description = service_.description_;
        bool isConnected =
            bus.connect(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("NameOwnerChanged"),
                        {description.name}, QString(), this, SLOT(receive(QDBusMessage))) &&
            bus.connect(description.name, QString(), propertiesInterface(),
                        QStringLiteral("PropertiesChanged"), this, SLOT(receive(QDBusMessage)));
        for (const SignalName& signal : description.signalNames) {
            isConnected = isConnected && bus.connect(description.name, QString(), signal.interface,
                                                     signal.member, this, SLOT(receive(QDBusMessage)));
        }
        return isConnected;
    }

  public Q_SLOTS:
    void receive(const QDBusMessage& signal) { service_.heard(signal); }

  private:
    BusService& service_;
};

BusService::BusService(Connect connect, Description description, std::chrono::milliseconds pause)
    : connect_(std::move(connect)), description_(std::move(description)), pause_(pause) {}

BusService::~BusService() = default;

BusAnswer BusService::call(const QString& path, const QString& interface, const QString& member,
                           const QVariantList& arguments, std::chrono::milliseconds limit) {
    BusAnswer answer;
    if (isPaused(&answer.kind)) return answer;
    const std::uint64_t changes = changes_;
    const QDBusConnection bus = connect_();
    if (bus.isConnected()) {
        QDBusMessage message = QDBusMessage::createMethodCall(description_.name, path, interface, member);
        message.setArguments(arguments);
        message.setAutoStartService(description_.isStartedOnDemand);
        const auto start = std::chrono::steady_clock::now();
        const QDBusMessage reply = bus.call(message, QDBus::Block, static_cast<int>(limit.count()));
        answer.kind = kindOf(reply, std::chrono::steady_clock::now() - start < limit / 2);
        if (answer.kind == Kind::reply) answer.arguments = reply.arguments();
    }
    remember(answer.kind, changes, isHeardOn(bus));
    return answer;
}

std::optional<QVariantMap> BusService::properties(const QString& path, const QString& interface) {
    return propertiesOf(call(path, propertiesInterface(), QStringLiteral("GetAll"), {interface}).arguments);
}

std::unique_ptr<Subscription> BusService::subscribe(Handler handler) {
    return handlers_.add(std::move(handler));
}

bool BusService::listen() {
    if (handlers_.isEmpty()) return false;
    QDBusConnection bus = connect_();
    if (!bus.isConnected()) return false;
    if (isHeardOn(bus)) return true;
    {
        LockGuard guard(relayMutex_);
        if (!relay_) {
            relay_ = std::make_unique<Relay>(*this);
            relay_->moveToThread(QCoreApplication::instance()->thread());
        }
        if (!relay_->connectTo(bus)) return false;
        heardOn_ = bus.name();
    }
    // Of what was learnt before, nobody would have been told that it is over.
    ++changes_;
    forget();
    return true;
}

bool BusService::isPaused(Kind* kind) const {
    LockGuard guard(mutex_);
    *kind = failure_;
    return pausedUntil_ && std::chrono::steady_clock::now() < *pausedUntil_;
}

void BusService::remember(Kind kind, std::uint64_t changes, bool isHeard) {
    using Time = std::chrono::steady_clock;
    LockGuard guard(mutex_);
    pausedUntil_.reset();
    if (kind != Kind::absent && kind != Kind::silent) return;
    // It may have come back while it was asked, of which nobody would be told again.
    if (changes_ != changes) return;
    failure_ = kind;
    pausedUntil_ = isHeard && kind == Kind::absent ? Time::time_point::max() : Time::now() + pause_;
}

void BusService::forget() {
    LockGuard guard(mutex_);
    pausedUntil_.reset();
}

bool BusService::isHeardOn(const QDBusConnection& bus) {
    if (!bus.isConnected()) return false;
    LockGuard guard(relayMutex_);
    return relay_ && heardOn_ == bus.name();
}

void BusService::heard(const QDBusMessage& signal) {
    // First, so that a call which ends just now either sees it or has its pause ended.
    ++changes_;
    if (signal.member() == QLatin1String("NameOwnerChanged")) forget();
    handlers_.call(signal);
}

}  // namespace corvanta

#include "BusService.moc"
