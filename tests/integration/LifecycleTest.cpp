// SPDX-License-Identifier: Apache-2.0
#include <signal.h>
#include <sys/stat.h>

#include <nlohmann/json.hpp>

#include "integration/CorvantaTest.h"
#include "storage/StoreTestSupport.h"
#include "support/PrivateBus.h"

namespace corvanta::test {
namespace {

class LifecycleTest : public CorvantaTest {
  protected:
    /// What `corvantactl` prints.
    std::string companion(const std::string& arguments) const {
        Program run(CORVANTACTL_PROGRAM, words(arguments), user_.environment());
        EXPECT_EQ(run.exitCode(), 0) << arguments;
        EXPECT_EQ(run.errors(), "") << arguments;
        return run.output();
    }
    std::size_t companionsRows() const { return nlohmann::json::parse(companion("history --json")).size(); }
};

TEST_F(LifecycleTest, storesOneSampleAtOnceAndThenOneEveryTenSeconds) {
    const double begin = secondsSince1970(clock_.now());
    const auto program = start();
    ASSERT_TRUE(awaitRows(1));
    EXPECT_EQ(rows().size(), 1u);
    ASSERT_TRUE(awaitRows(3));
    const std::vector<SystemSnapshot> stored = rows();
    EXPECT_LT(static_cast<double>(stored[0].timestamp) - begin, 8);
    for (std::size_t i = 1; i < stored.size(); ++i) {
        const std::int64_t distance = stored[i].timestamp - stored[i - 1].timestamp;
        EXPECT_GE(distance, 10);
        EXPECT_LE(distance, 13);
    }
    for (const SystemSnapshot& row : stored) {
        EXPECT_GE(row.cpuUsage, 0);
        EXPECT_LE(row.cpuUsage, 100);
        EXPECT_GT(row.memoryPressure, 0);
        EXPECT_LE(row.memoryPressure, 100);
        EXPECT_EQ(row.ramUsage, row.memoryPressure);
        EXPECT_GE(row.diskFree, 0);
        EXPECT_GE(row.uploadSpeed, 0);
        EXPECT_GE(row.downloadSpeed, 0);
        EXPECT_NE(row.thermalState.value_or(""), "");
    }
    // The first cycle has nothing to measure from; this process has kept the machine busy ever since.
    EXPECT_GT(stored.back().cpuUsage, 0);
    expectQuits(*program);
    EXPECT_EQ(outputOf(*program), "");
    Sql sql(user_.database());
    EXPECT_EQ(sql.row("PRAGMA integrity_check;"), "ok");
    EXPECT_EQ(sql.row("PRAGMA journal_mode;"), "wal");
}

TEST_F(LifecycleTest, itsFilesAreTheUsersAlone) {
    const auto program = start("", [] { ::umask(0); });
    ASSERT_TRUE(awaitRows(1));
    ASSERT_TRUE(eventually([&] { return std::filesystem::exists(user_.settings()); }));
    int files = 0;
    for (const std::string& top : {user_.dataHome(), user_.configHome()}) {
        const auto mode = [](const std::filesystem::path& path) {
            return std::filesystem::status(path).permissions();
        };
        EXPECT_EQ(mode(top), std::filesystem::perms::owner_all) << top;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(top)) {
            if (entry.is_directory()) {
                EXPECT_EQ(mode(entry), std::filesystem::perms::owner_all) << entry.path();
            } else {
                ++files;
                EXPECT_EQ(mode(entry),
                          std::filesystem::perms::owner_read | std::filesystem::perms::owner_write)
                    << entry.path();
            }
        }
    }
    EXPECT_GE(files, 4);  // settings, store, its log and its index
    expectQuits(*program);
}

TEST_F(LifecycleTest, whereThereIsNoDisplayItRunsUnseen) {
    user_.removeVariable("QT_QPA_PLATFORM");
    const auto program = start();
    EXPECT_TRUE(program->awaitOutput("Shell: running without a status item: no display\n"));
    EXPECT_TRUE(awaitRows(1));
    expectQuits(*program);
}

class QuitTest : public CorvantaTest, public testing::WithParamInterface<int> {};

TEST_P(QuitTest, endsInGoodOrder) {
    const auto program = start();
    ASSERT_TRUE(awaitRows(1));
    expectQuits(*program, GetParam());
    EXPECT_EQ(outputOf(*program), "");
    EXPECT_EQ(Sql(user_.database()).row("PRAGMA integrity_check;"), "ok");
    EXPECT_EQ(rows().size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(LifecycleTest, QuitTest, testing::Values(SIGTERM, SIGINT, SIGHUP));

TEST_F(LifecycleTest, afterAKillItStartsAgainWithWhatWasStored) {
    auto program = start();
    ASSERT_TRUE(awaitRows(1));
    program->kill();
    EXPECT_EQ(program->exitCode(), -1);

    // The row is in the store's log, which a reader takes into account but leaves to the next writer.
    const std::string store = readFile(user_.database());
    const std::string log = readFile(user_.database() + "-wal");
    EXPECT_FALSE(log.empty());
    EXPECT_EQ(companionsRows(), 1u);
    EXPECT_EQ(readFile(user_.database()), store);
    EXPECT_EQ(readFile(user_.database() + "-wal"), log);

    program = start();
    EXPECT_TRUE(awaitRows(2));
    expectQuits(*program);
    EXPECT_EQ(outputOf(*program), "");
    EXPECT_EQ(Sql(user_.database()).row("PRAGMA integrity_check;"), "ok");
}

TEST_F(LifecycleTest, aSecondStartWithoutABusIsRefused) {
    const auto first = start();
    ASSERT_TRUE(awaitRows(1));
    const auto second = start();
    EXPECT_EQ(second->exitCode(), 1);
    EXPECT_EQ(second->output(), "Corvanta is already running\n");
    EXPECT_EQ(second->errors(), "");
    EXPECT_TRUE(first->isRunning());
    expectQuits(*first);
}

TEST_F(LifecycleTest, anotherUsersProgramIsNoObstacle) {
    const auto first = start();
    ASSERT_TRUE(awaitRows(1));
    const TestUser another;
    Program second(CORVANTA_PROGRAM, {}, another.environment());
    EXPECT_TRUE(eventually([&] { return !rowsOf(another).empty(); }));
    expectQuits(second);
    EXPECT_EQ(outputOf(second), "");
    expectQuits(*first);
}

class BusTest : public CorvantaTest, public testing::WithParamInterface<const char*> {};

TEST_P(BusTest, aSecondStartHandsOverToTheFirst) {
    const PrivateBus bus;
    ASSERT_FALSE(bus.address().isEmpty());
    user_.setVariable("DBUS_SESSION_BUS_ADDRESS", bus.address().toStdString());
    const auto first = start();
    ASSERT_TRUE(awaitRows(1));
    const auto second = start(GetParam());
    EXPECT_EQ(second->exitCode(), 0);
    EXPECT_EQ(second->output(), "");
    EXPECT_EQ(second->errors(), "");
    EXPECT_TRUE(first->isRunning());
    expectQuits(*first);
    EXPECT_EQ(outputOf(*first), "");
}

INSTANTIATE_TEST_SUITE_P(LifecycleTest, BusTest, testing::Values("", "--open-center"));

TEST_F(LifecycleTest, tellsItsVersionAndUsage) {
    const auto version = start("--version");
    EXPECT_EQ(version->exitCode(), 0);
    EXPECT_EQ(version->output(), "corvanta " CORVANTA_VERSION "\n");
    const auto help = start("--help");
    EXPECT_EQ(help->exitCode(), 0);
    EXPECT_EQ(help->output().rfind("Usage: corvanta", 0), 0u);
    EXPECT_FALSE(std::filesystem::exists(user_.dataHome()));
    EXPECT_FALSE(std::filesystem::exists(user_.configHome()));
}

TEST_F(LifecycleTest, theCompanionReadsBesideIt) {
    const auto program = start();
    ASSERT_TRUE(awaitRows(1));
    EXPECT_EQ(companionsRows(), 1u);
    EXPECT_NE(companion("history"), "");
    EXPECT_NE(companion("trends"), "");
    EXPECT_NE(companion("status"), "");
    // The writer is not disturbed.
    EXPECT_TRUE(awaitRows(2));
    expectQuits(*program);
    EXPECT_EQ(outputOf(*program), "");

    const std::string left = readFile(user_.database());
    EXPECT_EQ(companionsRows(), 2u);
    EXPECT_EQ(readFile(user_.database()), left);
}

}  // namespace
}  // namespace corvanta::test
