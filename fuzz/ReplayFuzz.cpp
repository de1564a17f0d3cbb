// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string>

#include "incidents/model/IncidentStateMachine.h"
#include "incidents/replay/IncidentReplay.h"
#include "incidents/replay/ObservationStream.h"

using namespace corvanta;

namespace {

using namespace incident_transition;

void require(bool condition) {
    if (!condition) std::abort();
}

/// Holds every transition against what no stream, however odd, may lead to.
class Witness {
  public:
    void see(const IncidentObservation& observation) {
        now_ = observation.timestamp;
        uptime_ = observation.systemUptime;
        firstUptime_ = std::min(firstUptime_, uptime_);
    }
    void operator()(const Started& t) {
        require(!open_);
        require(uptime_ - firstUptime_ >= IncidentStateMachine::thermalSustainedDuration);
        require(t.state.startedAt < now_);
        open_ = t.state;
    }
    void operator()(const Changed& t) {
        require(open_ && t.state != *open_);
        follow(t.state);
    }
    void operator()(const RecoveryStarted& t) {
        require(!isRecovering_ && t.startedAt == now_);
        follow(t.state);
        isRecovering_ = true;
    }
    void operator()(const RecoveryCancelled& t) {
        require(isRecovering_);
        follow(t.state);
        isRecovering_ = false;
    }
    void operator()(const Ended& t) {
        follow(t.state);
        require(t.endedAt > t.state.startedAt);
        open_.reset();
        isRecovering_ = false;
    }
    void operator()(const None&) const {}

  private:
    void follow(const ActiveIncidentState& state) {
        require(open_.has_value());
        require(state.startedAt == open_->startedAt);
        require(state.severity >= open_->severity);
        require(state.kind == open_->kind || state.kind == IncidentKind::combined);
        open_ = state;
    }

    Instant now_;
    double uptime_ = 0;
    double firstUptime_ = std::numeric_limits<double>::infinity();
    std::optional<ActiveIncidentState> open_;
    bool isRecovering_ = false;
};

void requireReadBack(const IncidentObservation& observation) {
    std::string line = streamLine(observation);
    line.pop_back();
    require(parseStreamLine(line, {}) == StreamLine(observation));
}

}  // namespace

// A stream may come from anyone: whatever it holds, it is read or refused, and the engine keeps its promises.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string stream(data, data + size);
    IncidentStateMachine machine;
    IncidentRuleConfiguration rules;
    Witness witness;
    std::string output;
    std::size_t number = 0;
    for (std::size_t begin = 0; begin < size; ++number) {
        const std::size_t end = std::min(stream.find('\n', begin), size);
        const StreamLine line = parseStreamLine(std::string_view(stream).substr(begin, end - begin), rules);
        begin = end + 1;
        if (const auto* const broken = std::get_if<BrokenLine>(&line)) {
            require(!broken->problem.empty());
            const BrokenStream expected{number + 1, broken->problem};
            require(replayedStream(stream) == std::variant<std::string, BrokenStream>(expected));
            return 0;
        }
        if (const auto* const given = std::get_if<IncidentRuleConfiguration>(&line)) rules = *given;
        const auto* const observation = std::get_if<IncidentObservation>(&line);
        if (observation == nullptr) continue;
        requireReadBack(*observation);
        witness.see(*observation);
        const IncidentTransition transition = machine.ingest(*observation, rules);
        std::visit(witness, transition);
        output += transitionLine(observation->timestamp, transition);
    }
    require(replayedStream(stream) == std::variant<std::string, BrokenStream>(output));
    return 0;
}
