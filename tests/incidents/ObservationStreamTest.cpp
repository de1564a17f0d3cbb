// SPDX-License-Identifier: Apache-2.0
#include "incidents/replay/ObservationStream.h"

#include <gtest/gtest.h>

#include <rapidcheck.h>
#include <bit>
#include <cmath>
#include <limits>
#include <ostream>
#include <string>
#include <vector>

#include "incidents/IncidentStreams.h"

namespace corvanta {

/// How a line reads in a failed test.
inline void PrintTo(const BrokenLine& line, std::ostream* out) {
    *out << "{" << line.problem << "}";
}
inline void PrintTo(const IncidentObservation& observation, std::ostream* out) {
    *out << streamLine(observation);
}
inline void PrintTo(const IncidentRuleConfiguration& rules, std::ostream* out) {
    *out << "{" << rules.cpuEnabled << rules.memoryEnabled << rules.thermalEnabled << "}";
}

namespace {

constexpr IncidentRuleConfiguration allEnabled;

/// What a line without anything but the two required fields stands for.
IncidentObservation bare() {
    IncidentObservation observation;
    observation.timestamp = instantFromSeconds(1732200000);
    observation.systemUptime = 5000;
    observation.thermalState = "Nominal";
    return observation;
}

StreamLine parsed(std::string_view line) {
    return parseStreamLine(line, allEnabled);
}
/// A line with the two required fields and one more.
StreamLine parsedWith(const std::string& field) {
    return parsed(R"({"timestamp": 1732200000, "systemUptime": 5000, )" + field + "}");
}

TEST(ObservationStream, aLineHasAllFieldsByTheirNames) {
    IncidentObservation expected;
    expected.timestamp = instantFromSeconds(1732200000.25);
    expected.systemUptime = 5000.5;
    expected.cpuUsage = 91.5;
    expected.memoryPressureState = MemoryPressureLevel::critical;
    expected.estimatedMemoryPressure = 64.5;
    expected.thermalState = "Serious";
    expected.uploadSpeed = 1500;
    expected.downloadSpeed = -1;
    expected.batteryPercentage = 57;
    expected.isCharging = false;
    expected.topCPUProcess = "compiler";
    expected.topCPUUsage = 180;
    expected.topRAMProcess = "browser";
    expected.topRAMBytes = 18446744073709551615u;
    const std::string line =
        R"({"timestamp":1732200000.25,"systemUptime":5000.5,"cpuUsage":91.5,"memoryPressureState":4,)"
        R"("estimatedMemoryPressure":64.5,"thermalState":"Serious","uploadSpeed":1500,"downloadSpeed":-1,)"
        R"("batteryPercentage":57,"isCharging":false,"topCPUProcess":"compiler","topCPUUsage":180,)"
        R"("topRAMProcess":"browser","topRAMBytes":18446744073709551615})";
    EXPECT_EQ(parsed(line), StreamLine(expected));
    EXPECT_EQ(streamLine(expected), line + "\n");
}

TEST(ObservationStream, whatIsMissingIsZeroAbsentOrNominal) {
    EXPECT_EQ(parsed(R"({"timestamp": 1732200000, "systemUptime": 5000})"), StreamLine(bare()));
    EXPECT_EQ(streamLine(bare()),
              R"({"timestamp":1732200000,"systemUptime":5000,"cpuUsage":0,"memoryPressureState":0,)"
              R"("estimatedMemoryPressure":0,"thermalState":"Nominal","uploadSpeed":0,"downloadSpeed":0,)"
              R"("topCPUUsage":0,"topRAMBytes":0})"
              "\n");
}

TEST(ObservationStream, nullIsMissing) {
    for (const char* name : {"cpuUsage", "memoryPressureState", "estimatedMemoryPressure", "thermalState",
                             "uploadSpeed", "downloadSpeed", "batteryPercentage", "isCharging",
                             "topCPUProcess", "topCPUUsage", "topRAMProcess", "topRAMBytes"}) {
        EXPECT_EQ(parsedWith("\"" + std::string(name) + "\": null"), StreamLine(bare())) << name;
    }
    EXPECT_EQ(parsed(R"({"timestamp": null, "systemUptime": 5000})"),
              StreamLine(BrokenLine{"timestamp is missing"}));
    EXPECT_EQ(parsed(R"({"timestamp": 1732200000, "systemUptime": null})"),
              StreamLine(BrokenLine{"systemUptime is missing"}));
}

TEST(ObservationStream, unknownFieldsArePassedOver) {
    for (const char* field : {R"("fanSpeed": 1200)", R"("CPUUsage": 90)", R"("": [{"timestamp": "x"}, []])",
                              R"("nested": {"cpuUsage": "x", "deeper": {"a": 1, "a": 2}})"}) {
        EXPECT_EQ(parsedWith(field), StreamLine(bare())) << field;
    }
}

TEST(ObservationStream, emptyTextsStayAsTheyAre) {
    IncidentObservation expected = bare();
    expected.thermalState = "";
    expected.topCPUProcess = "";
    EXPECT_EQ(parsedWith(R"("thermalState": "", "topCPUProcess": "")"), StreamLine(expected));
}

TEST(ObservationStream, blankLinesAreNothing) {
    for (const char* line : {"", " ", "\t", "\r", " \t \r", "\xEF\xBB\xBF", "\xEF\xBB\xBF\r"})
        EXPECT_EQ(parsed(line), StreamLine(BlankLine{}));
}

TEST(ObservationStream, aByteOrderMarkAndTheEndOfADosLineAreAccepted) {
    const std::string line = R"({"timestamp": 1732200000, "systemUptime": 5000})";
    EXPECT_EQ(parsed("\xEF\xBB\xBF" + line + "\r"), StreamLine(bare()));
}

struct Broken {
    std::string line;
    std::string problem;
};

class BrokenLineTest : public testing::TestWithParam<Broken> {};

TEST_P(BrokenLineTest, saysWhatIsWrong) {
    EXPECT_EQ(parsed(GetParam().line), StreamLine(BrokenLine{GetParam().problem})) << GetParam().line;
}

INSTANTIATE_TEST_SUITE_P(
    ObservationStream, BrokenLineTest,
    testing::Values(
        Broken{"cpu 90", "this is no JSON from byte 1 on"}, Broken{"{", "this is no JSON from byte 2 on"},
        Broken{"nan", "this is no JSON from byte 2 on"},
        Broken{R"({"timestamp": NaN})", "this is no JSON from byte 15 on"},
        Broken{R"({"timestamp": 1e999})", "a number is too large at byte 19"},
        Broken{R"({"timestamp": -1e999})", "a number is too large at byte 20"},
        Broken{R"({"timestamp": 1, "systemUptime": 1} {})", "this is no JSON from byte 37 on"},
        Broken{"{'timestamp': 1}", "this is no JSON from byte 2 on"},
        Broken{"{\"a\": \"\xff\"}", "this is no JSON from byte 8 on"},
        Broken{"{\"a\": \"\xed\xa0\x80\"}", "this is no JSON from byte 9 on"},
        Broken{R"({"a": "\ud800"})", "this is no JSON from byte 14 on"},
        Broken{"[]", "this is no JSON object"}, Broken{"3", "this is no JSON object"},
        Broken{"null", "this is no JSON object"}, Broken{"\"rules\"", "this is no JSON object"},
        Broken{R"([{"timestamp": 1, "systemUptime": 1}])", "this is no JSON object"},
        Broken{"{}", "timestamp is missing"}, Broken{R"({"systemUptime": 1})", "timestamp is missing"},
        Broken{R"({"timestamp": 1})", "systemUptime is missing"},
        Broken{R"({"timestamp": "1", "systemUptime": 1})", "timestamp must be a number"},
        Broken{R"({"timestamp": true, "systemUptime": 1})", "timestamp must be a number"},
        Broken{R"({"timestamp": [1], "systemUptime": 1})", "timestamp must be a number"},
        Broken{R"({"timestamp": 1, "systemUptime": {}})", "systemUptime must be a number"},
        Broken{R"({"timestamp": 1, "timestamp": 1, "systemUptime": 1})", "timestamp stands twice"},
        Broken{R"({"timestamp": 1, "systemUptime": 1, "x": 1, "x": 2})", "x stands twice"},
        Broken{R"({"timestamp": 1, "systemUptime": 1, "x\u001b\n": 1, "x\u001b\n": 2})", "x   stands twice"},
        Broken{R"({"rules": {}, "rules": {}})", "rules stands twice"},
        Broken{R"({"rules": {"cpuEnabled": true, "cpuEnabled": true}})", "cpuEnabled stands twice"},
        Broken{R"({"rules": {}, "timestamp": 1, "systemUptime": 1})",
               "rules and timestamp stand in one object"},
        Broken{R"({"timestamp": 1, "systemUptime": 1, "rules": null})",
               "rules and timestamp stand in one object"},
        Broken{R"({"rules": {"cpuEnable": false}})", "rules.cpuEnable is no rule"},
        Broken{"{\"" + std::string(100'000, 'x') + "\": 1, \"" + std::string(100'000, 'x') + "\": 2}",
               std::string(60, 'x') + "... stands twice"},
        Broken{R"({"rules": null})", "rules must be an object"},
        Broken{R"({"rules": [true]})", "rules must be an object"},
        Broken{R"({"rules": {"cpuEnabled": 1}})", "rules.cpuEnabled must be true or false"},
        Broken{R"({"rules": {"memoryEnabled": "true"}})", "rules.memoryEnabled must be true or false"},
        Broken{R"({"rules": {"thermalEnabled": {}}})", "rules.thermalEnabled must be true or false"}));

class BrokenFieldTest : public testing::TestWithParam<Broken> {};

TEST_P(BrokenFieldTest, saysWhatIsWrong) {
    EXPECT_EQ(parsedWith(GetParam().line), StreamLine(BrokenLine{GetParam().problem})) << GetParam().line;
}

INSTANTIATE_TEST_SUITE_P(
    ObservationStream, BrokenFieldTest,
    testing::Values(
        Broken{R"("cpuUsage": "90")", "cpuUsage must be a number"},
        Broken{R"("cpuUsage": {"percent": 90})", "cpuUsage must be a number"},
        Broken{R"("cpuUsage": "90", "topRAMBytes": -1)", "cpuUsage must be a number"},  // the first one
        Broken{R"("memoryPressureState": "normal")", "memoryPressureState must be 0, 1, 2 or 4"},
        Broken{R"("memoryPressureState": 3)", "memoryPressureState must be 0, 1, 2 or 4"},
        Broken{R"("memoryPressureState": -1)", "memoryPressureState must be 0, 1, 2 or 4"},
        Broken{R"("memoryPressureState": 4294967298)", "memoryPressureState must be 0, 1, 2 or 4"},
        Broken{R"("memoryPressureState": 2.5)", "memoryPressureState must be 0, 1, 2 or 4"},
        Broken{R"("estimatedMemoryPressure": [])", "estimatedMemoryPressure must be a number"},
        Broken{R"("thermalState": 2)", "thermalState must be a text"},
        Broken{R"("uploadSpeed": false)", "uploadSpeed must be a number"},
        Broken{R"("downloadSpeed": "0")", "downloadSpeed must be a number"},
        Broken{R"("batteryPercentage": 57.5)", "batteryPercentage must be a whole number"},
        Broken{R"("batteryPercentage": "57")", "batteryPercentage must be a whole number"},
        Broken{R"("batteryPercentage": 9223372036854775808)", "batteryPercentage must be a whole number"},
        Broken{R"("isCharging": 1)", "isCharging must be true or false"},
        Broken{R"("topCPUProcess": 7)", "topCPUProcess must be a text"},
        Broken{R"("topCPUUsage": "180")", "topCPUUsage must be a number"},
        Broken{R"("topRAMProcess": ["browser"])", "topRAMProcess must be a text"},
        Broken{R"("topRAMBytes": -1)", "topRAMBytes must be a whole number from 0 on"},
        Broken{R"("topRAMBytes": -1.0)", "topRAMBytes must be a whole number from 0 on"},
        Broken{R"("topRAMBytes": 1e30)", "topRAMBytes must be a whole number from 0 on"},
        Broken{R"("topRAMBytes": 1.5)", "topRAMBytes must be a whole number from 0 on"},
        Broken{R"("topRAMBytes": 18446744073709551616)", "topRAMBytes must be a whole number from 0 on"}));

TEST(ObservationStream, aNumberIsWrittenInItsShortestForm) {
    IncidentObservation observation;
    observation.timestamp = instantFromSeconds(1732203463.156443);
    observation.systemUptime = 1'800'000'000;
    observation.cpuUsage = 0.1;
    observation.estimatedMemoryPressure = 1e300;
    observation.uploadSpeed = 5e-9;
    observation.downloadSpeed = std::numeric_limits<double>::infinity();
    EXPECT_EQ(streamLine(observation),
              "{\"timestamp\":1732203463.156443,\"systemUptime\":1800000000,\"cpuUsage\":0.1,"
              "\"memoryPressureState\":0,\"estimatedMemoryPressure\":1e+300,\"thermalState\":\"\","
              "\"uploadSpeed\":5e-09,\"downloadSpeed\":null,\"topCPUUsage\":0,\"topRAMBytes\":0}\n");
}

TEST(ObservationStream, aWholeNumberMayBeWrittenWithAPoint) {
    const auto line =
        parsedWith(R"("memoryPressureState": 2.0, "batteryPercentage": -3.0, "topRAMBytes": 4e9)");
    const auto& observation = std::get<IncidentObservation>(line);
    EXPECT_EQ(observation.memoryPressureState, MemoryPressureLevel::warning);
    EXPECT_EQ(observation.batteryPercentage, -3);
    EXPECT_EQ(observation.topRAMBytes, 4'000'000'000U);
}

TEST(ObservationStream, theEndsOfWholeNumbersAreRead) {
    IncidentObservation expected = bare();
    expected.batteryPercentage = std::numeric_limits<std::int64_t>::max();
    expected.topRAMBytes = std::numeric_limits<std::uint64_t>::max();
    EXPECT_EQ(parsedWith(R"("batteryPercentage": 9223372036854775807, "topRAMBytes": 18446744073709551615)"),
              StreamLine(expected));
    expected.batteryPercentage = std::numeric_limits<std::int64_t>::min();
    expected.topRAMBytes = 0;
    EXPECT_EQ(parsedWith(R"("batteryPercentage": -9223372036854775808)"), StreamLine(expected));
}

TEST(ObservationStream, whatFollowsANulByteIsNotLost) {
    using namespace std::string_literals;
    EXPECT_EQ(parsed("{\"timestamp\": 1, \"systemUptime\": 1}\0 and more"s),
              StreamLine(BrokenLine{"there is a NUL byte in it"}));
    EXPECT_EQ(parsed("\0"s), StreamLine(BrokenLine{"there is a NUL byte in it"}));
}

TEST(ObservationStream, rulesThatALineDoesNotNameStayAsTheyAre) {
    const IncidentRuleConfiguration present{false, true, false};
    const auto rules = [&](std::string_view line) { return parseStreamLine(line, present); };
    EXPECT_EQ(rules(R"({"rules": {}})"), StreamLine(present));
    EXPECT_EQ(rules(R"({"rules": {"cpuEnabled": null}})"), StreamLine(present));
    EXPECT_EQ(rules(R"({"rules": {"cpuEnabled": true}})"),
              StreamLine(IncidentRuleConfiguration{true, true, false}));
    EXPECT_EQ(rules(R"({"rules": {"memoryEnabled": false, "thermalEnabled": true}})"),
              StreamLine(IncidentRuleConfiguration{false, false, true}));
    EXPECT_EQ(rules(R"({"rules": {"cpuEnabled": true, "memoryEnabled": true, "thermalEnabled": true}})"),
              StreamLine(allEnabled));
}

// What is nested deeper than a field is never built up, so no depth costs more than the text itself.
TEST(ObservationStream, depthAndLengthDoNoHarm) {
    constexpr std::size_t depth = 100'000;
    const std::string opened(depth, '[');
    EXPECT_TRUE(std::holds_alternative<BrokenLine>(parsed(opened)));
    EXPECT_EQ(parsed(opened + std::string(depth, ']')), StreamLine(BrokenLine{"this is no JSON object"}));
    EXPECT_EQ(parsedWith("\"x\": " + opened + std::string(depth, ']')), StreamLine(bare()));
    std::string objects;
    for (std::size_t i = 0; i < depth; ++i) objects += "{\"a\":";
    EXPECT_TRUE(std::holds_alternative<BrokenLine>(parsed(objects)));
    EXPECT_EQ(parsedWith("\"x\": " + objects + "1" + std::string(depth, '}')), StreamLine(bare()));

    IncidentObservation longName = bare();
    longName.topCPUProcess.emplace().append(10'000'000, 'x');
    EXPECT_EQ(parsed(streamLine(longName)), StreamLine(longName));
}

TEST(ObservationStream, aNameOfAnyBytesGivesALineThatCanBeRead) {
    IncidentObservation observation = bare();
    observation.topCPUProcess = "a\xff\n\x1b[31m";
    const std::string line = streamLine(observation);
    EXPECT_NE(line.find(R"("topCPUProcess":"a\ufffd\n\u001b[31m")"), std::string::npos) << line;
    observation.topCPUProcess = "a\xEF\xBF\xBD\n\x1b[31m";
    EXPECT_EQ(parsed(line), StreamLine(observation));
}

TEST(ObservationStream, aNumberThatIsNotFiniteIsWrittenAsMissing) {
    IncidentObservation observation = bare();
    observation.cpuUsage = std::numeric_limits<double>::infinity();
    observation.uploadSpeed = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(parsed(streamLine(observation)), StreamLine(bare()));
}

double anyFinite() {
    const auto anyBits = rc::gen::resize(rc::kNominalSize, rc::gen::arbitrary<std::uint64_t>());
    const double value =
        *rc::gen::oneOf(rc::gen::map(anyBits, [](std::uint64_t bits) { return std::bit_cast<double>(bits); }),
                        rc::gen::element(0.0, -0.0, 1.0, -1.0, 84.99, 85.0, 1732200000.0, 1732200000.123456,
                                         9007199254740991.0, 9007199254740992.0, 1e300, -1e300, 5e-324));
    return std::isfinite(value) ? value : 0.5;
}

std::string anyText() {
    using namespace std::string_literals;
    const auto pieces = *rc::gen::container<std::vector<std::string>>(
        rc::gen::element("a"s, " "s, "\""s, "\\"s, "\n"s, "\r"s, "\0"s, "\x1b"s, "\x7f"s, "ä"s, "\u2028"s,
                         "\uFEFF"s, "\uFFFF"s, "😀"s));
    std::string text;
    for (const std::string& piece : pieces) text += piece;
    return text;
}

IncidentObservation anyObservation() {
    IncidentObservation observation;
    observation.timestamp = instantFromSeconds(anyFinite());
    observation.systemUptime = anyFinite();
    observation.cpuUsage = anyFinite();
    observation.memoryPressureState = *rc::gen::elementOf(allMemoryPressureLevels);
    observation.estimatedMemoryPressure = anyFinite();
    observation.thermalState = anyText();
    observation.uploadSpeed = anyFinite();
    observation.downloadSpeed = anyFinite();
    if (*rc::gen::arbitrary<bool>()) observation.batteryPercentage = *rc::gen::arbitrary<std::int64_t>();
    if (*rc::gen::arbitrary<bool>()) observation.isCharging = *rc::gen::arbitrary<bool>();
    if (*rc::gen::arbitrary<bool>()) observation.topCPUProcess = anyText();
    observation.topCPUUsage = anyFinite();
    if (*rc::gen::arbitrary<bool>()) observation.topRAMProcess = anyText();
    observation.topRAMBytes = *rc::gen::arbitrary<std::uint64_t>();
    return observation;
}

/// The bits of the numbers that may have a fraction: a comparison of numbers does not tell 0 from -0.
std::vector<std::uint64_t> bitsOf(const IncidentObservation& o) {
    std::vector<std::uint64_t> bits;
    for (const double value : {secondsSince1970(o.timestamp), o.systemUptime, o.cpuUsage,
                               o.estimatedMemoryPressure, o.uploadSpeed, o.downloadSpeed, o.topCPUUsage}) {
        bits.push_back(std::bit_cast<std::uint64_t>(value));
    }
    return bits;
}

TEST(ObservationStream, everyObservationIsReadBackBitForBit) {
    EXPECT_TRUE(rc::check([] {
        for (int i = 0; i < 20; ++i) {
            const IncidentObservation observation = anyObservation();
            std::string line = streamLine(observation);
            RC_ASSERT(line.find('\n') == line.size() - 1);
            line.pop_back();
            const StreamLine read = parseStreamLine(line, allEnabled);
            const auto* const again = std::get_if<IncidentObservation>(&read);
            RC_ASSERT(again != nullptr);
            RC_ASSERT(*again == observation);
            RC_ASSERT(bitsOf(*again) == bitsOf(observation));
        }
    }));
}

IncidentTimelineSample rowAt(double seconds, double cpuUsage) {
    IncidentTimelineSample row;
    row.timestamp = instantFromSeconds(seconds);
    row.cpuUsage = cpuUsage;
    return row;
}

TEST(ObservationStream, rowsOfTheStoreHaveOneTimeForBothClocks) {
    IncidentTimelineSample row = rowAt(1732200000, 91.5);
    row.memoryPressure = 64.5;
    row.memoryPressureState = MemoryPressureLevel::warning;
    row.uploadSpeed = 1500;
    row.downloadSpeed = 2500;
    row.batteryPercentage = 57;
    row.isCharging = true;
    row.thermalState = "Fair";
    row.topCPUProcess = "compiler";
    row.topCPUUsage = 180;
    row.topRAMProcess = "browser";
    row.topRAMBytes = 2'000'000'000;
    EXPECT_EQ(
        streamOf({row}),
        R"({"timestamp":1732200000,"systemUptime":1732200000,"cpuUsage":91.5,"memoryPressureState":2,)"
        R"("estimatedMemoryPressure":64.5,"thermalState":"Fair","uploadSpeed":1500,"downloadSpeed":2500,)"
        R"("batteryPercentage":57,"isCharging":true,"topCPUProcess":"compiler","topCPUUsage":180,)"
        R"("topRAMProcess":"browser","topRAMBytes":2000000000})"
        "\n");
}

TEST(ObservationStream, whatARowDoesNotHaveIsLeftOut) {
    EXPECT_EQ(streamOf({rowAt(1732200000, 25)}),
              R"({"timestamp":1732200000,"systemUptime":1732200000,"cpuUsage":25,"memoryPressureState":0,)"
              R"("estimatedMemoryPressure":0,"thermalState":"Unknown","uploadSpeed":0,"downloadSpeed":0,)"
              R"("topCPUUsage":0,"topRAMBytes":0})"
              "\n");
    EXPECT_EQ(streamOf({}), "");
}

TEST(ObservationStream, ofTwoRowsInOneSecondTheLaterIsLeftOut) {
    const std::vector<IncidentTimelineSample> rows = {rowAt(100, 1), rowAt(100, 2), rowAt(100, 3),
                                                      rowAt(110, 4), rowAt(120, 5), rowAt(120, 6)};
    EXPECT_EQ(streamOf(rows), streamOf({rowAt(100, 1), rowAt(110, 4), rowAt(120, 5)}));
}

}  // namespace
}  // namespace corvanta
