// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "settings/AppSettings.h"
#include "support/CapturedLog.h"
#include "support/FakePlatform.h"

namespace corvanta {
namespace {

using Strings = std::vector<std::string>;

class LaunchAtLoginTest : public testing::Test {
  protected:
    /// The settings of a program that starts now.
    std::unique_ptr<AppSettings> start() {
        return std::make_unique<AppSettings>(machine.defaults, machine.loginItem, machine.clock,
                                             machine.executor);
    }

    test::FakePlatform machine;
    test::FakeDefaultsStore& store = machine.defaults;
};

TEST_F(LaunchAtLoginTest, theSystemsLoginItemOverridesAStoredFalse) {
    machine.loginItem.enabled = true;
    EXPECT_TRUE(start()->launchAtLogin());
    store.values = {{"launchAtLogin", false}};
    EXPECT_TRUE(start()->launchAtLogin());
    EXPECT_EQ(store.boolValue("launchAtLogin"), false);
    EXPECT_EQ(machine.loginItem.registrations, 0);
}

TEST_F(LaunchAtLoginTest, aStoredTrueLoadsAlthoughTheSystemHasNoLoginItem) {
    store.values = {{"launchAtLogin", true}};
    EXPECT_TRUE(start()->launchAtLogin());
    store.values = {{"launchAtLogin", false}};
    EXPECT_FALSE(start()->launchAtLogin());
    EXPECT_EQ(machine.loginItem.registrations, 0);
    EXPECT_EQ(machine.loginItem.unregistrations, 0);
}

TEST_F(LaunchAtLoginTest, launchAtLoginMakesTheSystemAgree) {
    const auto settings = start();
    settings->launchAtLogin.set(true);
    EXPECT_TRUE(machine.loginItem.enabled);
    EXPECT_EQ(machine.loginItem.registrations, 1);
    EXPECT_EQ(store.boolValue("launchAtLogin"), true);
    settings->launchAtLogin.set(true);
    EXPECT_EQ(machine.loginItem.registrations, 1);
    settings->launchAtLogin.set(false);
    EXPECT_FALSE(machine.loginItem.enabled);
    EXPECT_EQ(machine.loginItem.unregistrations, 1);
    settings->launchAtLogin.set(false);
    EXPECT_EQ(machine.loginItem.unregistrations, 1);
    EXPECT_EQ(machine.executor.queued(), 0U);
}

TEST_F(LaunchAtLoginTest, theLoginItemIsSettledWhenAnObserverHears) {
    const auto settings = start();
    bool registered = false;
    settings->launchAtLogin.onChange(settings.get(),
                                     [&](bool) { registered = machine.loginItem.isEnabled(); });
    settings->launchAtLogin.set(true);
    EXPECT_TRUE(registered);
}

TEST_F(LaunchAtLoginTest, launchAtLoginSpringsBackLaterWhenTheSystemRefuses) {
    const test::CapturedLog log;
    const auto settings = start();
    machine.loginItem.failure = "Operation not permitted";
    std::vector<bool> heard;
    settings->launchAtLogin.onChange(settings.get(), [&](bool value) { heard.push_back(value); });
    settings->launchAtLogin.set(true);
    EXPECT_TRUE(settings->launchAtLogin());
    EXPECT_EQ(store.boolValue("launchAtLogin"), true);
    EXPECT_EQ(log.lines(), Strings{"Failed to update launch at login status: Operation not permitted"});

    EXPECT_EQ(machine.executor.runQueued(), 1);
    EXPECT_FALSE(settings->launchAtLogin());
    EXPECT_EQ(store.boolValue("launchAtLogin"), false);
    EXPECT_EQ(machine.loginItem.registrations, 1);
    EXPECT_EQ(machine.loginItem.unregistrations, 0);
    EXPECT_EQ(machine.executor.queued(), 0U);
    EXPECT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(heard, (std::vector<bool>{true, false}));
}

TEST_F(LaunchAtLoginTest, launchAtLoginSpringsBackToOnWhenUnregisteringFails) {
    const test::CapturedLog log;
    machine.loginItem.enabled = true;
    const auto settings = start();
    machine.loginItem.failure = "busy";
    settings->launchAtLogin.set(false);
    EXPECT_FALSE(settings->launchAtLogin());
    machine.executor.runQueued();
    EXPECT_TRUE(settings->launchAtLogin());
    EXPECT_EQ(machine.loginItem.unregistrations, 1);
    EXPECT_EQ(machine.loginItem.registrations, 0);
    EXPECT_EQ(log.lines(), Strings{"Failed to update launch at login status: busy"});
}

TEST_F(LaunchAtLoginTest, theCorrectionIsDroppedWithTheSettings) {
    const test::CapturedLog log;
    auto settings = start();
    machine.loginItem.failure = "busy";
    settings->launchAtLogin.set(true);
    settings.reset();
    store.writes.clear();
    EXPECT_EQ(machine.executor.runQueued(), 1);
    EXPECT_TRUE(store.writes.empty());
}

}  // namespace
}  // namespace corvanta
