// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/LinuxNotificationService.h"

#include <gtest/gtest.h>

#include <QDBusArgument>
#include <QDBusError>
#include <QScopeGuard>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/NotificationPeer.h"
#include "support/Eventually.h"
#include "support/PrivateBus.h"

using namespace corvanta;
using namespace corvanta::test;
using namespace std::chrono_literals;

namespace {

const QString notify = QStringLiteral("Notify");
const QString getCapabilities = QStringLiteral("GetCapabilities");
const QString getServerInformation = QStringLiteral("GetServerInformation");
constexpr int replacesIndex = 1;
constexpr int titleIndex = 3;
constexpr int bodyIndex = 4;
constexpr int actionsIndex = 5;
constexpr int hintsIndex = 6;
constexpr auto shortLimit = 200ms;

using Errors = std::vector<std::optional<std::string>>;

class LinuxNotificationServiceTest : public testing::Test {
  protected:
    BusService::Connect connect() {
        return [address = bus.address()] { return connectionTo(address, QStringLiteral("notifications")); };
    }
    void sendRequest(NotificationRequest request) {
        service->deliver(std::move(request), [this](const auto& error) { errors.push_back(error); });
    }
    void send(const std::string& identifier) { sendRequest({.identifier = identifier}); }
    bool awaitAnswers(std::size_t count) {
        return eventually([&] { return errors.size() >= count; });
    }
    /// Sends and waits for what becomes of it.
    std::optional<std::string> deliverRequest(NotificationRequest request) {
        const std::size_t before = errors.size();
        sendRequest(std::move(request));
        EXPECT_TRUE(awaitAnswers(before + 1));
        return errors.back();
    }
    std::optional<std::string> deliver(const std::string& identifier) {
        return deliverRequest({.identifier = identifier});
    }
    /// Waits until everything that the server has sent so far has arrived.
    void awaitSignals() { EXPECT_EQ(deliver("mark"), std::nullopt); }
    NotificationAuthorization authorization() {
        std::optional<NotificationAuthorization> answer;
        service->requestAuthorization([&](const auto& given) { answer = given; });
        EXPECT_TRUE(eventually([&] { return answer.has_value(); }));
        return answer.value_or(NotificationAuthorization());
    }
    void setLimit(std::chrono::milliseconds limit) {
        service = std::make_unique<LinuxNotificationService>(connect(), limit);
    }
    void restartServer() {
        server.reset();
        server = std::make_unique<NotificationPeer>(bus.address());
    }
    unsigned replaced() const { return server->lastArgument(replacesIndex).toUInt(); }

    PrivateBus bus;
    std::unique_ptr<NotificationPeer> server = std::make_unique<NotificationPeer>(bus.address());
    Errors errors;
    std::vector<std::string> clicks;
    std::unique_ptr<LinuxNotificationService> service = std::make_unique<LinuxNotificationService>(connect());
};

BusPeer::Answer refusesWith(const QString& name, const QString& text) {
    return [name, text](const QDBusMessage& call) { return call.createErrorReply(name, text); };
}

BusPeer::Answer repliesWith(const QVariant& value) {
    return [value](const QDBusMessage& call) { return call.createReply(value); };
}

}  // namespace

TEST_F(LinuxNotificationServiceTest, theCallCarriesEverythingInItsType) {
    EXPECT_EQ(
        deliverRequest(
            {.identifier = "com.corvanta.battery_low", .title = "Battery Low", .body = "Battery is at 9%."}),
        std::nullopt);
    const QDBusMessage call = server->notifications().at(0);
    EXPECT_EQ(call.signature(), QStringLiteral("susssasa{sv}i"));
    EXPECT_EQ(call.arguments().mid(0, 6),
              (QVariantList{QStringLiteral("Corvanta"), 0U, QStringLiteral("com.corvanta.app"),
                            QStringLiteral("Battery Low"), QStringLiteral("Battery is at 9%."),
                            QStringList{QStringLiteral("default"), QStringLiteral("Open")}}));
    EXPECT_EQ(call.arguments().value(7), QVariant(-1));
}

