// SPDX-License-Identifier: Apache-2.0
// What the store's operations cost against the bare C calls that do the same, in CPU time of this process.
//   corvanta_store_bench [ROUNDS]
// The two sides take turns in one run, each on its own copy of a history of 30 days.
#include <sqlite3.h>

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "Timing.h"
#include "storage/DatabaseManager.h"

namespace {

namespace fs = std::filesystem;
using corvanta::SnapshotValues;
using corvanta::SystemSnapshot;

constexpr std::int64_t now = 1'800'000'000;
constexpr std::int64_t interval = 10;
constexpr std::int64_t rowCount = 259'200;
constexpr int insertsPerTurn = 200;

constexpr const char* insertSql =
    "INSERT INTO metrics_history (timestamp, cpu_usage, ram_usage, disk_free, upload_speed, download_speed, "
    "memory_pressure, memory_pressure_state, thermal_state, battery_percentage, is_charging, "
    "top_cpu_process, "
    "top_cpu_usage, top_ram_process, top_ram_bytes) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?);";
constexpr const char* historySql =
    "SELECT timestamp, cpu_usage, ram_usage, disk_free, upload_speed, download_speed, memory_pressure, "
    "memory_pressure_state, thermal_state, top_cpu_process, top_cpu_usage FROM metrics_history WHERE "
    "timestamp "
    ">= ? ORDER BY timestamp ASC;";
constexpr const char* valuesSql =
    "SELECT cpu_usage FROM metrics_history WHERE timestamp >= ? ORDER BY timestamp ASC;";
constexpr const char* statsSql =
    "SELECT COUNT(*), MIN(timestamp), MAX(timestamp), AVG(cpu_usage), MAX(cpu_usage), AVG(memory_pressure), "
    "MAX(memory_pressure), MIN(disk_free), AVG(upload_speed), AVG(download_speed) FROM metrics_history WHERE "
    "timestamp >= ?;";

class FixedClock final : public corvanta::Clock {
  public:
    corvanta::Instant now() const override { return corvanta::instantFromSeconds(::now); }
    double systemUptime() const override { return 0; }
};

[[noreturn]] void fail(const std::string& what) {
    std::fprintf(stderr, "store_bench: %s\n", what.c_str());
    std::exit(1);
}

/// Samples like those of a machine at work, the same in every run.
class Samples {
  public:
    SnapshotValues next(std::int64_t timestamp) {
        static const std::vector<std::string> names = {
            "browser", "compiler",           "shell",        "editor",     "display-server", "python3",
            "indexer", "backup-of-the-home", "kworker/u8:2", "web content"};
        const double pressure = real(20, 80);
        return {.cpu = real(0, 100),
                .ram = pressure,
                .diskFree = real(8e10, 8.1e10),
                .upload = real(0, 2e6),
                .download = real(0, 2e7),
                .pressure = pressure,
                .pressureState = corvanta::memoryPressureLevelFromEstimate(pressure),
                .thermalState = "Nominal",
                .batteryPercentage = 80,
                .isCharging = true,
                .topCPUProcess = names[random_() % names.size()],
                .topCPUUsage = real(0, 180),
                .topRAMProcess = names[random_() % names.size()],
                .topRAMBytes = random_(),
                .timestamp = corvanta::instantFromSeconds(static_cast<double>(timestamp))};
    }

  private:
    double real(double low, double high) { return std::uniform_real_distribution(low, high)(random_); }

    std::mt19937 random_{42};
};

/// The bare side: what each operation needs of SQLite and nothing else.
class Bare {
  public:
    explicit Bare(const fs::path& path) {
        if (sqlite3_open(path.c_str(), &db_) != SQLITE_OK) fail("can't open " + path.string());
        execute("PRAGMA foreign_keys = ON;");
        execute("PRAGMA journal_mode = WAL;");
        sqlite3_busy_timeout(db_, 3000);
    }
    ~Bare() { sqlite3_close(db_); }
    Bare(const Bare&) = delete;
    Bare& operator=(const Bare&) = delete;

