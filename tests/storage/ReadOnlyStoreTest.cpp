// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <set>

#include "storage/DatabaseManager.h"
#include "storage/StoreTestSupport.h"
#include "support/CapturedLog.h"
#include "support/FakePlatform.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

using test::sampleAt;
using test::Sql;
using test::storeNow;
using test::SystemFault;
using Rows = std::vector<std::string>;
namespace fs = std::filesystem;

class ReadOnlyStore : public ::testing::Test {
  protected:
    StoreState stateOf(const std::string& file) {
        return DatabaseManager(file, clock, StoreAccess::readOnly).state();
    }
    std::size_t rowsReadFrom(const std::string& file) {
        const DatabaseManager reader(file, clock, StoreAccess::readOnly);
        EXPECT_EQ(reader.state(), StoreState::ready);
        return reader.fetchHistory().size();
    }
    void makeStore(const std::string& file) {
        DatabaseManager store(file, clock);
        store.insertSnapshot(sampleAt(storeNow));
    }
    /// The state in which a program that died leaves its files: rows in the -wal, none of it in the main
    /// file.
    void copyOfRunningStore(const std::string& from, const std::string& to, bool withShm) {
        fs::copy_file(from, to);
        fs::copy_file(from + "-wal", to + "-wal");
        if (withShm) fs::copy_file(from + "-shm", to + "-shm");
    }
    std::set<std::string> files() {
        std::set<std::string> names;
        for (const auto& entry : fs::recursive_directory_iterator(folder.path())) {
            names.insert(entry.path().filename().string());
        }
        return names;
    }

    test::TempDirectory folder;
    std::string path = folder.file("history.sqlite");
    test::FakeClock clock;
    test::CapturedLog log;
};

TEST_F(ReadOnlyStore, readsBesideTheRunningProgram) {
    DatabaseManager program(path, clock);
    program.insertSnapshot(sampleAt(storeNow - 10));
    const DatabaseManager reader(path, clock, StoreAccess::readOnly);
    EXPECT_EQ(reader.state(), StoreState::ready);
    EXPECT_EQ(reader.fetchHistory().size(), 1u);
    program.insertSnapshot(sampleAt(storeNow));
    EXPECT_EQ(reader.fetchHistory().size(), 2u) << "later rows are seen";
    EXPECT_EQ(reader.weeklyStats(60)->sampleCount, 2);
    EXPECT_EQ(log.lines(), Rows{});
}

TEST_F(ReadOnlyStore, closingItLeavesTheRunningProgramsFilesAlone) {
    DatabaseManager program(path, clock);
    program.insertSnapshot(sampleAt(storeNow));
    const std::string main = test::readFile(path);
    const std::string wal = test::readFile(path + "-wal");
    EXPECT_EQ(rowsReadFrom(path), 1u);
    EXPECT_EQ(test::readFile(path), main);
    EXPECT_EQ(test::readFile(path + "-wal"), wal);
}

TEST_F(ReadOnlyStore, readsAFileThatNobodyHasOpenAndMakesNone) {
    makeStore(path);
    const std::string content = test::readFile(path);
    ASSERT_EQ(files(), std::set<std::string>{"history.sqlite"});
    EXPECT_EQ(rowsReadFrom(path), 1u);
    EXPECT_EQ(files(), std::set<std::string>{"history.sqlite"});
    EXPECT_EQ(test::readFile(path), content);
}

TEST_F(ReadOnlyStore, readsWhatADeadProgramLeftInItsSideFiles) {
    DatabaseManager program(path, clock);
    program.insertSnapshot(sampleAt(storeNow));
    const std::string left = folder.file("left.sqlite");
    copyOfRunningStore(path, left, true);
    const std::string wal = test::readFile(left + "-wal");
    EXPECT_EQ(rowsReadFrom(left), 1u);
    EXPECT_EQ(test::readFile(left + "-wal"), wal);
}

TEST_F(ReadOnlyStore, readsFromAReadOnlyMediumWithoutSideFiles) {
    makeStore(path);
    const SystemFault medium(SystemFault::Kind::readOnlyMedium);
    EXPECT_EQ(rowsReadFrom(path), 1u);
}

TEST_F(ReadOnlyStore, readsFromAReadOnlyMediumWithSideFilesThatHoldRows) {
    DatabaseManager program(path, clock);
    program.insertSnapshot(sampleAt(storeNow));
    const std::string left = folder.file("left.sqlite");
    copyOfRunningStore(path, left, true);
    const SystemFault medium(SystemFault::Kind::readOnlyMedium);
    EXPECT_EQ(rowsReadFrom(left), 1u);
}

TEST_F(ReadOnlyStore, readsFromAReadOnlyMediumWithSideFilesThatHoldNothing) {
    makeStore(path);
    folder.write("history.sqlite-wal", "");
    folder.write("history.sqlite-shm", "");
    const SystemFault medium(SystemFault::Kind::readOnlyMedium);
    EXPECT_EQ(rowsReadFrom(path), 1u);
}

TEST_F(ReadOnlyStore, neverReadsPastRowsThatItCannotSee) {
    DatabaseManager program(path, clock);
    program.insertSnapshot(sampleAt(storeNow));
    const std::string left = folder.file("left.sqlite");
    copyOfRunningStore(path, left, false);
    const SystemFault medium(SystemFault::Kind::readOnlyMedium);
    EXPECT_EQ(stateOf(left), StoreState::unavailable);
}

TEST_F(ReadOnlyStore, readsAPathWithSignsThatNamesOfSQLiteGiveAMeaning) {
    path = folder.file("a?b#c%20d e/mode=rw&x.sqlite");
    fs::create_directory(folder.file("a?b#c%20d e"));
    makeStore(path);
    EXPECT_EQ(rowsReadFrom(path), 1u);
}