TEST_F(LinuxNotificationServiceTest, theHintsFollowTheLevel) {
    const auto hints = [this](InterruptionLevel level) {
        deliverRequest({.identifier = "a", .interruptionLevel = level});
        return qdbus_cast<QVariantMap>(server->lastArgument(hintsIndex));
    };
    const auto expected = [](uchar urgency, const char* sound) {
        return QVariantMap{{QStringLiteral("urgency"), QVariant::fromValue<uchar>(urgency)},
                           {QStringLiteral("desktop-entry"), QStringLiteral("com.corvanta.app")},
                           {QStringLiteral("category"), QStringLiteral("device")},
                           {QStringLiteral("sound-name"), QString::fromLatin1(sound)}};
    };
    const QVariantMap active = hints(InterruptionLevel::active);
    EXPECT_EQ(active, expected(1, "message-new-instant"));
    EXPECT_EQ(active.value(QStringLiteral("urgency")).typeId(), QMetaType::UChar);
    EXPECT_EQ(hints(InterruptionLevel::timeSensitive), expected(2, "dialog-warning"));
}

TEST_F(LinuxNotificationServiceTest, withoutSoundNoneIsNamed) {
    deliverRequest({.identifier = "a", .playsDefaultSound = false});
    EXPECT_FALSE(
        qdbus_cast<QVariantMap>(server->lastArgument(hintsIndex)).contains(QStringLiteral("sound-name")));
}

TEST_F(LinuxNotificationServiceTest, theSameIdentifierReplacesAndAnotherDoesNot) {
    deliver("a");
    EXPECT_EQ(replaced(), 0U);
    deliver("b");
    EXPECT_EQ(replaced(), 0U);
    deliver("a");
    EXPECT_EQ(replaced(), 1U);
    deliver("b");
    EXPECT_EQ(replaced(), 2U);
}

TEST_F(LinuxNotificationServiceTest, twoAtOnceOfOneIdentifierReplaceEachOther) {
    send("a");
    send("a");
    ASSERT_TRUE(awaitAnswers(2));
    EXPECT_EQ(replaced(), 1U);
}

TEST_F(LinuxNotificationServiceTest, theNumberThatTheServerGaveLastCounts) {
    server->keepsNumbers = false;
    for (unsigned i = 0; i < 3; ++i) {
        deliver("a");
        EXPECT_EQ(replaced(), i);
    }
}

TEST_F(LinuxNotificationServiceTest, aClosedNotificationIsNotReplaced) {
    deliver("a");
    deliver("b");
    server->close(1);
    server->close(77);  // some other program's
    awaitSignals();
    deliver("a");
    EXPECT_EQ(replaced(), 0U);
    deliver("b");
    EXPECT_EQ(replaced(), 2U);
}

TEST_F(LinuxNotificationServiceTest, onlyTheDefaultActionOfAShownNotificationIsAClick) {
    const auto subscription =
        service->subscribe([this](const std::string& identifier) { clicks.push_back(identifier); });
    deliver("a");
    deliver("b");
    server->invoke(77);
    server->invoke(1, QStringLiteral("other"));
    server->emitSignal(QStringLiteral("ActionInvoked"), {1U});
    server->emitSignal(QStringLiteral("ActionInvoked"), {});
    server->emitSignal(QStringLiteral("ActionInvoked"), {QStringLiteral("1"), QStringLiteral("default")});
    server->emitSignal(QStringLiteral("NotificationReplied"), {1U, QStringLiteral("default")});
    server->close(2);
    server->invoke(2);
    awaitSignals();
    EXPECT_TRUE(clicks.empty());
    server->invoke(1);
    EXPECT_TRUE(eventually([&] { return clicks == std::vector<std::string>{"a"}; }));
}

TEST_F(LinuxNotificationServiceTest, onlyTheServerItselfCanTellOfAClick) {
    const auto subscription =
        service->subscribe([this](const std::string& identifier) { clicks.push_back(identifier); });
    deliver("a");
    BusPeer stranger(bus.address(), QStringLiteral("com.example.Stranger"),
                     [](const QDBusMessage& call) { return call.createReply(); });
    stranger.emitSignal(notificationsPath, notificationsName, QStringLiteral("ActionInvoked"),
                        {1U, QStringLiteral("default")});
    stranger.emitSignal(notificationsPath, notificationsName, QStringLiteral("NotificationClosed"), {1U, 2U});
    // What the stranger has sent has been passed on once it answers.
    QDBusConnection client = connect()();
    client.call(QDBusMessage::createMethodCall(QStringLiteral("com.example.Stranger"), QStringLiteral("/"),
                                               QString(), QStringLiteral("Ping")),
                QDBus::BlockWithGui);
    deliver("a");
    EXPECT_EQ(replaced(), 1U);
    EXPECT_TRUE(clicks.empty());
}

