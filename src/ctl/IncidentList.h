// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ctl/Command.h"

namespace corvanta::ctl {

/// The incidents as the program's own timeline shows them, in groups; the store is only read.
void addIncidents(CommandList& commands);

}  // namespace corvanta::ctl
