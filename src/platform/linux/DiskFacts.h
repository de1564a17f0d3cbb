// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/linux/RootDisks.h"

namespace corvanta {

/// What a drive calls itself, in bytes of any sort, as a name to be shown; nullopt when nothing is left.
std::optional<std::string> driveName(std::string_view bytes);

/// What the device manager's record of a disk calls it: the name as the drive gives it, or else the one in
/// which underscores stand for blanks.
std::optional<std::string> parseRecordedModel(std::string_view record);

/// A disk's model without asking any service: as the device manager has recorded it under `runRoot`, or as
/// the kernel has it, which cuts some short. Nullopt for a disk without one, as virtual ones are.
std::optional<std::string> diskModel(const RootDisk& disk, const std::string& runRoot);

/// What a soldered flash drive says of its reserve of blocks, in the words of a drive report: "Verified", or
/// "Failing" when most of it is used up. Nullopt for other disks, and when it does not say.
std::optional<std::string> flashReserveStatus(const RootDisk& disk);

}  // namespace corvanta
