// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

#include "core/MemoryPressureLevel.h"
#include "shell/RowTheme.h"
#include "shell/StatusRow.h"

namespace corvanta {

/// What the row tells, as the monitor shows it.
struct StatusReadings {
    double cpuPercent = 0;
    QString ramText;
    MemoryPressureLevel pressureLevel = MemoryPressureLevel::unavailable;
    QString pressureText;

    bool operator==(const StatusReadings&) const = default;
};

/// The row of CPU, memory and memory pressure. A percentage takes the same room from "0%" to "100%", a size
/// from "1 MB" to "999.9 MB" and from "1 GB" to "99.99 GB".
StatusRow buildStatusRow(const StatusReadings& readings, Appearance appearance);

}  // namespace corvanta
