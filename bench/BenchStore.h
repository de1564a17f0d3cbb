// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>

#include "core/Clock.h"
#include "storage/DatabaseManager.h"

/// A store in a folder of its own, and a bare connection to it past the database. The folder goes with it.
class BenchStore {
  public:
    BenchStore() { sqlite3_open(path_.c_str(), &bare_); }
    ~BenchStore() {
        sqlite3_close(bare_);
        std::filesystem::remove_all(folder_);
    }
    BenchStore(const BenchStore&) = delete;
    BenchStore& operator=(const BenchStore&) = delete;

    corvanta::DatabaseManager& database() { return database_; }
    const corvanta::Clock& clock() const { return clock_; }
    const std::string& path() const { return path_; }

    sqlite3* bare() { return bare_; }
    void run(const std::string& statements) {
        if (sqlite3_exec(bare_, statements.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK) return;
        std::fprintf(stderr, "%s\n", sqlite3_errmsg(bare_));
        std::exit(3);
    }

  private:
    static std::string makeFolder() {
        const auto folder = std::filesystem::temp_directory_path() /
                            ("corvanta-bench-" + std::to_string(std::random_device{}()));
        std::filesystem::create_directory(folder);
        return folder.string();
    }

    const std::string folder_ = makeFolder();
    const std::string path_ = folder_ + "/history.sqlite";
    const corvanta::SystemClock clock_{};
    corvanta::DatabaseManager database_{path_, clock_};
    sqlite3* bare_ = nullptr;
};