TEST_F(LinuxNotificationServiceTest, anActivationTokenStandsInTheEnvironmentForItsClickAlone) {
    const auto restore = qScopeGuard([] { qunsetenv("XDG_ACTIVATION_TOKEN"); });
    const QString activationToken = QStringLiteral("ActivationToken");
    QByteArray seen;
    const auto subscription =
        service->subscribe([&](const std::string&) { seen = qgetenv("XDG_ACTIVATION_TOKEN"); });
    deliver("a");
    server->emitSignal(activationToken, {77U, QStringLiteral("stranger")});
    awaitSignals();
    EXPECT_FALSE(qEnvironmentVariableIsSet("XDG_ACTIVATION_TOKEN"));
    server->emitSignal(activationToken, {1U, QStringLiteral("token-1")});
    server->invoke(1);
    EXPECT_TRUE(eventually([&] { return seen == "token-1"; }));
    EXPECT_FALSE(qEnvironmentVariableIsSet("XDG_ACTIVATION_TOKEN"));
    server->invoke(1);
    EXPECT_TRUE(eventually([&] { return seen.isEmpty(); }));
}

TEST_F(LinuxNotificationServiceTest, actionsAreOfferedOnlyToAServerThatHasThem) {
    server->capabilities = {QStringLiteral("body")};
    deliver("a");
    EXPECT_EQ(server->lastArgument(actionsIndex).toStringList(), QStringList());
    EXPECT_EQ(server->notifications().back().signature(), QStringLiteral("susssasa{sv}i"));
}

TEST_F(LinuxNotificationServiceTest, aNameIsNeverMarkup) {
    struct Row {
        std::string given;
        QString markup;
        QString plain;
    };
    const std::vector<Row> rows{
        {"<b>bold</b>", QStringLiteral("&lt;b&gt;bold&lt;/b&gt;"), QStringLiteral("<b>bold</b>")},
        {"a & b &lt;", QStringLiteral("a &amp; b &amp;lt;"), QStringLiteral("a & b &lt;")},
        {"\"it's\" 100%", QStringLiteral("\"it's\" 100%"), QStringLiteral("\"it's\" 100%")},
        {"two\nlines\r\t\x1b[1m\x7f", QStringLiteral("two lines   [1m "), QStringLiteral("two lines   [1m ")},
        {std::string("nul\0l", 5), QStringLiteral("nul l"), QStringLiteral("nul l")},
        {"\xc2\x85 \xc3\xa9 \xf0\x9f\x94\x8b", QStringLiteral("  é 🔋"), QStringLiteral("  é 🔋")},
        {"\xff\xed\xa0\x80<", QStringLiteral("\ufffd\ufffd\ufffd\ufffd&lt;"),
         QStringLiteral("\ufffd\ufffd\ufffd\ufffd<")},
        {"\u202eabc\u2066", QStringLiteral(" abc "), QStringLiteral(" abc ")},
        {"", QString(), QString()},
    };
    for (const bool hasMarkup : {true, false}) {
        restartServer();
        if (hasMarkup) server->capabilities.append(QStringLiteral("body-markup"));
        for (const Row& row : rows) {
            EXPECT_EQ(deliverRequest({.identifier = "a", .title = row.given, .body = row.given}),
                      std::nullopt);
            EXPECT_EQ(server->lastArgument(bodyIndex).toString(), hasMarkup ? row.markup : row.plain);
            EXPECT_EQ(server->lastArgument(titleIndex).toString(), row.plain);
        }
    }
}

TEST_F(LinuxNotificationServiceTest, aServerIsAskedOnceWhatItCanDo) {
    for (int i = 0; i < 3; ++i) deliver("a");
    EXPECT_EQ(server->calls(getCapabilities).size(), 1U);
}

TEST_F(LinuxNotificationServiceTest, anotherServerStartsAfresh) {
    const auto subscription =
        service->subscribe([this](const std::string& identifier) { clicks.push_back(identifier); });
    deliver("a");
    deliver("b");
    restartServer();
    server->capabilities = {QStringLiteral("body-markup")};
    server->invoke(1);  // the new server's first is not ours
    EXPECT_EQ(deliverRequest({.identifier = "b", .body = "<i>"}), std::nullopt);
    EXPECT_EQ(replaced(), 0U);
    EXPECT_EQ(server->lastArgument(bodyIndex).toString(), QStringLiteral("&lt;i&gt;"));
    EXPECT_EQ(server->lastArgument(actionsIndex).toStringList(), QStringList());
    EXPECT_TRUE(clicks.empty());
    server->invoke(1);
    EXPECT_TRUE(eventually([&] { return clicks == std::vector<std::string>{"b"}; }));
}

