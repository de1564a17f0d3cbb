// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "alerts/SmartAlertMonitor.h"
#include "settings/AppSettings.h"
#include "support/FakePlatform.h"

namespace corvanta::test {

/// What warns, over a store and a machine made of fakes.
struct AlertServices {
    AlertServices(FakePlatform& platform, const AppSettings& settings, const DatabaseManager& database)
        : machine(platform),
          notifications(machine.notifications, settings, machine.clock),
          detector(database, machine.clock),
          monitor(notifications, detector, machine.clock, machine.executor, machine.threadSetup) {}

    /// The titles of all notifications so far.
    std::vector<std::string> titles() const {
        std::vector<std::string> titles;
        for (const NotificationRequest& request : machine.notifications.requests())
            titles.push_back(request.title);
        return titles;
    }
    /// Runs what is posted until no look through the history is under way. False when it did not end.
    bool awaitTrendCheck() {
        while (monitor.isTrendChecking()) {
            if (!machine.executor.runNext()) return false;
        }
        return true;
    }

    FakePlatform& machine;
    NotificationManager notifications;
    AnomalyDetector detector;
    SmartAlertMonitor monitor;
};

}  // namespace corvanta::test
