// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/Instant.h"

namespace corvanta {

/// One prepared SQL statement, finalized at the end of its scope.
///
/// Owned by the operation that runs it, under the store's lock. Not for two threads at once. Without a
/// connection, or with SQL that SQLite refuses, it is false and binds, steps and reads nothing; a step that
/// fails ends the statement as if there were no more rows.
class Statement {
  public:
    Statement(sqlite3* db, std::string_view sql);
    ~Statement() { sqlite3_finalize(statement_); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    explicit operator bool() const { return statement_ != nullptr; }

    /// Binds the values to the parameters from the first on; an empty optional is NULL. Texts are not copied:
    /// they have to outlive the steps.
    template <class... Values>
    void bindAll(const Values&... values) {
        int index = 0;
        (bind(++index, values), ...);
    }

    /// Makes ready for another run, with nothing bound.
    void reset() {
        sqlite3_reset(statement_);
        sqlite3_clear_bindings(statement_);
    }

    /// Goes to the next row; false at the end and on a failure.
    bool nextRow() { return sqlite3_step(statement_) == SQLITE_ROW; }

    /// Runs a statement that gives no rows; false on a failure.
    bool run() { return sqlite3_step(statement_) == SQLITE_DONE; }

    /// Whether the cell holds a number; a column takes texts and blobs too.
    bool isNumber(int column) {
        const int type = sqlite3_column_type(statement_, column);
        return type == SQLITE_FLOAT || type == SQLITE_INTEGER;
    }
    bool isNull(int column) { return sqlite3_column_type(statement_, column) == SQLITE_NULL; }
    double real(int column) { return sqlite3_column_double(statement_, column); }          ///< 0 for NULL
    std::int64_t integer(int column) { return sqlite3_column_int64(statement_, column); }  ///< 0 for NULL
    std::optional<std::string> text(int column);
    /// From whole seconds since 1970.
    Instant instant(int column) { return instantFromSeconds(static_cast<double>(integer(column))); }

  private:
    void bind(int index, double value) { sqlite3_bind_double(statement_, index, value); }
    void bind(int index, std::int64_t value) { sqlite3_bind_int64(statement_, index, value); }
    void bind(int index, std::uint64_t value);  ///< clamped to the largest signed value
    void bind(int index, bool value) { sqlite3_bind_int(statement_, index, value ? 1 : 0); }
    void bind(int index, std::string_view value);
    template <class Value>
    void bind(int index, const std::optional<Value>& value) {
        if (value) {
            bind(index, *value);
        } else {
            sqlite3_bind_null(statement_, index);
        }
    }

    sqlite3_stmt* statement_ = nullptr;
};

/// Whether the statement that ran last failed for a reason that passes: another process holds the file, or
/// the disk is full.
bool failedForNow(sqlite3* db);

/// What history and sessions store of a figure: NULL in place of an infinite one, which would spoil every
/// average over it, as SQLite does in place of one that is no number.
std::optional<double> ifFinite(double figure);

/// What history and incidents store of a text: NULL in place of an absent or an empty one.
std::optional<std::string_view> nonEmpty(const std::string& text);
std::optional<std::string_view> nonEmpty(const std::optional<std::string>& text);

}  // namespace corvanta
