// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "storage/DatabaseManager.h"
#include "storage/StoreTestSupport.h"
#include "support/CapturedLog.h"
#include "support/FakePlatform.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

using test::sampleAt;
using test::storeNow;

/// An incident from its start to its end.
void useIncidents(DatabaseManager& store) {
    const Instant now = instantFromSeconds(storeNow);
    const auto id = store.createIncident({now, IncidentKind::cpu, IncidentSeverity::warning}, now);
    ASSERT_TRUE(id.has_value());
    store.updateIncidentEvidence(*id, {});
    store.updateIncidentClassification(*id, IncidentKind::combined, IncidentSeverity::critical);
    store.setIncidentRecoveryStarted(*id, now);
    store.setIncidentsDismissed({*id}, true, now);
    store.endIncident(*id, now);
    const auto incidents = store.fetchIncidents();
    ASSERT_FALSE(incidents.empty());
    EXPECT_GE(store.fetchIncidentTimeline(incidents[0]).size(), 1u);
}

TEST(StoreThreads, everyOperationCanBeCalledFromAnyThread) {
    constexpr int threads = 4;
    constexpr int rounds = 40;
    const test::TempDirectory folder;
    test::FakeClock clock;
    const test::CapturedLog log;
    DatabaseManager store(folder.file("history.sqlite"), clock);
    std::vector<std::thread> callers;
    for (int thread = 0; thread < threads; ++thread) {
        callers.emplace_back([&store] {
            for (int round = 0; round < rounds; ++round) {
                store.insertSnapshot(sampleAt(storeNow, 80, 90));
                EXPECT_GE(store.fetchHistory().size(), 1u);
                EXPECT_GE(store.fetchMetricValues("cpu_usage", 60).size(), 1u);
                EXPECT_EQ(store.averageCPU(60), 80.0);
                EXPECT_GE(store.weeklyStats(60).value_or(WeeklyStats{}).sampleCount, 1);
                EXPECT_EQ(store.detectTrends().size(), 2u);
                useIncidents(store);
                EXPECT_EQ(store.exportSessionCSV(1), "No data");
                store.pruneOldRecords();
            }
        });
    }
    for (std::thread& caller : callers) caller.join();
    EXPECT_EQ(store.fetchHistory().size(), static_cast<std::size_t>(threads * rounds));
    const auto incidents = store.fetchIncidents(500);
    EXPECT_EQ(incidents.size(), static_cast<std::size_t>(threads * rounds));
    for (const PerformanceIncident& incident : incidents) {
        EXPECT_TRUE(incident.isDismissed() && incident.hasConfirmedRecovery());
    }
    EXPECT_TRUE(log.lines().empty());
}

TEST(StoreThreads, onlyOneThreadAtATimeStartsASession) {
    constexpr int threads = 4;
    constexpr int rounds = 40;
    const test::TempDirectory folder;
    test::FakeClock clock;
    DatabaseManager store(folder.file("history.sqlite"), clock);
    std::atomic<std::size_t> started = 0;
    std::vector<std::thread> callers;
    for (int thread = 0; thread < threads; ++thread) {
        callers.emplace_back([&store, &started] {
            for (int round = 0; round < rounds; ++round) {
                const auto id = store.startSession("one of many");
                store.insertSessionSample({});
                EXPECT_EQ(store.sessionElapsedString(), "00:00");
                EXPECT_EQ(store.activeSessionName().value_or("one of many"), "one of many");
                if (!id) continue;
                ++started;
                EXPECT_EQ(store.activeSessionId(), id);
                EXPECT_NE(store.exportSessionCSV(*id), "No data");
                store.stopSession();
            }
        });
    }
    for (std::thread& caller : callers) caller.join();
    EXPECT_FALSE(store.isRecording());
    const auto sessions = store.allSessions();
    EXPECT_EQ(sessions.size(), started);
    for (const RecordingSession& session : sessions) EXPECT_TRUE(session.endedAt) << session.id;
}

TEST(StoreThreads, twoStoresOnOneFileLoseNothing) {
    constexpr int rounds = 60;
    const test::TempDirectory folder;
    test::FakeClock clock;
    const test::CapturedLog log;
    DatabaseManager first(folder.file("history.sqlite"), clock);
    DatabaseManager second(folder.file("history.sqlite"), clock);
    const auto writeTo = [](DatabaseManager& store) {
        for (int round = 0; round < rounds; ++round) store.insertSnapshot(sampleAt(storeNow));
    };
    std::thread other(writeTo, std::ref(second));
    writeTo(first);
    other.join();
    EXPECT_EQ(first.fetchHistory().size(), static_cast<std::size_t>(2 * rounds));
    EXPECT_TRUE(log.lines().empty());
}

}  // namespace
}  // namespace corvanta
