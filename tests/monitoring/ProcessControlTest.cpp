// SPDX-License-Identifier: Apache-2.0
#include "monitoring/collectors/ProcessControl.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/FakeProcesses.h"

namespace corvanta::ProcessControl {
namespace {

using test::FakeProcessSignaller;
using Signals = std::vector<FakeProcessSignaller::Signal>;

constexpr std::int64_t own = 4242;

TEST(ProcessControl, theIDIsLookedAtBeforeTheNameAndReservedOnesFirst) {
    EXPECT_EQ(refusal(own, "launchd", own), Refusal(OwnProcess{}));
    EXPECT_EQ(refusal(1, "launchd", own), Refusal(ReservedPID{}));
    EXPECT_EQ(refusal(1, "launchd", 1), Refusal(ReservedPID{}));
    EXPECT_EQ(refusal(1, "anything", own), Refusal(ReservedPID{}));
    EXPECT_EQ(refusal(0, "kernel_task", own), Refusal(ReservedPID{}));
    EXPECT_EQ(refusal(-1, "anything", own), Refusal(ReservedPID{}));
    EXPECT_EQ(refusal(2, "anything", own), std::nullopt);
    EXPECT_EQ(refusal(own, "anything", own), Refusal(OwnProcess{}));
    EXPECT_EQ(refusal(own + 1, "anything", own), std::nullopt);
}

TEST(ProcessControl, theNamesThatAreProtected) {
    for (const char* name :
         {"kernel_task", "launchd", "windowserver", "loginwindow", "opendirectoryd", "securityd", "secinitd",
          "configd", "powerd", "diskarbitrationd", "cfprefsd", "notifyd",
          // and on Linux
          "kernel_task", "systemd", "init", "(sd-pam)", "systemd-journal", "systemd-journald",
          "systemd-logind", "systemd-udevd", "systemd-resolved", "systemd-resolve", "systemd-networkd",
          "systemd-network", "dbus-daemon", "dbus-broker", "dbus-broker-launch", "dbus-broker-lau", "elogind",
          "elogind-daemon", "polkitd", "networkmanager", "udisksd", "upowerd", "accounts-daemon", "sssd",
          "gnome-keyring-daemon", "gnome-keyring-d", "xorg", "x", "xwayland", "gnome-shell", "mutter",
          "kwin_wayland", "kwin_wayland_wrapper", "kwin_wayland_wr", "kwin_x11", "plasmashell",
          "plasma_session", "ksmserver", "startplasma-wayland", "startplasma-way", "startplasma-x11",
          "gnome-session-binary", "gnome-session-b", "gnome-session-service", "gnome-session-s",
          "xfce4-session", "xfwm4", "mate-session", "marco", "cinnamon", "cinnamon-session",
          "cinnamon-sessio", "muffin", "lxqt-session", "openbox", "budgie-wm", "enlightenment", "cosmic-comp",
          "cosmic-session", "sway", "hyprland", "weston", "wayfire", "labwc", "river", "niri", "i3", "gdm",
          "gdm3", "gdm-session-worker", "gdm-session-wor", "gdm-wayland-session", "gdm-wayland-ses",
          "gdm-x-session", "sddm", "sddm-helper", "lightdm", "lxdm", "xdm", "greetd", "ly", "login", "agetty",
          "xdg-desktop-portal", "xdg-desktop-por"}) {
        EXPECT_EQ(refusal(500, name, own), Refusal(ProtectedProcess{name})) << name;
        EXPECT_FALSE(canSignal(500, name, own)) << name;
    }
}

TEST(ProcessControl, otherNamesAreFree) {
    for (const char* name : {"", "editor", "launch", "launchd2", "xx", "systemctl", "pid-500", " launchd",
                             "diskarbitrationd2", "diskarbitration", "sh", "openbox-session"}) {
        EXPECT_EQ(refusal(500, name, own), std::nullopt) << name;
        EXPECT_TRUE(canSignal(500, name, own)) << name;
    }
}

TEST(ProcessControl, aNameThatTheKernelCutsToAProtectedOneIsProtected) {
    for (const char* name : {"gnome-session-b", "gnome-session-binary", "gnome-keyring-d",
                             "dbus-broker-launch", "xdg-desktop-portal-gtk", "GNOME-Session-Binary"}) {
        EXPECT_EQ(refusal(500, name, own), Refusal(ProtectedProcess{name})) << name;
    }
}

TEST(ProcessControl, capitalsDoNotMatterAndAreKept) {
    const auto refused = refusal(500, "WindowServer", own);
    ASSERT_EQ(refused, Refusal(ProtectedProcess{"WindowServer"}));
    EXPECT_EQ(explanation(*refused),
              "WindowServer is a core part of macOS. Quitting it would sign you out or leave your Mac in a "
              "broken state, so Corvanta will not do it.");
    EXPECT_EQ(refusal(500, "Xorg", own), Refusal(ProtectedProcess{"Xorg"}));
    EXPECT_EQ(refusal(500, "NetworkManager", own), Refusal(ProtectedProcess{"NetworkManager"}));
}

TEST(ProcessControl, wordsOfARefusal) {
    EXPECT_EQ(menuLabel(OwnProcess{}), "This is Corvanta");
    EXPECT_EQ(menuLabel(ReservedPID{}), "Protected system process");
    EXPECT_EQ(menuLabel(ProtectedProcess{"x"}), "Protected system process");
    EXPECT_EQ(explanation(ReservedPID{}),
              "This is a reserved system process. macOS manages it directly and Corvanta cannot quit it.");
    EXPECT_EQ(explanation(OwnProcess{}),
              "This is Corvanta itself. Use Quit Corvanta from the menu bar instead.");
}

TEST(ProcessControl, wordsOfAFailure) {
    EXPECT_EQ(failureMessage("editor", 3), "editor is no longer running.");
    EXPECT_EQ(
        failureMessage("editor", 1),
        "macOS did not allow Corvanta to quit editor. It is likely owned by another user or protected by "
        "System Integrity Protection.");
    EXPECT_EQ(failureMessage("editor", 22), "Corvanta could not quit editor. The system reported error 22.");
    EXPECT_EQ(failureMessage("editor", 0), "Corvanta could not quit editor. The system reported error 0.");
    EXPECT_EQ(failureMessage("editor", -4), "Corvanta could not quit editor. The system reported error -4.");
}

class Sending : public testing::Test {
  protected:
    Sending() { signaller.start(500, "editor"); }

