// SPDX-License-Identifier: Apache-2.0
// The state machine against a second one that keeps the whole history and works every answer out of it anew.
#include <gtest/gtest.h>

#include <rapidcheck.h>
#include <algorithm>
#include <functional>
#include <map>
#include <ostream>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "incidents/IncidentStreams.h"

namespace corvanta {
namespace {

using namespace incident_transition;

struct Sample {
    IncidentObservation observation;
    IncidentRuleConfiguration rules;
};

double uptimeOf(const Sample& sample) {
    return sample.observation.systemUptime;
}
bool isPressed(const Sample& sample) {
    const auto level = sample.observation.memoryPressureState;
    return level == MemoryPressureLevel::warning || level == MemoryPressureLevel::critical;
}
std::string lower(std::string word) {
    std::transform(word.begin(), word.end(), word.begin(), [](char c) { return std::tolower(c); });
    return word;
}
bool isHot(const Sample& sample) {
    const std::string word = lower(sample.observation.thermalState);
    return word == "serious" || word == "critical";
}
bool isCPU(const Sample& sample) {
    return sample.rules.cpuEnabled && sample.observation.cpuUsage >= 85;
}
bool isMemory(const Sample& sample) {
    return sample.rules.memoryEnabled && isPressed(sample);
}
bool isBoth(const Sample& sample) {
    return sample.rules.cpuEnabled && sample.rules.memoryEnabled && sample.observation.cpuUsage >= 70 &&
           isPressed(sample);
}
bool isThermal(const Sample& sample) {
    return sample.rules.thermalEnabled && isHot(sample);
}
bool isCalm(const Sample& sample) {
    return (!sample.rules.cpuEnabled || sample.observation.cpuUsage < 70) && !isMemory(sample) &&
           !isThermal(sample);
}
IncidentSeverity severityOf(const Sample& sample) {
    const auto& o = sample.observation;
    const bool isCritical = o.cpuUsage >= 95 || o.memoryPressureState == MemoryPressureLevel::critical ||
                            lower(o.thermalState) == "critical";
    return isCritical ? IncidentSeverity::critical : IncidentSeverity::warning;
}
bool isGap(const Sample& before, const Sample& after) {
    const double up = uptimeOf(after) - uptimeOf(before);
    const double wall =
        secondsSince1970(after.observation.timestamp) - secondsSince1970(before.observation.timestamp);
    return up <= 0 || wall <= 0 || up > 30 || wall > 30;
}

/// Keeps every sample since the last one that all conditions begin anew after.
class SlowMachine {
  public:
    IncidentTransition ingest(const Sample& sample) {
        if (last_ && isGap(*last_, sample)) {
            const auto open = stateBefore(history_.size());
            const Instant lastDate = last_->observation.timestamp;
            history_ = {sample};
            last_ = sample;
            opening_.reset();
            if (open) return Ended{*open, lastDate};
            return None{};
        }
        history_.push_back(sample);
        last_ = sample;
        const std::size_t now = history_.size() - 1;
        if (!opening_) {
            if (!kindAt(now)) return None{};
            opening_ = now;
            return Started{*stateBefore(now + 1)};
        }
        const ActiveIncidentState before = *stateBefore(now);
        const ActiveIncidentState state = *stateBefore(now + 1);
        const auto calmBefore = calmStart(now);
        const auto calm = calmStart(now + 1);
        if (!calm && calmBefore) return RecoveryCancelled{state};
        if (calm && !calmBefore) return RecoveryStarted{state, history_[*calm].observation.timestamp};
        if (calm && uptimeOf(sample) - uptimeOf(history_[*calm]) >= 90) {
            const Ended ended{state, history_[*calm].observation.timestamp};
            history_.clear();
            opening_.reset();
            return ended;
        }
        if (before == state) return None{};
        return Changed{state};
    }

  private:
    using Condition = bool (*)(const Sample&);

