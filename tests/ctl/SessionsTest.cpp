// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <set>

#include "ctl/StoreTest.h"
#include "platform/OwnNamespaces.h"
#include "storage/StoreTestSupport.h"
#include "support/FakePlatform.h"

namespace corvanta::test {
namespace {

using Json = nlohmann::ordered_json;

/// Three sessions, at a time when the one that was started last has run for a while, as another process.
class SessionsTest : public StoreTest {
  protected:
    SessionsTest() {
        clock_.setNow(instantFromSeconds(1'700'000'000.5));
        record("Slow build", 2);
        store_.stopSession();
        clock_.advance(3600);
        record("Nothing", 0);
        clock_.advance(3780);
        store_.stopSession();
        clock_.advance(60);
        record("with\x1b[31m colour", 1);
    }

    static std::string firstCsv() {
        return "Timestamp,CPU %,macOS Memory Pressure,Estimated Memory Pressure %,Disk Free Bytes,Upload "
               "Bytes/s,Download Bytes/s,Thermal State,Top CPU Process,Top CPU %\n"
               "2023-11-14 22:13:20,12.5,Warning,40.2,50000000000,1536,3000000,Fair,\"one, two\",180.5\n"
               "2023-11-14 22:13:22,12.5,Warning,40.2,50000000000,1536,3000000,Fair,\"one, two\",180.5\n";
    }
    void expectNotWritten(const std::string& target, const std::string& why) const {
        const Finished finished = ctl("export 1 --output " + target);
        EXPECT_EQ(finished.exitCode, 1);
        EXPECT_EQ(finished.out, "");
        EXPECT_EQ(finished.err, "corvantactl: Could not write " + target + ": " + why + ".\n");
    }

    FakeClock clock_;
    // Stays open beside the companion, as the program's own does.
    DatabaseManager store_{user_.database(), clock_};
    const std::string file_ = user_.folder() / "session.csv";

  private:
    void record(const std::string& name, int samples) {
        ASSERT_TRUE(store_.startSession(name));
        for (int i = 0; i < samples; ++i) {
            store_.insertSessionSample({12.5, 40.25, 5e10, 1536, 3e6, 40.25, MemoryPressureLevel::warning,
                                        "Fair", "one, two", 180.5});
            clock_.advance(2);
        }
    }
};

TEST_F(SessionsTest, areListedNewestFirst) {
    const Finished finished = ctl("sessions");
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(finished.err, "");
    EXPECT_EQ(finished.out,
              "ID  Name              Start                Duration  Samples\n"
              "3   with [31m colour  2023-11-15 00:17:24  open      1\n"
              "2   Nothing           2023-11-14 23:13:24  1h 3m     0\n"
              "1   Slow build        2023-11-14 22:13:20  4s        2\n");
}

TEST_F(SessionsTest, jsonHasWhatWasStored) {
    const Finished finished = ctl("sessions --json");
    EXPECT_EQ(finished.exitCode, 0);
    Json list = Json::parse(finished.out);
    ASSERT_EQ(list.size(), 3u);
    EXPECT_GT(list[0].at("duration"), 3600);
    list[0].erase("duration");
    EXPECT_EQ(list[0].dump(), Json({{"id", 3},
                                    {"name", "with\x1b[31m colour"},
                                    {"started_at", 1'700'007'444},
                                    {"ended_at", nullptr},
                                    {"sample_count", 1}})
                                  .dump());
    EXPECT_EQ(list[2].dump(), Json({{"id", 1},
                                    {"name", "Slow build"},
                                    {"started_at", 1'700'000'000},
                                    {"ended_at", 1'700'000'004},
                                    {"duration", 4.0},
                                    {"sample_count", 2}})
                                  .dump());
}

TEST_F(SessionsTest, noneAreNoFailure) {
    Sql(user_.database()).run("DELETE FROM session_samples; DELETE FROM sessions;");
    const Finished text = ctl("sessions");
    EXPECT_EQ(text.exitCode, 0);
    EXPECT_EQ(text.out, "No sessions.\n");
    EXPECT_EQ(ctl("sessions --json").out, "[]\n");
}

TEST_F(SessionsTest, exportGoesToStandardOutput) {
    const Finished finished = ctl("export 1");
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(finished.err, "");
    EXPECT_EQ(finished.out, firstCsv());
}

TEST_F(SessionsTest, aDamagedStoreLeavesTheOldFile) {
    TempDirectory folder;
    const std::string damaged = folder.file("damaged.sqlite");
    {
        DatabaseManager store(damaged, clock_);
        store.startSession("long");
        for (int i = 0; i < 500; ++i)
            store.insertSessionSample({.thermal = "Nominal", .topCpuName = "compiler"});
        store.stopSession();
    }
    // One page of the samples; what counts them is whole.
    Sql sql(damaged);
    sql.run("PRAGMA wal_checkpoint(TRUNCATE);");
    const auto page = std::stol(sql.row(
        "SELECT pageno FROM dbstat WHERE name = 'session_samples' AND pagetype = 'leaf' LIMIT 1 OFFSET 3;"));
    const auto pageSize = std::stol(sql.row("PRAGMA page_size;"));
    std::fstream file(damaged, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp((page - 1) * pageSize);
    file << std::string(static_cast<std::size_t>(pageSize), '\xee');
    file.close();
    folder.write("old.csv", "old");
    const Finished finished = ctl("export 1 --output " + folder.file("old.csv") + " --database " + damaged);
    EXPECT_EQ(finished.exitCode, 1);
    EXPECT_EQ(finished.out, "");
    EXPECT_NE(finished.err.find(" samples can be read; the store is damaged or in use."), std::string::npos)
        << finished.err;
    EXPECT_EQ(readFile(folder.file("old.csv")), "old");
}

TEST_F(SessionsTest, anExportToAFileIsToldInJsonToo) {
    const std::string path = user_.folder() / "s.csv";
    EXPECT_EQ(ctl("export 1 --json --output " + path).out,
              "{\"path\":\"" + path + "\",\"sample_count\":2}\n");
    EXPECT_EQ(readFile(path), firstCsv());
}

TEST_F(SessionsTest, exportIsInTheUsersTimeZone) {
    user_.setVariable("TZ", "Asia/Kolkata");
    EXPECT_NE(ctl("export 1").out.find("\n2023-11-15 03:43:20,"), std::string::npos);
}

TEST_F(SessionsTest, aSessionThatRunsIsExportedAsFarAsItIs) {
    const std::string text = ctl("export 3").out;
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2);
}

TEST_F(SessionsTest, aSessionWithoutSamplesHasNoData) {
    const Finished finished = ctl("export 2");
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(finished.out, "No data");
    EXPECT_EQ(ctl("export 2 --output " + file_).exitCode, 0);
    EXPECT_EQ(readFile(file_), "No data");
}

TEST_F(SessionsTest, exportToAFileTellsItsPath) {
    const Finished finished = ctl("export 1 --output " + file_);
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(finished.err, "");
    EXPECT_EQ(finished.out, "Wrote " + file_ + "\n");
    EXPECT_EQ(readFile(file_), firstCsv());
}

TEST_F(SessionsTest, exportReplacesAnOldFileWhole) {
    std::ofstream(file_) << std::string(10'000, 'x');
    std::filesystem::permissions(file_, std::filesystem::perms(0640));
    EXPECT_EQ(ctl("export 1 --output " + file_).exitCode, 0);
    EXPECT_EQ(readFile(file_), firstCsv());
    EXPECT_EQ(std::filesystem::status(file_).permissions(), std::filesystem::perms(0640));
}

TEST_F(SessionsTest, exportToWhereNoFileCanBeTellsWhy) {
    const auto files = [this] {
        std::set<std::string> names;
        for (const auto& [path, content] : filesBelow(user_.folder())) names.insert(path);
        return names;
    };
    const auto before = files();
    expectNotWritten(user_.folder().string(), "Is a directory");
    expectNotWritten(user_.folder() / "missing/session.csv", "No such file or directory");
    EXPECT_EQ(files(), before);
}

TEST_F(SessionsTest, exportToAFullDiskLeavesTheOldFile) {
    const std::string disk = user_.folder() / "disk";
    std::filesystem::create_directory(disk);
    inOwnNamespaces([&] {
        ASSERT_EQ(::mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=4k"), 0);
        std::ofstream(disk + "/session.csv") << "old";
        expectNotWritten(disk + "/session.csv", "No space left on device");
        EXPECT_EQ(readFile(disk + "/session.csv"), "old");
        EXPECT_EQ(filesBelow(disk).size(), 1u);
        ::umount(disk.c_str());
    });
}

TEST_F(SessionsTest, outputThatCannotBeWrittenIsAFailure) {
    for (const char* command : {"sessions", "sessions --json", "export 1"}) {
        const Finished finished = ctl(command, [] { ::dup2(::open("/dev/full", O_WRONLY), STDOUT_FILENO); });
        EXPECT_EQ(finished.exitCode, 1) << command;
        EXPECT_EQ(finished.err, "corvantactl: Could not write: No space left on device\n") << command;
    }
}

TEST_F(SessionsTest, exportOfAnUnknownSessionFailsAndWritesNothing) {
    for (const std::string& options : {std::string(), " --output " + file_}) {
        const Finished finished = ctl("export 4" + options);
        EXPECT_EQ(finished.exitCode, 1);
        EXPECT_EQ(finished.out, "");
        EXPECT_EQ(finished.err, "corvantactl: There is no session 4.\n");
    }
    EXPECT_FALSE(std::filesystem::exists(file_));
}

TEST_F(SessionsTest, exportNeedsASession) {
    for (const char* arguments : {"export", "export one", "export -1"}) {
        EXPECT_EQ(ctl(arguments).exitCode, 2) << arguments;
    }
}

TEST_F(SessionsTest, readingChangesNoRow) {
    const auto before = Sql(user_.database()).dump();
    EXPECT_EQ(ctl("sessions").exitCode, 0);
    EXPECT_EQ(ctl("export 1").exitCode, 0);
    EXPECT_EQ(Sql(user_.database()).dump(), before);
    EXPECT_TRUE(store_.isRecording());
}

}  // namespace
}  // namespace corvanta::test
