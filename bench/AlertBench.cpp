// SPDX-License-Identifier: Apache-2.0
// What the alerts cost against bare calls that do the least of the same, in CPU time of this process, and
// what memory a check for the unusual leaves behind.
//   corvanta_alert_bench [ROUNDS]
// The two sides take turns in one run. Ends with 1 when a row is over its mark, and with 3 when it can't
// measure.
#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "BenchStore.h"
#include "Report.h"
#include "alerts/rules/AnomalyDetector.h"
#include "alerts/rules/NotificationGate.h"
#include "platform/linux/FreedMemory.h"
#include "reports/StatusSummaryEngine.h"

namespace {

using corvanta::AnomalyDetector;

constexpr std::size_t weekRows = 60'480;

/// Seven days of a machine at work, a row every ten seconds.
void fillWeek(BenchStore& store) {
    store.run(
        "WITH RECURSIVE n(i) AS (SELECT 60479 UNION ALL SELECT i - 1 FROM n WHERE i > 0) "
        "INSERT INTO metrics_history (timestamp, cpu_usage, ram_usage, disk_free, upload_speed, "
        "download_speed, memory_pressure, thermal_state, battery_percentage, is_charging, top_cpu_process, "
        "top_cpu_usage, top_ram_process, top_ram_bytes) "
        "SELECT unixepoch() - i * 10, abs(random() % 100000) / 1e3, abs(random() % 100000) / 1e3, 8e10 + "
        "i / 7.0, abs(random() % 2000) / 7.0, abs(random() % 20000) / 7.0, abs(random() % 100000) / 1e3, "
        "'Nominal', 80, 1, 'the web content of a long name', abs(random() % 1800) / 7.0, 'browser', "
        "4000000000 + i FROM n;");
}

/// The values of a column over a period, by SQLite alone.
std::vector<double> bareValues(BenchStore& store, const std::string& column, std::int64_t lastSeconds) {
    const std::string sql =
        "SELECT " + column + " FROM metrics_history WHERE timestamp >= ? ORDER BY timestamp ASC;";
    std::vector<double> values;
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(store.bare(), sql.c_str(), -1, &statement, nullptr);
    sqlite3_bind_int64(statement, 1, corvanta::storedSeconds(store.clock().now()) - lastSeconds);
    while (sqlite3_step(statement) == SQLITE_ROW) {
        if (sqlite3_column_type(statement, 0) != SQLITE_NULL)
            values.push_back(sqlite3_column_double(statement, 0));
    }
    sqlite3_finalize(statement);
    return values;
}

const std::array<std::string, 2> metrics = {"cpu_usage", "memory_pressure"};

double bareWeek(BenchStore& store) {
    double sum = 0;
    for (const std::string& metric : metrics) {
        std::vector<double> values = bareValues(store, metric, AnomalyDetector::baselineWindowSeconds);
        const double centre = median(values);
        for (double& value : values) value = std::abs(value - centre);
        sum += median(values);
    }
    return sum;
}

double bareQuarter(BenchStore& store) {
    double sum = 0;
    for (const std::string& metric : metrics) {
        std::vector<double> values = bareValues(store, metric, AnomalyDetector::recentWindowSeconds);
        sum += median(values);
    }
    return sum;
}

void compareChecks(Report& report, BenchStore& store) {
    const auto keep = [](double figure) { sink = sink + static_cast<std::size_t>(figure); };
    report.compare(
        "first check, the very same statements", times(1.5),
        [&] { keep(bareWeek(store) + bareQuarter(store)); },
        [&] { sink = sink + AnomalyDetector(store.database(), store.clock()).check().size(); });
    AnomalyDetector detector(store.database(), store.clock());
    report.compare(
        "next check, the very same statements", times(1.5), [&] { keep(bareQuarter(store)); },
        [&] { sink = sink + detector.check().size(); });
}

/// Ends the program when a check doesn't see the week that the rows are about.
void requireWholeWeek(BenchStore& store) {
    const auto baseline =
        AnomalyDetector(store.database(), store.clock()).assess(corvanta::AnomalyMetric::cpu).baseline;
    const std::size_t count = baseline ? baseline->sampleCount : 0;
    if (count + 100 >= weekRows && count <= weekRows + 100) return;
    std::fprintf(stderr, "A check sees %zu rows instead of %zu.\n", count, weekRows);
    std::exit(3);
}

/// KiB that this process alone holds and has written.
long privateDirty() {
    std::ifstream rollup("/proc/self/smaps_rollup");
    const std::string name = "Private_Dirty:";
    for (std::string word; rollup >> word;) {
        long size = 0;
        if (word == name && rollup >> size && size > 0) return size;
    }
    std::fputs("The private dirty memory of this process can't be read.\n", stderr);
    std::exit(3);
}

/// Whether checks, each on a thread of its own as in the program, leave little behind: the first what every
/// later one finds, the later ones next to nothing.
bool leavesLittleBehind(BenchStore& store) {
    constexpr long mostOfTheFirst = 400;
    constexpr long mostOfTenMore = 64;
    const auto check = [&store] {
        sink = sink + AnomalyDetector(store.database(), store.clock()).check().size();
    };
    const long atFirst = privateDirty();
    std::thread(check).join();
    const long before = privateDirty();
    long peak = before;
    for (int i = 0; i < 10; ++i) {
        std::atomic<bool> isDone = false;
        std::thread worker([&] {
            check();
            isDone = true;
        });
        while (!isDone) peak = std::max(peak, privateDirty());
        worker.join();
    }
    const long ofTheFirst = before - atFirst;
    const long ofTenMore = privateDirty() - before;
    std::printf("private dirty memory in KiB: %ld at first; a check leaves %ld, at most %ld;\n", atFirst,
                ofTheFirst, mostOfTheFirst);
    std::printf("ten more take up to %ld and leave %ld, at most %ld\n", peak - before, ofTenMore,
                mostOfTenMore);
    return ofTheFirst <= mostOfTheFirst && ofTenMore <= mostOfTenMore;
}

void compareGate(Report& report) {
    constexpr std::size_t count = 10'000;
    std::vector<std::string> keys;
    for (std::size_t i = 0; i < count; ++i) keys.push_back("the key of an alert " + std::to_string(i));
    const corvanta::Instant now = corvanta::instantFromSeconds(1.8e9);
    report.compare(
        "reserve, 10,000 keys", microseconds(1.0 * count),
        [&] {
            std::unordered_map<std::string, corvanta::Instant> times;
            for (const std::string& key : keys) sink = sink + times.emplace(key, now).second;
        },
        [&] {
            corvanta::NotificationGate gate;
            for (const std::string& key : keys) sink = sink + gate.reserve(key, 30, now);
        });
}

void compareSummary(Report& report) {
    constexpr int count = 1000;
    corvanta::ProcessDetail busiest;
    busiest.name = "the web content of a long name";
    busiest.cpuUsage = 180;
    corvanta::StatusFigures figures;
    figures.cpuUsage = 97;
    figures.topCPU = busiest;
    report.compare(
        "summarize, 1,000 times", microseconds(5.0 * count),
        [&] {
            std::array<char, 200> buffer{};
            for (int i = 0; i < count; ++i) {
                std::snprintf(buffer.data(), buffer.size(), "%s is using %.0f%% CPU, keeping it busy.",
                              busiest.name.c_str(), busiest.cpuUsage);
                sink = sink + std::string(buffer.data()).size();
            }
        },
        [&] {
            for (int i = 0; i < count; ++i)
                sink = sink + corvanta::StatusSummaryEngine::summarize(figures, i).size();
        });
}

}  // namespace

int main(int argc, char** argv) {
    corvanta::returnLargeBlocksAtOnce();  // as the program does
    const int rounds = roundsOf(argc, argv, 50);
    BenchStore store;
    fillWeek(store);
    const bool isMemoryGood = leavesLittleBehind(store);
    requireWholeWeek(store);

    Report report(rounds);
    compareChecks(report, store);
    compareGate(report);
    compareSummary(report);
    return report.isGood() && isMemoryGood ? 0 : 1;
}
