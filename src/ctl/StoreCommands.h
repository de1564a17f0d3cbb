// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

#include "ctl/Command.h"
#include "storage/DatabaseManager.h"

namespace corvanta::ctl {

// Whether a store that was opened for that can be read, or written. If it can't, standard error tells why.

bool isReadable(const DatabaseManager& store, const StoreChoice& choice);
bool isWritable(const DatabaseManager& store, const StoreChoice& choice);

/// Says that none of the incidents that can be read has the number.
void complainOfMissing(std::int64_t incident, std::size_t readIncidents);

// Commands that read the history and never write it.

void addHistory(CommandList& commands);  ///< the stored rows of a period, oldest first
void addTrends(CommandList& commands);   ///< how the last quarter of an hour compares with the last hour

}  // namespace corvanta::ctl
