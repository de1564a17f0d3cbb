// SPDX-License-Identifier: Apache-2.0
#include "core/ProcessTexts.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace corvanta {
namespace {

constexpr double endless = std::numeric_limits<double>::infinity();
constexpr double noNumber = std::numeric_limits<double>::quiet_NaN();

TEST(ProcessTexts, cpuTimeIsCutToWholeSeconds) {
    for (const auto& [seconds, text] :
         std::vector<std::pair<double, std::string>>{{0, "0s"},
                                                     {0.99, "0s"},
                                                     {59, "59s"},
                                                     {59.9, "59s"},
                                                     {60, "1:00"},
                                                     {61, "1:01"},
                                                     {3599.9, "59:59"},
                                                     {3600, "1:00:00"},
                                                     {3661, "1:01:01"},
                                                     {360000, "100:00:00"},
                                                     {-5, "0s"},
                                                     {noNumber, "0s"},
                                                     {endless, "2562047788015215:30:07"}}) {
        EXPECT_EQ(cpuTimeString(seconds), text) << seconds;
    }
}

TEST(ProcessTexts, elapsedTimeHasHoursAndDaysOnlyWhenThereAreAny) {
    for (const auto& [seconds, text] : std::vector<std::pair<double, std::string>>{{0, "00:00"},
                                                                                   {5.9, "00:05"},
                                                                                   {59, "00:59"},
                                                                                   {60, "01:00"},
                                                                                   {3599, "59:59"},
                                                                                   {3600, "01:00:00"},
                                                                                   {86399, "23:59:59"},
                                                                                   {86400, "1-00:00:00"},
                                                                                   {1000000, "11-13:46:40"},
                                                                                   {-1, "00:00"},
                                                                                   {noNumber, "00:00"}}) {
        EXPECT_EQ(processElapsedString(seconds), text) << seconds;
    }
}

TEST(ProcessTexts, memoryOfNothingIsADash) {
    const NumberSymbols symbols;
    EXPECT_EQ(memoryString(0, symbols), "\xe2\x80\x94");
    EXPECT_EQ(memoryString(1, symbols), "1 byte");
    EXPECT_EQ(memoryString(4096, symbols), "4 KB");
    EXPECT_EQ(memoryString(1536 * 1024, symbols), "1.5 MB");
    EXPECT_EQ(memoryString(1536 * 1024, {",", "."}), "1,5 MB");
    EXPECT_EQ(memoryString(std::numeric_limits<std::uint64_t>::max(), symbols), "8,192 PB");
}

TEST(ProcessTexts, sharesHaveOneDecimal) {
    EXPECT_EQ(processUsageString(0), "0.0%");
    EXPECT_EQ(processUsageString(12.34), "12.3%");
    EXPECT_EQ(processUsageString(312.5), "312.5%");
}

}  // namespace
}  // namespace corvanta
