// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ctl/Command.h"

namespace corvanta::ctl {

// Commands that read the recording sessions and never write the store.

void addSessions(CommandList& commands);  ///< all sessions, newest first
void addExport(CommandList& commands);    ///< the samples of one as CSV

}  // namespace corvanta::ctl
