// SPDX-License-Identifier: Apache-2.0
// What the incidents cost against the bare loops over the same values, in CPU time of this process.
//   corvanta_incident_bench [ROUNDS]
// The two sides take turns in one run. Ends with 1 when a row is over its mark.
#include <sqlite3.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "BenchStore.h"
#include "Report.h"
#include "incidents/IncidentTimelineViewModel.h"
#include "incidents/model/IncidentStateMachine.h"
#include "incidents/rules/IncidentHistoryGrouper.h"
#include "incidents/rules/IncidentNarrativeBuilder.h"

namespace {

using corvanta::IncidentHistoryGroup;
using corvanta::PerformanceIncident;

constexpr int incidentCount = 500;

constexpr Mark aMillisecond = microseconds(1000);

/// A store with as many incidents as a timeline shows: five a day, told with a few programs.
class IncidentStore : public BenchStore {
  public:
    IncidentStore() {
        for (int i = 0; i < incidentCount; ++i) add(i);
    }

    void addSample(corvanta::Instant time, double cpu, const std::string& name) {
        corvanta::SnapshotValues sample;
        sample.cpu = cpu;
        sample.thermalState = "Nominal";
        sample.topCPUProcess = name;
        sample.topCPUUsage = 180;
        sample.topRAMProcess = "browser";
        sample.topRAMBytes = 4'000'000'000;
        sample.timestamp = time;
        database().insertSnapshot(sample);
    }

  private:
    void add(int number) {
        static const std::vector<std::string> names = {
            "browser", "compiler", "the web content of a long name", "indexer", "kworker/u8:2"};
        const auto& name = names[random_() % names.size()];
        const auto at = [start = clock().now() - std::chrono::duration<double>(number * 17000.0)](
                            double seconds) { return start + std::chrono::duration<double>(seconds); };
        addSample(at(10), 97, name);
        const auto kind = corvanta::allIncidentKinds[random_() % corvanta::allIncidentKinds.size()];
        const auto id = database().createIncident({at(0), kind, corvanta::IncidentSeverity::warning}, at(60));
        if (id) database().endIncident(*id, at(120));
    }

    std::mt19937 random_{42};
};

/// The least that any grouping does: it copies every incident into some group, and the first of each once
/// more.
std::size_t copyInto(std::size_t groupSize, const std::vector<PerformanceIncident>& incidents) {
    std::vector<IncidentHistoryGroup> groups;
    for (std::size_t i = 0; i < incidents.size(); ++i) {
        if (i % groupSize == 0) groups.push_back({incidents[i], {}});
        groups.back().incidents.push_back(incidents[i]);
    }
    return groups.size();
}

/// The least that any search does: it looks at the names.
std::size_t countNamed(std::string_view name, const std::vector<PerformanceIncident>& incidents) {
    return static_cast<std::size_t>(
        std::count_if(incidents.begin(), incidents.end(), [&](const auto& incident) {
            return incident.topCPUProcess.value_or("").find(name) != std::string::npos ||
                   incident.topRAMProcess.value_or("").find(name) != std::string::npos;
        }));
}

void compareGrouping(Report& report, std::vector<PerformanceIncident> incidents) {
    const auto grouped = corvanta::IncidentHistoryGrouper::group(incidents);
    report.compare(
        "group, as incidents come", aMillisecond,
        [&] { sink = sink + copyInto(incidents.size() / grouped.size(), incidents); },
        [&] { sink = sink + corvanta::IncidentHistoryGrouper::group(incidents).size(); });
    std::shuffle(incidents.begin(), incidents.end(), std::mt19937{42});
    for (std::size_t i = 0; i < incidents.size(); ++i) {
        incidents[i].topCPUProcess = "a process with a name of its own: " + std::to_string(i);
        incidents[i].topRAMProcess = incidents[i].topCPUProcess;
    }
    report.compare(
        "group, each alone and in no order", aMillisecond, [&] { sink = sink + copyInto(1, incidents); },
        [&] { sink = sink + corvanta::IncidentHistoryGrouper::group(incidents).size(); });
}

void compareSearches(Report& report, corvanta::IncidentTimelineViewModel& timeline) {
    const auto& incidents = timeline.incidents();
    for (const char* const search : {"", "compiler", "browser", "in none of them"}) {
        timeline.setSearchText(search);
        report.compare(
            std::string("historyGroups, search \"") + search + "\"", microseconds(2000),
            [&] { sink = sink + countNamed(search, incidents); },
            [&] { sink = sink + timeline.historyGroups().size(); });
    }
}

/// A busy processor in every other minute, a sample every two seconds.
std::vector<corvanta::IncidentObservation> observations(int count) {
    std::vector<corvanta::IncidentObservation> stream(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        auto& observation = stream[static_cast<std::size_t>(i)];
        observation.timestamp = corvanta::instantFromSeconds(1.8e9 + 2 * i);
        observation.systemUptime = 2 * i;
        observation.cpuUsage = i / 45 % 2 == 0 ? 97 : 12;
        observation.memoryPressureState = corvanta::MemoryPressureLevel::normal;
        observation.thermalState = i % 70 == 0 ? "Serious" : "Nominal";
        observation.topCPUProcess = "the web content of a long name";
    }
    return stream;
}

void compareIngest(Report& report) {
    constexpr int count = 10'000;
    const auto stream = observations(count);
    report.compare(
        "ingest, 10,000 samples", microseconds(0.2 * count),
        [&] {
            sink = sink + static_cast<std::size_t>(
                              std::count_if(stream.begin(), stream.end(), [](const auto& observation) {
                                  return observation.cpuUsage >= 85 || observation.thermalState == "Serious";
                              }));
        },
        [&] {
            corvanta::IncidentStateMachine machine;
            for (const auto& observation : stream) sink = sink + machine.ingest(observation).index();
        });
}

void compareBuild(Report& report, PerformanceIncident incident) {
    std::vector<corvanta::IncidentTimelineSample> samples(200);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i].timestamp =
            incident.startedAt + std::chrono::duration<double>(10.0 * static_cast<double>(i) - 300);
        samples[i].cpuUsage = i < 30 ? 12 : 97;
        samples[i].batteryPercentage = 90 - static_cast<std::int64_t>(i / 20);
        samples[i].thermalState = "Nominal";
        samples[i].downloadSpeed = 2e6;
    }
    incident.endedAt = samples.back().timestamp;
    incident.peakNetworkBytesPerSecond = 9e6;
    const auto now = samples.back().timestamp;
    report.compare(
        "build, 200 samples", microseconds(50),
        [&] {
            double total = 0;
            for (const auto& sample : samples) total += sample.cpuUsage;
            sink = sink + static_cast<std::size_t>(total);
        },
        [&] {
            sink = sink + corvanta::IncidentNarrativeBuilder::build(incident, samples, now).overview.size();
        });
}

