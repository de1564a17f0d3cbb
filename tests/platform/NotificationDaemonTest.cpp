// SPDX-License-Identifier: Apache-2.0
// The notifications against servers that run as programs of their own.
#include <gtest/gtest.h>

#include <QDBusArgument>
#include <QDBusVariant>
#include <QProcess>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/NotificationPeer.h"
#include "platform/linux/LinuxNotificationService.h"
#include "support/Eventually.h"
#include "support/MockService.h"
#include "support/PrivateBus.h"
#include "support/TempDirectory.h"

using namespace corvanta;
using namespace corvanta::test;

namespace {

const QString python = QStringLiteral("/usr/bin/python3");
const QStringList mockArguments{QStringLiteral("-m"), QStringLiteral("dbusmock"), QStringLiteral("--session"),
                                QStringLiteral("--template"), QStringLiteral("notification_daemon")};

/// The port on a bus, and what has come of it.
class Notifier {
  public:
    explicit Notifier(const QString& address)
        : service_([address] { return connectionTo(address, QStringLiteral("notifications")); }),
          subscription_(
              service_.subscribe([this](const auto& identifier) { clicks_.push_back(identifier); })) {}

    std::optional<std::string> deliver(NotificationRequest request) {
        std::optional<std::optional<std::string>> result;
        service_.deliver(std::move(request), [&](const auto& error) { result = error; });
        EXPECT_TRUE(eventually([&] { return result.has_value(); }));
        return result.value_or("no answer");
    }
    bool isAuthorized() {
        std::optional<NotificationAuthorization> answer;
        service_.requestAuthorization([&](const auto& given) { answer = given; });
        return eventually([&] { return answer.has_value(); }) && answer->isGranted;
    }
    bool awaitClicks(const std::vector<std::string>& clicks) {
        return eventually([&] { return clicks_ == clicks; });
    }

  private:
    LinuxNotificationService service_;
    std::vector<std::string> clicks_;
    std::unique_ptr<Subscription> subscription_;
};

/// The arguments of each `Notify` that a mock has taken.
std::vector<QVariantList> notificationsOf(const ServiceProgram& mock) {
    const QDBusMessage reply = mock.call(notificationsPath, QLatin1String(MockService::mockInterface),
                                         QStringLiteral("GetMethodCalls"), {QStringLiteral("Notify")});
    std::vector<QVariantList> calls;
    const auto list = reply.arguments().value(0).value<QDBusArgument>();
    list.beginArray();
    while (!list.atEnd()) {
        qulonglong time = 0;
        QVariantList arguments;
        list.beginStructure();
        list >> time >> arguments;
        list.endStructure();
        calls.push_back(arguments);
    }
    list.endArray();
    return calls;
}

std::unique_ptr<ServiceProgram> startMock(const QString& address, const QString& capabilities) {
    const QString parameters = QStringLiteral(R"({"capabilities": "%1"})").arg(capabilities);
    return std::make_unique<ServiceProgram>(
        address, notificationsName, python,
        mockArguments + QStringList{QStringLiteral("--parameters"), parameters});
}

void emitFrom(const ServiceProgram& mock, const QString& signal, const QString& signature,
              const QVariantList& arguments) {
    mock.call(notificationsPath, QLatin1String(MockService::mockInterface), QStringLiteral("EmitSignal"),
              {notificationsName, signal, signature, QVariant::fromValue(arguments)});
}

/// An X server of the test's own, which ends with it.
class PrivateDisplay {
  public:
    PrivateDisplay() {
        server_.start(QStringLiteral("Xvfb"), {QStringLiteral("-displayfd"), QStringLiteral("1"),
                                               QStringLiteral("-nolisten"), QStringLiteral("tcp")});
        while (!server_.canReadLine() && server_.waitForReadyRead(patience)) {
        }
        name_ = QStringLiteral(":") + QString::fromUtf8(server_.readLine()).trimmed();
    }
    ~PrivateDisplay() {
        server_.kill();
        server_.waitForFinished();
    }
    PrivateDisplay(const PrivateDisplay&) = delete;
    PrivateDisplay& operator=(const PrivateDisplay&) = delete;