TEST_F(ReadOnlyStore, relativePathNamesAFileWhateverItLooksLike) {
    const test::WorkingFolder here(folder.path());
    for (const char* name : {"file:h", "file:h?mode=memory", ":memory:", "plain.sqlite"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(stateOf(name), StoreState::unavailable) << "there is no such file yet";
        makeStore(name);
        EXPECT_TRUE(fs::is_regular_file(folder.path() / name));
        EXPECT_EQ(rowsReadFrom(name), 1u);
        DatabaseManager program(name, clock);
        program.insertSnapshot(sampleAt(storeNow));
        EXPECT_EQ(rowsReadFrom(name), 2u) << "beside the program";
    }
    EXPECT_EQ(log.lines(), Rows{});
}

TEST_F(ReadOnlyStore, emptyPathIsUnavailable) {
    const test::WorkingFolder here(folder.path());
    EXPECT_EQ(stateOf(""), StoreState::unavailable);
    EXPECT_EQ(files(), std::set<std::string>{});
}

TEST_F(ReadOnlyStore, copyWithoutItsSharedMemoryIsReadAndGetsOne) {
    DatabaseManager program(path, clock);
    program.insertSnapshot(sampleAt(storeNow));
    const std::string left = folder.file("left.sqlite");
    copyOfRunningStore(path, left, false);
    const std::string wal = test::readFile(left + "-wal");
    const std::string main = test::readFile(left);
    const DatabaseManager reader(left, clock, StoreAccess::readOnly);
    EXPECT_EQ(reader.fetchHistory().size(), 1u);
    EXPECT_TRUE(fs::exists(left + "-shm"));
    EXPECT_EQ(test::readFile(left + "-wal"), wal);
    EXPECT_EQ(test::readFile(left), main);
}

TEST_F(ReadOnlyStore, missingFileIsUnavailableAndNothingIsMade) {
    EXPECT_EQ(stateOf(folder.file("none/history.sqlite")), StoreState::unavailable);
    EXPECT_EQ(stateOf(path), StoreState::unavailable);
    EXPECT_EQ(files(), std::set<std::string>{});
    EXPECT_EQ(log.lines(), Rows{}) << "its caller tells";
}

TEST_F(ReadOnlyStore, folderAndUnreadableFileAreUnavailable) {
    fs::create_directory(folder.file("folder.sqlite"));
    EXPECT_EQ(stateOf(folder.file("folder.sqlite")), StoreState::unavailable);
    makeStore(path);
    const SystemFault fault(SystemFault::Kind::unreadable);
    EXPECT_EQ(stateOf(path), StoreState::unavailable);
}

TEST_F(ReadOnlyStore, fileHeldByAnotherForLongerThanTheWaitIsUnavailable) {
    makeStore(path);
    Sql other(path);
    other.run(
        "PRAGMA locking_mode = EXCLUSIVE; BEGIN EXCLUSIVE; INSERT INTO sessions (name, started_at) VALUES "
        "('s', 1);");
    // Somebody has it open, side files or not.
    folder.write("history.sqlite-shm", "");
    EXPECT_EQ(stateOf(path), StoreState::unavailable);
}

TEST_F(ReadOnlyStore, anythingElseIsNotADatabase) {
    for (const std::string& content : {std::string("not a database"), std::string(5000, 'x'),
                                       std::string("SQLite format 3\0", 16) + std::string(5000, '\xa5')}) {
        folder.write("history.sqlite", content);
        EXPECT_EQ(stateOf(path), StoreState::notADatabase) << content.substr(0, 20);
        EXPECT_EQ(test::readFile(path), content);
    }
}

TEST_F(ReadOnlyStore, earlierVersionsAreToldAndNotBroughtUpToDate) {
    for (const char* fixture : {"history-without-context.sql", "history-without-pressure-state.sql",
                                "history-without-incident-marks.sql"}) {
        path = folder.file(fixture);
        Sql(path).run(test::readFile(std::string(CORVANTA_FIXTURES "/storage/") + fixture));
        const std::string content = test::readFile(path);
        const DatabaseManager reader(path, clock, StoreAccess::readOnly);
        EXPECT_EQ(reader.state(), StoreState::olderSchema) << fixture;
        EXPECT_TRUE(reader.fetchHistory().empty());
        EXPECT_EQ(test::readFile(path), content);
    }
}

TEST_F(ReadOnlyStore, emptyFileAndMissingTableAreAnOlderSchema) {
    folder.write("history.sqlite", "");
    EXPECT_EQ(stateOf(path), StoreState::olderSchema);
    EXPECT_EQ(test::readFile(path), "");
    for (const char* table : {"metrics_history", "sessions", "session_samples", "performance_incidents"}) {
        const std::string file = folder.file(std::string(table) + ".sqlite");
        makeStore(file);
        Sql(file).run("DROP TABLE " + std::string(table) + ";");
        EXPECT_EQ(stateOf(file), StoreState::olderSchema) << table;
    }
}

TEST_F(ReadOnlyStore, neitherRepairsNorPrunesNorWrites) {
    makeStore(path);
    Sql(path).run(
        "INSERT INTO sessions (name, started_at) VALUES ('open', 1);"
        "INSERT INTO performance_incidents (started_at, detected_at, kind, severity, created_at) "
        "VALUES (1, 1, 'cpu', 1, 1);"
        "INSERT INTO metrics_history (timestamp) VALUES (1);");
    const Rows before = Sql(path).dump();
    {
        DatabaseManager reader(path, clock, StoreAccess::readOnly);
        reader.insertSnapshot(sampleAt(storeNow));
        reader.pruneOldRecords();
    }
    EXPECT_EQ(Sql(path).dump(), before);
}

}  // namespace
}  // namespace corvanta
