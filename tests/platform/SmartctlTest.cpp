// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/Smartctl.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support/TempDirectory.h"

namespace corvanta {
namespace {

using namespace std::chrono_literals;
using test::TempDirectory;
using Clock = std::chrono::steady_clock;

const std::string healthy =
    R"({"json_format_version":[1,0],"smartctl":{"version":[7,3],"exit_status":0},)"
    R"("device":{"name":"/dev/sda","type":"sat"},"model_name":"Samsung SSD 860 EVO 500GB",)"
    R"("smart_status":{"passed":true}})";

/// A program in place of smartctl.
std::string program(const TempDirectory& folder, const std::string& script) {
    const std::string path = folder.write("smartctl", "#!/bin/sh\n" + script + "\n");
    std::filesystem::permissions(path, std::filesystem::perms(0755));
    return path;
}

std::optional<DriveReport> read(const std::string& path, Clock::duration limit = 60s) {
    return readSmartctl(path, "/dev/sda", Clock::now() + limit, {});
}

TEST(Smartctl, theVerdictAndTheModelAreRead) {
    EXPECT_EQ(parseSmartctl(healthy, 0), (DriveReport{"Samsung SSD 860 EVO 500GB", "PASSED"}));
    EXPECT_EQ(parseSmartctl(R"({"model_name":"A","smart_status":{"passed":false}})", 8),
              (DriveReport{"A", "FAILED!"}));
    EXPECT_EQ(parseSmartctl(R"({"model_name":"A"})", 4), (DriveReport{"A", std::nullopt}));
    EXPECT_EQ(parseSmartctl(R"({"smart_status":{"passed":true}})", 0), (DriveReport{std::nullopt, "PASSED"}));
}

TEST(Smartctl, theExitStatusIsASetOfBits) {
    for (const int status : {1, 2, 3, 9, 10, 255})
        EXPECT_EQ(parseSmartctl(healthy, status), std::nullopt) << status;
    for (const int status : {4, 16, 32, 64, 128, 244})
        EXPECT_EQ(parseSmartctl(healthy, status)->smartStatus, "PASSED") << status;
    for (const int status : {8, 12, 24, 252})
        EXPECT_EQ(parseSmartctl(healthy, status)->smartStatus, "FAILED!") << status;
    EXPECT_EQ(parseSmartctl("{}", 8), (DriveReport{std::nullopt, "FAILED!"}));
}

TEST(Smartctl, valuesOfOtherTypesCountAsAbsent) {
    for (const char* text :
         {"{}", R"({"model_name":5,"smart_status":true})",
          R"({"model_name":null,"smart_status":{"passed":1}})",
          R"({"model_name":"  ","smart_status":{"passed":"true"}})", R"({"smart_status":[{"passed":true}]})",
          R"({"model_name":["A"],"smart_status":{}})"}) {
        EXPECT_EQ(parseSmartctl(text, 0), DriveReport{}) << text;
    }
}

TEST(Smartctl, aTextThatIsNoObjectGivesNothing) {
    for (const char* text : {"", " ", "[]", "true", "\"x\"", "smartctl 7.3\n", "{", "{\"a\":1", "{}x", "nan"})
        EXPECT_EQ(parseSmartctl(text, 0), std::nullopt) << text;
    for (std::size_t size = 0; size < healthy.size(); ++size)
        EXPECT_EQ(parseSmartctl(healthy.substr(0, size), 0), std::nullopt) << size;
    EXPECT_EQ(parseSmartctl(std::string(1'000'000, '['), 0), std::nullopt);
    EXPECT_EQ(parseSmartctl(std::string(1'000'000, '[') + std::string(1'000'000, ']'), 0), std::nullopt);
}

TEST(Smartctl, aNameOfOddBytesIsRepaired) {
    EXPECT_EQ(parseSmartctl("{\"model_name\":\" DISK\xff\\u0007X \"}", 0)->deviceName, "DISK\uFFFD X");
}

TEST(Smartctl, isAskedForTheVerdictAndTheModelOfTheDevice) {
    TempDirectory folder;
    const std::string path =
        program(folder, "printf '{\"model_name\":\"%s\",\"smart_status\":{\"passed\":true}}' \"$*\"");
    EXPECT_EQ(read(path), (DriveReport{"--json=c -H -i /dev/sda", "PASSED"}));
}

TEST(Smartctl, aProgramThatFailsGivesNothing) {
    TempDirectory folder;
    EXPECT_EQ(read(folder.file("missing")), std::nullopt);
    EXPECT_EQ(read(program(folder, "echo 'Unable to detect device type'; exit 1")), std::nullopt);
    EXPECT_EQ(read(program(folder, "kill -KILL $$")), std::nullopt);
    EXPECT_EQ(read(program(folder, "exec sleep 600"), 100ms), std::nullopt);
    EXPECT_EQ(read(program(folder, "printf '{\"model_name\":\"A\"}'; exit 8")),
              (DriveReport{"A", "FAILED!"}));
}

}  // namespace
}  // namespace corvanta
