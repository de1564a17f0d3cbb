// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

#include "core/ThreadChecker.h"
#include "incidents/model/IncidentStateMachine.h"
#include "settings/AppSettings.h"
#include "storage/DatabaseManager.h"

namespace corvanta {

/// Feeds the state machine and writes what it decides, one write for each transition. It decides nothing and
/// tells nobody: readers learn of incidents from the store.
///
/// The shared instance lives until the process ends. What is open lives in memory only: at a start nothing
/// is, and the store closes what the last run left. Main thread only. A row that could not be made leaves its
/// incident without a trace, and no other failure of the store is seen here.
class IncidentDetector {
  public:
    /// Both outlive the detector. The rules are read from the settings at each sample.
    IncidentDetector(DatabaseManager& database, const AppSettings& settings);

    static IncidentDetector& shared();

    /// Once a monitoring cycle, with its sample.
    void observe(const IncidentObservation& observation);

    /// After `observe`, in the cycles whose sample went into history: adds it to the evidence of the open
    /// incident. So evidence and history are made of the same samples.
    void recordPersistedObservation(const IncidentObservation& observation);

  private:
    const ThreadChecker thread_;
    DatabaseManager& database_;
    const AppSettings& settings_;

    IncidentStateMachine stateMachine_;
    std::optional<std::int64_t> activeIncidentID_;
};

}  // namespace corvanta
