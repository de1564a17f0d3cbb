// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/VolumeCapacitySource.h"

namespace corvanta {

/// What the kernel says of a file system.
struct FileSystemFigures {
    std::uint64_t type = 0;  ///< the kernel's magic number
    bool isReadOnly = false;
    std::uint64_t blockSize = 0;  ///< bytes; the unit of the next two
    std::uint64_t blocks = 0;
    std::uint64_t availableBlocks = 0;  ///< without what is kept for root

    bool operator==(const FileSystemFigures&) const = default;
};

/// A file system that is an image of the system and takes no data: its fill level tells the user nothing.
bool isImmutable(const FileSystemFigures& figures);

/// Nothing at all for a file system without blocks or with absurd figures. Linux has no capacity for
/// important usage.
VolumeCapacity capacityOf(const FileSystemFigures& figures);

/// The capacity of the root file system. Where that is an immutable image, it is that of the first of the
/// given places which is on a file system of another sort.
///
/// Owned by the platform. Any thread.
class StatfsCapacitySource final : public VolumeCapacitySource {
  public:
    /// `writablePlaces` are the folders where the data is, the most important first.
    StatfsCapacitySource(std::string root, std::vector<std::string> writablePlaces);

    VolumeCapacity readRootVolume() override;

  private:
    std::string root_;
    std::vector<std::string> writablePlaces_;
};

}  // namespace corvanta
