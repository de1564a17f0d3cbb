// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <tuple>
#include <utility>

#include "core/Clock.h"
#include "core/Instant.h"
#include "ctl/CtlTest.h"
#include "storage/DatabaseManager.h"

namespace corvanta::test {

/// `corvantactl` on a store whose rows the test knows.
class StoreTest : public CtlTest {
  protected:
    /// A sample of the given age in seconds.
    SnapshotValues sample(std::int64_t age, double cpu = 25, double pressure = 40) const {
        SnapshotValues values;
        values.cpu = cpu;
        values.ram = pressure;
        values.diskFree = 500e9;
        values.upload = 1536;
        values.download = 3'000'000;
        values.pressure = pressure;
        values.pressureState = MemoryPressureLevel::warning;
        values.thermalState = "Fair";
        values.topCPUProcess = "compiler";
        values.topCPUUsage = 180;
        values.timestamp = instantFromSeconds(static_cast<double>(now_ - age));
        return values;
    }
    void fillStore(const std::vector<SnapshotValues>& samples) const {
        DatabaseManager store(user_.database(), clock_);
        for (const SnapshotValues& values : samples) store.insertSnapshot(values);
    }

    const SystemClock clock_{};
    const std::int64_t now_ = storedSeconds(clock_.now());
};

/// Every file below a folder, with all that writing it would change.
inline auto filesBelow(const std::filesystem::path& folder) {
    using File = std::tuple<std::string, std::filesystem::file_time_type, std::filesystem::perms>;
    std::map<std::string, File> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        const std::filesystem::path& path = entry.path();
        files[path.string()] = {entry.is_regular_file() ? readFile(path) : "folder",
                                std::filesystem::last_write_time(path), entry.status().permissions()};
    }
    return files;
}

}  // namespace corvanta::test
