// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ctl/Command.h"

namespace corvanta::ctl {

// Commands that sum up the history and one live sample. They write nothing.

void addSummary(CommandList& commands);  ///< the machine's state in one sentence; needs no store
void addReport(CommandList& commands);   ///< the last seven days, judged; marks no report as told

}  // namespace corvanta::ctl
