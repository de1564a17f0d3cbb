// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/MemInfo.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "core/MemoryPressureLevel.h"
#include "platform/linux/LinuxMemorySource.h"
#include "support/FakePlatform.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

using test::TempDirectory;

std::uint64_t gib(double value) {
    return static_cast<std::uint64_t>(std::llround(value * 1024 * 1024 * 1024));
}

// A machine as its owner would describe it, in GiB.
struct Machine {
    double total, free, available, anonymous, reclaimable;
    double diskSwap = 0, diskSwapUsed = 0;
    double zramSwap = 0, zramUsed = 0, zramHeld = 0;  // size, swapped, memory that it takes
};

LinuxMemory memoryOf(const Machine& m) {
    LinuxMemory memory;
    memory.info.memTotal = gib(m.total);
    memory.info.memFree = gib(m.free);
    memory.info.memAvailable = gib(m.available);
    memory.info.activeAnon = gib(m.anonymous);
    memory.info.inactiveAnon = 0;
    memory.info.kReclaimable = gib(m.reclaimable);
    if (m.diskSwap > 0) memory.diskSwaps = {{"/dev/sda2", gib(m.diskSwap), gib(m.diskSwapUsed)}};
    if (m.zramSwap > 0) {
        memory.zram = {{{gib(m.zramUsed), 0, gib(m.zramHeld)},
                        SwapArea{"/dev/zram0", gib(m.zramSwap), gib(m.zramUsed)}}};
    }
    return memory;
}

double estimate(const VirtualMemoryCounters& c, double total) {
    return static_cast<double>(c.wired + c.compressed) / static_cast<double>(gib(total)) * 100;
}

TEST(MemoryDerivation, agreesWithTheWorkedExamples) {
    struct Example {
        const char* name;
        Machine machine;
        double active, wired, compressed, estimate;
        MemoryPressureLevel level;
    };
    using L = MemoryPressureLevel;
    const std::vector<Example> examples = {
        {"idle laptop with a swap file", {15.5, 6, 11.6, 2.8, .5, 2, 0}, 2.35, 1.55, 0, 10.0, L::normal},
        {"no swap, 90 % anonymous", {15.5, .25, .75, 13.95, .2}, .67, 14.08, 0, 90.8, L::critical},
        {"zram loaded", {15.5, .6, 1.6, 11.5, .3, 0, 0, 8, 3.2, 1.07}, 4.05, 8.78, 1.07, 63.5, L::warning},
        {"zram nearly full",
         {15.5, .35, .7, 11.2, .3, 0, 0, 8, 7, 2.33},
         1.14,
         11.33,
         2.33,
         88.1,
         L::critical},
        {"no swap, half used", {7.7, 1.5, 3.85, 3.2, .3}, 1.60, 2.25, 0, 29.2, L::normal},
        {"disk swap half used", {15.5, .3, .45, 14, .3, 16, 8}, 4.29, 10.76, 0, 69.4, L::warning},
    };
    for (const Example& example : examples) {
        const auto counters = deriveMemoryCounters(memoryOf(example.machine));
        ASSERT_TRUE(counters) << example.name;
        const double unit = static_cast<double>(gib(1));
        EXPECT_NEAR(static_cast<double>(counters->active) / unit, example.active, .006) << example.name;
        EXPECT_NEAR(static_cast<double>(counters->wired) / unit, example.wired, .006) << example.name;
        EXPECT_NEAR(static_cast<double>(counters->compressed) / unit, example.compressed, .006)
            << example.name;
        const double percent = estimate(*counters, example.machine.total);
        EXPECT_NEAR(percent, example.estimate, .051) << example.name;
        EXPECT_EQ(memoryPressureLevelFromEstimate(percent), example.level) << example.name;
    }
}

TEST(MemoryDerivation, aZramDeviceThatHoldsLittleCompressesToAThirdByAssumption) {
    LinuxMemory memory = memoryOf({8, 1, 2, 5, .2});
    memory.zram = {{{1 << 20, 1 << 19, 1 << 20}, SwapArea{"/dev/zram0", gib(3), 0}}};
    const auto counters = deriveMemoryCounters(memory);
    // Anonymous 5, of which the swap takes 3 * (1 - 1/3) = 2 quickly; kernel 6 - 5 - C; weight 6/8.
    EXPECT_NEAR(static_cast<double>(counters->wired), static_cast<double>(gib(1 + 3 * .75)), 2e6);
}

