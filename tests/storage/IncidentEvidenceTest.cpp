// SPDX-License-Identifier: Apache-2.0
// The evidence that the store computes, against the same computed row by row.
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <random>
#include <set>

#include "storage/DatabaseManager.h"
#include "storage/StoreTestSupport.h"
#include "support/FakePlatform.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

using test::Sql;

/// A row of history; what it lacks is NULL.
struct HistoryRow {
    std::int64_t timestamp = 0;
    std::optional<int> cpu, pressure, upload, download, battery, topCPU;
    int level = 0;
    std::optional<std::string> thermal, cpuName, ramName;
    std::optional<std::int64_t> ramBytes;
};

class RandomHistory {
  public:
    explicit RandomHistory(std::uint32_t seed) : random_(seed) {}

    std::int64_t below(std::int64_t limit) {
        return std::uniform_int_distribution<std::int64_t>(0, limit - 1)(random_);
    }

    HistoryRow row() {
        constexpr std::array levels = {0, 1, 2, 4};
        HistoryRow row;
        row.timestamp = 1'000 + below(120);
        row.cpu = figure(101);
        row.pressure = figure(101);
        row.upload = signedFigure();
        row.download = signedFigure();
        row.battery = figure(101);
        row.topCPU = figure(5);  // so that ties are frequent
        row.level = levels[static_cast<std::size_t>(below(4))];
        row.thermal = word({"Nominal", "Fair", "fAIR", "Serious", "CRITICAL", "Critical", "Unknown", ""});
        row.cpuName = word({"a", "b", "", "it's"});
        row.ramName = word({"x", "y", "", "\"z\""});
        if (below(5) != 0) row.ramBytes = below(4) * 1'000'000'000;
        return row;
    }

