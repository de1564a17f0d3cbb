// SPDX-License-Identifier: Apache-2.0
#include "shell/linux/HostChoice.h"

#include <xcb/xcb.h>

#include <QGuiApplication>

#include "core/Log.h"
#include "shell/OffscreenItem.h"
#include "shell/linux/X11StripItem.h"

namespace corvanta {
namespace {

constexpr const char* platformVariable = "QT_QPA_PLATFORM";
constexpr const char* desktopVariable = "XDG_CURRENT_DESKTOP";

HostChoice presentChoice() {
    return chooseHost({.qtPlatform = qgetenv(platformVariable),
                       .display = qgetenv("DISPLAY"),
                       .waylandDisplay = qgetenv("WAYLAND_DISPLAY")},
                      xServerAnswers);
}

}  // namespace

HostChoice chooseHost(const DisplayEnvironment& environment, const std::function<bool()>& xServerAnswers) {
    if (!environment.qtPlatform.isEmpty()) return {};
    const QByteArray offscreen = QByteArrayLiteral("offscreen");
    if (environment.display.isEmpty()) {
        return {offscreen, environment.waylandDisplay.isEmpty()
                               ? "no display"
                               : "a Wayland display without X, which the status item cannot use"};
    }
    if (!xServerAnswers()) {
        return {offscreen, "the X server " + environment.display.toStdString() + " does not answer"};
    }
    return {QByteArrayLiteral("xcb"), {}};
}

bool xServerAnswers() {
    xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
    const bool answers = xcb_connection_has_error(connection) == 0;
    xcb_disconnect(connection);
    return answers;
}

bool hasDisplay() {
    return presentChoice().reason.empty();
}

PlatformBoot::PlatformBoot() {
    const HostChoice choice = presentChoice();
    if (!choice.reason.empty()) logLine("Shell: running without a status item: " + choice.reason);
    if (!choice.qtPlatform.isEmpty()) {
        qputenv(platformVariable, choice.qtPlatform);
        platformWasChosen_ = true;
    }
    // With it Qt loads the desktop's theme plugin, which brings a second toolkit into the process.
    if (qEnvironmentVariableIsSet(desktopVariable)) {
        currentDesktop_ = qgetenv(desktopVariable);
        qunsetenv(desktopVariable);
    }
}

PlatformBoot::~PlatformBoot() {
    if (platformWasChosen_) qunsetenv(platformVariable);
    if (currentDesktop_) qputenv(desktopVariable, *currentDesktop_);
}

std::unique_ptr<StatusItem> makeStatusItem() {
    if (QGuiApplication::platformName() == QStringLiteral("xcb")) return std::make_unique<X11StripItem>();
    return std::make_unique<OffscreenItem>();
}

}  // namespace corvanta