    /// Where the unbroken run of a condition that reaches to `now` began.
    std::optional<std::size_t> runStart(std::size_t now, Condition holds) const {
        std::optional<std::size_t> start;
        for (std::size_t i = 0; i <= now; ++i) {
            if (!holds(history_[i])) {
                start.reset();
            } else if (!start) {
                start = i;
            }
        }
        return start;
    }
    /// The same, of a run that has lasted long enough.
    std::optional<std::size_t> sustainedStart(std::size_t now, Condition holds, double duration) const {
        const auto start = runStart(now, holds);
        if (start && uptimeOf(history_[now]) - uptimeOf(history_[*start]) >= duration) return start;
        return std::nullopt;
    }
    std::optional<IncidentKind> kindAt(std::size_t now) const {
        const bool cpu = sustainedStart(now, isCPU, 60).has_value();
        const bool memory = sustainedStart(now, isMemory, 60).has_value();
        if (sustainedStart(now, isBoth, 60) || (cpu && memory)) return IncidentKind::combined;
        if (sustainedStart(now, isThermal, 10)) return IncidentKind::thermal;
        if (memory) return IncidentKind::memory;
        if (cpu) return IncidentKind::cpu;
        return std::nullopt;
    }
    /// The open incident after the samples before `end`.
    std::optional<ActiveIncidentState> stateBefore(std::size_t end) const {
        if (!opening_ || end <= *opening_) return std::nullopt;
        std::optional<Instant> start;
        for (const auto& [condition, duration] : {std::pair<Condition, double>{isCPU, 60.0},
                                                  {isMemory, 60.0},
                                                  {isBoth, 60.0},
                                                  {isThermal, 10.0}}) {
            const auto from = sustainedStart(*opening_, condition, duration);
            if (!from) continue;
            const Instant date = history_[*from].observation.timestamp;
            if (!start || date < *start) start = date;
        }
        ActiveIncidentState state{*start, *kindAt(*opening_), severityOf(history_[*opening_])};
        for (std::size_t i = *opening_ + 1; i < end; ++i) {
            if (kindAt(i).value_or(state.kind) != state.kind) state.kind = IncidentKind::combined;
            if (severityOf(history_[i]) == IncidentSeverity::critical) {
                state.severity = IncidentSeverity::critical;
            }
        }
        return state;
    }
    /// Where the calm began that reaches to the last sample before `end`. The opening sample is none.
    std::optional<std::size_t> calmStart(std::size_t end) const {
        std::optional<std::size_t> start;
        for (std::size_t i = end; i > *opening_ + 1 && isCalm(history_[i - 1]); --i) start = i - 1;
        return start;
    }

