// SPDX-License-Identifier: Apache-2.0
#include "incidents/replay/IncidentReplay.h"

#include <utility>

#include "incidents/model/IncidentStateMachine.h"
#include "incidents/replay/ObservationStream.h"
#include "incidents/replay/StreamJson.h"

namespace corvanta {
namespace {

using namespace incident_transition;

StreamJson jsonOf(Instant instant) {
    return streamNumber(secondsSince1970(instant));
}

StreamJson transitionJson(Instant timestamp, const char* name, const ActiveIncidentState& state) {
    return {{"timestamp", jsonOf(timestamp)},
            {"transition", name},
            {"kind", rawValue(state.kind)},
            {"severity", rawValue(state.severity)},
            {"startedAt", jsonOf(state.startedAt)}};
}

/// Writes each transition with what only that one tells.
struct TransitionWriter {
    Instant timestamp;

    std::string operator()(const Started& t) const {
        return lineOf(transitionJson(timestamp, "started", t.state));
    }
    std::string operator()(const Changed& t) const {
        return lineOf(transitionJson(timestamp, "changed", t.state));
    }
    std::string operator()(const RecoveryStarted& t) const {
        StreamJson json = transitionJson(timestamp, "recoveryStarted", t.state);
        json["recoveryStartedAt"] = jsonOf(t.startedAt);
        return lineOf(json);
    }
    std::string operator()(const RecoveryCancelled& t) const {
        return lineOf(transitionJson(timestamp, "recoveryCancelled", t.state));
    }
    std::string operator()(const Ended& t) const {
        StreamJson json = transitionJson(timestamp, "ended", t.state);
        json["endedAt"] = jsonOf(t.endedAt);
        return lineOf(json);
    }
    std::string operator()(const None&) const { return ""; }
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
