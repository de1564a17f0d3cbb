// SPDX-License-Identifier: Apache-2.0
#include "incidents/replay/IncidentReplay.h"

#include <utility>

#include "incidents/model/IncidentStateMachine.h"
#include "incidents/replay/ObservationStream.h"
#include "incidents/replay/StreamJson.h"

namespace corvanta {
namespace {

using namespace incident_transition;

/// Writes each transition with what only that one tells.
struct TransitionWriter {
    Instant timestamp;

    std::string operator()(const Started& t) const { return start("started", t.state).line(); }
    std::string operator()(const Changed& t) const { return start("changed", t.state).line(); }
    std::string operator()(const RecoveryStarted& t) const {
        StreamJson json = start("recoveryStarted", t.state);
        json.add("recoveryStartedAt", secondsSince1970(t.startedAt));
        return json.line();
    }
    std::string operator()(const RecoveryCancelled& t) const {
        return start("recoveryCancelled", t.state).line();
    }
    std::string operator()(const Ended& t) const {
        StreamJson json = start("ended", t.state);
        json.add("endedAt", secondsSince1970(t.endedAt));
        return json.line();
    }
    std::string operator()(const None&) const { return ""; }

  private:
    StreamJson start(std::string_view name, const ActiveIncidentState& state) const {
        StreamJson json;
        json.add("timestamp", secondsSince1970(timestamp));
        json.add("transition", name);
        json.add("kind", rawValue(state.kind));
        json.add("severity", rawValue(state.severity));
        json.add("startedAt", secondsSince1970(state.startedAt));
        return json;
    }
};

}  // namespace

std::variant<std::string, BrokenStream> replayedStream(std::string_view stream) {
    IncidentStateMachine machine;
    IncidentRuleConfiguration rules = IncidentRuleConfiguration::allEnabled();
    std::string output;
    for (std::size_t number = 1; !stream.empty(); ++number) {
        const std::size_t end = stream.find('\n');
        StreamLine line = parseStreamLine(stream.substr(0, end), rules);
        if (auto* const broken = std::get_if<BrokenLine>(&line))
            return BrokenStream{number, std::move(broken->problem)};
        if (const auto* const given = std::get_if<IncidentRuleConfiguration>(&line)) rules = *given;
        if (const auto* const observation = std::get_if<IncidentObservation>(&line))
            output += transitionLine(observation->timestamp, machine.ingest(*observation, rules));
        stream.remove_prefix(end == std::string_view::npos ? stream.size() : end + 1);
    }
    return output;
}

std::string transitionLine(Instant timestamp, const IncidentTransition& transition) {
    return std::visit(TransitionWriter{timestamp}, transition);
}

}  // namespace corvanta
