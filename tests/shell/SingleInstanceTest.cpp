// SPDX-License-Identifier: Apache-2.0
#include "shell/linux/SingleInstance.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <QDBusMessage>
#include <QDBusReply>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>
#include <filesystem>
#include <memory>

#include "support/CapturedLog.h"
#include "support/PrivateBus.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

using Outcome = SingleInstance::Outcome;
using Request = SingleInstance::Request;

constexpr int deadline = 20'000;

/// A start of the program in a process of its own.
class Start {
  public:
    Start(const QString& lock, const QString& bus, const QString& request = QStringLiteral("activate")) {
        process_.start(QStringLiteral(CORVANTA_SINGLE_INSTANCE_START), {lock, bus, request});
    }
    ~Start() { kill(); }
    Start(const Start&) = delete;
    Start& operator=(const Start&) = delete;

    /// The next line, while this process serves its own events.
    QString line() {
        EXPECT_TRUE(QTest::qWaitFor([this] { return process_.canReadLine(); }, deadline));
        return QString::fromUtf8(process_.readLine()).trimmed();
    }
    int exitCode() {
        EXPECT_TRUE(QTest::qWaitFor([this] { return process_.state() == QProcess::NotRunning; }, deadline));
        return process_.exitStatus() == QProcess::NormalExit ? process_.exitCode() : -1;
    }
    void kill() {
        process_.kill();
        process_.waitForFinished(deadline);
    }
    void freeze() { ::kill(static_cast<pid_t>(process_.processId()), SIGSTOP); }

  private:
    QProcess process_;
};

class SingleInstanceTest : public testing::Test {
  protected:
    void TearDown() override {
        for (const QString& name : connections_) QDBusConnection::disconnectFromBus(name);
    }

    QDBusConnection connectTo(const QString& address) {
        connections_.push_back(QStringLiteral("test-%1").arg(++connectionCount_));
        return QDBusConnection::connectToBus(address, connections_.back());
    }
    static QDBusConnection noBus() { return QDBusConnection(QStringLiteral("never connected")); }
    QString lock() const { return QString::fromStdString(directory_.file("data/corvanta.lock")); }

    test::TempDirectory directory_;
    test::CapturedLog log_;
    QStringList connections_;

  private:
    static inline int connectionCount_ = 0;
};

class SingleInstanceWithBusTest : public SingleInstanceTest {
  protected:
    void SetUp() override { ASSERT_FALSE(bus_.address().isEmpty()) << "no dbus-daemon"; }

    QDBusMessage call(QDBusConnection& connection, const QString& method, const QVariantList& arguments) {
        QDBusMessage message = QDBusMessage::createMethodCall(
            QStringLiteral("com.corvanta.app"), QStringLiteral("/com/corvanta/app"),
            QStringLiteral("org.freedesktop.Application"), method);
        message.setArguments(arguments);
        QDBusPendingReply<> reply = connection.asyncCall(message);
        EXPECT_TRUE(QTest::qWaitFor([&] { return reply.isFinished(); }, deadline));
        return reply.reply();
    }

    test::PrivateBus bus_;
};

TEST_F(SingleInstanceWithBusTest, theFirstStartIsThePrimary) {
    SingleInstance first(lock(), connectTo(bus_.address()));
    EXPECT_EQ(first.start(Request::activate), Outcome::primary);
    EXPECT_TRUE(log_.lines().empty());
}

TEST_F(SingleInstanceWithBusTest, aSecondStartHandsItsActivationOver) {
    SingleInstance first(lock(), connectTo(bus_.address()));
    ASSERT_EQ(first.start(Request::activate), Outcome::primary);
    const QSignalSpy activated(&first, &SingleInstance::activated);
    const QSignalSpy center(&first, &SingleInstance::openCenterRequested);
    Start second(lock(), bus_.address());
    EXPECT_EQ(second.line(), QStringLiteral("handed over"));
    EXPECT_EQ(second.exitCode(), 0);
    EXPECT_TRUE(QTest::qWaitFor([&] { return activated.count() == 1; }, deadline));
    EXPECT_EQ(center.count(), 0);
}

