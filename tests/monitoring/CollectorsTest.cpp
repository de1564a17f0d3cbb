// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <limits>
#include <thread>
#include <vector>

#include "monitoring/collectors/CPUMonitor.h"
#include "monitoring/collectors/RAMMonitor.h"
#include "monitoring/collectors/SystemMemoryPressureMonitor.h"
#include "support/FakePlatform.h"

namespace corvanta {
namespace {

using test::FakeCpuTickSource;
using test::FakeMemoryCounterSource;
using test::FakeMemoryPressureEventSource;

constexpr std::uint64_t gib = std::uint64_t{1} << 30;

std::vector<CpuTicks> oneCpu(std::uint64_t user, std::uint64_t system, std::uint64_t idle,
                             std::uint64_t nice) {
    return {{0, user, system, idle, nice}};
}

TEST(CPUMonitor, theFirstSampleIsZeroAndTheSecondReal) {
    FakeCpuTickSource source;
    source.queue = {oneCpu(500, 100, 1000, 0), oneCpu(530, 110, 1050, 10)};
    CPUMonitor monitor(source);
    EXPECT_EQ(monitor.getCPUUsage(), 0.0);
    EXPECT_DOUBLE_EQ(monitor.getCPUUsage(), 50.0);  // user 30, system 10, nice 10 of 100
}

TEST(CPUMonitor, noTicksOnAnyProcessorGiveZero) {
    FakeCpuTickSource source;
    source.queue = {oneCpu(5, 5, 5, 5), oneCpu(5, 5, 5, 5)};
    CPUMonitor monitor(source);
    monitor.getCPUUsage();
    EXPECT_EQ(monitor.getCPUUsage(), 0.0);
}

TEST(CPUMonitor, averagesOverTheTicksOfAllProcessors) {
    FakeCpuTickSource source;
    source.queue = {std::vector<CpuTicks>{{0, 0, 0, 0, 0}, {1, 0, 0, 0, 0}},
                    std::vector<CpuTicks>{{0, 100, 0, 0, 0}, {1, 0, 0, 300, 0}}};
    CPUMonitor monitor(source);
    monitor.getCPUUsage();
    EXPECT_DOUBLE_EQ(monitor.getCPUUsage(), 25.0);
}

TEST(CPUMonitor, aProcessorThatStoodStillDoesNotCount) {
    FakeCpuTickSource source;
    source.queue = {std::vector<CpuTicks>{{0, 0, 0, 0, 0}, {1, 7, 7, 7, 7}},
                    std::vector<CpuTicks>{{0, 40, 0, 60, 0}, {1, 7, 7, 7, 7}}};
    CPUMonitor monitor(source);
    monitor.getCPUUsage();
    EXPECT_DOUBLE_EQ(monitor.getCPUUsage(), 40.0);
}

TEST(CPUMonitor, aProcessorThatGoesOffLineOrComesBackIsLeftOutOfThatSample) {
    FakeCpuTickSource source;
    source.queue = {std::vector<CpuTicks>{{0, 0, 0, 0, 0}, {1, 900, 0, 900, 0}, {2, 0, 0, 0, 0}},
                    std::vector<CpuTicks>{{0, 10, 0, 90, 0}, {2, 30, 0, 70, 0}},
                    std::vector<CpuTicks>{{0, 20, 0, 180, 0}, {1, 5000, 0, 900, 0}, {2, 60, 0, 140, 0}},
                    std::vector<CpuTicks>{{0, 30, 0, 270, 0}, {1, 5100, 0, 900, 0}, {2, 90, 0, 210, 0}}};
    CPUMonitor monitor(source);
    monitor.getCPUUsage();
    EXPECT_DOUBLE_EQ(monitor.getCPUUsage(), 20.0);       // 40 of 200
    EXPECT_DOUBLE_EQ(monitor.getCPUUsage(), 20.0);       // processor 1 has no earlier sample
    EXPECT_DOUBLE_EQ(monitor.getCPUUsage(), 140.0 / 3);  // and now counts: 140 of 300
}

TEST(CPUMonitor, aCounterThatFellCountsAsUnmoved) {
    FakeCpuTickSource source;
    source.queue = {oneCpu(100, 100, 1000, 0), oneCpu(150, 90, 1050, 0)};
    CPUMonitor monitor(source);
    monitor.getCPUUsage();
    EXPECT_DOUBLE_EQ(monitor.getCPUUsage(), 50.0);
}

TEST(CPUMonitor, aFailedReadingKeepsTheBaseline) {
    FakeCpuTickSource source;
    source.queue = {oneCpu(0, 0, 0, 0), std::nullopt, std::vector<CpuTicks>{}, oneCpu(75, 0, 25, 0)};
    CPUMonitor monitor(source);
    monitor.getCPUUsage();
    EXPECT_EQ(monitor.getCPUUsage(), 0.0);
    EXPECT_EQ(monitor.getCPUUsage(), 0.0);
    EXPECT_DOUBLE_EQ(monitor.getCPUUsage(), 75.0);
}

TEST(CPUMonitor, absurdCountersStayInsideTheRange) {
    FakeCpuTickSource source;
    constexpr auto most = std::numeric_limits<std::uint64_t>::max();
    source.queue = {oneCpu(0, 0, 0, 0), oneCpu(most, most, most, most)};
    CPUMonitor monitor(source);
    monitor.getCPUUsage();
    EXPECT_DOUBLE_EQ(monitor.getCPUUsage(), 75.0);
}

TEST(CPUMonitor, severalThreadsMaySample) {
    FakeCpuTickSource source;
    for (std::uint64_t i = 0; i < 400; ++i) source.queue.emplace_back(oneCpu(i, 0, i, 0));
    CPUMonitor monitor(source);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int j = 0; j < 100; ++j) {
                const double usage = monitor.getCPUUsage();
                EXPECT_TRUE(usage == 0 || usage == 50) << usage;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}

MemoryReading reading(std::uint64_t total, VirtualMemoryCounters counters) {
    return {.counters = counters, .swapUsed = 3 * gib, .physicalMemory = total};
}

TEST(RAMMonitor, sumsWhatTheCountersSay) {
    FakeMemoryCounterSource source;
    source.reading = reading(16 * gib, {.free = 2 * gib,
                                        .active = 5 * gib,
                                        .wired = 3 * gib,
                                        .purgeable = 1 * gib,
                                        .compressed = 1 * gib,
                                        .external = 4 * gib});
    const RAMDetails details = RAMMonitor(source).getRAMUsage();
    EXPECT_EQ(details.available, 7.0 * gib);
    EXPECT_EQ(details.active, 5.0 * gib);
    EXPECT_EQ(details.wired, 3.0 * gib);
    EXPECT_EQ(details.compressed, 1.0 * gib);
    EXPECT_EQ(details.swap, 3.0 * gib);
    EXPECT_EQ(details.total, 16.0 * gib);
    EXPECT_DOUBLE_EQ(details.estimatedPressurePercentage, 25.0);
    EXPECT_EQ(details.estimatedPressureLevel, MemoryPressureLevel::normal);
}

TEST(RAMMonitor, ninetyPercentWiredAndCompressedIsCriticalHoweverMuchIsFree) {
    FakeMemoryCounterSource source;
    source.reading = reading(10 * gib, {.free = 9 * gib, .wired = 6 * gib, .compressed = 3 * gib});
    const RAMDetails details = RAMMonitor(source).getRAMUsage();
    EXPECT_DOUBLE_EQ(details.estimatedPressurePercentage, 90.0);
    EXPECT_EQ(details.estimatedPressureLevel, MemoryPressureLevel::critical);
}

TEST(RAMMonitor, exactlyHalfIsAWarning) {
    FakeMemoryCounterSource source;
    source.reading = reading(10 * gib, {.wired = 4 * gib, .compressed = 1 * gib});
    EXPECT_EQ(RAMMonitor(source).getRAMUsage().estimatedPressureLevel, MemoryPressureLevel::warning);
    source.reading = reading(10 * gib, {.wired = 4 * gib, .compressed = 1 * gib - 1});
    EXPECT_EQ(RAMMonitor(source).getRAMUsage().estimatedPressureLevel, MemoryPressureLevel::normal);
}

TEST(RAMMonitor, theEstimateNeverExceedsAHundred) {
    FakeMemoryCounterSource source;
    source.reading = reading(4 * gib, {.wired = 4 * gib, .compressed = 3 * gib});
    EXPECT_EQ(RAMMonitor(source).getRAMUsage().estimatedPressurePercentage, 100.0);
}

TEST(RAMMonitor, anUnknownTotalGivesAnEstimateOfZero) {
    FakeMemoryCounterSource source;
    source.reading = reading(0, {.wired = 4 * gib});
    const RAMDetails details = RAMMonitor(source).getRAMUsage();
    EXPECT_EQ(details.estimatedPressurePercentage, 0.0);
    EXPECT_EQ(details.estimatedPressureLevel, MemoryPressureLevel::normal);
}

TEST(RAMMonitor, countersThatCannotBeReadLeaveSwapAndTotal) {
    FakeMemoryCounterSource source;
    source.reading = {.counters = std::nullopt, .swapUsed = gib, .physicalMemory = 8 * gib};
    RAMDetails expected;
    expected.swap = static_cast<double>(gib);
    expected.total = 8.0 * gib;
    expected.estimatedPressureLevel = MemoryPressureLevel::unavailable;
    EXPECT_EQ(RAMMonitor(source).getRAMUsage(), expected);
}

TEST(SystemMemoryPressureMonitor, takesTheWorstEventOfASet) {
    using Events = MemoryPressureEvents;
    const auto level = SystemMemoryPressureMonitor::level;
    EXPECT_EQ(level(Events::normal), MemoryPressureLevel::normal);
    EXPECT_EQ(level(Events::warning), MemoryPressureLevel::warning);
    EXPECT_EQ(level(Events::critical), MemoryPressureLevel::critical);
    EXPECT_EQ(level(Events::warning | Events::critical), MemoryPressureLevel::critical);
    EXPECT_EQ(level(Events::normal | Events::warning), MemoryPressureLevel::warning);
    EXPECT_EQ(level(Events::normal | Events::critical), MemoryPressureLevel::critical);
    EXPECT_EQ(level(Events::none), MemoryPressureLevel::unavailable);
    EXPECT_EQ(level(static_cast<Events>(8)), MemoryPressureLevel::unavailable);
}

TEST(SystemMemoryPressureMonitor, nothingIsKnownBeforeTheFirstEvent) {
    FakeMemoryPressureEventSource source;
    const SystemMemoryPressureMonitor monitor(source);
    EXPECT_EQ(monitor.currentLevel(), MemoryPressureLevel::unavailable);
    EXPECT_EQ(source.label, "com.corvanta.memory-pressure");
}

TEST(SystemMemoryPressureMonitor, keepsTheLastLevelAnnounced) {
    FakeMemoryPressureEventSource source;
    const SystemMemoryPressureMonitor monitor(source);
    for (const auto& [event, level] : std::vector<std::pair<MemoryPressureEvents, MemoryPressureLevel>>{
             {MemoryPressureEvents::warning, MemoryPressureLevel::warning},
             {MemoryPressureEvents::critical, MemoryPressureLevel::critical},
             {MemoryPressureEvents::normal, MemoryPressureLevel::normal}}) {
        source.subscribers.fire(event);
        EXPECT_EQ(monitor.currentLevel(), level);
    }
}

TEST(SystemMemoryPressureMonitor, aSetWithoutAKnownBitChangesNothing) {
    FakeMemoryPressureEventSource source;
    const SystemMemoryPressureMonitor monitor(source);
    source.subscribers.fire(MemoryPressureEvents::warning);
    source.subscribers.fire(MemoryPressureEvents::none);
    source.subscribers.fire(static_cast<MemoryPressureEvents>(16));
    EXPECT_EQ(monitor.currentLevel(), MemoryPressureLevel::warning);
}

TEST(SystemMemoryPressureMonitor, endsItsSubscription) {
    FakeMemoryPressureEventSource source;
    {
        const SystemMemoryPressureMonitor monitor(source);
        EXPECT_EQ(source.subscribers.size(), 1U);
    }
    EXPECT_EQ(source.subscribers.size(), 0U);
}

}  // namespace
}  // namespace corvanta
