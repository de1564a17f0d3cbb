// SPDX-License-Identifier: Apache-2.0
// What the incidents cost against the bare loops over the same values, in CPU time of this process.
//   corvanta_incident_bench [ROUNDS]
// The two sides take turns in one run. Ends with 1 when a row is over its mark.
#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "Timing.h"
#include "incidents/IncidentTimelineViewModel.h"
#include "incidents/rules/IncidentHistoryGrouper.h"

namespace {

namespace fs = std::filesystem;
using corvanta::IncidentHistoryGroup;
using corvanta::PerformanceIncident;

constexpr int incidentCount = 500;
constexpr double aMillisecond = 1000;

volatile std::size_t sink = 0;  // keeps the results alive

/// Prints one row a comparison, and remembers whether each kept below its mark.
class Report {
  public:
    explicit Report(int rounds) : rounds_(rounds) {
        std::printf("%d rounds; medians of CPU time\n%-40s %12s %12s %8s %12s\n", rounds, "", "bare", "ours",
                    "ratio", "at most");
    }

    /// The mark is for our side, in microseconds.
    template <class Bare, class Ours>
    void compare(const char* name, double mark, Bare bare, Ours ours) {
        std::vector<double> bareTimes;
        std::vector<double> ourTimes;
        bare();
        ours();
        for (int round = 0; round < rounds_; ++round) {
            // Whichever comes first finds colder caches.
            if (round % 2 == 0) bareTimes.push_back(cpuMicroseconds(bare));
            ourTimes.push_back(cpuMicroseconds(ours));
            if (round % 2 != 0) bareTimes.push_back(cpuMicroseconds(bare));
        }
        const double bareTime = median(bareTimes);
        const double ourTime = median(ourTimes);
        std::printf("%-40s %9.1f us %9.1f us %8.2f %9.0f us\n", name, bareTime, ourTime, ourTime / bareTime,
                    mark);
        if (ourTime > mark) isGood_ = false;
    }

    bool isGood() const { return isGood_; }

  private:
    const int rounds_;
    bool isGood_ = true;
};

/// A store in a folder of its own, with as many incidents as a timeline shows: five a day, told with a few
/// programs.
class IncidentStore {
  public:
    IncidentStore() {
        fs::create_directory(folder_);
        for (int i = 0; i < incidentCount; ++i) add(i);
    }
    ~IncidentStore() { fs::remove_all(folder_); }
    IncidentStore(const IncidentStore&) = delete;
    IncidentStore& operator=(const IncidentStore&) = delete;

    corvanta::DatabaseManager& database() { return database_; }
    const corvanta::Clock& clock() const { return clock_; }

  private:
    void add(int number) {
        static const std::vector<std::string> names = {
            "browser", "compiler", "the web content of a long name", "indexer", "kworker/u8:2"};
        const auto& name = names[random_() % names.size()];
        const auto at = [start = clock_.now() - std::chrono::duration<double>(number * 17000.0)](
                            double seconds) { return start + std::chrono::duration<double>(seconds); };
        corvanta::SnapshotValues sample;
        sample.cpu = 97;
        sample.topCPUProcess = name;
        sample.topCPUUsage = 180;
        sample.topRAMProcess = names[0];
        sample.topRAMBytes = 4'000'000'000;
        sample.timestamp = at(10);
        database_.insertSnapshot(sample);
        const auto kind = corvanta::allIncidentKinds[random_() % corvanta::allIncidentKinds.size()];
        const auto id = database_.createIncident({at(0), kind, corvanta::IncidentSeverity::warning}, at(60));
        if (id) database_.endIncident(*id, at(120));
    }

    const fs::path folder_ =
        fs::temp_directory_path() / ("corvanta-bench-" + std::to_string(std::random_device{}()));
    const corvanta::SystemClock clock_{};
    std::mt19937 random_{42};
    corvanta::DatabaseManager database_{(folder_ / "incidents.sqlite").string(), clock_};
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
        report.compare((std::string("historyGroups, search \"") + search + "\"").c_str(), 2 * aMillisecond,
                       [&] { sink = sink + countNamed(search, incidents); },
                       [&] { sink = sink + timeline.historyGroups().size(); });
    }
}

}  // namespace

int main(int argc, char** argv) {
    int rounds = 200;
    if (argc > 1) {
        const std::string_view text = argv[1];
        std::from_chars(text.data(), text.data() + text.size(), rounds);
    }
    if (rounds < 1) {
        std::fprintf(stderr, "usage: corvanta_incident_bench [ROUNDS]\n");
        return 2;
    }
    IncidentStore store;
    corvanta::IncidentTimelineViewModel timeline(store.database(), store.clock());
    timeline.setTimeRange(corvanta::IncidentTimeRangeFilter::all);

    Report report(rounds);
    compareGrouping(report, timeline.incidents());
    compareSearches(report, timeline);
    return report.isGood() ? 0 : 1;
}