TEST_F(SingleInstanceWithBusTest, aSecondStartAsksTheFirstForTheCenter) {
    SingleInstance first(lock(), connectTo(bus_.address()));
    ASSERT_EQ(first.start(Request::activate), Outcome::primary);
    const QSignalSpy activated(&first, &SingleInstance::activated);
    const QSignalSpy center(&first, &SingleInstance::openCenterRequested);
    Start second(lock(), bus_.address(), QStringLiteral("open-center"));
    EXPECT_EQ(second.line(), QStringLiteral("handed over"));
    EXPECT_EQ(second.exitCode(), 0);
    EXPECT_TRUE(QTest::qWaitFor([&] { return center.count() == 1; }, deadline));
    EXPECT_EQ(activated.count(), 0);
}

TEST_F(SingleInstanceWithBusTest, anotherDatabaseOfTheSameUserIsTheSameInstance) {
    SingleInstance first(lock(), connectTo(bus_.address()));
    ASSERT_EQ(first.start(Request::activate), Outcome::primary);
    Start second(QString::fromStdString(directory_.file("other/corvanta.lock")), bus_.address());
    EXPECT_EQ(second.line(), QStringLiteral("handed over"));
}

TEST_F(SingleInstanceWithBusTest, answersTheWholeApplicationInterface) {
    SingleInstance first(lock(), connectTo(bus_.address()));
    ASSERT_EQ(first.start(Request::activate), Outcome::primary);
    const QSignalSpy activated(&first, &SingleInstance::activated);
    const QSignalSpy center(&first, &SingleInstance::openCenterRequested);
    QDBusConnection desktop = connectTo(bus_.address());
    EXPECT_EQ(call(desktop, QStringLiteral("Activate"), {QVariantMap()}).type(), QDBusMessage::ReplyMessage);
    EXPECT_EQ(call(desktop, QStringLiteral("Open"), {QStringList(), QVariantMap()}).type(),
              QDBusMessage::ReplyMessage);
    EXPECT_TRUE(QTest::qWaitFor([&] { return activated.count() == 2; }, deadline));
    EXPECT_EQ(call(desktop, QStringLiteral("ActivateAction"),
                   {QStringLiteral("open-center"), QVariantList(), QVariantMap()})
                  .type(),
              QDBusMessage::ReplyMessage);
    EXPECT_TRUE(QTest::qWaitFor([&] { return center.count() == 1; }, deadline));
}