TEST(MemoryDerivation, theCompressedPoolInFrontOfASwapDiskCounts) {
    LinuxMemory memory = memoryOf({8, 1, 2, 3, .2});
    memory.info.zswap = gib(1);
    EXPECT_EQ(deriveMemoryCounters(memory)->compressed, gib(1));
    memory.info.zswap = gib(100);
    EXPECT_EQ(deriveMemoryCounters(memory)->compressed, gib(6));  // never more than is used
}

TEST(MemoryDerivation, theZfsCacheCountsAsAvailableDownToItsMinimum) {
    LinuxMemory memory = memoryOf({16, 1, 2, 4, .2});
    const auto without = deriveMemoryCounters(memory);
    memory.arc = ArcUsage{gib(7), gib(1)};
    const auto with = deriveMemoryCounters(memory);
    EXPECT_EQ(with->external - without->external, gib(6));
    EXPECT_LT(with->wired, without->wired);
    memory.arc = ArcUsage{gib(1), gib(7)};
    EXPECT_EQ(deriveMemoryCounters(memory), without);
}

TEST(MemoryDerivation, aMissingFigureIsNoReading) {
    for (auto member : {&MemInfo::memTotal, &MemInfo::memFree, &MemInfo::memAvailable, &MemInfo::activeAnon,
                        &MemInfo::inactiveAnon}) {
        LinuxMemory memory = memoryOf({8, 1, 2, 3, .2});
        memory.info.*member = std::nullopt;
        EXPECT_EQ(deriveMemoryCounters(memory), std::nullopt);
    }
}

RC_GTEST_PROP(MemoryDerivationProperty, theSharesAddUpToAllMemory, ()) {
    const auto figure = [] { return *rc::gen::inRange<std::uint64_t>(0, std::uint64_t{1} << 42); };
    LinuxMemory memory;
    memory.info.memTotal = figure();
    memory.info.memFree = figure();
    memory.info.memAvailable = figure();
    memory.info.activeAnon = figure();
    memory.info.inactiveAnon = figure();
    memory.info.kReclaimable = figure();
    memory.info.zswap = figure();
    memory.diskSwaps = {{"/dev/sda2", figure(), figure()}};
    memory.zram = {{{figure(), figure(), figure()}, SwapArea{"/dev/zram0", figure(), figure()}}};
    const auto c = deriveMemoryCounters(memory);
    RC_ASSERT(c.has_value());
    const std::uint64_t available = std::min(*memory.info.memAvailable, *memory.info.memTotal);
    RC_ASSERT(c->free + c->external + c->purgeable == available);
    RC_ASSERT(c->active + c->wired + c->compressed == *memory.info.memTotal - available);
}

TEST(MemInfo, readsACapturedFile) {
    const MemInfo info = parseMemInfo(test::readFile(CORVANTA_FIXTURES "/proc/meminfo-idle-vm"));
    EXPECT_GT(info.memTotal.value_or(0), gib(1));
    EXPECT_GT(info.memTotal, info.memAvailable);
    EXPECT_TRUE(info.memFree && info.activeAnon && info.inactiveAnon && info.kReclaimable &&
                info.sReclaimable);
    EXPECT_EQ(info.swapTotal, 0U);
    EXPECT_EQ(info.swapFree, 0U);
}

TEST(MemInfo, linesMayComeInAnyOrderAndForeignOnesAreLeftOut) {
    const MemInfo info = parseMemInfo(
        "Zswap:  1 kB\nSwapFree: 2 kB\nMemTotal:       3 kB\nMemTotalX: 9 kB\n: 7\n\n  \nMemFree 5 kB\n"
        "HugePages_Total:       0\nActive(anon):\t4 kB\n");
    MemInfo expected;
    expected.zswap = 1024;
    expected.swapFree = 2048;
    expected.memTotal = 3072;
    expected.activeAnon = 4096;
    EXPECT_EQ(info, expected);
}

