// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

struct sqlite3;

namespace corvanta {

// The tables and indices of the store, how a file of an earlier version gets them, and how rows that were
// left open are closed. Callers hold the store's lock, or are still the only ones to know the connection.
// A failure that stays is ignored: what can't be made is missing, and the operations on it give their empty
// results. One that passes (see failedForNow) ends the function that meets it with false; it can be called
// again. So a file that another process holds is waited for once.

/// Makes the tables and indices that are missing, then the columns.
bool bringSchemaUpToDate(sqlite3* db);

/// Adds a column to a table that lacks it.
bool ensureColumn(std::string_view name, std::string_view definition, std::string_view table, sqlite3* db);

/// Ends every session and incident without an end. What was going on lives in memory only, so at a start
/// nothing can still be running. An incident that was confirming recovery ends where that began; the others
/// keep no start of recovery, which is how they are told apart.
bool closeRowsLeftOpen(sqlite3* db);

/// Whether the file has every table, and every column that an earlier version lacked.
bool hasPresentSchema(sqlite3* db);

}  // namespace corvanta