TEST_F(SingleInstanceWithBusTest, anUnknownActionIsAnError) {
    SingleInstance first(lock(), connectTo(bus_.address()));
    ASSERT_EQ(first.start(Request::activate), Outcome::primary);
    const QSignalSpy center(&first, &SingleInstance::openCenterRequested);
    QDBusConnection desktop = connectTo(bus_.address());
    const QDBusMessage reply = call(desktop, QStringLiteral("ActivateAction"),
                                    {QStringLiteral("dance"), QVariantList(), QVariantMap()});
    EXPECT_EQ(reply.type(), QDBusMessage::ErrorMessage);
    EXPECT_EQ(reply.errorName(), QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs"));
    EXPECT_EQ(center.count(), 0);
}

TEST_F(SingleInstanceWithBusTest, aHungFirstInstanceRefusesAfterABoundedWait) {
    Start first(lock(), bus_.address());
    ASSERT_EQ(first.line(), QStringLiteral("primary"));
    first.freeze();
    SingleInstance second(lock(), connectTo(bus_.address()), std::chrono::milliseconds(200));
    QElapsedTimer time;
    time.start();
    EXPECT_EQ(second.start(Request::activate), Outcome::refused);
    EXPECT_GE(time.elapsed(), 100);
    EXPECT_LT(time.elapsed(), 10'000);
    EXPECT_EQ(log_.lines(), std::vector<std::string>{"Corvanta is already running, but does not answer"});
}

TEST_F(SingleInstanceWithBusTest, aKilledInstanceKeepsNobodyOut) {
    {
        Start first(lock(), bus_.address());
        ASSERT_EQ(first.line(), QStringLiteral("primary"));
    }
    SingleInstance second(lock(), connectTo(bus_.address()));
    EXPECT_EQ(second.start(Request::activate), Outcome::primary);
}

TEST_F(SingleInstanceWithBusTest, anEndedInstanceKeepsNobodyOut) {
    QDBusConnection connection = connectTo(bus_.address());
    {
        SingleInstance first(lock(), connection);
        ASSERT_EQ(first.start(Request::activate), Outcome::primary);
    }
    SingleInstance second(lock(), connection);
    EXPECT_EQ(second.start(Request::activate), Outcome::primary);
}

TEST_F(SingleInstanceWithBusTest, anInstanceOutsideTheBusKeepsASecondOut) {
    Start first(lock(), QStringLiteral("none"));
    ASSERT_EQ(first.line(), QStringLiteral("primary"));
    QDBusConnection connection = connectTo(bus_.address());
    SingleInstance second(lock(), connection);
    EXPECT_EQ(second.start(Request::activate), Outcome::refused);
    EXPECT_EQ(log_.lines(), std::vector<std::string>{"Corvanta is already running"});
    // The refused one keeps no name, so that the next start asks nobody who would not answer.
    first.kill();
    SingleInstance third(lock(), connectTo(bus_.address()));
    EXPECT_EQ(third.start(Request::activate), Outcome::primary);
}

TEST_F(SingleInstanceTest, theFolderItMakesForTheLockIsTheUsersAlone) {
    SingleInstance instance(lock(), noBus());
    EXPECT_EQ(instance.start(Request::activate), Outcome::primary);
    EXPECT_EQ(std::filesystem::status(directory_.path() / "data").permissions(),
              std::filesystem::perms::owner_all);
}

TEST_F(SingleInstanceTest, withoutABusTheLockKeepsASecondOut) {
    Start first(lock(), QStringLiteral("none"));
    ASSERT_EQ(first.line(), QStringLiteral("primary"));
    SingleInstance second(lock(), noBus());
    EXPECT_EQ(second.start(Request::openCenter), Outcome::refused);
    EXPECT_EQ(log_.lines(), std::vector<std::string>{"Corvanta is already running"});
    Start third(lock(), QStringLiteral("none"));
    EXPECT_EQ(third.line(), QStringLiteral("Corvanta is already running"));
    EXPECT_EQ(third.line(), QStringLiteral("refused"));
    EXPECT_EQ(third.exitCode(), 1);
}

TEST_F(SingleInstanceTest, theLockOfAKilledProcessKeepsNobodyOut) {
    {
        Start first(lock(), QStringLiteral("none"));
        ASSERT_EQ(first.line(), QStringLiteral("primary"));
    }
    EXPECT_TRUE(QFile::exists(lock()));
    SingleInstance second(lock(), noBus());
    EXPECT_EQ(second.start(Request::activate), Outcome::primary);
}

TEST_F(SingleInstanceTest, aFrozenHolderKeepsItsLock) {
    Start first(lock(), QStringLiteral("none"));
    ASSERT_EQ(first.line(), QStringLiteral("primary"));
    first.freeze();
    SingleInstance second(lock(), noBus());
    EXPECT_EQ(second.start(Request::activate), Outcome::refused);
}

TEST_F(SingleInstanceTest, aLockThatCannotBeWrittenKeepsNobodyOut) {
    const std::string file = directory_.write("plain", "not a folder");
    SingleInstance only(QString::fromStdString(file + "/corvanta.lock"), noBus());
    EXPECT_EQ(only.start(Request::activate), Outcome::primary);
    EXPECT_EQ(log_.lines(),
              std::vector<std::string>{"Shell: cannot lock against a second start: Not a directory"});
}

}  // namespace
}  // namespace corvanta
