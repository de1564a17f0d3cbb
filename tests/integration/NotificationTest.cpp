// SPDX-License-Identifier: Apache-2.0
// What the whole program tells the desktop's notification server, over the session's bus.
#include "integration/CorvantaTest.h"
#include "platform/MockUPower.h"
#include "platform/NotificationPeer.h"
#include "support/PrivateBus.h"

namespace corvanta::test {
namespace {

const QString displayDevice = QStringLiteral("DisplayDevice");
constexpr unsigned charging = 1;
constexpr unsigned discharging = 2;

class NotificationTest : public CorvantaTest {
  protected:
    NotificationTest() {
        user_.setVariable("DBUS_SYSTEM_BUS_ADDRESS", system_.address().toStdString());
        user_.setVariable("DBUS_SESSION_BUS_ADDRESS", session_.address().toStdString());
    }

    /// The machine's battery, with the plug pulled or in.
    void addBattery(double percentage, bool isPluggedIn) const {
        upower_.mock(upowerPath, QStringLiteral("SetupDisplayDevice"),
                     {2U, isPluggedIn ? charging : discharging, percentage, percentage, 100.0, 9.0, 600LL,
                      1800LL, true, QStringLiteral("battery"), 1U});
        plug(isPluggedIn);
    }
    void plug(bool isPluggedIn) const {
        upower_.setProperty(upowerPath, upowerName, QStringLiteral("OnBattery"), !isPluggedIn);
    }
    void setBattery(const QString& property, const QVariant& value) const {
        upower_.setProperty(MockUPower::pathOf(displayDevice), upowerDeviceInterface, property, value);
    }

    /// Summary and body of each notification so far.
    static std::vector<std::pair<std::string, std::string>> texts(const NotificationPeer& server) {
        std::vector<std::pair<std::string, std::string>> texts;
        for (const QDBusMessage& call : server.notifications()) {
            texts.emplace_back(call.arguments().value(3).toString().toStdString(),
                               call.arguments().value(4).toString().toStdString());
        }
        return texts;
    }
    static bool awaitCount(const NotificationPeer& server, std::size_t count) {
        return eventually([&] { return server.notifications().size() >= count; });
    }

    PrivateBus system_;
    PrivateBus session_;
    MockUPower upower_{system_.address()};
};

TEST_F(NotificationTest, aBatteryThatRunsLowIsToldOnceAndThenItsMilestone) {
    ASSERT_TRUE(upower_.isOnBus()) << "python3-dbusmock is needed";
    NotificationPeer server(session_.address());
    addBattery(14, false);
    const auto program = start();
    ASSERT_TRUE(awaitCount(server, 1));
    setBattery(QStringLiteral("Percentage"), 10.0);
    ASSERT_TRUE(awaitCount(server, 2));
    EXPECT_EQ(
        texts(server),
        (std::vector<std::pair<std::string, std::string>>{
            {"Battery Low", "Battery is at 14%. Connect to power to avoid interruption."},
            {"Battery Critically Low", "Your Mac has dropped to 10%. Plug in soon to avoid shutdown."}}));
    EXPECT_TRUE(program->awaitOutput("Notification authorisation granted\n"));
    expectQuits(*program);
}

TEST_F(NotificationTest, aPeripheralsNameIsNeverMarkup) {
    ASSERT_TRUE(upower_.isOnBus()) << "python3-dbusmock is needed";
    NotificationPeer server(session_.address());
    server.capabilities += QStringLiteral("body-markup");
    upower_.add(QStringLiteral("mouse"),
                peripheral({{QStringLiteral("Model"), QStringLiteral("<b>My</b>\n\x1b[31m & Mouse")},
                            {QStringLiteral("Percentage"), 9.0}}));
    const auto program = start();
    ASSERT_TRUE(awaitCount(server, 1));
    EXPECT_EQ(texts(server)[0].first, "Bluetooth Peripheral Battery Low");
    const std::string body = texts(server)[0].second;
    EXPECT_EQ(body.find('<'), std::string::npos) << body;
    EXPECT_EQ(body.find('\x1b'), std::string::npos) << body;
    EXPECT_NE(body.find("&lt;b&gt;My&lt;/b&gt;"), std::string::npos) << body;
    EXPECT_NE(body.find("&amp; Mouse battery is at 9%. Charge it soon to avoid interruption."),
              std::string::npos)
        << body;
    expectQuits(*program);
}

TEST_F(NotificationTest, aServerThatNeverAnswersHoldsNothingUp) {
    NotificationPeer server(session_.address());
    for (const char* member : {"GetServerInformation", "GetCapabilities", "Notify"})
        server.silence(QString::fromLatin1(member));
    addBattery(14, false);
    user_.setRefreshFrequency(RefreshFrequency::high);
    const auto program = start();
    ASSERT_TRUE(eventually([&] { return !server.calls(QStringLiteral("GetCapabilities")).empty(); }));
    EXPECT_TRUE(awaitRows(2));
    expectQuits(*program);
}

TEST_F(NotificationTest, aServerThatRefusesIsLogged) {
    NotificationPeer server(session_.address());
    server.setAnswer(QStringLiteral("Notify"), [](const QDBusMessage& call) {
        return call.createErrorReply(QStringLiteral("org.freedesktop.DBus.Error.LimitsExceeded"),
                                     QStringLiteral("Created too many notifications"));
    });
    addBattery(14, false);
    const auto program = start();
    EXPECT_TRUE(program->awaitOutput("Failed to deliver notification: Created too many notifications\n"));
    EXPECT_TRUE(goesOn(*program));
    expectQuits(*program);
}

TEST_F(NotificationTest, withoutAServerOneLineIsLoggedAndAServerThatComesLaterIsUsed) {
    addBattery(60, true);
    const auto program = start();
    ASSERT_TRUE(program->awaitOutput("Notification authorisation denied\n"));
    EXPECT_EQ(program->output(), "Notification authorisation denied\n");
    NotificationPeer server(session_.address());
    setBattery(QStringLiteral("Percentage"), 14.0);
    setBattery(QStringLiteral("State"), discharging);
    plug(false);
    ASSERT_TRUE(awaitCount(server, 1));
    EXPECT_EQ(texts(server)[0].first, "Battery Low");
    expectQuits(*program);
}

TEST_F(NotificationTest, aClickLeavesTheProgramRunning) {
    NotificationPeer server(session_.address());
    addBattery(14, false);
    const auto program = start();
    ASSERT_TRUE(awaitCount(server, 1));
    server.invoke(server.nextNumber - 1);
    EXPECT_TRUE(goesOn(*program));
    expectQuits(*program);
}

}  // namespace
}  // namespace corvanta::test
