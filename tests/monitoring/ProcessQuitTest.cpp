// SPDX-License-Identifier: Apache-2.0
#include "monitoring/collectors/ProcessQuit.h"

#include <gtest/gtest.h>

#include "support/FakeProcesses.h"

namespace corvanta {
namespace {

using test::FakeProcessSignaller;

class ProcessQuitTest : public testing::Test {
  protected:
    /// The user is asked about the process, `meanwhile` happens, and the user confirms.
    std::optional<ProcessNotice> quit(const PendingProcessAction& action,
                                      const std::function<void()>& meanwhile = {}) {
        const auto held = signaller.hold(action.pid);
        if (meanwhile) meanwhile();
        return runAction(action, *held, processes, signaller.ownProcessID());
    }

    FakeProcessSignaller signaller;
    std::vector<ProcessDetail> processes = {{.id = 50, .name = "Editor", .kind = "User"},
                                            {.id = 60, .name = "Xorg", .kind = "User"}};
    void SetUp() override {
        signaller.start(50, "Editor");
        signaller.start(60, "Xorg");
    }
};

TEST(ProcessConfirmation, asksWhetherToQuit) {
    EXPECT_EQ(confirmation({50, "Editor", false}),
              (ProcessConfirmation{"Quit Editor?",
                                   "Editor will be asked to quit. Save your work in it first if you have not "
                                   "already.",
                                   "Quit", "Cancel"}));
}

TEST(ProcessConfirmation, asksWhetherToForceIt) {
    EXPECT_EQ(
        confirmation({50, "Editor", true}),
        (ProcessConfirmation{"Force quit Editor?",
                             "Editor will be stopped immediately and will not get a chance to save. Any "
                             "unsaved work in it will be lost.",
                             "Force Quit", "Cancel"}));
}

TEST_F(ProcessQuitTest, aDeliveredSignalShowsNothing) {
    EXPECT_EQ(quit({50, "Editor", false}), std::nullopt);
    EXPECT_EQ(quit({50, "Editor", true}), std::nullopt);
    EXPECT_EQ(signaller.signals, (std::vector<FakeProcessSignaller::Signal>{{50, 15}, {50, 9}}));
}

TEST_F(ProcessQuitTest, aProcessThatHasLeftTheListGetsNoSignal) {
    const ProcessNotice nothing{"Nothing was quit", "Editor is no longer running as process 50."};
    EXPECT_EQ(quit({50, "Editor", false}, [&] { processes.erase(processes.begin()); }), nothing);
    EXPECT_TRUE(signaller.signals.empty());
}

TEST_F(ProcessQuitTest, anIdThatADifferentProgramHasTakenGetsNoSignal) {
    const ProcessNotice nothing{"Nothing was quit", "Editor is no longer running as process 50."};
    EXPECT_EQ(quit({50, "Editor", true},
                   [&] {
                       signaller.start(50, "Backup");
                       processes[0].name = "Backup";
                   }),
              nothing);
    EXPECT_TRUE(signaller.signals.empty());
}

TEST_F(ProcessQuitTest, anIdThatTheSameProgramHasTakenAgainGetsNoSignal) {
    const ProcessNotice failed{"Could not quit Editor", "Editor is no longer running."};
    EXPECT_EQ(quit({50, "Editor", true}, [&] { signaller.start(50, "Editor"); }), failed);
    EXPECT_TRUE(signaller.signals.empty());
}

TEST_F(ProcessQuitTest, whatTheSystemDoesNotAllowIsTold) {
    signaller.error = 1;
    EXPECT_EQ(
        quit({50, "Editor", false}),
        (ProcessNotice{"Could not quit Editor",
                       "macOS did not allow Corvanta to quit Editor. It is likely owned by another user "
                       "or protected by System Integrity Protection."}));
    signaller.error = 22;
    EXPECT_EQ(quit({50, "Editor", false}),
              (ProcessNotice{"Could not quit Editor",
                             "Corvanta could not quit Editor. The system reported error 22."}));
}

TEST_F(ProcessQuitTest, aProtectedProcessIsRefused) {
    EXPECT_EQ(quit({60, "Xorg", false}),
              (ProcessNotice{"Protected system process",
                             "Xorg is a core part of macOS. Quitting it would sign you out or leave your Mac "
                             "in a broken state, so Corvanta will not do it."}));
    EXPECT_TRUE(signaller.signals.empty());
}

TEST(RefusalNotice, hasTheLabelAndTheReason) {
    EXPECT_EQ(refusalNotice(ProcessControl::OwnProcess{}),
              (ProcessNotice{"This is Corvanta",
                             "This is Corvanta itself. Use Quit Corvanta from the menu bar instead."}));
    EXPECT_EQ(refusalNotice(ProcessControl::ReservedPID{}),
              (ProcessNotice{"Protected system process",
                             "This is a reserved system process. macOS manages it directly and Corvanta "
                             "cannot quit it."}));
}

}  // namespace
}  // namespace corvanta
