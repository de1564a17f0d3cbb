// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QString>
#include <QVariantList>
#include <QVariantMap>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "core/Mutex.h"
#include "platform/Subscription.h"
#include "platform/linux/HandlerList.h"

namespace corvanta {

/// What became of a call.
struct BusAnswer {
    enum class Kind {
        reply,
        absent,   ///< no such service, or no bus
        silent,   ///< no answer within the limit
        refused,  ///< the service answered with an error
    };
    Kind kind = Kind::absent;
    QVariantList arguments;  ///< of a reply
};

/// One service on a D-Bus bus: asked with a limit, and listened to.
///
/// Owned by the port that speaks with it. Calls come from background threads, as they block; subscriptions
/// are taken and ended on the main thread, where their handlers run. A service that is silent is left alone
/// for a while, and one that is absent until it is heard to come, or for a while if nobody listens: every
/// failure is an answer.
class BusService {
  public:
    using Connect = std::function<QDBusConnection()>;
    /// A signal of the service, from any of its objects, or that it has come or gone (`NameOwnerChanged`).
    using Handler = std::function<void(const QDBusMessage& signal)>;

    struct SignalName {
        QString interface;
        QString member;
    };
    struct Description {
        QString name;
        bool isStartedOnDemand = false;            ///< asking it may start it
        std::vector<SignalName> signalNames = {};  ///< besides the changes of properties
    };

    static constexpr std::chrono::milliseconds callLimit{1000};

    /// `connect` gives the present connection to the bus, and is called on any thread, each time it is
    /// needed. After a failure calls fail at once for the time of `pause`.
    BusService(Connect connect, Description description,
               std::chrono::milliseconds pause = std::chrono::seconds(30));
    /// Main thread.
    ~BusService();
    BusService(const BusService&) = delete;
    BusService& operator=(const BusService&) = delete;

    const QString& name() const { return description_.name; }

    BusAnswer call(const QString& path, const QString& interface, const QString& member,
                   const QVariantList& arguments = {}, std::chrono::milliseconds limit = callLimit);
    /// All properties of one interface of an object.
    std::optional<QVariantMap> properties(const QString& path, const QString& interface);

    /// Main thread.
    std::unique_ptr<Subscription> subscribe(Handler handler);

    /// Makes sure that signals arrive, if there is a subscription. While this is true, what was read stays
    /// true until `changes` moves. Background threads; it may ask the bus.
    bool listen();
    /// Grows with every signal. Any thread.
    std::uint64_t changes() const { return changes_; }

  private:
    class Relay;

    bool isPaused(BusAnswer::Kind* kind) const;
    /// What a call has come to, and how much had changed before it.
    void remember(BusAnswer::Kind kind, std::uint64_t changes, bool isHeard);
    void forget();
    bool isHeardOn(const QDBusConnection& bus);
    void heard(const QDBusMessage& signal);

    // Constant after construction.
    const Connect connect_;
    const Description description_;
    const std::chrono::milliseconds pause_;

    std::atomic<std::uint64_t> changes_ = 0;

    // Apart from the other, as the bus is asked under it.
    Mutex relayMutex_;
    std::unique_ptr<Relay> relay_ GUARDED_BY(relayMutex_);
    QString heardOn_ GUARDED_BY(relayMutex_);  // the connection's name

    mutable Mutex mutex_;
    BusAnswer::Kind failure_ GUARDED_BY(mutex_) = BusAnswer::Kind::absent;
    std::optional<std::chrono::steady_clock::time_point> pausedUntil_ GUARDED_BY(mutex_);

    HandlerList<const QDBusMessage&> handlers_;
};

}  // namespace corvanta
