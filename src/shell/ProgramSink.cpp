// SPDX-License-Identifier: Apache-2.0
#include "shell/ProgramSink.h"

namespace corvanta {

ProgramSink::ProgramSink(DatabaseManager& database) : database_(database) {}

void ProgramSink::insertSnapshot(const SnapshotValues& values) {
    database_.insertSnapshot(values);
}

}  // namespace corvanta
