// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

namespace corvanta {

/// Space on one volume, in bytes. What could not be read is absent.
struct VolumeCapacity {
    /// With what the system would clear for it.
    std::optional<std::uint64_t> availableForImportantUsage = std::nullopt;
    std::optional<std::uint64_t> available = std::nullopt;  ///< what a user can still write
    std::optional<std::uint64_t> total = std::nullopt;

    bool operator==(const VolumeCapacity&) const = default;
};

/// The capacity of the volume that the system and its user live on.
///
/// Owned by the platform for the program's life. Any thread; blocks while the volume does. Failure is a
/// capacity with nothing in it.
class VolumeCapacitySource {
  public:
    virtual ~VolumeCapacitySource() = default;
    virtual VolumeCapacity readRootVolume() = 0;
};

}  // namespace corvanta
