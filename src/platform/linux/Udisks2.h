// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/DriveHealthSource.h"
#include "platform/linux/BusValues.h"
#include "platform/linux/RootDisks.h"

namespace corvanta {

/// What the objects of the disk service say of the disk of that number. The name is the vendor's and the
/// model's. The status is "Verified" or "Failing" once the drive has been asked, and absent until then, for a
/// drive that can't be asked, and for a disk that the service does not know.
DriveReport udisksReport(const BusObjects& objects, DeviceNumber disk);

}  // namespace corvanta
