// SPDX-License-Identifier: Apache-2.0
#include "shell/ProgramSink.h"

namespace corvanta {

ProgramSink::ProgramSink(DatabaseManager& database, IncidentDetector& detector)
    : database_(database), detector_(detector) {}

void ProgramSink::observe(const IncidentObservation& observation) {
    detector_.observe(observation);
}

void ProgramSink::insertSnapshot(const SnapshotValues& values) {
    database_.insertSnapshot(values);
}

void ProgramSink::recordPersistedObservation(const IncidentObservation& observation) {
    detector_.recordPersistedObservation(observation);
}

bool ProgramSink::isRecording() {
    return database_.isRecording();
}

void ProgramSink::insertSessionSample(const SessionSampleValues& values) {
    database_.insertSessionSample(values);
}

}  // namespace corvanta
