// SPDX-License-Identifier: Apache-2.0
// The least that sampling and storing can cost: the same kernel files read by pread on kept descriptors every
// two seconds, the same row written every ten, and nothing else. Usage: corvanta_floor DATABASE
#include <fcntl.h>
#include <sqlite3.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

std::array<char, 1 << 16> buffer;

class File {
  public:
    explicit File(const char* path) : descriptor_(open(path, O_RDONLY | O_CLOEXEC)) {}
    const char* read() {
        ssize_t length = 0;
        ssize_t got = 0;
        const auto room = static_cast<ssize_t>(buffer.size()) - 1;
        while ((got = pread(descriptor_, buffer.data() + length, static_cast<std::size_t>(room - length),
                            length)) > 0) {
            length += got;
        }
        buffer[static_cast<std::size_t>(length)] = 0;
        return buffer.data();
    }

  private:
    int descriptor_;
};

std::uint64_t number(const char*& text) {
    while (*text != 0 && (*text < '0' || *text > '9')) ++text;
    return std::strtoull(text, const_cast<char**>(&text), 10);
}

double cpuUsage(File& file) {
    static std::uint64_t lastBusy, lastAll;
    const char* text = file.read() + 3;
    std::array<std::uint64_t, 8> fields{};
    std::uint64_t all = 0;
    for (auto& field : fields) all += field = number(text);
    const std::uint64_t busy = all - fields[3] - fields[4];
    const double usage =
        all > lastAll ? 100.0 * static_cast<double>(busy - lastBusy) / static_cast<double>(all - lastAll) : 0;
    lastBusy = busy;
    lastAll = all;
    return usage;
}

double memoryUsage(File& file) {
    const char* text = file.read();
    const auto total = static_cast<double>(number(text));
    number(text);
    return total > 0 ? 100 * (total - static_cast<double>(number(text))) / total : 0;
}

constexpr const char* schema =
    "PRAGMA journal_mode=WAL;"
    "CREATE TABLE IF NOT EXISTS metrics_history(id INTEGER PRIMARY KEY AUTOINCREMENT, timestamp INTEGER NOT "
    "NULL,"
    "cpu_usage REAL, ram_usage REAL, disk_free REAL, upload_speed REAL, download_speed REAL, memory_pressure "
    "REAL,"
    "memory_pressure_state INTEGER NOT NULL DEFAULT 0, thermal_state TEXT, battery_percentage INTEGER,"
    "is_charging INTEGER, top_cpu_process TEXT, top_cpu_usage REAL, top_ram_process TEXT, top_ram_bytes "
    "INTEGER);"
    "CREATE INDEX IF NOT EXISTS idx_metrics_ts ON metrics_history(timestamp);";

constexpr const char* insert =
    "INSERT INTO metrics_history (timestamp, cpu_usage, ram_usage, disk_free, upload_speed, download_speed,"
    " memory_pressure, memory_pressure_state, thermal_state, battery_percentage, is_charging, "
    "top_cpu_process,"
    " top_cpu_usage, top_ram_process, top_ram_bytes) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?);";

void insertRow(sqlite3* db, double cpu, double memory) {
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(db, insert, -1, &statement, nullptr);
    sqlite3_bind_int64(statement, 1, time(nullptr));
    sqlite3_bind_double(statement, 2, cpu);
    for (const int column : {3, 7}) sqlite3_bind_double(statement, column, memory);
    for (const int column : {4, 5, 6, 13}) sqlite3_bind_double(statement, column, 0);
    sqlite3_bind_int(statement, 8, 0);
    sqlite3_bind_text(statement, 9, "Nominal", -1, SQLITE_STATIC);
    sqlite3_bind_int64(statement, 15, 0);
    if (sqlite3_step(statement) != SQLITE_DONE) std::puts("Could not insert row.");
    sqlite3_finalize(statement);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: corvanta_floor DATABASE\n", stderr);
        return 2;
    }
    sqlite3* db = nullptr;
    if (sqlite3_open(argv[1], &db) != SQLITE_OK ||
        sqlite3_exec(db, schema, nullptr, nullptr, nullptr) != SQLITE_OK) {
        std::fputs("corvanta_floor: the database can't be opened\n", stderr);
        return 1;
    }
    File stat("/proc/stat");
    File memInfo("/proc/meminfo");
    File swaps("/proc/swaps");
    timespec next{};
    clock_gettime(CLOCK_MONOTONIC, &next);
    for (unsigned cycle = 0;; ++cycle) {
        const double cpu = cpuUsage(stat);
        const double memory = memoryUsage(memInfo);
        swaps.read();
        if (cycle % 5 == 0) insertRow(db, cpu, memory);
        next.tv_sec += 2;
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, nullptr);
    }
}
