// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ctl/Command.h"

namespace corvanta::ctl {

/// One stored incident: told in words, with its figures and the samples around it. Never writes the store.
void addIncident(CommandList& commands);

}  // namespace corvanta::ctl