TEST(MemInfo, whatIsNoNumberIsAbsent) {
    EXPECT_EQ(parseMemInfo("MemTotal: x kB\nMemFree: -1 kB\nMemAvailable:\nSwapTotal: 1.5 kB\n"), MemInfo{});
    EXPECT_EQ(parseMemInfo("MemTotal: 99999999999999999999999 kB\nMemFree: 18446744073709551615 kB\n"),
              MemInfo{});
}

TEST(MemInfo, aLineCutShortDoesNotCount) {
    EXPECT_EQ(parseMemInfo("MemTotal: 123456"), MemInfo{});
    EXPECT_EQ(parseMemInfo(""), MemInfo{});
}

TEST(Swaps, readsAreasAfterTheTitles) {
    EXPECT_EQ(parseSwaps("Filename\t\t\t\tType\t\tSize\t\tUsed\t\tPriority\n"
                         "/dev/zram0                              partition\t1048576\t\t262144\t\t100\n"
                         "/swap\\040file\tfile\t2048\t0\t-2\nbroken\n/dev/x partition a b 1\n/dev/cut part"),
              (std::vector<SwapArea>{{"/dev/zram0", gib(1), gib(.25)}, {"/swap\\040file", 2 << 20, 0}}));
    EXPECT_TRUE(parseSwaps("").empty());
}

TEST(Zram, readsTheFirstThreeFigures) {
    EXPECT_EQ(
        parseZramUsage("  262144000 58000000 59957248        0 59957248     12        0        0        0\n"),
        (ZramUsage{262144000, 58000000, 59957248}));
    EXPECT_EQ(parseZramUsage("1 2\n"), std::nullopt);
    EXPECT_EQ(parseZramUsage("1 2 3"), std::nullopt);
    EXPECT_EQ(parseZramUsage("a b c\n"), std::nullopt);
}

TEST(ArcStats, readsSizeAndMinimum) {
    const auto arc =
        parseArcStats("13 1 0x01 123 33456 8 9\nname  type data\nc_min 4 100\nc_max 4 900\nsize 4 500\n");
    ASSERT_TRUE(arc);
    EXPECT_EQ(arc->size, 500U);
    EXPECT_EQ(arc->minimum, 100U);
    EXPECT_FALSE(parseArcStats("size 4 500\n"));
}

class MemoryFiles : public testing::Test {
  protected:
    TempDirectory& files() { return root_; }
    static constexpr std::string_view usual =
        "MemTotal: 8388608 kB\nMemFree: 1048576 kB\nMemAvailable: 2097152 kB\nActive(anon): 3145728 kB\n"
        "Inactive(anon): 0 kB\nKReclaimable: 1024 kB\nSwapTotal: 2097152 kB\nSwapFree: 1572864 kB\n";

  private:
    TempDirectory root_;

  protected:
    std::string proc = root_.file("proc");
    std::string sys = root_.file("sys");
};

TEST_F(MemoryFiles, swapOnAZramDeviceIsRecognised) {
    files().write("proc/meminfo", usual);
    files().write("proc/swaps",
                  "Filename Type Size Used Priority\n/dev/zram0 partition 2097152 524288 100\n");
    files().write("sys/block/zram0/mm_stat", "536870912 100 134217728 0 0 0 0 0 0\n");
    files().write("sys/block/sda/size", "1\n");
    const MemoryReading reading = LinuxMemorySource(proc, sys).readMemory();
    EXPECT_EQ(reading.physicalMemory, gib(8));
    EXPECT_EQ(reading.swapUsed, gib(.5));
    ASSERT_TRUE(reading.counters);
    EXPECT_EQ(reading.counters->compressed, gib(.125));

    // Without its figures the same swap counts as a disk's.
    files().write("sys/block/zram0/mm_stat", "");
    EXPECT_EQ(LinuxMemorySource(proc, sys).readMemory().counters->compressed, 0U);
}

