// SPDX-License-Identifier: Apache-2.0
#include "monitoring/collectors/DiskMonitor.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

#include "support/FakeNetDisk.h"
#include "support/FakePlatform.h"

namespace corvanta {
namespace {

using Reports = std::vector<DriveReport>;
using Verdict = DiskMonitor::DriveVerdict;

constexpr auto deadline = std::chrono::seconds(20);

class DiskMonitorTest : public testing::Test {
  protected:
    DiskMonitorTest() { capacities.capacity = {.available = 40, .total = 100}; }

    void makeMonitor() { monitor = std::make_unique<DiskMonitor>(capacities, drives, threadSetup); }

    /// Waits until the monitor shows the verdict.
    bool awaitVerdict(const Verdict& verdict) const {
        const auto end = std::chrono::steady_clock::now() + deadline;
        while (Verdict{monitor->smartStatus(), monitor->diskModel()} != verdict) {
            if (std::chrono::steady_clock::now() > end) return false;
            std::this_thread::yield();
        }
        return true;
    }

    test::FakeVolumeCapacitySource capacities;
    test::FakeDriveHealthSource drives;
    test::FakeThreadSetup threadSetup;
    std::unique_ptr<DiskMonitor> monitor;
};

TEST_F(DiskMonitorTest, givesTheAvailableAndTheTotalBytes) {
    makeMonitor();
    EXPECT_EQ(monitor->getDiskUsage(0), (DiskUsage{.free = 40, .total = 100}));
}

TEST_F(DiskMonitorTest, freeForImportantUsageGoesBeforePlainlyAvailable) {
    capacities.capacity = {.availableForImportantUsage = 70, .available = 40, .total = 100};
    makeMonitor();
    EXPECT_EQ(monitor->getDiskUsage(0), (DiskUsage{.free = 70, .total = 100}));
    capacities.capacity = {.availableForImportantUsage = 60, .total = 100};
    EXPECT_EQ(monitor->getDiskUsage(5), (DiskUsage{.free = 60, .total = 100}));
    capacities.capacity = {.availableForImportantUsage = 0, .available = 40, .total = 100};
    EXPECT_EQ(monitor->getDiskUsage(10), (DiskUsage{.free = 0, .total = 100}));
}

TEST_F(DiskMonitorTest, readsTheVolumeOnceInFiveSeconds) {
    makeMonitor();
    monitor->getDiskUsage(100);
    capacities.capacity = {.available = 30, .total = 100};
    EXPECT_EQ(monitor->getDiskUsage(100), (DiskUsage{.free = 40, .total = 100}));
    EXPECT_EQ(monitor->getDiskUsage(104.999), (DiskUsage{.free = 40, .total = 100}));
    EXPECT_EQ(capacities.readings, 1);
    EXPECT_EQ(monitor->getDiskUsage(105), (DiskUsage{.free = 30, .total = 100}));
    EXPECT_EQ(capacities.readings, 2);
}

TEST_F(DiskMonitorTest, anUptimeThatWentBackReadsAtOnce) {
    makeMonitor();
    monitor->getDiskUsage(100);
    monitor->getDiskUsage(99);
    EXPECT_EQ(capacities.readings, 2);
}

TEST_F(DiskMonitorTest, afterInvalidatingTheNextCallReadsAndTheOneAfterDoesNot) {
    makeMonitor();
    monitor->getDiskUsage(100);
    monitor->invalidateUsageCache();
    capacities.capacity = {.available = 30, .total = 100};
    EXPECT_EQ(monitor->getDiskUsage(101), (DiskUsage{.free = 30, .total = 100}));
    EXPECT_EQ(capacities.readings, 2);
    monitor->getDiskUsage(105.9);
    EXPECT_EQ(capacities.readings, 2);
    monitor->getDiskUsage(106);
    EXPECT_EQ(capacities.readings, 3);
}

TEST_F(DiskMonitorTest, aFailedReadingGivesTheLastGoodOneAndHoldsTheGate) {
    makeMonitor();
    monitor->getDiskUsage(100);
    capacities.capacity = {};
    EXPECT_EQ(monitor->getDiskUsage(105), (DiskUsage{.free = 40, .total = 100}));
    EXPECT_EQ(monitor->getDiskUsage(106), (DiskUsage{.free = 40, .total = 100}));
    EXPECT_EQ(capacities.readings, 2);
}

TEST_F(DiskMonitorTest, invalidatingKeepsTheValueForAFailedReading) {
    makeMonitor();
    monitor->getDiskUsage(100);
    monitor->invalidateUsageCache();
    capacities.capacity = {};
    EXPECT_EQ(monitor->getDiskUsage(101), (DiskUsage{.free = 40, .total = 100}));
    EXPECT_EQ(capacities.readings, 2);
}

TEST_F(DiskMonitorTest, withoutAGoodReadingTheResultIsZeroAndEachCallReads) {
    capacities.capacity = {};
    makeMonitor();
    EXPECT_EQ(monitor->getDiskUsage(100), (DiskUsage{}));
    EXPECT_EQ(monitor->getDiskUsage(100.1), (DiskUsage{}));
    EXPECT_EQ(capacities.readings, 2);
    capacities.capacity = {.available = 40, .total = 100};
    EXPECT_EQ(monitor->getDiskUsage(100.2), (DiskUsage{.free = 40, .total = 100}));
    EXPECT_EQ(monitor->getDiskUsage(100.3), (DiskUsage{.free = 40, .total = 100}));
    EXPECT_EQ(capacities.readings, 3);
}

TEST_F(DiskMonitorTest, halfAReadingIsAFailedOne) {
    makeMonitor();
    monitor->getDiskUsage(0);
    for (const VolumeCapacity& half : std::vector<VolumeCapacity>{
             {.total = 200}, {.available = 1}, {.availableForImportantUsage = 1}, {}}) {
        capacities.capacity = half;
        monitor->invalidateUsageCache();
        EXPECT_EQ(monitor->getDiskUsage(0), (DiskUsage{.free = 40, .total = 100}));
    }
    EXPECT_EQ(capacities.readings, 5);
}

TEST_F(DiskMonitorTest, invalidatingMayOverlapWithReading) {
    makeMonitor();
    std::thread invalidating([&] {
        for (int i = 0; i < 1000; ++i) monitor->invalidateUsageCache();
    });
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(monitor->getDiskUsage(i), (DiskUsage{.free = 40, .total = 100}));
    }
    invalidating.join();
}

TEST_F(DiskMonitorTest, asksTheDrivesOnceFromCreationOnAThreadOfTheirOwn) {
    drives.setReports(Reports{{"Fast Disk 1", "Verified"}});
    makeMonitor();
    ASSERT_TRUE(awaitVerdict({SMARTStatus::verified, "Fast Disk 1"}));
    for (int i = 0; i < 10; ++i) monitor->getDiskUsage(100.0 * i);
    EXPECT_EQ(drives.limits(), (std::vector<std::chrono::seconds>{std::chrono::seconds(15)}));
    EXPECT_EQ(threadSetup.labels(), (std::vector<std::string>{"com.corvanta.diskmonitor.smart"}));
}

TEST_F(DiskMonitorTest, whileTheDrivesAreAskedNothingWaits) {
    drives.hold();
    makeMonitor();
    ASSERT_TRUE(drives.awaitReadings(1));
    EXPECT_EQ(monitor->getDiskUsage(0), (DiskUsage{.free = 40, .total = 100}));
    EXPECT_EQ(monitor->smartStatus(), SMARTStatus::unknown);
    EXPECT_EQ(monitor->diskModel(), "Unknown");
}

TEST_F(DiskMonitorTest, aQueryInProgressIsNotJoinedByAnother) {
    drives.hold();
    makeMonitor();
    ASSERT_TRUE(drives.awaitReadings(1));
    monitor->refreshSMARTStatus();
    monitor->refreshSMARTStatus();
    drives.setReports(Reports{{"First", "Verified"}});
    drives.release();
    ASSERT_TRUE(awaitVerdict({SMARTStatus::verified, "First"}));
    drives.setReports(Reports{{"Second", "Failing"}});
    EXPECT_EQ(drives.limits().size(), 1U);
    // The verdict and the end of the query become visible together.
    monitor->refreshSMARTStatus();
    ASSERT_TRUE(awaitVerdict({SMARTStatus::failing, "Second"}));
    EXPECT_EQ(drives.limits().size(), 2U);
}

TEST_F(DiskMonitorTest, aQueryWithoutAResultKeepsWhatIsKnownAndEnds) {
    drives.setReports(Reports{{"First", "Verified"}});
    makeMonitor();
    ASSERT_TRUE(awaitVerdict({SMARTStatus::verified, "First"}));
    drives.setReports(std::nullopt);
    monitor->refreshSMARTStatus();
    ASSERT_TRUE(drives.awaitReadings(2));
    // A third one gets through as soon as the second has ended.
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (drives.limits().size() < 3 && std::chrono::steady_clock::now() < end) {
        monitor->refreshSMARTStatus();
        std::this_thread::yield();
    }
    EXPECT_GE(drives.limits().size(), 3U);
    EXPECT_EQ(monitor->smartStatus(), SMARTStatus::verified);
    EXPECT_EQ(monitor->diskModel(), "First");
}

TEST_F(DiskMonitorTest, anEmptyListOfDrivesIsAResult) {
    drives.setReports(Reports{{"First", "Verified"}});
    makeMonitor();
    ASSERT_TRUE(awaitVerdict({SMARTStatus::verified, "First"}));
    drives.setReports(Reports{});
    monitor->refreshSMARTStatus();
    EXPECT_TRUE(awaitVerdict({SMARTStatus::unknown, "Unknown"}));
}

TEST_F(DiskMonitorTest, aMachineWhoseDrivesDoNotTellStaysUnknown) {
    DriveHealthSource silent;
    EXPECT_EQ(silent.readDrives(DiskMonitor::driveHealthLimit, {}), std::nullopt);
    const DiskMonitor quiet(capacities, silent, threadSetup);
    EXPECT_EQ(quiet.smartStatus(), SMARTStatus::unknown);
    EXPECT_EQ(quiet.diskModel(), "Unknown");
}

TEST_F(DiskMonitorTest, theEndCallsAQueryOff) {
    drives.hold();
    makeMonitor();
    ASSERT_TRUE(drives.awaitReadings(1));
    EXPECT_EQ(drives.calledOff(), 0U);
    monitor.reset();
    EXPECT_TRUE(drives.awaitCalledOff(1));
}

TEST(DriveVerdict, followsTheWords) {
    struct Row {
        const char* text;
        SMARTStatus status;
    };
    for (const Row& row : std::vector<Row>{
             {"Verified", SMARTStatus::verified},
             {"verified", SMARTStatus::verified},
             {"VERIFIED", SMARTStatus::verified},
             {"PASSED", SMARTStatus::verified},
             {"self-test passed.", SMARTStatus::verified},
             {"Failing", SMARTStatus::failing},
             {"FAILED!", SMARTStatus::failing},
             {"has failed", SMARTStatus::failing},
             {"passed, but failing soon", SMARTStatus::verified},
             {"failed, then verified", SMARTStatus::verified},
             {"", SMARTStatus::unknown},
             {"Not Supported", SMARTStatus::unknown},
             {"fail", SMARTStatus::unknown},
             {"failure", SMARTStatus::unknown},
             {"pass", SMARTStatus::unknown},
             {"verify", SMARTStatus::unknown},
             {"OK", SMARTStatus::unknown},
         }) {
        EXPECT_EQ(DiskMonitor::verdictOf({{"Disk", row.text}}), (Verdict{row.status, "Disk"})) << row.text;
    }
}

TEST(DriveVerdict, anUnknownWordLeavesTheStatusAndFillsTheModel) {
    EXPECT_EQ(DiskMonitor::verdictOf({{"Disk", "Not Supported"}}), (Verdict{SMARTStatus::unknown, "Disk"}));
    EXPECT_EQ(DiskMonitor::verdictOf({{"A", "Failing"}, {"B", "Not Supported"}}),
              (Verdict{SMARTStatus::failing, "B"}));
}

TEST(DriveVerdict, theLastDriveWithEachKeyDecides) {
    EXPECT_EQ(DiskMonitor::verdictOf({{"A", "Failing"}, {"B", "Verified"}}),
              (Verdict{SMARTStatus::verified, "B"}));
    EXPECT_EQ(DiskMonitor::verdictOf({{"A", "Verified"}, {"B", "Failing"}}),
              (Verdict{SMARTStatus::failing, "B"}));
    EXPECT_EQ(DiskMonitor::verdictOf({{"A", "Verified"}, {"B", std::nullopt}}),
              (Verdict{SMARTStatus::verified, "B"}));
    EXPECT_EQ(DiskMonitor::verdictOf({{"A", "Verified"}, {std::nullopt, "Failing"}}),
              (Verdict{SMARTStatus::failing, "A"}));
    EXPECT_EQ(DiskMonitor::verdictOf({{"A", "Verified"}, {"", std::nullopt}}),
              (Verdict{SMARTStatus::verified, ""}));
    EXPECT_EQ(DiskMonitor::verdictOf({{std::nullopt, std::nullopt}}), Verdict{});
    EXPECT_EQ(DiskMonitor::verdictOf({}), Verdict{});
}

}  // namespace
}  // namespace corvanta
