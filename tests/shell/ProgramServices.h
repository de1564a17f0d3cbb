// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "alerts/AlertServices.h"
#include "shell/ProgramSink.h"

namespace corvanta::test {

/// What the program composes around its monitor, over a store and a machine made of fakes.
struct ProgramServices : AlertServices {
    ProgramServices(FakePlatform& platform, AppSettings& settings, DatabaseManager& database)
        : AlertServices(platform, settings, database),
          incidents(database, settings),
          sink(database, incidents, notifications, monitor) {}

    IncidentDetector incidents;
    ProgramSink sink;
};

}  // namespace corvanta::test
