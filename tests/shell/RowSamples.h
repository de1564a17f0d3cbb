// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "shell/StatusRowBuilder.h"

namespace corvanta::test {

/// The row of an ordinary machine, with what a test wants to see changed.
inline StatusRow sampleRow(double cpuPercent = 42, MemoryPressureLevel level = MemoryPressureLevel::normal,
                           const QString& pressureText = QStringLiteral("Normal"),
                           Appearance appearance = Appearance::dark) {
    return buildStatusRow({.cpuPercent = cpuPercent,
                           .ramText = QStringLiteral("61%"),
                           .pressureLevel = level,
                           .pressureText = pressureText},
                          appearance);
}

}  // namespace corvanta::test