    const QString& name() const { return name_; }

  private:
    QProcess server_;
    QString name_;
};

/// A server that draws, on a display that nobody sees.
class Dunst : public ServiceProgram {
  public:
    Dunst(const QString& address, const QString& display, const QString& configuration)
        : ServiceProgram(address, notificationsName, QStringLiteral("dunst"),
                         {QStringLiteral("-conf"), configuration}, {QStringLiteral("DISPLAY=") + display}) {}

    /// What a click on one of the shown notifications does, counted from the top.
    void act(unsigned index) const { control("NotificationAction", {index}); }
    int shown() const {
        const QDBusMessage reply =
            call(notificationsPath, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"),
                 {QStringLiteral("org.dunstproject.cmd0"), QStringLiteral("displayedLength")});
        return reply.arguments().value(0).value<QDBusVariant>().variant().toInt();
    }
    /// Closes what is shown and tells all that was, the latest first.
    std::vector<QVariantMap> history() const {
        control("NotificationCloseAll");
        std::vector<QVariantMap> entries;
        const auto list = control("NotificationListHistory").arguments().value(0).value<QDBusArgument>();
        list.beginArray();
        while (!list.atEnd()) list >> entries.emplace_back();
        list.endArray();
        return entries;
    }

  private:
    QDBusMessage control(const char* member, const QVariantList& arguments = {}) const {
        return call(notificationsPath, QStringLiteral("org.dunstproject.cmd0"), QString::fromLatin1(member),
                    arguments);
    }
};

std::string textOf(const QVariantMap& entry, const char* key) {
    return entry.value(QString::fromLatin1(key)).toString().toStdString();
}

class DesktopNotifications : public testing::Test {
  protected:
    void start(const std::string& markup = "full") {
        dunst.reset();
        const std::string configuration =
            folder.write("dunstrc", "[global]\nmarkup = " + markup + "\nformat = \"<b>%s</b>\\n%b\"\n");
        dunst = std::make_unique<Dunst>(bus.address(), display.name(), QString::fromStdString(configuration));
        ASSERT_TRUE(dunst->isOnBus()) << "Xvfb and dunst are needed";
    }

    TempDirectory folder;
    PrivateBus bus;
    PrivateDisplay display;
    std::unique_ptr<Dunst> dunst;
    std::unique_ptr<Notifier> notifier = std::make_unique<Notifier>(bus.address());
};

}  // namespace

TEST(NotificationDaemon, takesWhatTheProtocolSays) {
    const PrivateBus bus;
    const auto mock = startMock(bus.address(), QStringLiteral("actions body body-markup"));
    ASSERT_TRUE(mock->isOnBus()) << "python3-dbusmock is needed";
    Notifier notifier(bus.address());
    EXPECT_TRUE(notifier.isAuthorized());
    EXPECT_EQ(notifier.deliver({.identifier = "a", .title = "<T> & \xf0\x9f\x94\x8b", .body = "<b>\nx"}),
              std::nullopt);
    EXPECT_EQ(notifier.deliver({.identifier = "a", .title = "second"}), std::nullopt);
    const auto calls = notificationsOf(*mock);
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_EQ(calls[0].value(3).toString(), QStringLiteral("<T> & 🔋"));
    EXPECT_EQ(calls[0].value(4).toString(), QStringLiteral("&lt;b&gt; x"));
    EXPECT_EQ(calls[0].value(1).toUInt(), 0U);
    EXPECT_EQ(calls[1].value(1).toUInt(), 1U);
}

