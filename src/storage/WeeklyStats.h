// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "core/Instant.h"

namespace corvanta {

/// Aggregates of the history of a period. A metric that no row of the period has reads as 0.
struct WeeklyStats {
    std::int64_t sampleCount = 0;  ///< rows in the period, at least 1
    Instant earliest;              ///< oldest row
    Instant latest;                ///< newest row
    double avgCPU = 0;             ///< percent
    double peakCPU = 0;            ///< percent
    double avgPressure = 0;        ///< percent
    double peakPressure = 0;       ///< percent
    double minDiskFree = 0;        ///< bytes
    double avgUpload = 0;          ///< bytes per second
    double avgDownload = 0;        ///< bytes per second

    bool operator==(const WeeklyStats&) const = default;
};

}  // namespace corvanta
