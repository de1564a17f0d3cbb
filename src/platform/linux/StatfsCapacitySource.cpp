// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/StatfsCapacitySource.h"

#include <sys/statfs.h>
#include <sys/statvfs.h>

#include <cerrno>
#include <limits>
#include <utility>

namespace corvanta {
namespace {

constexpr std::uint64_t erofs = 0xE0F5E1E2;
constexpr std::uint64_t squashfs = 0x73717368;
constexpr std::uint64_t overlayfs = 0x794c7630;

std::optional<std::uint64_t> product(std::uint64_t blocks, std::uint64_t blockSize) {
    if (blockSize != 0 && blocks > std::numeric_limits<std::uint64_t>::max() / blockSize) return std::nullopt;
    return blocks * blockSize;
}

std::optional<FileSystemFigures> readFigures(const std::string& path) {
    struct statfs raw {};
    int result = 0;
    do {
        result = statfs(path.c_str(), &raw);
    } while (result != 0 && errno == EINTR);
    if (result != 0) return std::nullopt;
    FileSystemFigures figures;
    // The field is signed on some machines, and must not be widened with its sign.
    figures.type = static_cast<std::uint32_t>(raw.f_type);
    figures.isReadOnly = (static_cast<unsigned long>(raw.f_flags) & ST_RDONLY) != 0;
    figures.blockSize = static_cast<std::uint64_t>(raw.f_frsize != 0 ? raw.f_frsize : raw.f_bsize);
    figures.blocks = raw.f_blocks;
    figures.availableBlocks = raw.f_bavail;
    return figures;
}

}  // namespace

bool isImmutable(const FileSystemFigures& figures) {
    const bool isImageType = figures.type == erofs || figures.type == squashfs || figures.type == overlayfs;
    return figures.isReadOnly || (isImageType && figures.availableBlocks == 0);
}

VolumeCapacity capacityOf(const FileSystemFigures& figures) {
    const auto total = product(figures.blocks, figures.blockSize);
    const auto available = product(figures.availableBlocks, figures.blockSize);
    if (!total || *total == 0 || !available || *available > *total) return {};
    return {.availableForImportantUsage = std::nullopt, .available = available, .total = total};
}

StatfsCapacitySource::StatfsCapacitySource(std::string root, std::vector<std::string> writablePlaces)
    : root_(std::move(root)), writablePlaces_(std::move(writablePlaces)) {}

VolumeCapacity StatfsCapacitySource::readRootVolume() {
    const auto root = readFigures(root_);
    if (!root) return {};
    if (isImmutable(*root)) {
        for (const std::string& place : writablePlaces_) {
            const auto figures = readFigures(place);
            if (!figures || isImmutable(*figures)) continue;
            if (const VolumeCapacity capacity = capacityOf(*figures); capacity.total) return capacity;
        }
    }
    return capacityOf(*root);
}

}  // namespace corvanta
