// SPDX-License-Identifier: Apache-2.0
#include "storage/StoreTestSupport.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>

namespace corvanta::test {
namespace {

// What the hook of StatementTrace, a plain function, writes into.
struct Traced {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::string> statements;
    sqlite3* connection = nullptr;
};

Traced& traced() {
    static Traced& instance = *new Traced;
    return instance;
}

int onStatement(unsigned, void*, void* statement, void* text) {
    // Triggers and the like come with a comment as their text.
    if (std::string_view(static_cast<const char*>(text)).starts_with("--")) return 0;
    {
        const std::lock_guard guard(traced().mutex);
        traced().statements.emplace_back(sqlite3_sql(static_cast<sqlite3_stmt*>(statement)));
    }
    traced().changed.notify_all();
    return 0;
}

int onConnection(sqlite3* db, char**, const void*) {
    const std::lock_guard guard(traced().mutex);
    traced().connection = db;
    return sqlite3_trace_v2(db, SQLITE_TRACE_STMT, onStatement, nullptr);
}

void (*const hook)() = reinterpret_cast<void (*)()>(onConnection);

ssize_t writeWithoutSpace(int, const void*, std::size_t, off_t) {
    errno = ENOSPC;
    return -1;
}

int openNothing(const char*, int, mode_t) {
    errno = EACCES;
    return -1;
}

int openForReadingOnly(const char* path, int flags, mode_t mode) {
    if ((flags & (O_RDWR | O_WRONLY | O_CREAT)) != 0) {
        errno = EROFS;
        return -1;
    }
    return ::open(path, flags, mode);
}

std::vector<std::string>& openedModes() {
    static std::vector<std::string>& modes = *new std::vector<std::string>;
    return modes;
}

int openAndNoteTheMode(const char* path, int flags, mode_t mode) {
    if ((flags & O_RDWR) != 0) {
        struct stat status = {};
        std::array<char, 8> octal = {"none"};
        if (::stat(path, &status) == 0)
            std::snprintf(octal.data(), octal.size(), "%o", status.st_mode & 07777);
        openedModes().push_back(std::filesystem::path(path).filename().string() + " " + octal.data());
    }
    return ::open(path, flags, mode);
}

template <class Function>
void replace(const char* name, Function* function) {
    sqlite3_vfs* const system = sqlite3_vfs_find(nullptr);
    if (system->xSetSystemCall(system, name, reinterpret_cast<sqlite3_syscall_ptr>(function)) != SQLITE_OK) {
        ADD_FAILURE() << "SQLite's call to " << name << " can't be replaced";
    }
}

}  // namespace

Sql::Sql(const std::string& path, int flags) {
    EXPECT_EQ(sqlite3_open_v2(path.c_str(), &db_, flags, nullptr), SQLITE_OK) << path;
    sqlite3_busy_timeout(db_, 3000);
}

void Sql::run(const std::string& statements) {
    const int result = sqlite3_exec(db_, statements.c_str(), nullptr, nullptr, nullptr);
    EXPECT_EQ(result, SQLITE_OK) << statements << ": " << sqlite3_errmsg(db_);
}

std::vector<std::string> Sql::rows(const std::string& query) {
    std::vector<std::string> rows;
    sqlite3_stmt* statement = nullptr;
    EXPECT_EQ(sqlite3_prepare_v2(db_, query.c_str(), -1, &statement, nullptr), SQLITE_OK)
        << query << ": " << sqlite3_errmsg(db_);
    int result = SQLITE_DONE;
    while (statement != nullptr && (result = sqlite3_step(statement)) == SQLITE_ROW) {
        std::string row;
        for (int column = 0; column < sqlite3_column_count(statement); ++column) {
            if (column > 0) row += '|';
            const void* const text = sqlite3_column_text(statement, column);
            row += text == nullptr ? "NULL" : static_cast<const char*>(text);
        }
        rows.push_back(row);
    }
    EXPECT_EQ(result, SQLITE_DONE) << query << ": " << sqlite3_errmsg(db_);
    sqlite3_finalize(statement);
    return rows;
}

std::string Sql::row(const std::string& query) {
    const auto all = rows(query);
    EXPECT_EQ(all.size(), 1u) << query;
    return all.empty() ? "" : all.front();
}

std::vector<std::string> Sql::dump() {
    std::vector<std::string> all = rows("SELECT type, name, sql FROM sqlite_schema ORDER BY name;");
    for (const std::string& table :
         rows("SELECT name FROM sqlite_schema WHERE type = 'table' ORDER BY name;")) {
        for (std::string& row : rows("SELECT * FROM " + table + " ORDER BY rowid;")) {
            all.push_back(table + ": " + row);
        }
    }
    return all;
}

StatementTrace::StatementTrace() {
    take();
    sqlite3_auto_extension(hook);
}

StatementTrace::~StatementTrace() {
    sqlite3_cancel_auto_extension(hook);
}

std::vector<std::string> StatementTrace::take() {
    const std::lock_guard guard(traced().mutex);
    return std::exchange(traced().statements, {});
}

bool StatementTrace::await(std::string_view beginning) {
    std::unique_lock lock(traced().mutex);
    return traced().changed.wait_for(lock, std::chrono::seconds(20), [&] {
        return std::any_of(traced().statements.begin(), traced().statements.end(),
                           [&](const std::string& statement) { return statement.starts_with(beginning); });
    });
}

sqlite3* StatementTrace::connection() {
    const std::lock_guard guard(traced().mutex);
    return traced().connection;
}

SystemFault::SystemFault(Kind kind) {
    switch (kind) {
        case Kind::noSpace:
            // Either is there, by how SQLite was built.
            for (const char* name : {"pwrite", "pwrite64"}) {
                sqlite3_vfs* const system = sqlite3_vfs_find(nullptr);
                if (system->xGetSystemCall(system, name) != nullptr) replace(name, writeWithoutSpace);
            }
            break;
        case Kind::unreadable:
            replace("open", openNothing);
            break;
        case Kind::readOnlyMedium:
            replace("open", openForReadingOnly);
            break;
    }
}

SystemFault::~SystemFault() {
    sqlite3_vfs* const system = sqlite3_vfs_find(nullptr);
    system->xSetSystemCall(system, nullptr, nullptr);
}

OpenedModes::OpenedModes() {
    openedModes().clear();
    replace("open", openAndNoteTheMode);
}

OpenedModes::~OpenedModes() {
    sqlite3_vfs* const system = sqlite3_vfs_find(nullptr);
    system->xSetSystemCall(system, nullptr, nullptr);
}

const std::vector<std::string>& OpenedModes::all() {
    return openedModes();
}

SnapshotValues sampleAt(double seconds) {
    return {.cpu = 12.5,
            .ram = 40.25,
            .diskFree = 5e10,
            .upload = 100.5,
            .download = 2000.75,
            .pressure = 41.5,
            .pressureState = MemoryPressureLevel::warning,
            .thermalState = "Fair",
            .batteryPercentage = 80,
            .isCharging = true,
            .topCPUProcess = "compiler",
            .topCPUUsage = 180.5,
            .topRAMProcess = "browser",
            .topRAMBytes = 4'000'000'000,
            .timestamp = instantFromSeconds(seconds)};
}

SnapshotValues sampleAt(double seconds, double cpu, double pressure) {
    SnapshotValues values = sampleAt(seconds);
    values.cpu = cpu;
    values.pressure = pressure;
    return values;
}

}  // namespace corvanta::test
