// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

#include "ctl/Output.h"
#include "monitoring/ProcessTable.h"
#include "platform/Platform.h"

namespace corvanta::ctl {

struct ProcessListing {
    ProcessColumn sortColumn = ProcessColumn::cpuUsage;  ///< the largest come first
    std::optional<std::size_t> top;                      ///< how many rows; all when absent
    bool isGrouped = false;                              ///< one row for all processes of a name
};

// All return the program's exit code.

/// The processes, with their shares of a processor over half a second.
int runProcesses(const Platform& platform, const ProcessListing& listing, const OutputOptions& options);

/// Asks a process to quit, or stops it, after the user has confirmed that on standard input; without asking
/// when the user has confirmed beforehand. 1, with the reason on standard error, when nothing was quit.
int runQuit(const Platform& platform, std::int64_t pid, bool force, bool isConfirmed);

}  // namespace corvanta::ctl
