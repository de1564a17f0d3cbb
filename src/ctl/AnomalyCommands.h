// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ctl/Command.h"

namespace corvanta::ctl {

/// How the last quarter of an hour compares with what is normal for this machine. Writes nothing.
void addAnomalies(CommandList& commands);

}  // namespace corvanta::ctl
