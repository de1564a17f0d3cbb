// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "shell/StatusItem.h"

namespace corvanta {

/// What the environment says about displays. A variable that is set but empty counts as unset.
struct DisplayEnvironment {
    QByteArray qtPlatform;      ///< QT_QPA_PLATFORM
    QByteArray display;         ///< DISPLAY
    QByteArray waylandDisplay;  ///< WAYLAND_DISPLAY

    bool operator==(const DisplayEnvironment&) const = default;
};

struct HostChoice {
    QByteArray qtPlatform;  ///< the Qt platform to ask for; empty keeps the user's own
    std::string reason;     ///< why there is no display; empty when there is one

    bool operator==(const HostChoice&) const = default;
};

/// Which Qt platform the item can live on. `xServerAnswers` is asked only if the answer depends on it.
HostChoice chooseHost(const DisplayEnvironment& environment, const std::function<bool()>& xServerAnswers);

/// Whether the X server that DISPLAY names accepts a connection.
bool xServerAnswers();

/// Whether the environment of this process leads to a display that answers.
bool hasDisplay();

/// Prepares the environment for the making of the QApplication, and puts it back at its end, so that no
/// program that this one starts inherits it.
///
/// Lives in main() from before the QApplication is made until it has been. Main thread, before any other
/// thread runs. Without a display it logs one line and the program runs unseen.
class PlatformBoot {
  public:
    PlatformBoot();
    ~PlatformBoot();
    PlatformBoot(const PlatformBoot&) = delete;
    PlatformBoot& operator=(const PlatformBoot&) = delete;

  private:
    bool platformWasChosen_ = false;
    std::optional<QByteArray> currentDesktop_;
};

/// The status item of the Qt platform that runs.
std::unique_ptr<StatusItem> makeStatusItem();

}  // namespace corvanta
