// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "support/TempDirectory.h"

namespace corvanta::test {

struct StatFields {
    std::uint64_t flags = 0x400000;
    std::uint64_t userTicks = 0;
    std::uint64_t systemTicks = 0;
    std::uint64_t threads = 1;
    std::uint64_t startTicks = 100;
    std::uint64_t residentPages = 0;
};

constexpr std::uint64_t kernelThread = 0x200000;

/// A folder that stands for /proc.
class ProcTree {
  public:
    void write(std::int32_t id, std::string_view comm, const StatFields& fields = {}) const {
        const auto number = [](std::uint64_t value) { return " " + std::to_string(value); };
        folder_.write(std::to_string(id) + "/stat",
                      std::to_string(id) + " (" + std::string(comm) + ") S 1 1 1 0 -1" +
                          number(fields.flags) + " 1 2 3 4" + number(fields.userTicks) +
                          number(fields.systemTicks) + " 0 0 20 0" + number(fields.threads) + " 0" +
                          number(fields.startTicks) + " 4096" + number(fields.residentPages) + " 0 1\n");
    }
    void writeArguments(std::int32_t id, std::string_view arguments) const {
        folder_.write(std::to_string(id) + "/cmdline", arguments);
    }
    void remove(std::int32_t id) const { std::filesystem::remove_all(path(id)); }

    /// A process that ends before it is read.
    void writeEnded(std::int32_t id) const { std::filesystem::create_directory(path(id)); }

    /// A process that is there and can't be read.
    void writeUnreadable(std::int32_t id) const { std::filesystem::create_directories(path(id) / "stat"); }

    std::string root() const { return folder_.path().string(); }

  private:
    std::filesystem::path path(std::int32_t id) const { return folder_.path() / std::to_string(id); }

    TempDirectory folder_;
};

}  // namespace corvanta::test