    void execute(const char* sql) {
        if (sqlite3_exec(db_, sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail(sqlite3_errmsg(db_));
    }

    void insert(const SnapshotValues& v) {
        sqlite3_stmt* s = nullptr;
        sqlite3_prepare_v2(db_, insertSql, -1, &s, nullptr);
        sqlite3_bind_int64(s, 1, corvanta::storedSeconds(v.timestamp));
        sqlite3_bind_double(s, 2, v.cpu);
        sqlite3_bind_double(s, 3, v.ram);
        sqlite3_bind_double(s, 4, v.diskFree);
        sqlite3_bind_double(s, 5, v.upload);
        sqlite3_bind_double(s, 6, v.download);
        sqlite3_bind_double(s, 7, v.pressure);
        sqlite3_bind_int(s, 8, rawValue(v.pressureState));
        sqlite3_bind_text(s, 9, v.thermalState.c_str(), -1, SQLITE_STATIC);
        sqlite3_bind_int64(s, 10, *v.batteryPercentage);
        sqlite3_bind_int(s, 11, *v.isCharging ? 1 : 0);
        sqlite3_bind_text(s, 12, v.topCPUProcess->c_str(), -1, SQLITE_STATIC);
        sqlite3_bind_double(s, 13, v.topCPUUsage);
        sqlite3_bind_text(s, 14, v.topRAMProcess->c_str(), -1, SQLITE_STATIC);
        sqlite3_bind_int64(s, 15, static_cast<std::int64_t>(v.topRAMBytes));
        if (sqlite3_step(s) != SQLITE_DONE) fail(sqlite3_errmsg(db_));
        sqlite3_finalize(s);
    }

    std::vector<SystemSnapshot> history(std::int64_t from) {
        std::vector<SystemSnapshot> rows;
        sqlite3_stmt* s = select(historySql, from);
        const auto text = [s](int column) -> std::optional<std::string> {
            const void* const bytes = sqlite3_column_text(s, column);
            if (bytes == nullptr) return std::nullopt;
            return std::string(static_cast<const char*>(bytes),
                               static_cast<std::size_t>(sqlite3_column_bytes(s, column)));
        };
        while (sqlite3_step(s) == SQLITE_ROW) {
            rows.push_back({sqlite3_column_int64(s, 0), sqlite3_column_double(s, 1),
                            sqlite3_column_double(s, 2), sqlite3_column_double(s, 3),
                            sqlite3_column_double(s, 4), sqlite3_column_double(s, 5),
                            sqlite3_column_double(s, 6),
                            static_cast<corvanta::MemoryPressureLevel>(sqlite3_column_int(s, 7)), text(8),
                            text(9), sqlite3_column_double(s, 10)});
        }
        sqlite3_finalize(s);
        return rows;
    }

    std::vector<double> values(std::int64_t from) {
        std::vector<double> all;
        sqlite3_stmt* s = select(valuesSql, from);
        while (sqlite3_step(s) == SQLITE_ROW) {
            if (sqlite3_column_type(s, 0) != SQLITE_NULL) all.push_back(sqlite3_column_double(s, 0));
        }
        sqlite3_finalize(s);
        return all;
    }

    double stats(std::int64_t from) {
        sqlite3_stmt* s = select(statsSql, from);
        if (sqlite3_step(s) != SQLITE_ROW) fail(sqlite3_errmsg(db_));
        double sum = static_cast<double>(sqlite3_column_int64(s, 0) + sqlite3_column_int64(s, 1) +
                                         sqlite3_column_int64(s, 2));
        for (int column = 3; column < 10; ++column) sum += sqlite3_column_double(s, column);
        sqlite3_finalize(s);
        return sum;
    }

  private:
    sqlite3_stmt* select(const char* sql, std::int64_t from) {
        sqlite3_stmt* s = nullptr;
        if (sqlite3_prepare_v2(db_, sql, -1, &s, nullptr) != SQLITE_OK) fail(sqlite3_errmsg(db_));
        sqlite3_bind_int64(s, 1, from);
        return s;
    }

    sqlite3* db_ = nullptr;
};

double meanCPU(const std::vector<SystemSnapshot>& rows) {
    double sum = 0;
    for (const SystemSnapshot& row : rows) sum += row.cpuUsage + row.memoryPressure;
    return sum / static_cast<double>(rows.size());
}

void compare(const char* name, int rounds, int units, const std::function<void()>& bare,
             const std::function<void()>& ours) {
    std::vector<double> bareTimes;
    std::vector<double> ourTimes;
    bare();
    ours();
    for (int round = 0; round < rounds; ++round) {
        // Who goes first alternates, so that neither profits from the other's warm caches.
        if (round % 2 == 0) bareTimes.push_back(cpuMicroseconds(bare) / 1000 / units);
        ourTimes.push_back(cpuMicroseconds(ours) / 1000 / units);
        if (round % 2 != 0) bareTimes.push_back(cpuMicroseconds(bare) / 1000 / units);
    }
    const double bareMedian = median(bareTimes);
    const double ourMedian = median(ourTimes);
    std::printf("%-24s %10.4f ms %10.4f ms   ratio %.3f\n", name, bareMedian, ourMedian,
                ourMedian / bareMedian);
}

}  // namespace

int main(int argc, char** argv) {
    int rounds = 15;
    if (argc > 1) {
        const std::string_view text = argv[1];
        std::from_chars(text.data(), text.data() + text.size(), rounds);
    }
    const fs::path folder =
        fs::temp_directory_path() / ("corvanta-bench-" + std::to_string(std::random_device{}()));
    if (!fs::create_directory(folder)) fail("can't make " + folder.string());
    const fs::path ourFile = folder / "ours.sqlite";
    const fs::path bareFile = folder / "bare.sqlite";

    const FixedClock clock;
    Samples samples;
    { const corvanta::DatabaseManager schema(ourFile.string(), clock); }
    {
        Bare loader(ourFile);
        loader.execute("BEGIN;");
        for (std::int64_t row = 0; row < rowCount; ++row) {
            loader.insert(samples.next(now - (rowCount - 1 - row) * interval));
        }
        loader.execute("COMMIT;");
    }
    fs::copy_file(ourFile, bareFile);
    {
        Bare bare(bareFile);
        corvanta::DatabaseManager ours(ourFile.string(), clock);
        volatile double sink = 0;  // keeps the results alive

        std::printf("%lld rows, %d rounds; medians of CPU time\n%-24s %13s %13s\n",
                    static_cast<long long>(rowCount), rounds, "", "bare", "store");
        compare(
            "fetchHistory 30 d", rounds, 1,
            [&] { sink = sink + bare.history(now - 2592000).back().cpuUsage; },
            [&] { sink = sink + ours.fetchHistory(2592000).back().cpuUsage; });
        compare(
            "fetchMetricValues 7 d", rounds, 1, [&] { sink = sink + bare.values(now - 604800).back(); },
            [&] { sink = sink + ours.fetchMetricValues("cpu_usage", 604800).back(); });
        compare(
            "detectTrends", rounds, 20,
            [&] {
                for (int i = 0; i < 20; ++i) {
                    sink = sink + meanCPU(bare.history(now - 900)) + meanCPU(bare.history(now - 3600));
                }
            },
            [&] {
                for (int i = 0; i < 20; ++i) sink = sink + static_cast<double>(ours.detectTrends().size());
            });
        compare(
            "weeklyStats", rounds, 1, [&] { sink = sink + bare.stats(now - 604800); },
            [&] { sink = sink + ours.weeklyStats(604800)->avgCPU; });
        std::int64_t bareTime = now;
        std::int64_t ourTime = now;
        const std::vector<SnapshotValues> values = [&] {
            std::vector<SnapshotValues> all;
            for (int i = 0; i < insertsPerTurn; ++i) all.push_back(samples.next(0));
            return all;
        }();
        const auto turn = [&](std::int64_t& time, const auto& insert) {
            for (SnapshotValues value : values) {
                value.timestamp = corvanta::instantFromSeconds(static_cast<double>(time += interval));
                insert(value);
            }
        };
        compare(
            "insertSnapshot", rounds, insertsPerTurn,
            [&] { turn(bareTime, [&](const SnapshotValues& value) { bare.insert(value); }); },
            [&] { turn(ourTime, [&](const SnapshotValues& value) { ours.insertSnapshot(value); }); });
    }
    fs::remove_all(folder);
}
