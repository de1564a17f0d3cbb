// SPDX-License-Identifier: Apache-2.0
#include "incidents/replay/IncidentReplay.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "incidents/IncidentStreams.h"
#include "incidents/replay/ObservationStream.h"

namespace corvanta {
namespace {

using namespace incident_transition;

using Replayed = std::variant<std::string, BrokenStream>;

std::string hotAt(double seconds) {
    IncidentObservation observation = test::calmAt(seconds);
    observation.thermalState = "Serious";
    return streamLine(observation);
}

TEST(IncidentReplay, eachTransitionHasItsLine) {
    const Instant now = instantFromSeconds(1732200100.5);
    const ActiveIncidentState state{instantFromSeconds(1732200000), IncidentKind::memory,
                                    IncidentSeverity::critical};
    const std::string common = R"("kind":"memory","severity":2,"startedAt":1732200000)";
    const auto line = [&](const std::string& name, const std::string& more = "") {
        return R"({"timestamp":1732200100.5,"transition":")" + name + R"(",)" + common + more + "}\n";
    };
    EXPECT_EQ(transitionLine(now, Started{state}), line("started"));
    EXPECT_EQ(transitionLine(now, Changed{state}), line("changed"));
    EXPECT_EQ(transitionLine(now, RecoveryStarted{state, now}),
              line("recoveryStarted", R"(,"recoveryStartedAt":1732200100.5)"));
    EXPECT_EQ(transitionLine(now, RecoveryCancelled{state}), line("recoveryCancelled"));
    EXPECT_EQ(transitionLine(now, Ended{state, instantFromSeconds(1732200010)}),
              line("ended", R"(,"endedAt":1732200010)"));
    EXPECT_EQ(transitionLine(now, None{}), "");
}

TEST(IncidentReplay, aStreamWithoutObservationsSaysNothing) {
    for (const char* stream : {"", "\n", "\r\n\r\n", "\n\n ", "\xEF\xBB\xBF", "{\"rules\":{}}\n"})
        EXPECT_EQ(replayedStream(stream), Replayed(""));
}

TEST(IncidentReplay, theLastLineNeedsNoLineFeed) {
    std::string stream = hotAt(0) + hotAt(10);
    const Replayed whole = replayedStream(stream);
    EXPECT_NE(std::get<std::string>(whole), "");
    stream.pop_back();
    EXPECT_EQ(replayedStream(stream), whole);
}

TEST(IncidentReplay, linesAreCountedFromOneAndBlankOnesCount) {
    EXPECT_EQ(replayedStream("x"), Replayed(BrokenStream{1, "this is no JSON from byte 1 on"}));
    EXPECT_EQ(replayedStream("\n\r\n" + hotAt(0) + "{}\nx\n"),
              Replayed(BrokenStream{4, "timestamp is missing"}));
    EXPECT_EQ(replayedStream(hotAt(0) + hotAt(10) + "{\"rules\": 1}"),
              Replayed(BrokenStream{3, "rules must be an object"}));
}

TEST(IncidentReplay, rulesHoldFromTheNextObservationOn) {
    const std::string off = R"({"rules": {"thermalEnabled": false}})"
                            "\n";
    const std::string on = R"({"rules": {"thermalEnabled": true}})"
                           "\n";
    const std::string started =
        R"({"timestamp":10,"transition":"started","kind":"thermal","severity":1,"startedAt":0})"
        "\n";
    EXPECT_EQ(replayedStream(hotAt(0) + hotAt(10) + off), Replayed(started));
    EXPECT_EQ(replayedStream(hotAt(0) + off + on + hotAt(10)), Replayed(started));
    EXPECT_EQ(replayedStream(hotAt(0) + off + hotAt(10) + on), Replayed(""));
    EXPECT_EQ(replayedStream(off +
                             R"({"rules": {"cpuEnabled": true}})"
                             "\n" +
                             hotAt(0) + hotAt(10)),
              Replayed(""));
}

}  // namespace
}  // namespace corvanta
