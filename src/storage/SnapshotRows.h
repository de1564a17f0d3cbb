// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "core/HistoryRecords.h"
#include "storage/Statement.h"

namespace corvanta {

/// All rows of a statement that selects the timestamp, the CPU, RAM, disk, upload, download and pressure
/// figures, the pressure state, the thermal state and the busiest process with its usage, in that order. NULL
/// reads as 0 or absent, and an unknown pressure state as `unavailable`.
std::vector<SystemSnapshot> readSnapshots(Statement& select);

}  // namespace corvanta
