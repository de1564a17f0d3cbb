// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "monitoring/PublishSink.h"
#include "storage/DatabaseManager.h"

namespace corvanta {

/// What the running program does with each published sample: it keeps it.
///
/// Owned by main() and outlives the monitor. Main thread only.
class ProgramSink final : public PublishSink {
  public:
    explicit ProgramSink(DatabaseManager& database);

    void insertSnapshot(const SnapshotValues& values) override;

  private:
    DatabaseManager& database_;
};

}  // namespace corvanta
