// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ctl/Command.h"

namespace corvanta::ctl {

// The commands that write to the store, beside a running corvanta or without one. They change all the
// incidents they are given or, with the reason on standard error, none. An answer that can't be printed is a
// failure, too, though the change stands then.

void addDismiss(CommandList& commands);  ///< takes incidents off the lists
void addRestore(CommandList& commands);  ///< puts dismissed incidents back

}  // namespace corvanta::ctl