TEST_F(MemoryFiles, aZramDeviceThatIsNoSwapStillTakesMemory) {
    files().write("proc/meminfo", usual);
    files().write("sys/block/zram1/mm_stat", "536870912 100 134217728 0 0 0 0 0 0\n");
    EXPECT_EQ(LinuxMemorySource(proc, sys).readMemory().counters->compressed, gib(.125));
}

TEST_F(MemoryFiles, aZramDeviceThatAppearsLaterIsFound) {
    files().write("proc/meminfo", usual);
    LinuxMemorySource source(proc, sys);
    EXPECT_EQ(source.readMemory().counters->compressed, 0U);
    files().write("sys/block/zram0/mm_stat", "536870912 100 134217728 0 0 0 0 0 0\n");
    for (int i = 0; i < 29; ++i) source.readMemory();
    EXPECT_EQ(source.readMemory().counters->compressed, gib(.125));
}

TEST_F(MemoryFiles, whatTheZfsCacheCanGiveBackIsAvailable) {
    files().write("proc/meminfo", usual);
    const auto without = LinuxMemorySource(proc, sys).readMemory().counters;
    files().write("proc/spl/kstat/zfs/arcstats", "size 4 2147483648\nc_min 4 1073741824\n");
    const auto with = LinuxMemorySource(proc, sys).readMemory().counters;
    ASSERT_TRUE(with && without);
    EXPECT_EQ(with->external - without->external, gib(1));
}

TEST_F(MemoryFiles, withoutMeminfoOnlyThePhysicalMemoryIsKnown) {
    const MemoryReading reading = LinuxMemorySource(proc, sys).readMemory();
    EXPECT_EQ(reading.counters, std::nullopt);
    EXPECT_EQ(reading.swapUsed, 0U);
    EXPECT_GT(reading.physicalMemory, gib(.25));
}

TEST_F(MemoryFiles, anOldKernelWithoutMemAvailableKeepsSwapAndTotal) {
    files().write("proc/meminfo", "MemTotal: 1024 kB\nMemFree: 512 kB\nSwapTotal: 100 kB\nSwapFree: 40 kB\n");
    const MemoryReading reading = LinuxMemorySource(proc, sys).readMemory();
    EXPECT_EQ(reading.counters, std::nullopt);
    EXPECT_EQ(reading.swapUsed, 60U * 1024);
    EXPECT_EQ(reading.physicalMemory, 1024U * 1024);
}

TEST_F(MemoryFiles, garbageIsAFailedReading) {
    files().write("proc/meminfo", std::string(100'000, '\xff'));
    EXPECT_EQ(LinuxMemorySource(proc, sys).readMemory().counters, std::nullopt);
    files().write("proc/meminfo", std::string(usual.substr(0, usual.size() / 3)));
    EXPECT_EQ(LinuxMemorySource(proc, sys).readMemory().counters, std::nullopt);
}

// One contract for every memory source: what is told apart must fit into the whole.
class MemoryCounterSourceContract : public testing::TestWithParam<bool> {};

TEST_P(MemoryCounterSourceContract, theSharesFitIntoThePhysicalMemory) {
    std::unique_ptr<MemoryCounterSource> source;
    if (GetParam()) {
        source = std::make_unique<LinuxMemorySource>("/proc", "/sys");
    } else {
        auto fake = std::make_unique<test::FakeMemoryCounterSource>();
        fake->reading = {VirtualMemoryCounters{1, 2, 3, 4, 5, 6}, 7, 21};
        source = std::move(fake);
    }
    for (int i = 0; i < 3; ++i) {
        const MemoryReading reading = source->readMemory();
        ASSERT_TRUE(reading.counters);
        const VirtualMemoryCounters& c = *reading.counters;
        EXPECT_EQ(c.free + c.active + c.wired + c.purgeable + c.compressed + c.external,
                  reading.physicalMemory);
        EXPECT_GT(reading.physicalMemory, 0U);
    }
}

INSTANTIATE_TEST_SUITE_P(All, MemoryCounterSourceContract, testing::Values(false, true),
                         [](const auto& param) { return param.param ? "Linux" : "Fake"; });

}  // namespace
}  // namespace corvanta
