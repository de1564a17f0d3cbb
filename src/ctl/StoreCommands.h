// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "core/Clock.h"
#include "core/TimeRange.h"
#include "ctl/Output.h"

namespace corvanta::ctl {

/// Which store a command reads.
struct StoreChoice {
    std::string path;   ///< empty when the user has no home folder
    bool isOwn = true;  ///< the one that the user's corvanta writes

    bool operator==(const StoreChoice&) const = default;
};

// Commands that read the store and never write it. Each returns the program's exit code: 1, with one line on
// standard error, when the store can't be read.

/// The stored rows of the period, oldest first.
int runHistory(const StoreChoice& store, const Clock& clock, TimeRange range, const OutputOptions& options);

/// How the last quarter of an hour compares with the last hour.
int runTrends(const StoreChoice& store, const Clock& clock, const OutputOptions& options);

}  // namespace corvanta::ctl
