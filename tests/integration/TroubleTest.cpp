// SPDX-License-Identifier: Apache-2.0
#include <linux/capability.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>

#include <fstream>

#include "integration/CorvantaTest.h"
#include "storage/StoreTestSupport.h"

namespace corvanta::test {
namespace {

using TroubleTest = CorvantaTest;

/// Nobody else can write the store while this lives.
class WriteLock {
  public:
    explicit WriteLock(const std::string& database) : sql_(database) { sql_.run("BEGIN IMMEDIATE;"); }

  private:
    Sql sql_;
};

/// From the next program on, the modes of files count for the superuser too.
void obeyFileModes() {
    ::prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE);
}

/// To write beyond the largest file is an error from now on, not a signal.
void allowFullDisk() {
    ::signal(SIGXFSZ, SIG_IGN);
}

/// How large the files of a process may become; 0 stands for a full disk.
void limitFiles(pid_t process, rlim_t bytes) {
    const rlimit limit = {bytes, RLIM_INFINITY};
    EXPECT_EQ(::prlimit(process, RLIMIT_FSIZE, &limit, nullptr), 0);
}

TEST_F(TroubleTest, aFileInPlaceOfTheDataFolderEndsOnlyTheStoring) {
    std::ofstream(user_.dataHome()) << "not a folder";
    const auto program = start();
    EXPECT_TRUE(program->awaitOutput("Error opening database at " + user_.database() + "\n"));
    EXPECT_TRUE(goesOn(*program));
    expectQuits(*program);
    EXPECT_EQ(readFile(user_.dataHome()), "not a folder");
}

TEST_F(TroubleTest, aDataFolderThatCannotBeMadeEndsOnlyTheStoring) {
    user_.setVariable("XDG_DATA_HOME", "/proc/corvanta-test");
    const auto program = start();
    EXPECT_TRUE(program->awaitOutput(
        "Error opening database at /proc/corvanta-test/com.corvanta.app/history.sqlite\n"));
    EXPECT_TRUE(goesOn(*program));
    expectQuits(*program);
}

TEST_F(TroubleTest, aDataFolderThatIsNotWritableEndsOnlyTheStoring) {
    std::filesystem::create_directories(user_.dataHome());
    std::filesystem::permissions(user_.dataHome(), std::filesystem::perms(0500));
    const auto program = start("", obeyFileModes);
    EXPECT_TRUE(program->awaitOutput("Error opening database at " + user_.database() + "\n"));
    EXPECT_TRUE(goesOn(*program));
    expectQuits(*program);
    EXPECT_TRUE(std::filesystem::is_empty(user_.dataHome()));
}

TEST_F(TroubleTest, aStoreThatIsNotWritableStaysAsItIs) {
    { const DatabaseManager store(user_.database(), clock_); }
    const std::filesystem::path folder = std::filesystem::path(user_.database()).parent_path();
    std::filesystem::permissions(user_.database(), std::filesystem::perms(0400));
    std::filesystem::permissions(folder, std::filesystem::perms(0500));
    const std::string before = readFile(user_.database());
    const auto program = start("", obeyFileModes);
    EXPECT_TRUE(goesOn(*program));
    expectQuits(*program);
    EXPECT_EQ(readFile(user_.database()), before);
    std::filesystem::permissions(folder, std::filesystem::perms(0700));
}

TEST_F(TroubleTest, aFileThatIsNoDatabaseStaysAsItIs) {
    const std::string garbage(10'000, 'x');
    std::filesystem::create_directories(std::filesystem::path(user_.database()).parent_path());
    std::ofstream(user_.database()) << garbage;
    const auto program = start();
    EXPECT_TRUE(goesOn(*program));
    expectQuits(*program);
    EXPECT_EQ(readFile(user_.database()), garbage);
}

TEST_F(TroubleTest, aStoreLockedBesideItDelaysOnlyTheStoring) {
    const auto program = start();
    ASSERT_TRUE(awaitRows(1));
    {
        const WriteLock lock(user_.database());
        ASSERT_TRUE(program->awaitOutput("Could not insert row.\n"));
        EXPECT_EQ(rows().size(), 1u);
    }
    EXPECT_TRUE(awaitRows(2));
    expectQuits(*program);
    EXPECT_EQ(outputOf(*program), "Could not insert row.\n");
}

TEST_F(TroubleTest, aStoreLockedAtTheStartDelaysOnlyTheStoring) {
    { const DatabaseManager store(user_.database(), clock_); }
    auto lock = std::make_unique<WriteLock>(user_.database());
    const auto program = start();
    ASSERT_TRUE(program->awaitOutput("Could not delete old rows.\n"));
    lock.reset();
    EXPECT_TRUE(awaitRows(1));
    expectQuits(*program);
}

TEST_F(TroubleTest, aDiskThatFillsUpDelaysOnlyTheStoring) {
    const auto program = start("", allowFullDisk);
    ASSERT_TRUE(awaitRows(1));
    limitFiles(program->pid(), 0);
    ASSERT_TRUE(program->awaitOutput("Could not insert row.\n"));
    EXPECT_EQ(rows().size(), 1u);
    limitFiles(program->pid(), RLIM_INFINITY);
    EXPECT_TRUE(awaitRows(2));
    expectQuits(*program);
    EXPECT_EQ(Sql(user_.database()).row("PRAGMA integrity_check;"), "ok");
}

TEST_F(TroubleTest, aDiskThatIsFullAtTheStartEndsOnlyTheStoring) {
    const auto program = start("", [] {
        allowFullDisk();
        limitFiles(0, 0);
    });
    EXPECT_TRUE(goesOn(*program));
    expectQuits(*program);
}

TEST_F(TroubleTest, aFullDiskKeepsTheSettingsAsTheyWere) {
    // The lack of a menu bar style makes the start write them.
    const std::string settings = R"({"showCPU": false})";
    user_.writeSettings(settings);
    const auto program = start("", [] {
        allowFullDisk();
        limitFiles(0, 0);
    });
    EXPECT_TRUE(goesOn(*program));
    expectQuits(*program);
    EXPECT_EQ(readFile(user_.settings()), settings);
    EXPECT_NE(program->output().find("Could not write the settings file " + user_.settings()),
              std::string::npos)
        << program->output();
}

TEST_F(TroubleTest, damagedSettingsAreSetAside) {
    user_.writeSettings("{\"showCPU\": fal");
    const auto program = start();
    ASSERT_TRUE(awaitRows(1));
    expectQuits(*program);
    EXPECT_EQ(readFile(user_.settings() + ".damaged-1"), "{\"showCPU\": fal");
    EXPECT_EQ(outputOf(*program),
              "The settings file held no settings and was set aside as " + user_.settings() + ".damaged-1\n");
}

TEST_F(TroubleTest, withoutAnyHomeThereIsNothingToDo) {
    for (const char* name : {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME"}) user_.removeVariable(name);
    const auto program = start("", becomeUnknownAccount);
    EXPECT_EQ(program->exitCode(), 1);
    EXPECT_EQ(program->output(), "");
    EXPECT_EQ(program->errors(), "Corvanta found no home folder to keep its files in.\n");
}

TEST_F(TroubleTest, withTheFoldersNamedItNeedsNoHome) {
    user_.removeVariable("HOME");
    const auto program = start();
    EXPECT_TRUE(awaitRows(1));
    expectQuits(*program);
}

}  // namespace
}  // namespace corvanta::test
