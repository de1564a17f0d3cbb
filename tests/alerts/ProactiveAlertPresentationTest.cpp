// SPDX-License-Identifier: Apache-2.0
#include "alerts/rules/ProactiveAlertPresentation.h"

#include <gtest/gtest.h>

#include <limits>
#include <utility>
#include <vector>

namespace corvanta {
namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

using Presentation = ProactiveAlertPresentation;

std::string cpuMessage(double systemCPU) {
    return Presentation::performance("compiler", 1, "CPU", systemCPU, 0).message;
}
std::string usageContext(const std::string& reason, double systemCPU, double topProcessUsage) {
    return Presentation::performance("compiler", 1, reason, systemCPU, topProcessUsage)
        .aiContext.value_or(SmartAlertAIContext{})
        .usageContext;
}
bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST(ProactiveAlertPresentation, oneProcessOnTheCPU) {
    const Presentation expected{
        .title = "High CPU detected",
        .message = "System CPU reached 93%. compiler led the sustained load.",
        .systemImage = "cpu",
        .destination = SmartAlertDestination::aiExplanation,
        .aiContext = SmartAlertAIContext{
            .processName = "compiler",
            .reason = "CPU",
            .usageContext =
                "Historical sustained-CPU incident snapshot. system_cpu_percent=92.6; sustained_seconds=60; "
                "process_name=compiler; matching_process_count=1; top_instance_cpu_percent=180.2. Process "
                "count is "
                "a count, not a percentage. Explain the detected interval in past tense and do not claim "
                "these "
                "values are current.",
            .displaySummary = "System CPU 93% · 1 matching process"}};
    EXPECT_EQ(Presentation::performance("compiler", 1, "CPU", 92.61, 180.23), expected);
}

TEST(ProactiveAlertPresentation, severalProcessesOnTheCPU) {
    const auto words = Presentation::performance("Web Content", 3, "CPU", 88, 40);
    EXPECT_EQ(words.message, "System CPU reached 88%. 3 Web Content processes led the sustained load.");
    ASSERT_TRUE(words.aiContext);
    EXPECT_EQ(words.aiContext->processName, "Web Content");
    EXPECT_TRUE(
        contains(words.aiContext->usageContext, "process_name=Web Content; matching_process_count=3; "));
    EXPECT_EQ(words.aiContext->displaySummary, "System CPU 88% · 3 matching processes");
}

TEST(ProactiveAlertPresentation, oneProcessInMemory) {
    const Presentation expected{
        .title = "Critical memory pressure detected",
        .message =
            "macOS reported critical memory pressure for one minute. browser was the largest contributor.",
        .systemImage = "memorychip",
        .destination = SmartAlertDestination::aiExplanation,
        .aiContext = SmartAlertAIContext{
            .processName = "browser",
            .reason = "RAM",
            .usageContext = "Historical memory-pressure incident snapshot. macos_memory_pressure=critical; "
                            "sustained_seconds=60; process_name=browser; matching_process_count=1; "
                            "top_instance_memory_percent=31.3. Process count is a count, not a percentage. "
                            "Explain the detected "
                            "interval in past tense and do not claim these values are current.",
            .displaySummary = "macOS pressure Critical · 1 matching process"}};
    EXPECT_EQ(Presentation::performance("browser", 1, "RAM", 99, 31.25 + 0.01), expected);
}

TEST(ProactiveAlertPresentation, severalProcessesInMemory) {
    const auto words = Presentation::performance("browser", 2, "RAM", 99, 31);
    EXPECT_EQ(words.message,
              "macOS reported critical memory pressure for one minute. 2 browser processes were the largest "
              "contributors.");
    ASSERT_TRUE(words.aiContext);
    EXPECT_EQ(words.aiContext->displaySummary, "macOS pressure Critical · 2 matching processes");
}

TEST(ProactiveAlertPresentation, anyOtherReasonIsWordedAsMemoryAndKept) {
    const auto words = Presentation::performance("browser", 1, "cpu", 99, 31);
    EXPECT_EQ(words.systemImage, "memorychip");
    ASSERT_TRUE(words.aiContext);
    EXPECT_EQ(words.aiContext->reason, "cpu");
}

TEST(ProactiveAlertPresentation, aCountBelowOneIsOne) {
    for (const std::int64_t count : {std::int64_t{0}, std::int64_t{-4}}) {
        EXPECT_EQ(Presentation::performance("compiler", count, "CPU", 90, 1),
                  Presentation::performance("compiler", 1, "CPU", 90, 1));
    }
}

TEST(ProactiveAlertPresentation, thePercentageIsWholeAndBetweenZeroAndAHundred) {
    const std::vector<std::pair<double, std::string>> rows = {
        {85, "85%"},    {84.4, "84%"}, {84.5, "85%"},      {85.5, "86%"},     {99.4, "99%"},
        {99.5, "100%"}, {100, "100%"}, {100.4, "100%"},    {1600, "100%"},    {0.4, "0%"},
        {-0.4, "0%"},   {-30, "0%"},   {infinite, "100%"}, {-infinite, "0%"}, {notANumber, "100%"},
    };
    for (const auto& [systemCPU, text] : rows) {
        EXPECT_EQ(cpuMessage(systemCPU), "System CPU reached " + text + ". compiler led the sustained load.");
    }
}

TEST(ProactiveAlertPresentation, theContextTellsTheClampedFigures) {
    const std::vector<std::pair<double, std::string>> systemRows = {{99.96, "100.0"}, {100.4, "100.0"},
                                                                    {-3, "0.0"},      {-0.0, "0.0"},
                                                                    {86.25, "86.2"},  {notANumber, "100.0"}};
    for (const auto& [systemCPU, text] : systemRows)
        EXPECT_TRUE(contains(usageContext("CPU", systemCPU, 1), "system_cpu_percent=" + text + ";")) << text;

    const std::vector<std::pair<double, std::string>> usageRows = {
        {750.06, "750.1"}, {-3, "0.0"}, {-0.0, "0.0"}, {0, "0.0"}, {notANumber, "0.0"}};
    for (const auto& [usage, text] : usageRows) {
        EXPECT_TRUE(contains(usageContext("CPU", 90, usage), "top_instance_cpu_percent=" + text + "."))
            << text;
        EXPECT_TRUE(contains(usageContext("RAM", 90, usage), "top_instance_memory_percent=" + text + "."))
            << text;
    }
}

TEST(ProactiveAlertPresentation, theNotificationsLabelEndsInTheCountOfSeveral) {
    EXPECT_EQ(processLabel("compiler", 0), "compiler");
    EXPECT_EQ(processLabel("compiler", 1), "compiler");
    EXPECT_EQ(processLabel("compiler", 2), "compiler (×2)");
    EXPECT_EQ(processLabel("compiler", 10'000), "compiler (×10000)");
}

TEST(SmartAlertDestination, rowsOfTheTable) {
    using D = SmartAlertDestination;
    struct Row {
        D destination;
        std::string_view label;
        std::string_view help;
    };
    const std::vector<Row> rows = {
        {D::none, "View", "View details"},
        {D::aiExplanation, "Explain", "Explain the recorded incident snapshot with AI"},
        {D::incidents, "View", "Open incident timeline"},
        {D::history, "View", "Open system history"},
    };
    ASSERT_EQ(allSmartAlertDestinations.size(), rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(allSmartAlertDestinations.at(i), rows.at(i).destination);
        EXPECT_EQ(actionLabel(rows.at(i).destination), rows.at(i).label);
        EXPECT_EQ(actionHelp(rows.at(i).destination), rows.at(i).help);
    }
}

}  // namespace
}  // namespace corvanta
