// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/StatfsCapacitySource.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/statvfs.h>

#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>
#include <string>

#include "platform/OwnNamespaces.h"
#include "support/FakeNetDisk.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

using test::TempDirectory;

constexpr std::uint64_t ext4 = 0xEF53;
constexpr std::uint64_t erofs = 0xE0F5E1E2;
constexpr std::uint64_t squashfs = 0x73717368;
constexpr std::uint64_t overlayfs = 0x794c7630;
constexpr std::uint64_t mib = std::uint64_t{1} << 20;

TEST(FileSystemFigures, readOnlyOrAnImageWithoutRoomIsImmutable) {
    EXPECT_FALSE(isImmutable({.type = ext4, .availableBlocks = 1}));
    EXPECT_FALSE(isImmutable({.type = ext4, .availableBlocks = 0}));  // full, but the user's own
    EXPECT_TRUE(isImmutable({.type = ext4, .isReadOnly = true, .availableBlocks = 1}));
    for (const std::uint64_t type : {erofs, squashfs, overlayfs}) {
        EXPECT_TRUE(isImmutable({.type = type, .availableBlocks = 0}));
        EXPECT_FALSE(isImmutable({.type = type, .availableBlocks = 1}));
    }
}

TEST(FileSystemFigures, capacityIsInBytes) {
    EXPECT_EQ(capacityOf({.blockSize = 4096, .blocks = 100, .availableBlocks = 40}),
              (VolumeCapacity{.available = 163'840, .total = 409'600}));
    EXPECT_EQ(capacityOf({.blockSize = 4096, .blocks = 100, .availableBlocks = 0}),
              (VolumeCapacity{.available = 0, .total = 409'600}));
    EXPECT_EQ(capacityOf({.blockSize = 4096, .blocks = 100, .availableBlocks = 100}),
              (VolumeCapacity{.available = 409'600, .total = 409'600}));
}

TEST(FileSystemFigures, absurdFiguresGiveNothing) {
    constexpr auto most = std::numeric_limits<std::uint64_t>::max();
    EXPECT_EQ(capacityOf({}), VolumeCapacity{});
    EXPECT_EQ(capacityOf({.blockSize = 4096, .blocks = 0, .availableBlocks = 0}), VolumeCapacity{});
    EXPECT_EQ(capacityOf({.blockSize = 0, .blocks = 100, .availableBlocks = 40}), VolumeCapacity{});
    EXPECT_EQ(capacityOf({.blockSize = 4096, .blocks = most, .availableBlocks = 40}), VolumeCapacity{});
    EXPECT_EQ(capacityOf({.blockSize = 4096, .blocks = 100, .availableBlocks = most}), VolumeCapacity{});
    EXPECT_EQ(capacityOf({.blockSize = 4096, .blocks = 100, .availableBlocks = 101}), VolumeCapacity{});
    EXPECT_EQ(capacityOf({.blockSize = 1, .blocks = most, .availableBlocks = 1}),
              (VolumeCapacity{.available = 1, .total = most}));
}

TEST(StatfsCapacitySource, aMissingRootGivesNothing) {
    const TempDirectory folder;
    EXPECT_EQ(StatfsCapacitySource(folder.file("missing"), {"/"}).readRootVolume(), VolumeCapacity{});
}

TEST(StatfsCapacitySource, agreesWithWhatTheSystemTells) {
    const TempDirectory folder;
    struct statvfs figures {};
    ASSERT_EQ(statvfs(folder.path().c_str(), &figures), 0);
    const VolumeCapacity capacity = StatfsCapacitySource(folder.path().string(), {}).readRootVolume();
    EXPECT_EQ(capacity.total, figures.f_blocks * figures.f_frsize);
    EXPECT_EQ(capacity.availableForImportantUsage, std::nullopt);
    // Others may write to it meanwhile.
    ASSERT_TRUE(capacity.available);
    EXPECT_LE(*capacity.available, *capacity.total);
    EXPECT_NEAR(static_cast<double>(*capacity.available),
                static_cast<double>(figures.f_bavail * figures.f_frsize), static_cast<double>(1024 * mib));
}

/// Mounts a file system in memory of the given size, and makes it read-only.
bool mountMemory(const std::string& path, const std::string& size, bool isReadOnly) {
    std::filesystem::create_directories(path);
    return mount("tmpfs", path.c_str(), "tmpfs", isReadOnly ? MS_RDONLY : 0, ("size=" + size).c_str()) == 0;
}

class RealVolumes {
  public:
    RealVolumes() {
        EXPECT_TRUE(mountMemory(root, "8m", true)) << std::strerror(errno);
        EXPECT_TRUE(mountMemory(sealed, "16m", true));
        EXPECT_TRUE(mountMemory(home, "32m", false));
        EXPECT_TRUE(mountMemory(var, "64m", false));
    }
    ~RealVolumes() {
        for (const std::string& path : {root, sealed, home, var}) umount(path.c_str());
    }

    TempDirectory folder;
    const std::string root = folder.file("root");
    const std::string sealed = folder.file("sealed");
    const std::string home = folder.file("home");
    const std::string var = folder.file("var");
};

TEST(StatfsCapacitySource, anImmutableRootGivesWayToWhereTheDataIs) {
    test::inOwnNamespaces([] {
        const RealVolumes volumes;
        const auto totalOf = [&](const std::string& root, const std::vector<std::string>& places) {
            return StatfsCapacitySource(root, places).readRootVolume().total;
        };
        EXPECT_EQ(totalOf(volumes.root, {volumes.home, volumes.var}), 32 * mib);
        EXPECT_EQ(totalOf(volumes.root, {volumes.folder.file("missing"), volumes.var}), 64 * mib);
        EXPECT_EQ(totalOf(volumes.root, {volumes.sealed, volumes.var}), 64 * mib);
        EXPECT_EQ(totalOf(volumes.root, {volumes.sealed}), 8 * mib);
        EXPECT_EQ(totalOf(volumes.root, {}), 8 * mib);
        EXPECT_EQ(totalOf(volumes.home, {volumes.var}), 32 * mib);
    });
}

TEST(StatfsCapacitySource, whatIsWrittenIsNoLongerAvailable) {
    test::inOwnNamespaces([] {
        const RealVolumes volumes;
        StatfsCapacitySource source(volumes.home, {});
        const VolumeCapacity before = source.readRootVolume();
        EXPECT_EQ(before, (VolumeCapacity{.available = 32 * mib, .total = 32 * mib}));
        volumes.folder.write("home/file", std::string(5 * mib, 'x'));
        EXPECT_EQ(source.readRootVolume(), (VolumeCapacity{.available = 27 * mib, .total = 32 * mib}));
    });
}

// One contract for every capacity source.
class VolumeCapacitySourceContract : public testing::TestWithParam<bool> {
  protected:
    VolumeCapacitySourceContract() {
        if (GetParam()) {
            source = std::make_unique<StatfsCapacitySource>("/", std::vector<std::string>{"/var"});
        } else {
            auto fake = std::make_unique<test::FakeVolumeCapacitySource>();
            fake->capacity = {.available = 40, .total = 100};
            source = std::move(fake);
        }
    }
    std::unique_ptr<VolumeCapacitySource> source;
};

TEST_P(VolumeCapacitySourceContract, aVolumeHasATotalAndNoMoreIsAvailable) {
    const VolumeCapacity capacity = source->readRootVolume();
    ASSERT_TRUE(capacity.total && capacity.available);
    EXPECT_GT(*capacity.total, 0U);
    EXPECT_LE(*capacity.available, *capacity.total);
}

INSTANTIATE_TEST_SUITE_P(All, VolumeCapacitySourceContract, testing::Values(false, true),
                         [](const auto& param) { return param.param ? "Linux" : "Fake"; });

}  // namespace
}  // namespace corvanta