/// The statements, with their values, that some work on a store has SQLite run.
template <class Work>
std::string statementsOf(const std::string& path, const corvanta::Clock& clock, Work work) {
    static std::string statements;
    const auto note = [](unsigned, void*, void* statement, void*) {
        char* const text = sqlite3_expanded_sql(static_cast<sqlite3_stmt*>(statement));
        statements += text;
        sqlite3_free(text);
        return 0;
    };
    const auto attach = [](sqlite3* db, char**, const void*) {
        return sqlite3_trace_v2(db, SQLITE_TRACE_STMT, +decltype(note){}, nullptr);
    };
    void (*const hook)() = reinterpret_cast<void (*)()>(+attach);
    sqlite3_auto_extension(hook);
    corvanta::DatabaseManager traced(path, clock);
    sqlite3_cancel_auto_extension(hook);
    statements.clear();
    work(traced);
    return statements;
}

/// An open incident over the last hour of a history with a row every ten seconds.
void compareStatements(Report& report, IncidentStore& store) {
    const auto now = store.clock().now();
    const auto before = [&](double seconds) { return now - std::chrono::duration<double>(seconds); };
    for (int age = 3600; age >= 0; age -= 10) store.addSample(before(age), 97, "compiler");
    using State = corvanta::ActiveIncidentState;
    const State minuteOld{before(60), corvanta::IncidentKind::cpu, corvanta::IncidentSeverity::warning};
    const State hourOld{before(3600), corvanta::IncidentKind::cpu, corvanta::IncidentSeverity::warning};

    const std::string creation = statementsOf(
        store.path(), store.clock(), [&](auto& database) { database.createIncident(minuteOld, now); });
    corvanta::DatabaseManager& database = store.database();
    const auto id = database.createIncident(hourOld, now).value_or(0);
    const std::string reopening =
        "UPDATE performance_incidents SET ended_at = NULL WHERE id = " + std::to_string(id);
    const std::string end = statementsOf(store.path(), store.clock(), [&](auto& traced) {
        store.run(reopening);  // the start of the other store has ended it
        traced.endIncident(id, now);
    });
    report.compare(
        "createIncident, a minute old", aMillisecond, [&] { store.run(creation); },
        [&] { database.createIncident(minuteOld, now); });
    report.compare(
        "endIncident, an hour old", times(1.3), [&] { store.run(reopening); }, [&] { store.run(end); },
        [&] { database.endIncident(id, now); });
}

}  // namespace

int main(int argc, char** argv) {
    const int rounds = roundsOf(argc, argv, 200);
    IncidentStore store;
    corvanta::IncidentTimelineViewModel timeline(store.database(), store.clock());
    timeline.setTimeRange(corvanta::IncidentTimeRangeFilter::all);

    Report report(rounds);
    compareGrouping(report, timeline.incidents());
    compareSearches(report, timeline);
    compareIngest(report);
    compareBuild(report, timeline.incidents().front());
    compareStatements(report, store);
    return report.isGood() ? 0 : 1;
}
