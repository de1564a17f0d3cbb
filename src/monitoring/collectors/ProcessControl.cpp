// SPDX-License-Identifier: Apache-2.0
#include "monitoring/collectors/ProcessControl.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>

#include "core/AsciiCase.h"
#include "core/NumberText.h"
#include "monitoring/collectors/ProcessName.h"

namespace corvanta::ProcessControl {
namespace {

constexpr std::int64_t lowestFreePID = 2;
constexpr std::int32_t noPermission = 1;
constexpr std::int32_t noSuchProcess = 3;

/// How long a name the Linux kernel keeps. It shows no more of a longer one, so its lists hold both forms.
constexpr std::size_t linuxNameLength = 15;

constexpr std::array<std::string_view, 12> protectedNames = {
    "kernel_task", "launchd", "windowserver", "loginwindow",      "opendirectoryd", "securityd",
    "secinitd",    "configd", "powerd",       "diskarbitrationd", "cfprefsd",       "notifyd"};

constexpr std::array<std::string_view, 85> linuxProtectedNames = {"kernel_task",
                                                                  "systemd",
                                                                  "init",
                                                                  "(sd-pam)",
                                                                  "systemd-journal",
                                                                  "systemd-journald",
                                                                  "systemd-logind",
                                                                  "systemd-udevd",
                                                                  "systemd-resolved",
                                                                  "systemd-resolve",
                                                                  "systemd-networkd",
                                                                  "systemd-network",
                                                                  "dbus-daemon",
                                                                  "dbus-broker",
                                                                  "dbus-broker-launch",
                                                                  "dbus-broker-lau",
                                                                  "elogind",
                                                                  "elogind-daemon",
                                                                  "polkitd",
                                                                  "networkmanager",
                                                                  "udisksd",
                                                                  "upowerd",
                                                                  "accounts-daemon",
                                                                  "sssd",
                                                                  "gnome-keyring-daemon",
                                                                  "gnome-keyring-d",
                                                                  "xorg",
                                                                  "x",
                                                                  "xwayland",
                                                                  "gnome-shell",
                                                                  "mutter",
                                                                  "kwin_wayland",
                                                                  "kwin_wayland_wrapper",
                                                                  "kwin_wayland_wr",
                                                                  "kwin_x11",
                                                                  "plasmashell",
                                                                  "plasma_session",
                                                                  "ksmserver",
                                                                  "startplasma-wayland",
                                                                  "startplasma-way",
                                                                  "startplasma-x11",
                                                                  "gnome-session-binary",
                                                                  "gnome-session-b",
                                                                  "gnome-session-service",
                                                                  "gnome-session-s",
                                                                  "xfce4-session",
                                                                  "xfwm4",
                                                                  "mate-session",
                                                                  "marco",
                                                                  "cinnamon",
                                                                  "cinnamon-session",
                                                                  "cinnamon-sessio",
                                                                  "muffin",
                                                                  "lxqt-session",
                                                                  "openbox",
                                                                  "budgie-wm",
                                                                  "enlightenment",
                                                                  "cosmic-comp",
                                                                  "cosmic-session",
                                                                  "sway",
                                                                  "hyprland",
                                                                  "weston",
                                                                  "wayfire",
                                                                  "labwc",
                                                                  "river",
                                                                  "niri",
                                                                  "i3",
                                                                  "gdm",
                                                                  "gdm3",
                                                                  "gdm-session-worker",
                                                                  "gdm-session-wor",
                                                                  "gdm-wayland-session",
                                                                  "gdm-wayland-ses",
                                                                  "gdm-x-session",
                                                                  "sddm",
                                                                  "sddm-helper",
                                                                  "lightdm",
                                                                  "lxdm",
                                                                  "xdm",
                                                                  "greetd",
                                                                  "ly",
                                                                  "login",
                                                                  "agetty",
                                                                  "xdg-desktop-portal",
                                                                  "xdg-desktop-por"};

template <std::size_t count>
bool holds(const std::array<std::string_view, count>& names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

bool isProtected(std::string_view name) {
    const std::string lower = asciiLowerCase(std::string(name));
    return holds(protectedNames, lower) || holds(linuxProtectedNames, lower) ||
           holds(linuxProtectedNames, lower.substr(0, linuxNameLength));
}

/// A process may have told the rest of a long name otherwise when it was listed than when it was held.
bool isCalled(const HeldProcess& process, std::string_view name) {
    const std::string& cutName = process.cutName();
    return shownProcessName(process.id(), process.name()) == name ||
           (!cutName.empty() && name.substr(0, cutName.size()) == cutName);
}

}  // namespace

std::optional<Refusal> refusal(std::int64_t pid, std::string_view name, std::int64_t ownProcessID) {
    if (pid < lowestFreePID) return ReservedPID{};
    if (pid == ownProcessID) return OwnProcess{};
    if (isProtected(name)) return ProtectedProcess{std::string(name)};
    return std::nullopt;
}

bool canSignal(std::int64_t pid, std::string_view name, std::int64_t ownProcessID) {
    return !refusal(pid, name, ownProcessID);
}

Outcome send(std::int32_t signal, std::int64_t pid, std::string_view name, ProcessSignaller& signaller) {
    const std::int64_t ownProcessID = signaller.ownProcessID();
    if (auto refused = refusal(pid, name, ownProcessID)) return Refused{*refused};
    return send(signal, *signaller.hold(pid), name, ownProcessID);
}

Outcome send(std::int32_t signal, HeldProcess& process, std::string_view name, std::int64_t ownProcessID) {
    if (auto refused = refusal(process.id(), name, ownProcessID)) return Refused{*refused};
    if (!isCalled(process, name)) return Failed{noSuchProcess};
    const std::int32_t code = process.send(signal);
    if (code != 0) return Failed{code};
    return Signalled{};
}

std::string menuLabel(const Refusal& refusal) {
    return std::holds_alternative<OwnProcess>(refusal) ? "This is Corvanta" : "Protected system process";
}

std::string explanation(const Refusal& refusal) {
    if (const auto* named = std::get_if<ProtectedProcess>(&refusal)) {
        return named->name +
               " is a core part of macOS. Quitting it would sign you out or leave your Mac in a broken "
               "state, "
               "so Corvanta will not do it.";
    }
    if (std::holds_alternative<OwnProcess>(refusal)) {
        return "This is Corvanta itself. Use Quit Corvanta from the menu bar instead.";
    }
    return "This is a reserved system process. macOS manages it directly and Corvanta cannot quit it.";
}

std::string failureMessage(std::string_view name, std::int32_t code) {
    const std::string who(name);
    if (code == noSuchProcess) return who + " is no longer running.";
    if (code == noPermission) {
        return "macOS did not allow Corvanta to quit " + who +
               ". It is likely owned by another user or protected by System Integrity Protection.";
    }
    return "Corvanta could not quit " + who + ". The system reported error " + integerText(code) + ".";
}

}  // namespace corvanta::ProcessControl
