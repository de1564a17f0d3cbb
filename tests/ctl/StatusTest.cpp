// SPDX-License-Identifier: Apache-2.0
#include <QElapsedTimer>
#include <atomic>
#include <cctype>
#include <chrono>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <regex>
#include <thread>
#include <vector>

#include "core/ByteCount.h"
#include "ctl/CtlTest.h"
#include "ctl/MachineLoad.h"

namespace corvanta::test {
namespace {

using Json = nlohmann::ordered_json;

std::vector<std::string> keys(const Json& object) {
    std::vector<std::string> names;
    for (const auto& entry : object.items()) names.push_back(entry.key());
    return names;
}

/// Keeps every processor busy while it lives.
class BusyProcessors {
  public:
    BusyProcessors() {
        for (unsigned i = 0; i < std::thread::hardware_concurrency(); ++i) {
            threads_.emplace_back([this] {
                while (!end_) continue;
            });
        }
    }
    ~BusyProcessors() {
        end_ = true;
        for (std::thread& thread : threads_) thread.join();
    }
    BusyProcessors(const BusyProcessors&) = delete;
    BusyProcessors& operator=(const BusyProcessors&) = delete;

  private:
    std::atomic<bool> end_ = false;
    std::vector<std::thread> threads_;
};

using StatusTest = CtlTest;

TEST_F(StatusTest, textHasOneLineForEachFigure) {
    const Finished finished = ctl("status");
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(finished.err, "");
    const std::string size = R"((\d+ bytes|(\d+(\.\d+)?|Zero) [KMGT]B))";
    const std::regex whole(
        "CPU               \\d{1,3}%\n"
        "Memory available  " +
        size + " of " + size +
        "\n"
        "Memory pressure   (Est\\. )?(Normal|Warning|Critical) \\(\\d{1,3}% estimated\\)\n"
        "Active            " +
        size +
        "\n"
        "Wired             " +
        size +
        "\n"
        "Compressed        " +
        size +
        "\n"
        "Swap used         " +
        size +
        "\n"
        "Disk free         " +
        size + " of " + size +
        "\n"
        "(Drive             .+, S\\.M\\.A\\.R\\.T\\. (Verified|Failing|Unknown)\n)?"
        "Network           up [\\d.]+ [KMG]?B/s, down [\\d.]+ [KMG]?B/s\n"
        "Low power mode    (On|Off)\n"
        "Thermal state     (Nominal|Fair|Serious|Critical|Unknown)\n"
        "Processes         \\d+\n"
        "Busiest process   .+ [\\d.]+%\n"
        "Largest process   .+ " +
        size +
        "\n"
        "(Peripheral        .+\n)*");
    EXPECT_TRUE(std::regex_match(finished.out, whole)) << finished.out;
    EXPECT_NE(finished.out.find(" of " + formatBytes(memInfoBytes("MemTotal")) + "\n"), std::string::npos)
        << finished.out;
}

TEST_F(StatusTest, jsonIsOneObjectOnOneLine) {
    const double before = static_cast<double>(std::time(nullptr));
    const Finished finished = ctl("status --json");
    const double after = static_cast<double>(std::time(nullptr)) + 1;
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(finished.err, "");
    expectOneLine(finished.out);

    const Json object = Json::parse(finished.out);
    EXPECT_EQ(keys(object),
              (std::vector<std::string>{"timestamp", "cpu_usage", "memory", "disk", "network", "battery",
                                        "low_power_mode", "thermal_state", "processes", "top_cpu_process",
                                        "top_memory_process", "peripherals"}));
    EXPECT_EQ(keys(object.at("memory")),
              (std::vector<std::string>{"total", "available", "active", "wired", "compressed", "swap_used",
                                        "estimated_pressure", "estimated_pressure_level", "pressure_level"}));
    EXPECT_GE(object.at("timestamp").get<double>(), before);
    EXPECT_LE(object.at("timestamp").get<double>(), after);
    EXPECT_GE(object.at("cpu_usage").get<double>(), 0);
    EXPECT_LE(object.at("cpu_usage").get<double>(), 100);
}

TEST_F(StatusTest, diskAgreesWithTheFileSystem) {
    const Json disk = Json::parse(ctl("status --json").out).at("disk");
    const std::filesystem::space_info space = std::filesystem::space("/");
    EXPECT_EQ(disk.at("total").get<double>(), static_cast<double>(space.capacity));
    // Builds and other tests write at the same time.
    EXPECT_NEAR(disk.at("free").get<double>(), static_cast<double>(space.available), 2e9);
}

TEST_F(StatusTest, processesAgreeWithTheKernel) {
    const auto userProcesses = [] {
        int count = 0;
        for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
            const std::string name = entry.path().filename().string();
            // Kernel threads, which count as one, have no command line.
            if (std::isdigit(static_cast<unsigned char>(name[0])) &&
                !test::readFile(entry.path() / "cmdline").empty()) {
                ++count;
            }
        }
        return count;
    };
    const int before = userProcesses();
    const int shown = Json::parse(ctl("status --json").out).at("processes").get<int>();
    EXPECT_NEAR(shown, before, 60) << "processes come and go while tests run";
    EXPECT_GT(shown, 3);
}

TEST_F(StatusTest, memoryAgreesWithTheKernel) {
    const Json memory = Json::parse(ctl("status --json").out).at("memory");
    const double total = memInfoBytes("MemTotal");
    ASSERT_GT(total, 0);
    const auto figure = [&](const char* name) { return memory.at(name).get<double>(); };
    EXPECT_EQ(figure("total"), total);
    EXPECT_NEAR(figure("available"), memInfoBytes("MemAvailable"), 0.05 * total);
    EXPECT_NEAR(figure("swap_used"), memInfoBytes("SwapTotal") - memInfoBytes("SwapFree"), 0.05 * total);
    // Each byte that is not available is in one of the three.
    EXPECT_NEAR(figure("active") + figure("wired") + figure("compressed") + figure("available"), total, 16);
    EXPECT_NEAR(figure("estimated_pressure"), 100 * (figure("wired") + figure("compressed")) / total, 1e-6);
}

TEST_F(StatusTest, theFlagMayStandOnEitherSideOfTheCommand) {
    EXPECT_TRUE(Json::accept(ctl("--json status").out));
    EXPECT_TRUE(Json::accept(ctl("status --json").out));
}

TEST_F(StatusTest, needsNoHome) {
    for (const char* name : {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME"}) user_.removeVariable(name);
    const Finished finished = ctl("status --json", becomeUnknownAccount);
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(finished.err, "");
    EXPECT_TRUE(Json::accept(finished.out));
}

TEST_F(StatusTest, theLoadIsMeasuredOverHalfASecond) {
    const BusyProcessors busy;
    QElapsedTimer time;
    time.start();
    const Finished finished = ctl("status --json");
    EXPECT_GE(time.elapsed(), 500);
    EXPECT_GT(Json::parse(finished.out).at("cpu_usage").get<double>(), 20);
}

}  // namespace
}  // namespace corvanta::test