TEST_F(LinuxNotificationServiceTest, anAbsentServerIsAnErrorUntilItComes) {
    server.reset();
    EXPECT_NE(deliver("a").value_or("").find(notificationsName.toStdString()), std::string::npos);
    EXPECT_EQ(authorization(), NotificationAuthorization{});
    restartServer();
    EXPECT_EQ(deliver("a"), std::nullopt);
    EXPECT_EQ(authorization(), NotificationAuthorization{.isGranted = true});
}

TEST_F(LinuxNotificationServiceTest, withoutABusThereIsAnError) {
    service = std::make_unique<LinuxNotificationService>([] { return QDBusConnection(QString()); });
    EXPECT_NE(deliver("a").value_or(""), "");
    const NotificationAuthorization answer = authorization();
    EXPECT_FALSE(answer.isGranted);
    EXPECT_EQ(answer.error, errors.back());
}

TEST_F(LinuxNotificationServiceTest, aBusThatDiesInTheMiddleOfACallIsAnError) {
    auto mortal = std::make_unique<PrivateBus>();
    service = std::make_unique<LinuxNotificationService>(
        [address = mortal->address()] { return connectionTo(address, QStringLiteral("mortal")); });
    NotificationPeer there(mortal->address());
    there.silence(notify);
    send("a");
    send("b");
    ASSERT_TRUE(eventually([&] { return there.notifications().size() == 1; }));
    mortal.reset();
    ASSERT_TRUE(awaitAnswers(2));
    EXPECT_NE(errors.at(0).value_or(""), "");
    EXPECT_NE(errors.at(1).value_or(""), "");
}

TEST_F(LinuxNotificationServiceTest, anErrorIsToldInTheServersWordsAndTheNextIsTried) {
    for (const QString& member : {getCapabilities, notify}) {
        server->setAnswer(member,
                          refusesWith(QStringLiteral("com.example.Full"), QStringLiteral("too full")));
        EXPECT_EQ(deliver("a"), "too full");
        server->setAnswer(member, refusesWith(QStringLiteral("com.example.Full"), QString()));
        EXPECT_EQ(deliver("a"), "com.example.Full");
        server->answerAsUsual();
        EXPECT_EQ(deliver("a"), std::nullopt);
    }
    EXPECT_EQ(server->notifications().size(), 4U);  // none while its abilities were unknown
}

TEST_F(LinuxNotificationServiceTest, anAnswerOfAnotherTypeIsAnError) {
    const std::string text = "The notification server's answer can't be understood";
    for (const QString& member : {getCapabilities, notify}) {
        server->setAnswer(member, repliesWith(QStringLiteral("7")));
        EXPECT_EQ(deliver("a"), text);
        server->setAnswer(member, [](const QDBusMessage& call) { return call.createReply(); });
        EXPECT_EQ(deliver("a"), text);
        server->answerAsUsual();
        EXPECT_EQ(deliver("a"), std::nullopt);
        EXPECT_EQ(replaced(), member == notify ? 1U : 0U);
    }
    server->setAnswer(getServerInformation, repliesWith(true));
    EXPECT_EQ(authorization(), NotificationAuthorization{.error = text});
}

TEST_F(LinuxNotificationServiceTest, aNotificationThatFailedReplacesTheOneBeforeTheNextTime) {
    deliver("a");
    server->setAnswer(notify, refusesWith(QStringLiteral("com.example.Full"), QString()));
    deliver("a");
    server->answerAsUsual();
    deliver("a");
    EXPECT_EQ(replaced(), 1U);
}

TEST_F(LinuxNotificationServiceTest, authorizationIsDeniedOnlyWithoutAServer) {
    for (const char* absent : {"ServiceUnknown", "NameHasNoOwner"}) {
        server->setAnswer(
            getServerInformation,
            refusesWith(QStringLiteral("org.freedesktop.DBus.Error.%1").arg(QLatin1String(absent)),
                        QStringLiteral("nobody")));
        EXPECT_EQ(authorization(), NotificationAuthorization{}) << absent;
    }
    server->setAnswer(getServerInformation,
                      refusesWith(QStringLiteral("org.freedesktop.DBus.Error.Spawn.ChildExited"),
                                  QStringLiteral("it crashed")));
    EXPECT_EQ(authorization(), NotificationAuthorization{.error = "it crashed"});
}

