// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <unistd.h>

#include <vector>

#include "ctl/CtlTest.h"
#include "incidents/IncidentStreams.h"
#include "incidents/replay/ObservationStream.h"

namespace corvanta::test {
namespace {

constexpr const char* fixtures = CORVANTA_FIXTURES "/replay/";
constexpr const char* goldens = CORVANTA_FIXTURES "/../golden/replay/";
constexpr const char* document = CORVANTA_FIXTURES "/../../docs/replay.md";

class ReplayTest : public CtlTest {
  protected:
    Finished replay(const std::string& stream) const {
        return ctl("replay " + files_.write("stream.jsonl", stream));
    }
    void expectFailure(const Finished& finished, const std::string& reason) const {
        EXPECT_EQ(finished.exitCode, 1);
        EXPECT_EQ(finished.out, "");
        EXPECT_EQ(finished.err, "corvantactl: " + reason + "\n");
    }

    TempDirectory files_;
};

class RecordedStreamTest : public ReplayTest, public testing::WithParamInterface<const char*> {};

TEST_P(RecordedStreamTest, isDecidedAsTheRulesSay) {
    const std::string name = std::string(GetParam()) + ".jsonl";
    const std::string expected = readFile(goldens + name);
    ASSERT_NE(expected, "");
    const Finished finished = ctl("replay " + (fixtures + name));
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(finished.out, expected);
    EXPECT_EQ(finished.err, "");
}

INSTANTIATE_TEST_SUITE_P(ReplayTest, RecordedStreamTest,
                         testing::Values("after-a-gap", "broken-run", "combined", "combined-threshold",
                                         "cpu-threshold", "first-observation", "gaps", "heat-joins-cpu",
                                         "memory-ends", "memory-outlasts-heat", "recovery",
                                         "rule-switched-off", "severity-without-rule", "sixty-seconds",
                                         "thermal"));

/// The texts between the fences of a document.
std::vector<std::string> fencedTexts(const std::string& text) {
    std::vector<std::string> fenced;
    const std::string opening = "\n```json\n";
    for (std::size_t at = text.find(opening); at != std::string::npos; at = text.find(opening, at)) {
        at += opening.size();
        fenced.push_back(text.substr(at, text.find("```", at) - at));
    }
    return fenced;
}

TEST_F(ReplayTest, theDocumentsExampleHolds) {
    const std::string text = readFile(document);
    const auto example = fencedTexts(text.substr(text.find("## Example")));
    ASSERT_EQ(example.size(), 2u);
    EXPECT_EQ(replay(example[0]).out, example[1]);
}

TEST_F(ReplayTest, aDashIsStandardInput) {
    Program program(CORVANTACTL_PROGRAM, words("replay -"), user_.environment());
    program.answer(readFile(std::string(fixtures) + "recovery.jsonl"));
    EXPECT_EQ(program.exitCode(), 0);
    EXPECT_EQ(program.output(), readFile(std::string(goldens) + "recovery.jsonl"));
    EXPECT_EQ(program.errors(), "");
}

TEST_F(ReplayTest, jsonIsItsOnlyForm) {
    const std::string stream = std::string(fixtures) + "thermal.jsonl";
    EXPECT_EQ(ctl("replay --json " + stream).out, readFile(std::string(goldens) + "thermal.jsonl"));
}

TEST_F(ReplayTest, anEmptyStreamSaysNothing) {
    for (const char* stream : {"", "\n"}) {
        const Finished finished = replay(stream);
        EXPECT_EQ(finished.exitCode, 0);
        EXPECT_EQ(finished.out, "");
        EXPECT_EQ(finished.err, "");
    }
}

TEST_F(ReplayTest, nothingIsWrittenWhenTheLastLineIsBroken) {
    const std::string good = readFile(std::string(fixtures) + "thermal.jsonl");
    const auto lines = std::count(good.begin(), good.end(), '\n');
    const std::string next = "line " + std::to_string(lines + 1);
    expectFailure(replay(good + R"({"timestamp": 1732200300})"), next + ": systemUptime is missing");
    expectFailure(replay(good + R"({"timestamp": 1732200300, "sys)"),
                  next + ": this is no JSON from byte 31 on");
    expectFailure(replay(good + "{\"rules\": true}\n\n"), next + ": rules must be an object");
    expectFailure(replay(good + std::string("\0", 1)), next + ": there is a NUL byte in it");
}

// Each bracket must cost neither a step of the stack nor memory.
TEST_F(ReplayTest, deepAndLongLinesDoNoHarm) {
    const Finished deep = replay(std::string(1'000'000, '['));
    expectFailure(deep, "line 1: this is no JSON from byte 1000001 on");
    std::string stream =
        R"({"timestamp": 1, "systemUptime": 1, "thermalState": "Serious"})"
        "\n"
        R"({"timestamp": 11, "systemUptime": 11, "thermalState": "Serious", "topCPUProcess": ")";
    stream.append(10'000'000, 'x').append("\"}\n");
    const Finished finished = replay(stream);
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(finished.out,
              R"({"timestamp":11,"transition":"started","kind":"thermal","severity":1,"startedAt":1})"
              "\n");
}

TEST_F(ReplayTest, daysOfObservationsAreReplayed) {
    constexpr int count = 200'000;
    std::string stream;
    for (int i = 0; i < count; ++i) {
        IncidentObservation observation = calmAt(2 * i);
        if (i % 200 < 100) observation.cpuUsage = 90;
        stream += streamLine(observation);
    }
    const Finished finished = replay(stream);
    EXPECT_EQ(finished.exitCode, 0);
    // Each busy stretch starts an incident, which recovers and ends in the calm one.
    EXPECT_EQ(std::count(finished.out.begin(), finished.out.end(), '\n'), count / 200 * 3);
}

TEST_F(ReplayTest, aFileThatCannotBeReadIsNamed) {
    const std::string missing = files_.file("missing.jsonl");
    expectFailure(ctl("replay " + missing), "Could not read " + missing + ": No such file or directory");
    const std::string folder = files_.path().string();
    expectFailure(ctl("replay " + folder), "Could not read " + folder + ": Is a directory");
    const std::string unreadable = files_.write("unreadable.jsonl", "");
    std::filesystem::permissions(unreadable, std::filesystem::perms::none);
    expectFailure(ctl("replay " + unreadable, becomeUnknownAccount),
                  "Could not read " + unreadable + ": Permission denied");
    expectFailure(ctl("replay -", [] { ::close(STDIN_FILENO); }),
                  "Could not read standard input: Bad file descriptor");
}

TEST_F(ReplayTest, outputThatCannotBeWrittenIsAFailure) {
    expectFailure(ctl("replay " + (fixtures + std::string("thermal.jsonl")),
                      [] { ::dup2(::open("/dev/full", O_WRONLY), STDOUT_FILENO); }),
                  "Could not write: No space left on device");
}

}  // namespace
}  // namespace corvanta::test
