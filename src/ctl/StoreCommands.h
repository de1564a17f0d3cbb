// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "ctl/Command.h"
#include "storage/DatabaseManager.h"

namespace corvanta::ctl {

/// Why a store that was opened can't be used, as a sentence; absent when it can.
std::optional<std::string> problemOf(const DatabaseManager& store, const StoreChoice& choice);

/// Whether it can be read. If it can't, standard error tells why.
bool isReadable(const DatabaseManager& store, const StoreChoice& choice);

// Commands that read the history and never write it.

void addHistory(CommandList& commands);  ///< the stored rows of a period, oldest first
void addTrends(CommandList& commands);   ///< how the last quarter of an hour compares with the last hour

}  // namespace corvanta::ctl
