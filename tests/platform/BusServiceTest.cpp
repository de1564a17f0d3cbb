// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/BusService.h"

#include <gtest/gtest.h>

#include <QDBusError>

#include "platform/linux/BusValues.h"
#include "support/Eventually.h"
#include "support/MockService.h"
#include "support/PrivateBus.h"

using namespace corvanta;
using namespace corvanta::test;
using namespace std::chrono_literals;

namespace {

const QString name = QStringLiteral("com.example.Peer");
const QString path = QStringLiteral("/com/example/Peer");
const QString interface = QStringLiteral("com.example.Peer");
const QString member = QStringLiteral("Ask");

class BusServiceTest : public testing::Test {
  protected:
    BusService::Connect connect() {
        return [address = bus.address()] { return connectionTo(address, QStringLiteral("service")); };
    }
    BusService service(std::chrono::milliseconds pause = 30s) {
        return {connect(), {.name = name, .signalNames = {{interface, QStringLiteral("Rang")}}}, pause};
    }
    static BusAnswer ask(BusService& service, std::chrono::milliseconds limit = 10s) {
        return onWorker([&] { return service.call(path, interface, member, {}, limit); });
    }
    static BusPeer::Answer repliesWith(const QVariant& value) {
        return [value](const QDBusMessage& call) { return call.createReply(value); };
    }
    static QDBusMessage cannotStart(const QDBusMessage& call) {
        return call.createErrorReply(QStringLiteral("org.freedesktop.systemd1.UnitMasked"),
                                     QStringLiteral("Unit is masked."));
    }
    static QDBusMessage never(const QDBusMessage&) { return {}; }

    PrivateBus bus;
};

}  // namespace

TEST_F(BusServiceTest, aCallBringsTheReplysArguments) {
    const BusPeer peer(bus.address(), name, repliesWith(42));
    BusService service = this->service();
    const BusAnswer answer = ask(service);
    EXPECT_EQ(answer.kind, BusAnswer::Kind::reply);
    EXPECT_EQ(answer.arguments, QVariantList{42});
}

TEST_F(BusServiceTest, anErrorIsARefusal) {
    const BusPeer peer(bus.address(), name, [](const QDBusMessage& call) {
        return call.createErrorReply(QDBusError::AccessDenied, QStringLiteral("no"));
    });
    BusService service = this->service();
    EXPECT_EQ(ask(service).kind, BusAnswer::Kind::refused);
    EXPECT_EQ(ask(service).kind, BusAnswer::Kind::refused);
    EXPECT_EQ(peer.calls(), 2);  // it is there and answers, so it is asked again
}

TEST_F(BusServiceTest, aServiceThatMayNotBeStartedIsAbsent) {
    const BusPeer peer(bus.address(), name, cannotStart);
    BusService service = this->service();
    EXPECT_EQ(ask(service).kind, BusAnswer::Kind::absent);
    EXPECT_EQ(ask(service).kind, BusAnswer::Kind::absent);
    EXPECT_EQ(peer.calls(), 1);
}

TEST_F(BusServiceTest, withoutABusEveryServiceIsAbsent) {
    BusService service([] { return QDBusConnection(QStringLiteral("none")); }, {.name = name});
    EXPECT_EQ(ask(service).kind, BusAnswer::Kind::absent);
    const auto subscription = service.subscribe([](const QDBusMessage&) {});
    EXPECT_FALSE(onWorker([&] { return service.listen(); }));
}

TEST_F(BusServiceTest, anAbsentServiceIsNotAskedAgainUntilThePauseIsOver) {
    BusService patient = service();
    BusService eager = service(0s);
    EXPECT_EQ(ask(patient).kind, BusAnswer::Kind::absent);
    EXPECT_EQ(ask(eager).kind, BusAnswer::Kind::absent);
    const BusPeer peer(bus.address(), name, repliesWith(1));
    EXPECT_EQ(ask(patient).kind, BusAnswer::Kind::absent);
    EXPECT_EQ(ask(eager).kind, BusAnswer::Kind::reply);
    EXPECT_EQ(peer.calls(), 1);
}

TEST_F(BusServiceTest, aServiceThatIsHeardToComeIsAskedAtOnce) {
    BusService service = this->service();
    const auto subscription = service.subscribe([](const QDBusMessage&) {});
    ASSERT_TRUE(onWorker([&] { return service.listen(); }));
    EXPECT_EQ(ask(service).kind, BusAnswer::Kind::absent);
    const auto before = service.changes();
    const BusPeer peer(bus.address(), name, repliesWith(1));
    ASSERT_TRUE(eventually([&] { return service.changes() != before; }));
    EXPECT_EQ(ask(service).kind, BusAnswer::Kind::reply);
}

TEST_F(BusServiceTest, anAbsentServiceThatIsListenedToIsAskedOnce) {
    const BusPeer peer(bus.address(), name, cannotStart);
    BusService service = this->service(0s);
    const auto subscription = service.subscribe([](const QDBusMessage&) {});
    ASSERT_TRUE(onWorker([&] { return service.listen(); }));
    for (int i = 0; i < 3; ++i) EXPECT_EQ(ask(service).kind, BusAnswer::Kind::absent);
    EXPECT_EQ(peer.calls(), 1);
}

