// SPDX-License-Identifier: Apache-2.0
#include "storage/Statement.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace corvanta {

Statement::Statement(sqlite3* db, std::string_view sql) {
    if (db != nullptr) {
        sqlite3_prepare_v2(db, sql.data(), static_cast<int>(sql.size()), &statement_, nullptr);
    }
}

std::optional<std::string> Statement::text(int column) {
    const void* const bytes = sqlite3_column_text(statement_, column);
    if (bytes == nullptr) return std::nullopt;
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_, column));
    return std::optional<std::string>(std::in_place, static_cast<const char*>(bytes), size);
}

void Statement::bind(int index, std::uint64_t value) {
    constexpr std::uint64_t largest = std::numeric_limits<std::int64_t>::max();
    bind(index, static_cast<std::int64_t>(std::min(value, largest)));
}

void Statement::bind(int index, std::string_view value) {
    // An empty view may have no address, which SQLite would take for NULL.
    const char* const bytes = value.empty() ? "" : value.data();
    sqlite3_bind_text64(statement_, index, bytes, value.size(), SQLITE_STATIC, SQLITE_UTF8);
}

bool failedForNow(sqlite3* db) {
    const int code = sqlite3_errcode(db);
    return code == SQLITE_BUSY || code == SQLITE_LOCKED || code == SQLITE_FULL;
}

std::optional<double> ifFinite(double figure) {
    return std::isfinite(figure) ? std::optional(figure) : std::nullopt;
}

std::optional<std::string_view> nonEmpty(const std::string& text) {
    return text.empty() ? std::nullopt : std::optional<std::string_view>(text);
}

std::optional<std::string_view> nonEmpty(const std::optional<std::string>& text) {
    return text ? nonEmpty(*text) : std::nullopt;
}

}  // namespace corvanta
