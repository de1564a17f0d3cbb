// SPDX-License-Identifier: Apache-2.0
#include "storage/DatabaseManager.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <limits>
#include <system_error>
#include <utility>

#include "core/ApplicationPaths.h"
#include "core/Log.h"
#include "storage/Schema.h"
#include "storage/Statement.h"

namespace corvanta {
namespace {

namespace fs = std::filesystem;

constexpr int busyMilliseconds = 3000;
constexpr std::int64_t sessionRetentionSeconds = 7776000;

void createDirectories(const fs::path& directory) {
    fs::path part;
    for (const fs::path& name : directory) {
        part /= name;
        std::error_code ignored;
        if (fs::create_directory(part, ignored)) fs::permissions(part, fs::perms::owner_all, ignored);
    }
}

bool exists(const std::string& path) {
    std::error_code ignored;
    return fs::exists(path, ignored);
}

bool hasContent(const std::string& path) {
    std::error_code failure;
    const auto size = fs::file_size(path, failure);
    return !failure && size > 0;
}

/// SQLite would make the file with a mode that lets others read it. An empty one that is there already, by
/// whomever it was made, gets the right mode too, before SQLite gives that to the side files.
void makeForOwnerAlone(const std::string& path) {
    if (!exists(path)) std::ofstream(path, std::ios::app);
    std::error_code failure;
    if (fs::file_size(path, failure) == 0) {
        fs::permissions(path, fs::perms::owner_read | fs::perms::owner_write, failure);
    }
}

/// The file's name to SQLite, which gives ":memory:", "file:..." and the empty name a meaning of their own.
std::string plainName(const std::string& path) {
    return path.starts_with('/') ? path : "./" + path;
}

/// The name under which SQLite reads a file without locks and side files, as something that never changes.
std::string immutableName(const std::string& path) {
    std::string name = path.starts_with('/') ? "file://" : "file:";
    for (const char c : plainName(path)) {
        switch (c) {
            case '%':
                name += "%25";
                break;
            case '?':
                name += "%3f";
                break;
            case '#':
                name += "%23";
                break;
            default:
                name += c;
        }
    }
    return name + "?immutable=1";
}

/// A reading of many days goes through every page once, so keeping 2 MiB of them, as SQLite would, only takes
/// memory for as long as the connection lives. An insertion needs a few.
void keepFewPages(sqlite3* db) {
    sqlite3_exec(db, "PRAGMA cache_size = -256;", nullptr, nullptr, nullptr);  // in KiB
}

/// False only when the step fails.
bool deleteBefore(std::int64_t cutOff, std::string_view sql, sqlite3* db) {
    Statement statement(db, sql);
    if (!statement) return true;
    statement.bindAll(cutOff);
    return statement.run();
}

/// False only when the step of the first statement fails.
bool deleteOldRows(std::int64_t cutOff, std::int64_t sessionCutOff, sqlite3* db) {
    const bool deleted = deleteBefore(cutOff, "DELETE FROM metrics_history WHERE timestamp < ?;", db);
    // The others would wait again, for nothing.
    if (failedForNow(db)) return deleted;
    deleteBefore(sessionCutOff,
                 "DELETE FROM session_samples WHERE session_id IN "
                 "(SELECT id FROM sessions WHERE ended_at IS NOT NULL AND ended_at < ?);",
                 db);
    deleteBefore(sessionCutOff, "DELETE FROM sessions WHERE ended_at IS NOT NULL AND ended_at < ?;", db);
    deleteBefore(cutOff, "DELETE FROM performance_incidents WHERE ended_at IS NOT NULL AND ended_at < ?;",
                 db);
    return deleted;
}

}  // namespace

DatabaseManager::DatabaseManager(std::string databasePath, const Clock& clock, StoreAccess access)
    : dbPath_(std::move(databasePath)), clock_(clock) {
    switch (access) {
        case StoreAccess::readWrite:
            openForWriting();
            return;
        case StoreAccess::readOnly:
            state_ = openForReading();
            break;
        case StoreAccess::companion:
            state_ = openBesideTheProgram();
            break;
    }
    if (state_ != StoreState::ready) disconnect();
}

DatabaseManager::~DatabaseManager() {
    disconnect();
}

DatabaseManager& DatabaseManager::shared() {
    static const SystemClock& clock = *new SystemClock;
    static DatabaseManager& instance = *new DatabaseManager(applicationPaths().databaseFile, clock);
    return instance;
}

void DatabaseManager::openForWriting() {
    createDirectories(fs::path(dbPath_).parent_path());
    makeForOwnerAlone(dbPath_);
    if (sqlite3_open(plainName(dbPath_).c_str(), &db_) != SQLITE_OK) {
        disconnect();
        logLine("Error opening database at " + dbPath_);
        return;
    }
    state_ = StoreState::ready;
    if (sqlite3_db_readonly(db_, "main") == 1) {
        // Each write will fail. For the reads it takes a reader's ways around side files that can't be made.
        disconnect();
        openForReading();
        return;
    }
    isStartUnfinished_ = true;
    finishStart();
}

/// Runs what a store has to start with, unless that has been done; false when it could not be. It never runs
/// after a write of this store: it would end what the program itself has left open.
bool DatabaseManager::finishStart() {
    if (!isStartUnfinished_) return true;
    // The change of mode doesn't wait: what follows it does, once, and one wait is enough.
    sqlite3_busy_timeout(db_, 0);
    sqlite3_exec(db_, "PRAGMA foreign_keys = ON;", nullptr, nullptr, nullptr);
    sqlite3_exec(db_, "PRAGMA journal_mode = WAL;", nullptr, nullptr, nullptr);
    sqlite3_busy_timeout(db_, busyMilliseconds);
    isStartUnfinished_ = !bringSchemaUpToDate(db_) || !closeRowsLeftOpen(db_);
    if (isStartUnfinished_) return false;
    keepFewPages(db_);
    return true;
}

StoreState DatabaseManager::openForReading() {
    // Even for a reader SQLite makes the side files of a file in WAL mode. Where there are none, nobody
    // writes and the file is complete by itself, so it is read as it stands. The same is the way out where
    // they can't be made or opened, as long as they hold nothing.
    const bool isComplete = !hasContent(dbPath_ + "-wal") && !exists(dbPath_ + "-journal");
    int result = SQLITE_CANTOPEN;
    if (!isComplete || exists(dbPath_ + "-shm"))
        result = connectToFile(plainName(dbPath_), SQLITE_OPEN_READONLY);
    if (isComplete && (result == SQLITE_CANTOPEN || result == SQLITE_READONLY)) {
        disconnect();
        result = connectToFile(immutableName(dbPath_), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
    }
    return stateAfter(result);
}

StoreState DatabaseManager::openBesideTheProgram() {
    const int result = connectToFile(plainName(dbPath_), SQLITE_OPEN_READWRITE);
    if (result == SQLITE_OK && sqlite3_db_readonly(db_, "main") == 1) return StoreState::unavailable;
    return stateAfter(result);
}

StoreState DatabaseManager::stateAfter(int result) const {
    switch (result) {
        case SQLITE_OK:
            return hasPresentSchema(db_) ? StoreState::ready : StoreState::olderSchema;
        case SQLITE_NOTADB:
        case SQLITE_CORRUPT:
            return StoreState::notADatabase;
        default:
            return StoreState::unavailable;
    }
}

int DatabaseManager::connectToFile(const std::string& name, int flags) {
    const int opened = sqlite3_open_v2(name.c_str(), &db_, flags, nullptr);
    if (opened != SQLITE_OK) return opened;
    sqlite3_busy_timeout(db_, busyMilliseconds);
    // Opening reads nothing yet; this does.
    const int result = sqlite3_exec(db_, "SELECT 1 FROM sqlite_schema;", nullptr, nullptr, nullptr);
    if (result == SQLITE_OK) keepFewPages(db_);
    return result;
}

void DatabaseManager::disconnect() {
    sqlite3_close(std::exchange(db_, nullptr));
}

std::int64_t DatabaseManager::secondsAgo(std::int64_t seconds) const {
    constexpr auto lowest = std::numeric_limits<std::int64_t>::min();
    constexpr auto highest = std::numeric_limits<std::int64_t>::max();
    const std::int64_t now = storedSeconds(clock_.now());
    if (seconds > 0 && now < lowest + seconds) return lowest;
    if (seconds < 0 && now > highest + seconds) return highest;
    return now - seconds;
}

void DatabaseManager::pruneOldRecords(std::int64_t olderThanSeconds) {
    const std::int64_t cutOff = secondsAgo(olderThanSeconds);
    const std::int64_t sessionCutOff = secondsAgo(sessionRetentionSeconds);
    bool deleted = false;
    {
        const LockGuard guard(lock_);
        deleted = finishStart() && deleteOldRows(cutOff, sessionCutOff, db_);
    }
    if (!deleted) logLine("Could not delete old rows.");
}

}  // namespace corvanta