    FakeProcessSignaller signaller;
};

TEST_F(Sending, deliversTheSignal) {
    EXPECT_EQ(send(terminateSignal, 500, "editor", signaller), Outcome(Signalled{}));
    EXPECT_EQ(send(killSignal, 500, "editor", signaller), Outcome(Signalled{}));
    EXPECT_EQ(signaller.signals, (Signals{{500, 15}, {500, 9}}));
}

TEST_F(Sending, whatIsRefusedNeverReachesTheSystem) {
    signaller.start(1, "init");
    signaller.start(own, "corvanta");
    EXPECT_EQ(send(killSignal, 1, "init", signaller), Outcome(Refused{ReservedPID{}}));
    EXPECT_EQ(send(killSignal, own, "corvanta", signaller), Outcome(Refused{OwnProcess{}}));
    EXPECT_EQ(send(killSignal, 500, "Launchd", signaller), Outcome(Refused{ProtectedProcess{"Launchd"}}));
    EXPECT_EQ(signaller.holds, 0);
    const auto held = signaller.hold(1);
    EXPECT_EQ(send(killSignal, *held, "init", own), Outcome(Refused{ReservedPID{}}));
    EXPECT_TRUE(signaller.signals.empty());
}

TEST_F(Sending, theSystemsErrorIsHandedOn) {
    signaller.error = 1;
    EXPECT_EQ(send(terminateSignal, 500, "editor", signaller), Outcome(Failed{1}));
    signaller.error = 77;
    EXPECT_EQ(send(terminateSignal, 500, "editor", signaller), Outcome(Failed{77}));
    EXPECT_EQ(send(terminateSignal, 501, "editor", signaller), Outcome(Failed{3}));
}

TEST_F(Sending, anIDThatIsReusedWhileTheUserIsAskedGetsNothing) {
    const auto held = signaller.hold(500);
    signaller.start(500, "other");
    EXPECT_EQ(send(killSignal, *held, "editor", own), Outcome(Failed{3}));
    signaller.start(500, "editor");  // the same program again is another process all the same
    EXPECT_EQ(send(killSignal, *held, "editor", own), Outcome(Failed{3}));
    EXPECT_TRUE(signaller.signals.empty());
}

TEST_F(Sending, anIDThatWasReusedBeforeTheHoldGetsNothing) {
    signaller.start(500, "other");
    const auto held = signaller.hold(500);
    EXPECT_EQ(send(killSignal, *held, "editor", own), Outcome(Failed{3}));
    EXPECT_EQ(send(killSignal, 500, "editor", signaller), Outcome(Failed{3}));
    EXPECT_TRUE(signaller.signals.empty());
}

TEST_F(Sending, theRestOfACutNameMayHaveChanged) {
    signaller.start(600, "gnome-text-editor");
    signaller.cutName(600, "gnome-text-edit");
    for (const char* name : {"gnome-text-editor", "gnome-text-edit", "gnome-text-editing"})
        EXPECT_EQ(send(terminateSignal, 600, name, signaller), Outcome(Signalled{})) << name;
    for (const char* name : {"gnome-text-edi", "gnome-text", "other-text-editor", ""})
        EXPECT_EQ(send(terminateSignal, 600, name, signaller), Outcome(Failed{3})) << name;
    EXPECT_EQ(signaller.signals.size(), 3U);
}

TEST_F(Sending, aProcessWithoutANameIsMeantByItsID) {
    signaller.start(600, "");
    EXPECT_EQ(send(terminateSignal, 600, "pid-600", signaller), Outcome(Signalled{}));
    EXPECT_EQ(send(terminateSignal, 600, "", signaller), Outcome(Failed{3}));
    EXPECT_EQ(signaller.signals, (Signals{{600, 15}}));
}

}  // namespace
}  // namespace corvanta::ProcessControl
