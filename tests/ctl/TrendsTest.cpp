// SPDX-License-Identifier: Apache-2.0
#include <nlohmann/json.hpp>
#include <vector>

#include "ctl/StoreTest.h"

namespace corvanta::test {
namespace {

using Json = nlohmann::ordered_json;

class TrendsTest : public StoreTest {
  protected:
    /// Ten samples of the last quarter of an hour, thirty of the three before it.
    void fillHour(double shortCPU, double longCPU, double shortPressure, double longPressure) const {
        std::vector<SnapshotValues> samples;
        for (int i = 1; i <= 10; ++i) samples.push_back(sample(i * 60, shortCPU, shortPressure));
        for (int i = 0; i < 30; ++i) samples.push_back(sample(1000 + i * 60, longCPU, longPressure));
        fillStore(samples);
    }
};

TEST_F(TrendsTest, tellsWhatRisesAndWhatFalls) {
    fillHour(90, 20, 10, 50);
    const Finished text = ctl("trends");
    EXPECT_EQ(text.exitCode, 0);
    EXPECT_EQ(text.err, "");
    EXPECT_EQ(
        text.out,
        "CPU has been rising significantly over the last hour — currently well above baseline. (90% in the "
        "last 15 minutes, 38% in the last hour)\n"
        "Memory Pressure is trending downward. (10% in the last 15 minutes, 40% in the last hour)\n");

    const Finished json = ctl("trends --json");
    EXPECT_EQ(json.exitCode, 0);
    EXPECT_EQ(json.err, "");
    expectOneLine(json.out);
    const Json expected = {
        {{"metric", "CPU"},
         {"short_term_average", 90.0},
         {"long_term_average", 37.5},
         {"trend", "rising"},
         {"severity", "high"},
         {"summary",
          "CPU has been rising significantly over the last hour — currently well above baseline."}},
        {{"metric", "Memory Pressure"},
         {"short_term_average", 10.0},
         {"long_term_average", 40.0},
         {"trend", "falling"},
         {"severity", "normal"},
         {"summary", "Memory Pressure is trending downward."}},
    };
    EXPECT_EQ(Json::parse(json.out).dump(2), expected.dump(2));
}

TEST_F(TrendsTest, aSteadyHourHasNone) {
    fillHour(30, 30, 40, 40);
    const Finished text = ctl("trends");
    EXPECT_EQ(text.exitCode, 0);
    EXPECT_EQ(text.out, "No trends: the last 15 minutes are like the last hour.\n");
    EXPECT_EQ(text.err, "");
    const Finished json = ctl("trends --json");
    EXPECT_EQ(json.exitCode, 0);
    EXPECT_EQ(json.out, "[]\n");
}

TEST_F(TrendsTest, withoutASampleOfLateThereIsNothingToCompare) {
    fillStore({sample(1000, 90, 90), sample(3000, 10, 10)});
    const Finished text = ctl("trends");
    EXPECT_EQ(text.exitCode, 0);
    EXPECT_EQ(text.out, "No samples in the last 15 minutes.\n");
    EXPECT_EQ(text.err, "");
    const Finished json = ctl("trends --json");
    EXPECT_EQ(json.exitCode, 0);
    EXPECT_EQ(json.out, "[]\n");
}

}  // namespace
}  // namespace corvanta::test
