// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace corvanta {

/// From now on, every block of 128 KiB and more goes back to the system as soon as it is freed, whichever
/// thread took it. Call it before there are threads.
void returnLargeBlocksAtOnce();

}  // namespace corvanta
