// SPDX-License-Identifier: Apache-2.0
#include "storage/SnapshotRows.h"

namespace corvanta {

std::vector<SystemSnapshot> readSnapshots(Statement& select) {
    std::vector<SystemSnapshot> rows;
    if (!select) return rows;
    while (select.nextRow()) {
        SystemSnapshot& row = rows.emplace_back();
        row.timestamp = select.integer(0);
        row.cpuUsage = select.real(1);
        row.ramUsage = select.real(2);
        row.diskFree = select.real(3);
        row.uploadSpeed = select.real(4);
        row.downloadSpeed = select.real(5);
        row.memoryPressure = select.real(6);
        row.memoryPressureState =
            memoryPressureLevelFromRaw(select.integer(7)).value_or(MemoryPressureLevel::unavailable);
        row.thermalState = select.text(8);
        row.topCPUProcess = select.text(9);
        row.topCPUUsage = select.real(10);
    }
    return rows;
}

}  // namespace corvanta
