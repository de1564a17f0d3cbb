// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/RootDisks.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/DiskTree.h"
#include "platform/OpenDescriptors.h"

namespace corvanta {
namespace {

using test::DiskTree;
using Names = std::vector<std::string>;

Names rootDisks(const DiskTree& tree) {
    Names names;
    for (const RootDisk& disk : findRootDisks(tree.proc(), tree.sys(), tree.deviceNumberOf()))
        names.push_back(disk.name);
    return names;
}

TEST(MountInfo, theSourceStandsBehindTheDash) {
    EXPECT_EQ(parseRootSource("22 1 8:2 / / rw,noatime - ext4 /dev/sda2 rw\n"), "/dev/sda2");
    EXPECT_EQ(parseRootSource("22 1 8:2 / / rw shared:1 master:2 propagate_from:3 - ext4 /dev/sda2 rw\n"),
              "/dev/sda2");
    EXPECT_EQ(parseRootSource("22 1 0:39 /@root / rw - btrfs /dev/mapper/luks-1 rw,subvol=/@root\n"),
              "/dev/mapper/luks-1");
    EXPECT_EQ(parseRootSource("22 1 0:50 / / rw - overlay overlay rw,lowerdir=/a\n"), "overlay");
}

TEST(MountInfo, onlyTheRootCountsAndTheLastOneHidesTheOthers) {
    EXPECT_EQ(parseRootSource("1 1 0:2 / / rw - rootfs rootfs rw\n"
                              "22 1 8:2 / / rw - ext4 /dev/sda2 rw\n"
                              "23 22 8:3 / /home rw - ext4 /dev/sda3 rw\n"
                              "24 22 0:5 /dev/sda9 /dev rw - devtmpfs udev rw\n"),
              "/dev/sda2");
    EXPECT_EQ(parseRootSource("23 22 8:3 / /home rw - ext4 /dev/sda3 rw\n"), std::nullopt);
    EXPECT_EQ(parseRootSource(""), std::nullopt);
}

TEST(MountInfo, escapedSourcesAreReadAsTheyAre) {
    EXPECT_EQ(parseRootSource("1 1 8:2 / / rw - ext4 /dev/disk/by-label/My\\040Disk\\011\\134 rw\n"),
              "/dev/disk/by-label/My Disk\t\\");
    EXPECT_EQ(parseRootSource("1 1 8:2 / / rw - ext4 /dev/a\\04 rw\n"), "/dev/a\\04");
    EXPECT_EQ(parseRootSource("1 1 8:2 / / rw - ext4 /dev/a\\400\\ rw\n"), "/dev/a\\400\\");
}

TEST(MountInfo, linesCutShortHaveNoSource) {
    EXPECT_EQ(parseRootSource("22 1 8:2 / / rw - ext4 /dev/sda2 rw"), std::nullopt);
    for (const char* line : {"\n", "22\n", "22 1 8:2 / /\n", "22 1 8:2 / / rw\n", "22 1 8:2 / / rw -\n",
                             "22 1 8:2 / / rw - ext4\n"}) {
        EXPECT_EQ(parseRootSource(line), std::nullopt) << line;
    }
}

TEST(DeviceNumber, isReadAndWrittenAsTheKernelDoes) {
    EXPECT_EQ(parseDeviceNumber("259:12"), (DeviceNumber{259, 12}));
    EXPECT_EQ(deviceNumberText({259, 12}), "259:12");
    for (const char* text : {"", ":", "8", "8:", ":0", "8:x", "-8:0", "8:0 ", "99999999999:0"})
        EXPECT_EQ(parseDeviceNumber(text), std::nullopt) << text;
}

TEST(DeviceNumber, isThatOfBlockDevicesOnly) {
    EXPECT_EQ(blockDeviceNumber("/dev/null"), std::nullopt);
    EXPECT_EQ(blockDeviceNumber("/dev"), std::nullopt);
    EXPECT_EQ(blockDeviceNumber("/nowhere/at/all"), std::nullopt);
}

TEST(RootDisks, aPartitionLeadsToItsDisk) {
    DiskTree tree;
    tree.addDisk("sda", "8:0");
    tree.addPartition("sda", "sda2", "8:2");
    tree.addDisk("sdb", "8:16");
    tree.addNode("/dev/sda2", {8, 2});
    tree.mountRoot("/dev/sda2");
    EXPECT_EQ(findRootDisks(tree.proc(), tree.sys(), tree.deviceNumberOf()),
              (std::vector<RootDisk>{{"sda", {8, 0}, tree.diskFolder("sda")}}));
}

TEST(RootDisks, anNvmePartitionLeadsToItsNamespace) {
    DiskTree tree;
    tree.addDisk("nvme0n1", "259:0");
    tree.addPartition("nvme0n1", "nvme0n1p3", "259:3");
    tree.addNode("/dev/nvme0n1p3", {259, 3});
    tree.mountRoot("/dev/nvme0n1p3", "xfs");
    EXPECT_EQ(rootDisks(tree), Names{"nvme0n1"});
}

TEST(RootDisks, aWholeDiskIsItself) {
    DiskTree tree;
    tree.addDisk("vda", "254:0");
    tree.addNode("/dev/disk/by-label/My Disk", {254, 0});
    tree.mountRoot("/dev/disk/by-label/My\\040Disk");
    EXPECT_EQ(rootDisks(tree), Names{"vda"});
}

TEST(RootDisks, encryptionUnderVolumesIsDescended) {
    DiskTree tree;
    tree.addDisk("sda", "8:0");
    tree.addPartition("sda", "sda3", "8:3");
    tree.addLayer("dm-0", "253:0", {"sda3"});
    tree.addLayer("dm-1", "253:1", {"dm-0"});
    tree.addNode("/dev/mapper/vg-root", {253, 1});
    tree.mountRoot("/dev/mapper/vg-root");
    EXPECT_EQ(rootDisks(tree), Names{"sda"});
}

TEST(RootDisks, aMirrorHasAllItsDisks) {
    DiskTree tree;
    tree.addDisk("sda", "8:0");
    tree.addPartition("sda", "sda1", "8:1");
    tree.addDisk("sdb", "8:16");
    tree.addPartition("sdb", "sdb1", "8:17");
    tree.addLayer("md0", "9:0", {"sdb1", "sda1"});
    tree.addNode("/dev/md0", {9, 0});
    tree.mountRoot("/dev/md0");
    EXPECT_EQ(rootDisks(tree), (Names{"sda", "sdb"}));
}

TEST(RootDisks, aDiskUnderSeveralLayersCountsOnce) {
    DiskTree tree;
    tree.addDisk("sda", "8:0");
    tree.addPartition("sda", "sda1", "8:1");
    tree.addPartition("sda", "sda2", "8:2");
    tree.addLayer("dm-0", "253:0", {"sda1", "sda2"});
    tree.addNode("/dev/mapper/striped", {253, 0});
    tree.mountRoot("/dev/mapper/striped");
    EXPECT_EQ(rootDisks(tree), Names{"sda"});
}

TEST(RootDisks, theSourceCountsAndNotTheNumberThatTheMountHas) {
    DiskTree tree;
    tree.addDisk("sda", "8:0");
    tree.addPartition("sda", "sda2", "8:2");
    tree.addLayer("dm-9", "0:39", {});  // what the mount's own number would lead to
    tree.addNode("/dev/sda2", {8, 2});
    tree.mountRoot("/dev/sda2", "btrfs");
    EXPECT_EQ(rootDisks(tree), Names{"sda"});
}

TEST(RootDisks, aRootFromElsewhereHasNone) {
    DiskTree tree;
    tree.addDisk("sda", "8:0");
    for (const char* source : {"overlay", "/dev/root", "tank/root", "server:/export", "none", "sda"}) {
        tree.mountRoot(source);
        EXPECT_EQ(rootDisks(tree), Names{}) << source;
    }
}

TEST(RootDisks, devicesWithoutHardwareAreNone) {
    DiskTree tree;
    tree.addLayer("loop0", "7:0", {});
    tree.addNode("/dev/loop0", {7, 0});
    tree.addNode("/dev/gone", {8, 99});
    for (const char* source : {"/dev/loop0", "/dev/gone"}) {
        tree.mountRoot(source);
        EXPECT_EQ(rootDisks(tree), Names{}) << source;
    }
}

TEST(RootDisks, withoutAnyFolderThereAreNone) {
    const DiskTree tree;
    EXPECT_EQ(rootDisks(tree), Names{});
}

TEST(RootDisks, layersThatLeadInACircleEnd) {
    DiskTree tree;
    tree.addDisk("sda", "8:0");
    tree.addLayer("dm-0", "253:0", {"sda"});
    tree.addLayer("dm-1", "253:1", {"dm-0"});
    tree.linkSlave("dm-0", "dm-1");
    tree.linkSlave("dm-0", "dm-0");
    tree.addNode("/dev/dm-1", {253, 1});
    tree.mountRoot("/dev/dm-1");
    EXPECT_EQ(rootDisks(tree), Names{"sda"});
}

TEST(RootDisks, aBrokenLinkIsPassedOver) {
    DiskTree tree;
    tree.addDisk("sda", "8:0");
    tree.addLayer("md0", "9:0", {"sda"});
    std::filesystem::create_symlink(tree.sys() + "/nothing",
                                    tree.sys() + "/devices/virtual/block/md0/slaves/a");
    tree.addNode("/dev/md0", {9, 0});
    tree.mountRoot("/dev/md0");
    EXPECT_EQ(rootDisks(tree), Names{"sda"});
}

TEST(RootDisks, manyLookupsLeaveNothingOpen) {
    DiskTree tree;
    tree.addDisk("sda", "8:0");
    tree.addPartition("sda", "sda2", "8:2");
    tree.addNode("/dev/sda2", {8, 2});
    tree.mountRoot("/dev/sda2");
    const auto numberOf = tree.deviceNumberOf();
    const std::size_t before = test::openDescriptors();
    for (int i = 0; i < 10'000; ++i) ASSERT_EQ(findRootDisks(tree.proc(), tree.sys(), numberOf).size(), 1U);
    EXPECT_EQ(test::openDescriptors(), before);
}

}  // namespace
}  // namespace corvanta
