// SPDX-License-Identifier: Apache-2.0
// The program that CrashTest kills: crash_writer FILE FIRST
// It opens the store, leaves sessions and incidents open in it, and writes a row every 10 milliseconds with
// the numbers FIRST, FIRST + 1, ... as timestamps. Each number goes to standard output once its row is
// committed.
#include <sqlite3.h>

#include <atomic>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>

#include "core/Log.h"
#include "storage/DatabaseManager.h"

namespace {

void leaveRowsOpen(const char* path, std::int64_t first) {
    const std::string start = std::to_string(first);
    const std::string recovery = std::to_string(first + 1);
    const std::string rows =
        "BEGIN IMMEDIATE;"
        "INSERT INTO sessions (name, started_at) VALUES ('without samples', " +
        start +
        ");"
        "INSERT INTO sessions (name, started_at) VALUES ('with samples', " +
        start +
        ");"
        "INSERT INTO session_samples (session_id, timestamp) VALUES (last_insert_rowid(), " +
        recovery +
        ");"
        "INSERT INTO performance_incidents (started_at, detected_at, kind, severity, created_at) "
        "VALUES (" +
        start + ", " + start + ", 'cpu', 1, " + start +
        ");"
        "INSERT INTO performance_incidents (started_at, detected_at, kind, severity, recovery_started_at, "
        "created_at) VALUES (" +
        start + ", " + start + ", 'memory', 2, " + recovery + ", " + start +
        ");"
        "COMMIT;";
    sqlite3* db = nullptr;
    if (sqlite3_open(path, &db) != SQLITE_OK) std::exit(2);
    sqlite3_busy_timeout(db, 3000);
    if (sqlite3_exec(db, rows.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) std::exit(3);
    sqlite3_close(db);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return 1;
    const std::string_view text = argv[2];
    std::int64_t first = 0;
    if (std::from_chars(text.data(), text.data() + text.size(), first).ec != std::errc{}) return 1;

    // A line of the store means that a row was lost, which is not what is tested.
    corvanta::setLogSink([](std::string_view) { std::_Exit(4); });
    const corvanta::SystemClock clock;
    corvanta::DatabaseManager store(argv[1], clock);
    leaveRowsOpen(argv[1], first);
    for (std::int64_t number = first;; ++number) {
        corvanta::SnapshotValues values;
        values.cpu = 50;
        values.topCPUProcess = "crash_writer";
        values.timestamp = corvanta::instantFromSeconds(static_cast<double>(number));
        store.insertSnapshot(values);
        std::printf("%lld\n", static_cast<long long>(number));
        std::fflush(stdout);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}
