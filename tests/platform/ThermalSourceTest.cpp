// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "ThermalTree.h"
#include "platform/linux/LinuxThermalSource.h"
#include "support/FakePlatform.h"

namespace corvanta {
namespace {

constexpr int unknown = -1;
const std::vector<std::string> oneWorker = {"com.corvanta.thermal"};

bool eventually(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::yield();
    }
    return true;
}

// With the first thread a sanitizer starts one of its own, which no test shall count.
[[maybe_unused]] const bool isFirstThreadOver = [] {
    std::thread([] {}).join();
    return true;
}();

std::ptrdiff_t threadCount() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

class ThermalSourceTest : public testing::Test {
  protected:
    void writeZone(std::int64_t temperature) const {
        tree.writeZone(0, "acpitz", temperature, {{"critical", 100'000}, {"passive", 90'000}});
    }
    /// Asks without any time passing until the worker has answered.
    bool awaitState(int state) {
        return eventually([&] { return source.thermalState() == state; });
    }

    test::ThermalTree tree;
    test::FakeClock clock;
    test::FakeThreadSetup threads;
    std::atomic<bool> isDegraded = false;
    LinuxThermalSource source{tree.root(), clock, threads, [this] { return isDegraded.load(); }};
};

TEST_F(ThermalSourceTest, aMachineThatTellsNothingIsUnknownAndHasNoWorker) {
    EXPECT_EQ(source.thermalState(), unknown);
    for (int i = 0; i < 100; ++i) {
        clock.advance(30);
        EXPECT_EQ(source.thermalState(), unknown);
    }
    EXPECT_TRUE(threads.labels().empty());
}

TEST_F(ThermalSourceTest, nothingIsReadBeforeSomebodyAsks) {
    writeZone(50'000);
    EXPECT_TRUE(threads.labels().empty());
}

TEST_F(ThermalSourceTest, theFirstReadingFollowsTheFirstQuestionAtOnce) {
    writeZone(50'000);
    source.thermalState();
    EXPECT_TRUE(awaitState(0));  // the clock stands still
    EXPECT_EQ(threads.labels(), oneWorker);
}

TEST_F(ThermalSourceTest, itReadsAnewWhenAskedTwoSecondsLater) {
    writeZone(50'000);
    ASSERT_TRUE(awaitState(0));
    writeZone(98'000);
    clock.advance(2);
    EXPECT_TRUE(awaitState(3));
    EXPECT_EQ(threads.labels(), oneWorker);
}

TEST_F(ThermalSourceTest, betweenQuestionsNothingIsRead) {
    writeZone(50'000);
    ASSERT_TRUE(awaitState(0));
    writeZone(98'000);
    clock.advance(1.9);
    EXPECT_EQ(source.thermalState(), 0);
    clock.advance(0.1);
    EXPECT_EQ(source.thermalState(), 0);  // the answer is the last reading's; this one is on its way
    EXPECT_TRUE(awaitState(3));
}

TEST_F(ThermalSourceTest, aReadingThatIsTooOldIsNoAnswer) {
    writeZone(50'000);
    ASSERT_TRUE(awaitState(0));
    clock.advance(30.5);
    EXPECT_EQ(source.thermalState(), unknown);
    EXPECT_TRUE(awaitState(0));
}

TEST_F(ThermalSourceTest, theServicesWordCounts) {
    writeZone(50'000);
    isDegraded = true;
    EXPECT_TRUE(awaitState(2));
}

TEST_F(ThermalSourceTest, theServicesWordIsEnoughWithoutAnySensor) {
    EXPECT_EQ(source.thermalState(), unknown);
    isDegraded = true;
    EXPECT_EQ(source.thermalState(), 2);
    isDegraded = false;
    EXPECT_EQ(source.thermalState(), unknown);
}

TEST_F(ThermalSourceTest, driversThatLoadLateAreFoundWithinAMinute) {
    EXPECT_EQ(source.thermalState(), unknown);
    writeZone(50'000);
    clock.advance(59);
    EXPECT_EQ(source.thermalState(), unknown);
    EXPECT_TRUE(threads.labels().empty());
    clock.advance(1);
    EXPECT_TRUE(awaitState(0));
}

TEST_F(ThermalSourceTest, sensorsOfOtherPartsKeepNoWorker) {
    tree.writeChip(0, "nvme");
    tree.writeSensor(0, 1, 50'000);
    const auto before = threadCount();
    EXPECT_EQ(source.thermalState(), unknown);
    ASSERT_TRUE(eventually([&] { return threads.labels() == oneWorker && threadCount() == before; }));
    writeZone(50'000);
    for (int i = 0; i < 59; ++i) {
        clock.advance(1);
        EXPECT_EQ(source.thermalState(), unknown) << i;
    }
    clock.advance(1);
    EXPECT_TRUE(awaitState(0));
    EXPECT_EQ(threads.labels().size(), 2U);
}

TEST_F(ThermalSourceTest, withoutAServiceItWorksAsWell) {
    writeZone(50'000);
    LinuxThermalSource alone(tree.root(), clock, threads);
    EXPECT_TRUE(eventually([&] { return alone.thermalState() == 0; }));
}

TEST_F(ThermalSourceTest, manyThreadsMayAskAndStartOneWorker) {
    writeZone(50'000);
    std::vector<std::thread> askers;
    for (int i = 0; i < 4; ++i) {
        askers.emplace_back([this] { EXPECT_TRUE(awaitState(0)); });
    }
    for (std::thread& asker : askers) asker.join();
    EXPECT_EQ(threads.labels(), oneWorker);
}

/// What every source does: it answers at once and on any thread, sooner or later with the machine's state,
/// and for a machine that does not tell with none of the four.
void keepsTheContract(const ThermalSource& source, int state) {
    EXPECT_TRUE(eventually([&] { return source.thermalState() == state; }));
    int elsewhere = state + 1;
    std::thread([&] { elsewhere = source.thermalState(); }).join();
    EXPECT_EQ(elsewhere, state);
}

TEST(ThermalSourceContract, isKeptByTheKernelsFiles) {
    const test::FakeClock clock;
    test::FakeThreadSetup threads;
    const test::ThermalTree tree;
    const LinuxThermalSource silent(tree.root(), clock, threads);
    keepsTheContract(silent, unknown);
    tree.writeZone(0, "acpitz", 98'000, {{"critical", 100'000}});
    const LinuxThermalSource hot(tree.root(), clock, threads);
    keepsTheContract(hot, 3);
}

TEST(ThermalSourceContract, isKeptByTheFake) {
    test::FakeThermalSource source;
    keepsTheContract(source, 0);
    source.state = 3;
    keepsTheContract(source, 3);
    source.state = unknown;
    keepsTheContract(source, unknown);
}

TEST(ThermalSource, aFileThatHangsHoldsNobody) {
    // The worker outlives its source here, and with it what it uses.
    static test::FakeClock clock;
    static test::FakeThreadSetup threads;
    const test::ThermalTree tree;
    tree.writeZone(0, "acpitz", 50'000, {{"critical", 100'000}});
    const std::string stuck = tree.root() + "/" + tree.zoneFile(0, "temp");
    tree.remove(tree.zoneFile(0, "temp"));
    ASSERT_EQ(mkfifo(stuck.c_str(), 0600), 0);  // opening it waits for a writer
    const auto begin = std::chrono::steady_clock::now();
    {
        const LinuxThermalSource source(tree.root(), clock, threads);
        for (int i = 0; i < 100; ++i) {
            EXPECT_EQ(source.thermalState(), unknown);
            clock.advance(2);
        }
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(15));
    EXPECT_EQ(threads.labels(), oneWorker);
    // Lets the worker go. Nothing is written: it may have closed its end by then.
    const int writer = ::open(stuck.c_str(), O_RDWR | O_CLOEXEC);
    EXPECT_GE(writer, 0);
    ::close(writer);
}

}  // namespace
}  // namespace corvanta
