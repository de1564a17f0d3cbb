// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ctl/Command.h"

namespace corvanta::ctl {

/// The processes, with their shares of a processor over half a second.
void addProcesses(CommandList& commands);

/// Asks a process to quit, or stops it, after the user has confirmed that on standard input; without asking
/// when the user has confirmed beforehand.
void addQuit(CommandList& commands);

}  // namespace corvanta::ctl
