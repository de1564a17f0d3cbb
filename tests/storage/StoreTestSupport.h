// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/HistoryRecords.h"

namespace corvanta::test {

/// The whole second at which a FakeClock stands.
inline constexpr std::int64_t storeNow = 1'800'000'000;

/// A second way into the file of a store, past DatabaseManager. A statement that fails fails the test.
class Sql {
  public:
    explicit Sql(const std::string& path, int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    ~Sql() { sqlite3_close(db_); }
    Sql(const Sql&) = delete;
    Sql& operator=(const Sql&) = delete;

    void run(const std::string& statements);

    /// All rows, the columns joined by '|', NULL as "NULL".
    std::vector<std::string> rows(const std::string& query);

    /// The one row of a query.
    std::string row(const std::string& query);

    /// Every row of every table, and the schema: equal when nothing has changed.
    std::vector<std::string> dump();

  private:
    sqlite3* db_ = nullptr;
};

/// Collects the statements that every connection made in its scope begins to run. Any thread.
class StatementTrace {
  public:
    StatementTrace();
    ~StatementTrace();
    StatementTrace(const StatementTrace&) = delete;
    StatementTrace& operator=(const StatementTrace&) = delete;

    /// The statements so far, which it forgets.
    std::vector<std::string> take();

    /// Waits until a statement that begins with the text has begun to run; false after 20 seconds.
    bool await(std::string_view beginning);

    /// The connection that was opened last.
    static sqlite3* connection();
};

/// Has SQLite's calls to the system answer with an error while it lives. The mode of a file doesn't stop
/// root, and a full disk can't be had everywhere; this is the same to SQLite.
class SystemFault {
  public:
    enum class Kind {
        noSpace,         ///< nothing can be written
        unreadable,      ///< no file can be opened
        readOnlyMedium,  ///< no file can be opened for writing or made
    };
    explicit SystemFault(Kind kind);
    ~SystemFault();
    SystemFault(const SystemFault&) = delete;
    SystemFault& operator=(const SystemFault&) = delete;
};

/// Notes, while it lives, the mode of each file that SQLite is about to open for writing.
class OpenedModes {
  public:
    OpenedModes();
    ~OpenedModes();
    OpenedModes(const OpenedModes&) = delete;
    OpenedModes& operator=(const OpenedModes&) = delete;

    /// Each as "name mode", or "name none" for a file that SQLite makes.
    static const std::vector<std::string>& all();
};

/// Goes to a folder for a scope, and then back.
class WorkingFolder {
  public:
    explicit WorkingFolder(const std::filesystem::path& folder) { std::filesystem::current_path(folder); }
    ~WorkingFolder() { std::filesystem::current_path(before_); }
    WorkingFolder(const WorkingFolder&) = delete;
    WorkingFolder& operator=(const WorkingFolder&) = delete;

  private:
    std::filesystem::path before_ = std::filesystem::current_path();
};

/// A full sample at the given time.
SnapshotValues sampleAt(double seconds);

/// A sample with the two metrics that trends are made of.
SnapshotValues sampleAt(double seconds, double cpu, double pressure);

}  // namespace corvanta::test