    std::vector<Sample> history_;
    std::optional<Sample> last_;
    std::optional<std::size_t> opening_;
};

/// A stretch of samples that are alike.
struct Stretch {
    int count;
    double cpu;
    int level;
    int word;
    int step;
    int rules;
};

std::ostream& operator<<(std::ostream& out, const Stretch& s) {
    return out << s.count << " of cpu " << s.cpu << ", level " << s.level << ", word " << s.word << ", step "
               << s.step << ", rules " << s.rules;
}

std::vector<Sample> samplesOf(const std::vector<Stretch>& stretches) {
    static const char* const words[] = {"Nominal", "Fair", "Serious", "CRITICAL", "Unknown"};
    static constexpr MemoryPressureLevel levels[] = {
        MemoryPressureLevel::unavailable, MemoryPressureLevel::normal, MemoryPressureLevel::warning,
        MemoryPressureLevel::critical};
    // On the uptime and on the wall clock.
    static constexpr double steps[][2] = {{10, 10}, {2, 2},     {30, 30},    {15, 15},    {29.99, 30},
                                          {5, 5},   {20, 20},   {30.01, 30}, {30, 30.01}, {0, 2},
                                          {2, 0},   {2, -3600}, {2, 3600},   {-1, 2}};
    std::vector<Sample> samples;
    double uptime = 1000;
    double wall = 1'700'000'000;
    for (const Stretch& stretch : stretches) {
        for (int i = 0; i < stretch.count; ++i) {
            // The odd steps come once, at the beginning of a stretch.
            const auto& step = steps[i == 0 || stretch.step < 7 ? stretch.step : 0];
            uptime += step[0];
            wall += step[1];
            IncidentObservation observation = test::calmAt(uptime);
            observation.timestamp = instantFromSeconds(wall);
            observation.cpuUsage = stretch.cpu;
            observation.memoryPressureState = levels[stretch.level];
            observation.thermalState = words[stretch.word];
            samples.push_back(
                {observation,
                 {(stretch.rules & 1) == 0, (stretch.rules & 2) == 0, (stretch.rules & 4) == 0}});
        }
    }
    return samples;
}

rc::Gen<Stretch> anyStretch() {
    using namespace rc;
    const auto step = gen::weightedElement<int>({{40, 0},
                                                 {6, 1},
                                                 {6, 2},
                                                 {6, 3},
                                                 {3, 4},
                                                 {3, 5},
                                                 {3, 6},
                                                 {1, 7},
                                                 {1, 8},
                                                 {1, 9},
                                                 {1, 10},
                                                 {1, 11},
                                                 {1, 12},
                                                 {1, 13}});
    return gen::build<Stretch>(
        gen::set(&Stretch::count,
                 gen::weightedElement<int>({{4, 1}, {2, 2}, {2, 4}, {3, 7}, {3, 8}, {3, 11}})),
        gen::set(&Stretch::cpu, gen::element(0.0, 69.99, 70.0, 70.01, 84.99, 85.0, 90.0, 94.99, 95.0, 100.0)),
        gen::set(&Stretch::level, gen::element(0, 1, 2, 3)),
        gen::set(&Stretch::word, gen::weightedElement<int>({{4, 0}, {1, 1}, {1, 2}, {1, 3}, {1, 4}})),
        gen::set(&Stretch::step, step),
        gen::set(&Stretch::rules, gen::weightedElement<int>({{12, 0}, {1, 1}, {1, 2}, {1, 4}, {1, 7}})));
}

/// How often the streams led to what.
struct Coverage {
    int streams = 0;
    std::map<std::pair<std::size_t, IncidentKind>, int> transitions;
    int gapsInRecovery = 0;
};

std::string firstDifference(const std::vector<Sample>& samples, Coverage& coverage) {
    ++coverage.streams;
    IncidentStateMachine machine;
    SlowMachine slow;
    bool isRecovering = false;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const auto actual = machine.ingest(samples[i].observation, samples[i].rules);
        const auto expected = slow.ingest(samples[i]);
        std::visit(
            [&](const auto& transition) {
                using Transition = std::decay_t<decltype(transition)>;
                if constexpr (!std::is_same_v<Transition, None>)
                    ++coverage.transitions[{expected.index(), transition.state.kind}];
                if constexpr (std::is_same_v<Transition, Ended>) {
                    const bool isByGap = i > 0 && transition.endedAt == samples[i - 1].observation.timestamp;
                    if (isRecovering && isByGap) ++coverage.gapsInRecovery;
                }
                if constexpr (!std::is_same_v<Transition, None> && !std::is_same_v<Transition, Changed>)
                    isRecovering = std::is_same_v<Transition, RecoveryStarted>;
            },
            expected);
        if (actual != expected) {
            return "sample " + std::to_string(i) + ": " + test::describe(actual) + " instead of " +
                   test::describe(expected);
        }
    }
    return "";
}

}  // namespace

TEST(IncidentStateMachine, agreesWithASlowMachineThatKeepsTheHistory) {
    Coverage coverage;
    // A hundred times so many. Without the fixed size the first ones would be short and much alike.
    constexpr int streams = 200;
    EXPECT_TRUE(rc::check([&] {
        for (int i = 0; i < streams; ++i) {
            const auto length = *rc::gen::resize(rc::kNominalSize, rc::gen::inRange<std::size_t>(1, 7));
            const auto stretches = *rc::gen::resize(
                rc::kNominalSize, rc::gen::container<std::vector<Stretch>>(length, anyStretch()));
            RC_ASSERT(firstDifference(samplesOf(stretches), coverage) == "");
        }
    }));
    // Streams in which nothing happens would prove nothing.
    EXPECT_GE(coverage.streams, 20'000);
    EXPECT_GT(coverage.gapsInRecovery, 100);
    for (std::size_t transition = 0; transition + 1 < std::variant_size_v<IncidentTransition>; ++transition) {
        for (const IncidentKind kind : allIncidentKinds) {
            EXPECT_GT((coverage.transitions[{transition, kind}]), 100)
                << "transition " << transition << " of " << rawValue(kind);
        }
    }
}

}  // namespace corvanta
