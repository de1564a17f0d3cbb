// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "incidents/IncidentDetector.h"
#include "monitoring/PublishSink.h"
#include "storage/DatabaseManager.h"

namespace corvanta {

/// What the running program does with each published sample: it keeps it, and watches it for
/// incidents.
///
/// Owned by main() and outlives the monitor. Main thread only. Nothing here fails: what the
/// store can't take is lost.
class ProgramSink final : public PublishSink {
  public:
    /// Both outlive the sink.
    ProgramSink(DatabaseManager& database, IncidentDetector& detector);

    void observe(const IncidentObservation& observation) override;
    void insertSnapshot(const SnapshotValues& values) override;
    void recordPersistedObservation(const IncidentObservation& observation) override;
    bool isRecording() override;
    void insertSessionSample(const SessionSampleValues& values) override;

  private:
    DatabaseManager& database_;
    IncidentDetector& detector_;
};

}  // namespace corvanta
