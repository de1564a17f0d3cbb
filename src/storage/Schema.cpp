// SPDX-License-Identifier: Apache-2.0
#include "storage/Schema.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>

#include "storage/Statement.h"

namespace corvanta {
namespace {

constexpr std::array<std::string_view, 7> creations = {
    "CREATE TABLE IF NOT EXISTS metrics_history ("
    "id INTEGER PRIMARY KEY AUTOINCREMENT, "
    "timestamp INTEGER NOT NULL, "
    "cpu_usage REAL, "
    "ram_usage REAL, "
    "disk_free REAL, "
    "upload_speed REAL, "
    "download_speed REAL, "
    "memory_pressure REAL, "
    "memory_pressure_state INTEGER NOT NULL DEFAULT 0, "
    "thermal_state TEXT, "
    "battery_percentage INTEGER, "
    "is_charging INTEGER, "
    "top_cpu_process TEXT, "
    "top_cpu_usage REAL, "
    "top_ram_process TEXT, "
    "top_ram_bytes INTEGER);",

    "CREATE TABLE IF NOT EXISTS sessions ("
    "id INTEGER PRIMARY KEY AUTOINCREMENT, "
    "name TEXT NOT NULL, "
    "started_at INTEGER NOT NULL, "
    "ended_at INTEGER);",

    "CREATE TABLE IF NOT EXISTS session_samples ("
    "id INTEGER PRIMARY KEY AUTOINCREMENT, "
    "session_id INTEGER NOT NULL, "
    "timestamp INTEGER NOT NULL, "
    "cpu_usage REAL, "
    "ram_usage REAL, "
    "disk_free REAL, "
    "upload_speed REAL, "
    "download_speed REAL, "
    "memory_pressure REAL, "
    "memory_pressure_state INTEGER NOT NULL DEFAULT 0, "
    "thermal_state TEXT, "
    "top_cpu_process TEXT, "
    "top_cpu_usage REAL, "
    "FOREIGN KEY (session_id) REFERENCES sessions(id) ON DELETE CASCADE);",

    "CREATE TABLE IF NOT EXISTS performance_incidents ("
    "id INTEGER PRIMARY KEY AUTOINCREMENT, "
    "started_at INTEGER NOT NULL, "
    "detected_at INTEGER NOT NULL, "
    "ended_at INTEGER, "
    "kind TEXT NOT NULL, "
    "severity INTEGER NOT NULL, "
    "peak_cpu REAL NOT NULL DEFAULT 0, "
    "peak_memory_pressure REAL NOT NULL DEFAULT 0, "
    "worst_memory_pressure_state INTEGER NOT NULL DEFAULT 0, "
    "peak_network REAL NOT NULL DEFAULT 0, "
    "min_battery INTEGER, "
    "worst_thermal_state TEXT NOT NULL DEFAULT 'Nominal', "
    "top_cpu_process TEXT, "
    "top_cpu_usage REAL NOT NULL DEFAULT 0, "
    "top_ram_process TEXT, "
    "top_ram_bytes INTEGER NOT NULL DEFAULT 0, "
    "sample_count INTEGER NOT NULL DEFAULT 0, "
    "dismissed_at INTEGER, "
    "recovery_started_at INTEGER, "
    "created_at INTEGER NOT NULL);",

    "CREATE INDEX IF NOT EXISTS idx_metrics_ts ON metrics_history(timestamp);",
    "CREATE INDEX IF NOT EXISTS idx_samples_session ON session_samples(session_id);",
    "CREATE INDEX IF NOT EXISTS idx_incidents_started ON performance_incidents(started_at DESC);",
};

struct LaterColumn {
    std::string_view table;
    std::string_view name;
    std::string_view definition;
};

// The columns that some earlier version of the file doesn't have.
constexpr std::array<LaterColumn, 12> laterColumns = {{
    {"metrics_history", "thermal_state", "TEXT"},
    {"metrics_history", "battery_percentage", "INTEGER"},
    {"metrics_history", "is_charging", "INTEGER"},
    {"metrics_history", "top_cpu_process", "TEXT"},
    {"metrics_history", "top_cpu_usage", "REAL"},
    {"metrics_history", "top_ram_process", "TEXT"},
    {"metrics_history", "top_ram_bytes", "INTEGER"},
    {"metrics_history", "memory_pressure_state", "INTEGER NOT NULL DEFAULT 0"},
    {"session_samples", "memory_pressure_state", "INTEGER NOT NULL DEFAULT 0"},
    {"performance_incidents", "worst_memory_pressure_state", "INTEGER NOT NULL DEFAULT 0"},
    {"performance_incidents", "dismissed_at", "INTEGER"},
    {"performance_incidents", "recovery_started_at", "INTEGER"},
}};

bool hasColumn(std::string_view name, std::string_view table, sqlite3* db) {
    Statement columns(db, "PRAGMA table_info(" + std::string(table) + ");");
    if (!columns) return false;
    while (columns.nextRow()) {
        if (columns.text(1) == name) return true;
    }
    return false;
}

template <std::size_t count>
bool runEach(const std::array<std::string_view, count>& statements, sqlite3* db) {
    return std::all_of(statements.begin(), statements.end(), [db](std::string_view sql) {
        if (Statement statement(db, sql); statement) statement.run();
        return !failedForNow(db);
    });
}

}  // namespace

bool bringSchemaUpToDate(sqlite3* db) {
    return runEach(creations, db) &&
           std::all_of(laterColumns.begin(), laterColumns.end(), [db](const LaterColumn& column) {
               return ensureColumn(column.name, column.definition, column.table, db);
           });
}

bool ensureColumn(std::string_view name, std::string_view definition, std::string_view table, sqlite3* db) {
    if (hasColumn(name, table, db)) return true;
    if (failedForNow(db)) return false;
    std::string alteration = "ALTER TABLE ";
    alteration.append(table).append(" ADD COLUMN ").append(name).append(" ").append(definition).append(";");
    sqlite3_exec(db, alteration.c_str(), nullptr, nullptr, nullptr);
    return !failedForNow(db);
}

bool closeRowsLeftOpen(sqlite3* db) {
    constexpr std::array<std::string_view, 2> repairs = {
        "UPDATE sessions SET ended_at = COALESCE("
        " (SELECT MAX(timestamp) FROM session_samples WHERE session_id = sessions.id), started_at )"
        " WHERE ended_at IS NULL;",
        "UPDATE performance_incidents SET ended_at = MAX( started_at, COALESCE( recovery_started_at,"
        " (SELECT MAX(timestamp) FROM metrics_history), started_at ) )"
        " WHERE ended_at IS NULL;",
    };
    return runEach(repairs, db);
}

bool hasPresentSchema(sqlite3* db) {
    return hasColumn("id", "sessions", db) &&
           std::all_of(laterColumns.begin(), laterColumns.end(),
                       [db](const LaterColumn& column) { return hasColumn(column.name, column.table, db); });
}

}  // namespace corvanta