TEST_F(BusServiceTest, aSilentServiceThatIsListenedToIsAskedAgainAfterThePause) {
    const BusPeer peer(bus.address(), name, never);
    BusService service = this->service(0s);
    const auto subscription = service.subscribe([](const QDBusMessage&) {});
    ASSERT_TRUE(onWorker([&] { return service.listen(); }));
    for (int i = 0; i < 2; ++i) EXPECT_EQ(ask(service, 50ms).kind, BusAnswer::Kind::silent);
    EXPECT_EQ(peer.calls(), 2);
}

TEST_F(BusServiceTest, aServiceThatIsHeardWhileACallFailsIsAskedAgainAtOnce) {
    BusService service = this->service();
    const auto subscription = service.subscribe([](const QDBusMessage&) {});
    BusPeer peer(bus.address(), name, never);
    peer.setAnswer([&](const QDBusMessage& call) {
        const auto before = service.changes();
        peer.emitSignal(path, interface, QStringLiteral("Rang"));
        EXPECT_TRUE(eventually([&] { return service.changes() != before; }));
        return cannotStart(call);
    });
    ASSERT_TRUE(onWorker([&] { return service.listen(); }));
    for (int i = 0; i < 2; ++i) EXPECT_EQ(ask(service).kind, BusAnswer::Kind::absent);
    EXPECT_EQ(peer.calls(), 2);
}

TEST_F(BusServiceTest, aServiceThatNeverAnswersIsSilentAndThenLeftAlone) {
    const BusPeer peer(bus.address(), name, never);
    BusService service = this->service();
    EXPECT_EQ(ask(service, 50ms).kind, BusAnswer::Kind::silent);
    EXPECT_EQ(ask(service, 50ms).kind, BusAnswer::Kind::silent);
    EXPECT_EQ(peer.calls(), 1);
}

TEST_F(BusServiceTest, aServiceThatDiesInTheMiddleOfACallIsAbsentAtOnceAndComesBack) {
    auto peer = std::make_unique<BusPeer>(bus.address(), name, never);
    BusService service = this->service();
    const auto subscription = service.subscribe([](const QDBusMessage&) {});
    ASSERT_TRUE(onWorker([&] { return service.listen(); }));
    const BusAnswer answer = onWorker([&] {
        auto call =
            std::async(std::launch::async, [&] { return service.call(path, interface, member, {}, 50s); });
        QMetaObject::invokeMethod(peer.get(), [&] {
            eventually([&] { return peer->calls() == 1; });
            peer->leave();
        });
        return call.get();
    });
    EXPECT_EQ(answer.kind, BusAnswer::Kind::absent);
    const auto before = service.changes();
    peer = std::make_unique<BusPeer>(bus.address(), name, repliesWith(7));
    ASSERT_TRUE(eventually([&] { return service.changes() > before; }));
    EXPECT_EQ(ask(service).arguments, QVariantList{7});
}

TEST_F(BusServiceTest, signalsArriveOnTheMainThreadFromAnyObject) {
    BusPeer peer(bus.address(), name, never);
    BusService service = this->service();
    QStringList heard;
    const auto subscription =
        service.subscribe([&](const QDBusMessage& signal) { heard.append(signal.path() + signal.member()); });
    ASSERT_TRUE(onWorker([&] { return service.listen(); }));
    peer.emitSignal(QStringLiteral("/a"), interface, QStringLiteral("Rang"));
    peer.emitSignal(QStringLiteral("/b"), interface, QStringLiteral("Unasked"));
    peer.emitSignal(QStringLiteral("/c"), QStringLiteral("org.freedesktop.DBus.Properties"),
                    QStringLiteral("PropertiesChanged"), {interface, QVariantMap(), QStringList()});
    ASSERT_TRUE(eventually([&] { return heard.size() >= 2; }));
    EXPECT_EQ(heard, (QStringList{QStringLiteral("/aRang"), QStringLiteral("/cPropertiesChanged")}));
}

TEST_F(BusServiceTest, anEndedSubscriptionHearsNothingMore) {
    BusPeer peer(bus.address(), name, never);
    BusService service = this->service();
    int heardByFirst = 0;
    int heardBySecond = 0;
    auto first = service.subscribe([&](const QDBusMessage&) { ++heardByFirst; });
    const auto second = service.subscribe([&](const QDBusMessage&) {
        ++heardBySecond;
        first.reset();
    });
    ASSERT_TRUE(onWorker([&] { return service.listen(); }));
    for (int i = 1; i <= 2; ++i) {
        peer.emitSignal(path, interface, QStringLiteral("Rang"));
        ASSERT_TRUE(eventually([&] { return heardBySecond == i; }));
    }
    EXPECT_EQ(heardByFirst, 1);
}

TEST_F(BusServiceTest, itListensOnlyForSomebody) {
    BusService service = this->service();
    EXPECT_FALSE(onWorker([&] { return service.listen(); }));
}

TEST_F(BusServiceTest, propertiesAreThoseOfTheInterface) {
    const MockService mock(bus.address(), name, path, interface);
    ASSERT_TRUE(mock.isOnBus());
    mock.mock(path, QStringLiteral("AddProperties"), {interface, QVariantMap{{QStringLiteral("Level"), 7}}});
    BusService service = this->service();
    const auto properties = onWorker([&] { return service.properties(path, interface); });
    ASSERT_TRUE(properties);
    EXPECT_EQ(integerOf(*properties, QStringLiteral("Level")), 7);
}

TEST_F(BusServiceTest, aPeerThatAnswersPropertiesWithAnotherTypeHasNone) {
    const BusPeer peer(bus.address(), name, repliesWith(QStringLiteral("text")));
    BusService service = this->service();
    EXPECT_FALSE(onWorker([&] { return service.properties(path, interface); }));
}
