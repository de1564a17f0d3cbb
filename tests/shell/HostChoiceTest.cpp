// SPDX-License-Identifier: Apache-2.0
#include "shell/linux/HostChoice.h"

#include <gtest/gtest.h>

#include <optional>
#include <utility>
#include <vector>

#include "shell/OffscreenItem.h"
#include "support/CapturedLog.h"

namespace corvanta {
namespace {

HostChoice choose(const DisplayEnvironment& environment, bool answers) {
    return chooseHost(environment, [answers] { return answers; });
}

/// Sets or unsets variables of this process for a scope.
class Environment {
  public:
    using Variables = std::vector<std::pair<const char*, std::optional<QByteArray>>>;

    explicit Environment(const Variables& wanted) {
        for (const auto& [name, value] : wanted) {
            former_.emplace_back(name, current(name));
            apply(name, value);
        }
    }
    ~Environment() {
        for (const auto& [name, value] : former_) apply(name, value);
    }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

    static std::optional<QByteArray> current(const char* name) {
        return qEnvironmentVariableIsSet(name) ? std::optional(qgetenv(name)) : std::nullopt;
    }

  private:
    static void apply(const char* name, const std::optional<QByteArray>& value) {
        if (value) {
            qputenv(name, *value);
        } else {
            qunsetenv(name);
        }
    }

    Variables former_;
};

TEST(HostChoiceTest, aPlatformSetByTheUserIsKeptAndNobodyIsAsked) {
    const HostChoice choice =
        chooseHost({.qtPlatform = "minimal", .display = ":0", .waylandDisplay = ""}, [] {
            ADD_FAILURE() << "the X server was asked";
            return true;
        });
    EXPECT_EQ(choice, HostChoice());
}

TEST(HostChoiceTest, anAnsweringXServerMeansXcb) {
    EXPECT_EQ(choose({.qtPlatform = "", .display = ":0", .waylandDisplay = ""}, true),
              (HostChoice{"xcb", ""}));
    EXPECT_EQ(choose({.qtPlatform = "", .display = ":0", .waylandDisplay = "wayland-0"}, true),
              (HostChoice{"xcb", ""}));
}

TEST(HostChoiceTest, otherwiseItIsOffscreenAndTheReasonIsTold) {
    EXPECT_EQ(choose({.qtPlatform = "", .display = "", .waylandDisplay = ""}, true),
              (HostChoice{"offscreen", "no display"}));
    EXPECT_EQ(choose({.qtPlatform = "", .display = ":7", .waylandDisplay = "wayland-0"}, false),
              (HostChoice{"offscreen", "the X server :7 does not answer"}));
    EXPECT_EQ(choose({.qtPlatform = "", .display = "", .waylandDisplay = "wayland-0"}, true),
              (HostChoice{"offscreen", "a Wayland display without X, which the status item cannot use"}));
}

TEST(HostChoiceTest, anXServerThatIsNotThereDoesNotAnswer) {
    const Environment environment(Environment::Variables{{"DISPLAY", "127.0.0.1:59999"}});
    EXPECT_FALSE(xServerAnswers());
}

TEST(PlatformBootTest, setsThePlatformAndHidesTheDesktopForItsLifetime) {
    const Environment environment({{"QT_QPA_PLATFORM", std::nullopt},
                                   {"DISPLAY", std::nullopt},
                                   {"WAYLAND_DISPLAY", std::nullopt},
                                   {"XDG_CURRENT_DESKTOP", "XFCE"}});
    const test::CapturedLog log;
    {
        const PlatformBoot boot;
        EXPECT_EQ(Environment::current("QT_QPA_PLATFORM"), QByteArray("offscreen"));
        EXPECT_EQ(Environment::current("XDG_CURRENT_DESKTOP"), std::nullopt);
    }
    EXPECT_EQ(Environment::current("QT_QPA_PLATFORM"), std::nullopt);
    EXPECT_EQ(Environment::current("XDG_CURRENT_DESKTOP"), QByteArray("XFCE"));
    EXPECT_EQ(log.lines(), std::vector<std::string>{"Shell: running without a status item: no display"});
}

TEST(PlatformBootTest, leavesTheUsersOwnPlatformAlone) {
    const Environment environment(
        {{"QT_QPA_PLATFORM", "offscreen"}, {"DISPLAY", std::nullopt}, {"XDG_CURRENT_DESKTOP", std::nullopt}});
    const test::CapturedLog log;
    {
        const PlatformBoot boot;
        EXPECT_EQ(Environment::current("QT_QPA_PLATFORM"), QByteArray("offscreen"));
    }
    EXPECT_EQ(Environment::current("QT_QPA_PLATFORM"), QByteArray("offscreen"));
    EXPECT_EQ(Environment::current("XDG_CURRENT_DESKTOP"), std::nullopt);
    EXPECT_TRUE(log.lines().empty());
}

TEST(PlatformBootTest, theOffscreenPlatformGetsTheOffscreenItem) {
    const std::unique_ptr<StatusItem> item = makeStatusItem();
    EXPECT_NE(dynamic_cast<OffscreenItem*>(item.get()), nullptr);
}

}  // namespace
}  // namespace corvanta