TEST_F(LinuxNotificationServiceTest, aServerThatNeverAnswersIsAnErrorInTime) {
    setLimit(shortLimit);
    for (const QString& member : {getServerInformation, getCapabilities, notify}) server->silence(member);
    EXPECT_NE(deliver("a").value_or(""), "");
    EXPECT_NE(authorization().error.value_or(""), "");
    server->answerAsUsual();
    setLimit(60s);
    EXPECT_EQ(deliver("a"), std::nullopt);
    EXPECT_EQ(authorization(), NotificationAuthorization{.isGranted = true});
}

TEST_F(LinuxNotificationServiceTest, whatWaitsForADeadServerIsBoundedAndEndsWithinOneLimit) {
    setLimit(1s);
    server->silence(notify);
    const auto start = std::chrono::steady_clock::now();
    constexpr std::size_t count = 1000;
    for (std::size_t i = 0; i < count; ++i) send("a" + std::to_string(i));
    ASSERT_TRUE(eventually([&] { return errors.size() >= count - NotificationServer::mostWaiting - 1; }));
    EXPECT_LT(std::chrono::steady_clock::now() - start, 1s);  // most were not even kept
    ASSERT_TRUE(awaitAnswers(count));
    EXPECT_EQ(errors.size(), count);
    for (const auto& error : errors) EXPECT_TRUE(error);
    // Of those that waited next to none had time left to be tried.
    EXPECT_LT(server->notifications().size(), NotificationServer::mostWaiting / 2);
    server->answerAsUsual();
    EXPECT_EQ(deliver("a"), std::nullopt);
}

TEST_F(LinuxNotificationServiceTest, aServerThatDiesInTheMiddleOfACallFailsThatOneOnly) {
    server->silence(notify);
    send("a");
    ASSERT_TRUE(eventually([&] { return server->notifications().size() == 1; }));
    send("b");
    auto next = std::exchange(server, nullptr);
    next->leave();
    restartServer();
    ASSERT_TRUE(awaitAnswers(2));
    EXPECT_TRUE(errors.at(0));
    EXPECT_EQ(errors.at(1), std::nullopt);
    EXPECT_EQ(server->notifications().size(), 1U);
}

TEST_F(LinuxNotificationServiceTest, removingWhatIsPendingForgetsWhatStillWaits) {
    server->silence(notify);
    send("a");
    ASSERT_TRUE(eventually([&] { return server->notifications().size() == 1; }));
    send("b");
    service->removeAllPending();
    send("c");
    server->setAnswer(notify, repliesWith(5U));
    server->leave();
    restartServer();
    ASSERT_TRUE(awaitAnswers(2));
    EXPECT_TRUE(errors.at(0));
    EXPECT_EQ(errors.at(1), std::nullopt);
    EXPECT_EQ(server->notifications().size(), 1U);
    EXPECT_EQ(errors.size(), 2U);
}

TEST_F(LinuxNotificationServiceTest,
       removingWhatIsPendingForgetsAlsoTheOneForWhichTheServerIsAskedWhatItCanDo) {
    server->silence(getCapabilities);
    send("a");
    send("b");
    ASSERT_TRUE(eventually([&] { return server->calls(getCapabilities).size() == 1; }));
    service->removeAllPending();
    sendRequest({.identifier = "c", .title = "c"});
    server->leave();
    restartServer();
    ASSERT_TRUE(awaitAnswers(1));
    EXPECT_EQ(errors.at(0), std::nullopt);
    ASSERT_EQ(server->notifications().size(), 1U);
    EXPECT_EQ(server->lastArgument(titleIndex).toString(), QStringLiteral("c"));
    EXPECT_EQ(errors.size(), 1U);
}

TEST_F(LinuxNotificationServiceTest, deliveriesKeepTheirOrder) {
    for (int i = 0; i < 10; ++i) {
        sendRequest({.identifier = "a" + std::to_string(i), .title = std::to_string(i)});
    }
    ASSERT_TRUE(awaitAnswers(10));
    QStringList titles;
    for (const QDBusMessage& call : server->notifications())
        titles.append(call.arguments()[titleIndex].toString());
    EXPECT_EQ(titles.join(QString()), QStringLiteral("0123456789"));
}

TEST_F(LinuxNotificationServiceTest, afterItsEndNobodyIsCalled) {
    server->silence(notify);
    send("a");
    send("b");
    ASSERT_TRUE(eventually([&] { return server->notifications().size() == 1; }));
    send("c");
    service.reset();
    service = std::make_unique<LinuxNotificationService>(connect());
    server->answerAsUsual();
    EXPECT_EQ(deliver("d"), std::nullopt);
    EXPECT_EQ(errors.size(), 1U);
}