  private:
    std::optional<int> figure(std::int64_t limit) {
        if (below(5) == 0) return std::nullopt;
        return static_cast<int>(below(limit));
    }
    std::optional<int> signedFigure() {
        const auto value = figure(2'000);
        return value ? std::optional(*value - 1'000) : std::nullopt;
    }
    std::optional<std::string> word(const std::vector<std::string>& words) {
        if (below(5) == 0) return std::nullopt;
        return words[static_cast<std::size_t>(below(static_cast<std::int64_t>(words.size())))];
    }

    std::mt19937 random_;
};

template <class Value>
std::string sqlNumber(const std::optional<Value>& value) {
    return value ? std::to_string(*value) : "NULL";
}

std::string sqlText(const std::optional<std::string>& text) {
    if (!text) return "NULL";
    std::string quoted = "'";
    for (const char c : *text) quoted += c == '\'' ? std::string("''") : std::string(1, c);
    return quoted + "'";
}

std::string insertion(const HistoryRow& row) {
    std::string sql =
        "INSERT INTO metrics_history (timestamp, cpu_usage, memory_pressure, upload_speed, download_speed, "
        "battery_percentage, top_cpu_usage, memory_pressure_state, thermal_state, top_cpu_process, "
        "top_ram_process, top_ram_bytes) VALUES (" +
        std::to_string(row.timestamp);
    for (const auto& figure : {row.cpu, row.pressure, row.upload, row.download, row.battery, row.topCPU}) {
        sql += ", " + sqlNumber(figure);
    }
    sql += ", " + std::to_string(row.level);
    for (const auto& text : {row.thermal, row.cpuName, row.ramName}) sql += ", " + sqlText(text);
    return sql + ", " + sqlNumber(row.ramBytes) + ");";
}

int thermalRankOf(const std::string& word) {
    std::string lower;
    for (const char c : word) lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return lower == "critical" ? 3 : lower == "serious" ? 2 : lower == "fair" ? 1 : 0;
}

/// The names of the rows that have the highest figure among those with a name.
template <class Value>
std::set<std::optional<std::string>> namesAtTop(const std::vector<HistoryRow>& rows,
                                                std::optional<std::string> HistoryRow::*name,
                                                std::optional<Value> HistoryRow::*figure) {
    std::set<std::optional<std::string>> names;
    std::optional<std::optional<Value>> highest;
    for (const HistoryRow& row : rows) {
        if (!(row.*name) || (row.*name)->empty()) continue;
        if (!highest || row.*figure > *highest) {
            highest = row.*figure;
            names.clear();
        }
        if (row.*figure == *highest) names.insert(row.*name);
    }
    if (names.empty()) names.insert(std::nullopt);
    return names;
}

void expectEvidenceOf(const std::vector<HistoryRow>& rows, const PerformanceIncident& incident) {
    int cpu = 0, pressure = 0, network = 0, topCPU = 0, level = 0, rank = 0;
    std::optional<int> battery;
    std::int64_t bytes = 0;
    std::set<std::string> words;
    for (const HistoryRow& row : rows) {
        cpu = std::max(cpu, row.cpu.value_or(0));
        pressure = std::max(pressure, row.pressure.value_or(0));
        // The sum of a row with a missing rate is missing.
        if (row.upload && row.download)
            network = std::max(network, std::max(0, *row.upload) + std::max(0, *row.download));
        topCPU = std::max(topCPU, row.topCPU.value_or(0));
        level = std::max(level, row.level);
        bytes = std::max(bytes, row.ramBytes.value_or(0));
        if (row.battery) battery = std::min(battery.value_or(*row.battery), *row.battery);
        if (!row.thermal) continue;
        if (thermalRankOf(*row.thermal) > rank) words.clear();
        rank = std::max(rank, thermalRankOf(*row.thermal));
        if (thermalRankOf(*row.thermal) == rank) words.insert(*row.thermal);
    }
    if (words.empty()) words.insert("Nominal");

    RC_ASSERT(incident.peakCPU == cpu);
    RC_ASSERT(incident.peakMemoryPressure == pressure);
    RC_ASSERT(rawValue(incident.worstMemoryPressureState) == level);
    RC_ASSERT(incident.peakNetworkBytesPerSecond == network);
    RC_ASSERT(incident.minimumBatteryPercentage == battery);
    RC_ASSERT(words.count(incident.worstThermalState) == 1u);
    RC_ASSERT(incident.topCPUUsage == topCPU);
    RC_ASSERT(static_cast<std::int64_t>(incident.topRAMBytes) == bytes);
    RC_ASSERT(namesAtTop(rows, &HistoryRow::cpuName, &HistoryRow::topCPU).count(incident.topCPUProcess) ==
              1u);
    RC_ASSERT(namesAtTop(rows, &HistoryRow::ramName, &HistoryRow::ramBytes).count(incident.topRAMProcess) ==
              1u);
    RC_ASSERT(incident.sampleCount == static_cast<std::int64_t>(rows.size()));
}

std::vector<HistoryRow> within(const std::vector<HistoryRow>& rows, std::int64_t from, std::int64_t through) {
    std::vector<HistoryRow> inside;
    std::copy_if(rows.begin(), rows.end(), std::back_inserter(inside), [&](const HistoryRow& row) {
        return row.timestamp >= from && row.timestamp <= std::max(from, through);
    });
    return inside;
}

RC_GTEST_PROP(IncidentEvidence, agreesWithARowByRowComputation, ()) {
    static const test::TempDirectory folder;
    static const test::FakeClock clock;
    static DatabaseManager store(folder.file("history.sqlite"), clock);
    static Sql sql(folder.file("history.sqlite"));
    sql.run("DELETE FROM metrics_history; DELETE FROM performance_incidents;");

    RandomHistory random(*rc::gen::arbitrary<std::uint32_t>());
    std::vector<HistoryRow> rows;
    std::string insertions = "BEGIN;";
    for (std::int64_t count = random.below(40); count > 0; --count) {
        insertions += insertion(rows.emplace_back(random.row()));
    }
    sql.run(insertions + "COMMIT;");

    const std::int64_t start = 990 + random.below(130);
    const std::int64_t detected = start + random.below(70) - 5;
    const auto id = store.createIncident(
        {instantFromSeconds(static_cast<double>(start)), IncidentKind::cpu, IncidentSeverity::warning},
        instantFromSeconds(static_cast<double>(detected) + 0.5));
    RC_ASSERT(id.has_value());
    expectEvidenceOf(within(rows, start, detected), store.fetchIncidents(1).at(0));

    IncidentObservation loud;  // what runs up meanwhile doesn't survive the end
    loud.cpuUsage = 1000;
    loud.thermalState = "Critical";
    loud.topCPUProcess = "loud";
    loud.topCPUUsage = 1000;
    store.updateIncidentEvidence(*id, loud);
    const std::int64_t end = start + random.below(90) - 10;
    store.endIncident(*id, instantFromSeconds(static_cast<double>(end)));
    expectEvidenceOf(within(rows, start, end), store.fetchIncidents(1).at(0));
}

/// A sample with figures that often tie, and the words and gaps that samples have.
IncidentObservation randomObservation(RandomHistory& random) {
    const HistoryRow row = random.row();
    IncidentObservation observation;
    observation.cpuUsage = row.cpu.value_or(0);
    observation.estimatedMemoryPressure = row.pressure.value_or(0);
    observation.memoryPressureState =
        memoryPressureLevelFromRaw(row.level).value_or(MemoryPressureLevel::unavailable);
    observation.thermalState = row.thermal.value_or("");
    observation.uploadSpeed = row.upload.value_or(0);
    observation.downloadSpeed = row.download.value_or(0);
    if (row.battery) observation.batteryPercentage = *row.battery;
    observation.topCPUProcess = row.cpuName;
    observation.topCPUUsage = row.topCPU.value_or(0);
    observation.topRAMProcess = row.ramName;
    observation.topRAMBytes = static_cast<std::uint64_t>(row.ramBytes.value_or(0));
    return observation;
}

std::optional<std::string> named(const std::optional<std::string>& name) {
    return name && !name->empty() ? name : std::nullopt;
}

/// What a sample adds to an incident.
void fold(const IncidentObservation& sample, PerformanceIncident& incident) {
    incident.peakCPU = std::max(incident.peakCPU, sample.cpuUsage);
    incident.peakMemoryPressure = std::max(incident.peakMemoryPressure, sample.estimatedMemoryPressure);
    if (rawValue(sample.memoryPressureState) > rawValue(incident.worstMemoryPressureState))
        incident.worstMemoryPressureState = sample.memoryPressureState;
    const double network = std::max(0.0, sample.uploadSpeed) + std::max(0.0, sample.downloadSpeed);
    incident.peakNetworkBytesPerSecond = std::max(incident.peakNetworkBytesPerSecond, network);
    auto& lowest = incident.minimumBatteryPercentage;
    if (const auto charge = sample.batteryPercentage) lowest = lowest ? std::min(*lowest, *charge) : *charge;
    auto& worst = incident.worstThermalState;
    const std::string& word = sample.thermalState;
    if (word == "Critical" || (word == "Serious" && worst != "Critical") ||
        (word == "Fair" && worst == "Nominal"))
        worst = word;
    if (sample.topCPUUsage > incident.topCPUUsage) incident.topCPUProcess = named(sample.topCPUProcess);
    incident.topCPUUsage = std::max(incident.topCPUUsage, sample.topCPUUsage);
    if (sample.topRAMBytes > incident.topRAMBytes) incident.topRAMProcess = named(sample.topRAMProcess);
    incident.topRAMBytes = std::max(incident.topRAMBytes, sample.topRAMBytes);
    ++incident.sampleCount;
}

RC_GTEST_PROP(IncidentEvidence, growsWithEachSampleAsAFoldDoes, ()) {
    static const test::TempDirectory folder;
    static const test::FakeClock clock;
    static DatabaseManager store(folder.file("history.sqlite"), clock);
    static Sql sql(folder.file("history.sqlite"));
    sql.run("DELETE FROM metrics_history; DELETE FROM performance_incidents;");

    RandomHistory random(*rc::gen::arbitrary<std::uint32_t>());
    std::string insertions = "BEGIN;";
    for (std::int64_t count = random.below(10); count > 0; --count) insertions += insertion(random.row());
    sql.run(insertions + "COMMIT;");
    const auto id = store.createIncident(
        {instantFromSeconds(1000), IncidentKind::cpu, IncidentSeverity::warning}, instantFromSeconds(1060));
    PerformanceIncident expected = store.fetchIncidents(1).at(0);
    for (std::int64_t count = random.below(20); count > 0; --count) {
        const IncidentObservation sample = randomObservation(random);
        fold(sample, expected);
        store.updateIncidentEvidence(id.value_or(0), sample);
        RC_ASSERT(store.fetchIncidents(1).at(0) == expected);
    }
}

}  // namespace
}  // namespace corvanta
