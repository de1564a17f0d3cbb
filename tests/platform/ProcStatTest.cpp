// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/ProcStat.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/FakePlatform.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

using Ticks = std::vector<CpuTicks>;
using test::TempDirectory;

Ticks parsed(std::string_view text) {
    Ticks ticks;
    parseProcStat(text, ticks);
    return ticks;
}

constexpr std::string_view tail = "intr 1 2 3\nctxt 5\nbtime 6\n";

TEST(ProcStat, mapsTheFieldsToFourCounters) {
    // user nice system idle iowait irq softirq steal guest guest_nice
    EXPECT_EQ(parsed("cpu  1 2 3 4 5 6 7 8 9 10\ncpu0 1 2 3 4 5 6 7 8 9 10\nintr 1\n"),
              (Ticks{{.cpu = 0, .user = 1, .system = 3 + 6 + 7 + 8, .idle = 4 + 5, .nice = 2}}));
}

TEST(ProcStat, readsACapturedFile) {
    const std::string text = test::readFile(CORVANTA_FIXTURES "/proc/stat-two-processors");
    Ticks ticks;
    EXPECT_TRUE(parseProcStat(text, ticks));
    ASSERT_EQ(ticks.size(), 2U);
    EXPECT_EQ(ticks[0].cpu, 0U);
    EXPECT_EQ(ticks[1].cpu, 1U);
    EXPECT_GT(ticks[0].idle, 0U);
}

TEST(ProcStat, oldKernelsHaveFewerFields) {
    EXPECT_EQ(parsed("cpu0 10 20 30 40\nintr 1\n"), (Ticks{{0, 10, 30, 40, 20}}));
}

TEST(ProcStat, numbersCanHaveHoles) {
    EXPECT_EQ(parsed("cpu0 1 0 0 1\ncpu3 2 0 0 2\ncpu17 3 0 0 3\nintr 1\n"),
              (Ticks{{0, 1, 0, 1, 0}, {3, 2, 0, 2, 0}, {17, 3, 0, 3, 0}}));
}

TEST(ProcStat, leavesOutWhatIsNoProcessorLine) {
    for (const std::string_view line :
         {"cpu1 1 2 3\n", "cpu1\n", "cpu1 1 2 x 4\n", "cpu1 1 2 -3 4\n", "cpuX 1 2 3 4\n", "cpu1x 1 2 3 4\n",
          "cpu1 99999999999999999999999 2 3 4\n", "cpu-1 1 2 3 4\n", "cpu0 1 2 3 4\n",
          "cpu4294967296 1 2 3 4\n"}) {
        EXPECT_EQ(parsed(std::string("cpu0 5 5 5 5\n").append(line).append(tail)), (Ticks{{0, 5, 5, 5, 5}}))
            << line;
    }
}

TEST(ProcStat, aLineCutShortDoesNotCount) {
    EXPECT_EQ(parsed("cpu0 5 5 5 5\ncpu1 1 2 3 4567"), (Ticks{{0, 5, 5, 5, 5}}));
    EXPECT_EQ(parsed("cpu0 5 5 5"), Ticks{});
    EXPECT_EQ(parsed(""), Ticks{});
    EXPECT_EQ(parsed(std::string_view("\0\0\0\n", 4)), Ticks{});
}

class ProcStatFile : public testing::Test {
  protected:
    TempDirectory root;
    Ticks ticks = {{9, 9, 9, 9, 9}};
};

TEST_F(ProcStatFile, aMissingEmptyOrForeignFileIsAFailedReading) {
    ProcStatTickSource source(root.path().string());
    EXPECT_FALSE(source.readTicks(ticks));
    EXPECT_TRUE(ticks.empty());
    root.write("stat", "");
    EXPECT_FALSE(source.readTicks(ticks));
    root.write("stat",
               "\x7f"
               "ELF garbage\n\n\n");
    EXPECT_FALSE(source.readTicks(ticks));
    root.write("stat", "cpu  1 2 3 4\nintr 5\n");
    EXPECT_FALSE(source.readTicks(ticks));
    root.write("stat", "cpu  1 2 3 4\ncpu0 1 2 3 4\nintr 5\n");
    EXPECT_TRUE(source.readTicks(ticks));
    EXPECT_EQ(ticks, (Ticks{{0, 1, 3, 4, 2}}));
}

TEST_F(ProcStatFile, aDirectoryInItsPlaceIsAFailedReading) {
    std::filesystem::create_directory(root.path() / "stat");
    ProcStatTickSource source(root.path().string());
    EXPECT_FALSE(source.readTicks(ticks));
}

TEST_F(ProcStatFile, aFileThatEndsWithinTheProcessorLinesIsAFailedReading) {
    ProcStatTickSource source(root.path().string());
    for (const std::string_view text :
         {"cpu  2 4 6 8\ncpu0 1 2 3 4\n", "cpu  2 4 6 8\ncpu0 1 2 3 4\ncpu1 1 2"}) {
        root.write("stat", text);
        EXPECT_FALSE(source.readTicks(ticks)) << text;
        EXPECT_TRUE(ticks.empty());
    }
}

TEST_F(ProcStatFile, moreProcessorsThanThisMachineHasAreAllRead) {
    std::string text = "cpu  1 2 3 4\n";
    for (int cpu = 0; cpu < 2000; ++cpu) {
        text += "cpu" + std::to_string(cpu) + " 111111111 222222222 333333333 444444444 5 6 7 8 0 0\n";
    }
    root.write("stat", text.append(tail));
    ProcStatTickSource source(root.path().string());
    ASSERT_TRUE(source.readTicks(ticks));
    EXPECT_EQ(ticks.size(), 2000U);
    EXPECT_EQ(ticks.back().cpu, 1999U);
}

// One contract for every tick source: entries by rising number, counters that never fall, failure told apart.
class CpuTickSourceContract : public testing::TestWithParam<bool> {
  protected:
    CpuTickSourceContract() {
        if (GetParam()) {
            source = std::make_unique<ProcStatTickSource>("/proc");
        } else {
            auto fake = std::make_unique<test::FakeCpuTickSource>();
            fake->queue = {Ticks{{0, 1, 1, 1, 1}, {2, 1, 1, 1, 1}}, Ticks{{0, 2, 1, 5, 1}, {2, 1, 1, 9, 1}}};
            source = std::move(fake);
        }
    }
    std::unique_ptr<CpuTickSource> source;
};

TEST_P(CpuTickSourceContract, entriesComeByRisingNumberAndCountersNeverFall) {
    Ticks before = {{77, 1, 1, 1, 1}};
    ASSERT_TRUE(source->readTicks(before));
    ASSERT_FALSE(before.empty());
    EXPECT_NE(before[0].cpu, 77U);
    Ticks after;
    ASSERT_TRUE(source->readTicks(after));
    ASSERT_EQ(after.size(), before.size());
    for (std::size_t i = 0; i < after.size(); ++i) {
        EXPECT_EQ(after[i].cpu, before[i].cpu);
        if (i > 0) {
            EXPECT_GT(after[i].cpu, after[i - 1].cpu);
        }
        EXPECT_GE(after[i].user, before[i].user);
        EXPECT_GE(after[i].system, before[i].system);
        EXPECT_GE(after[i].nice, before[i].nice);
    }
}

INSTANTIATE_TEST_SUITE_P(All, CpuTickSourceContract, testing::Values(false, true),
                         [](const auto& param) { return param.param ? "Linux" : "Fake"; });

}  // namespace
}  // namespace corvanta