TEST(NotificationDaemon, tellsOfClicksAndOfItsEnd) {
    const PrivateBus bus;
    auto mock = startMock(bus.address(), QStringLiteral("actions body"));
    ASSERT_TRUE(mock->isOnBus()) << "python3-dbusmock is needed";
    Notifier notifier(bus.address());
    notifier.deliver({.identifier = "a"});
    notifier.deliver({.identifier = "b"});
    emitFrom(*mock, QStringLiteral("ActionInvoked"), QStringLiteral("us"), {2U, QStringLiteral("default")});
    EXPECT_TRUE(notifier.awaitClicks({"b"}));

    mock.reset();
    EXPECT_FALSE(notifier.isAuthorized());
    EXPECT_NE(notifier.deliver({.identifier = "a"}), std::nullopt);
    mock = startMock(bus.address(), QStringLiteral("body"));
    EXPECT_EQ(notifier.deliver({.identifier = "b", .body = "1 < 2"}), std::nullopt);
    const auto calls = notificationsOf(*mock);
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_EQ(calls[0].value(1).toUInt(), 0U);
    EXPECT_EQ(calls[0].value(4).toString(), QStringLiteral("1 < 2"));
    emitFrom(*mock, QStringLiteral("ActionInvoked"), QStringLiteral("us"), {1U, QStringLiteral("default")});
    EXPECT_TRUE(notifier.awaitClicks({"b", "b"}));
}

TEST(NotificationDaemon, isStartedWhenItIsNotThere) {
    const TempDirectory services;
    services.write("notifications.service", "[D-BUS Service]\nName=org.freedesktop.Notifications\nExec=" +
                                                (python + u' ' + mockArguments.join(u' ')).toStdString() +
                                                '\n');
    const PrivateBus bus({}, QString::fromStdString(services.path().string()));
    Notifier notifier(bus.address());
    EXPECT_EQ(notifier.deliver({.identifier = "a"}), std::nullopt);
    EXPECT_TRUE(notifier.isAuthorized());
}

TEST(NotificationDaemon, thatCannotBeStartedIsAnError) {
    const TempDirectory services;
    services.write("notifications.service",
                   "[D-BUS Service]\nName=org.freedesktop.Notifications\nExec=/bin/false\n");
    const PrivateBus bus({}, QString::fromStdString(services.path().string()));
    Notifier notifier(bus.address());
    EXPECT_NE(notifier.deliver({.identifier = "a"}).value_or(""), "");
    EXPECT_FALSE(notifier.isAuthorized());
}

TEST_F(DesktopNotifications, showNamesAsTextWithMarkupAndWithoutIt) {
    for (const char* markup : {"full", "no"}) {
        start(markup);
        EXPECT_TRUE(notifier->isAuthorized());
        EXPECT_EQ(notifier->deliver({.identifier = "a", .title = "<u>T</u>", .body = "<b>Z</b> & C\nx"}),
                  std::nullopt);
        const auto history = dunst->history();
        ASSERT_EQ(history.size(), 1U);
        // As it hands it to the renderer of markup.
        EXPECT_EQ(textOf(history[0], "message"),
                  "<b>&lt;u&gt;T&lt;/u&gt;</b>\n&lt;b&gt;Z&lt;/b&gt; &amp; C x");
    }
}

TEST_F(DesktopNotifications, replaceEachOtherAndStayWhenTheyAreUrgent) {
    start();
    notifier->deliver({.identifier = "a", .title = "first"});
    notifier->deliver(
        {.identifier = "a", .title = "second", .interruptionLevel = InterruptionLevel::timeSensitive});
    EXPECT_TRUE(eventually([&] { return dunst->shown() == 1; }));
    notifier->deliver({.identifier = "b", .title = "third"});
    EXPECT_TRUE(eventually([&] { return dunst->shown() == 2; }));
    std::map<std::string, bool> stays;
    for (const QVariantMap& entry : dunst->history()) {
        stays[textOf(entry, "summary")] = entry.value(QStringLiteral("timeout")).toLongLong() == 0;
    }
    EXPECT_EQ(stays, (std::map<std::string, bool>{{"second", true}, {"third", false}}));
}

TEST_F(DesktopNotifications, tellOfAClickUnderTheirIdentifier) {
    start();
    notifier->deliver({.identifier = "com.corvanta.weekly_report", .title = "report"});
    ASSERT_TRUE(eventually([&] { return dunst->shown() == 1; }));
    dunst->act(0);
    EXPECT_TRUE(notifier->awaitClicks({"com.corvanta.weekly_report"}));
}
