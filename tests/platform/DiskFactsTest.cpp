// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/DiskFacts.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/DiskTree.h"

namespace corvanta {
namespace {

using test::DiskTree;

RootDisk disk(const DiskTree& tree, const std::string& name = "sda") {
    return {name, {8, 0}, tree.diskFolder(name)};
}

TEST(RecordedModel, theNameAsTheDriveGivesItIsUnescaped) {
    EXPECT_EQ(parseRecordedModel("S:disk/by-id/x\nE:ID_MODEL=Samsung_SSD_860\n"
                                 "E:ID_MODEL_ENC=Samsung\\x20SSD\\x20860\\x20EVO\\x20500GB\\x20\\x20\n"),
              "Samsung SSD 860 EVO 500GB");
    EXPECT_EQ(parseRecordedModel("E:ID_MODEL=Samsung_SSD_860\n"), "Samsung_SSD_860");
}

TEST(RecordedModel, oddEscapesStayOrAreRepaired) {
    EXPECT_EQ(parseRecordedModel("E:ID_MODEL_ENC=a\\x2\\xzz\\\n"), "a\\x2\\xzz\\");
    EXPECT_EQ(parseRecordedModel("E:ID_MODEL_ENC=a\\xffb\\x00\\x07\n"), "a\uFFFDb");
    EXPECT_EQ(parseRecordedModel("E:ID_MODEL_ENC=caf\\xc3\\xa9\n"), "caf\u00E9");
}

TEST(RecordedModel, anEmptyNameIsNone) {
    EXPECT_EQ(parseRecordedModel(""), std::nullopt);
    EXPECT_EQ(parseRecordedModel("E:ID_MODEL_ENC=\\x20\nE:ID_MODEL=\n"), std::nullopt);
    EXPECT_EQ(parseRecordedModel("E:ID_MODEL_ENC=\\x20\nE:ID_MODEL=Disk\n"), "Disk");
    EXPECT_EQ(parseRecordedModel("G:ID_MODEL=x\nE:ID_MODEL_ID=0001\nE:ID_MODEL=cut"), std::nullopt);
}

TEST(DiskModel, theRecordComesBeforeTheKernel) {
    DiskTree tree;
    tree.addDisk("sda", "8:0");
    EXPECT_EQ(diskModel(disk(tree), tree.run()), std::nullopt);
    tree.describe("sda", "name", "SDEM64\n");
    EXPECT_EQ(diskModel(disk(tree), tree.run()), "SDEM64");
    tree.describe("sda", "model", "Samsung SSD 860 \n");
    EXPECT_EQ(diskModel(disk(tree), tree.run()), "Samsung SSD 860");
    tree.record("8:0", "E:ID_MODEL_ENC=Samsung\\x20SSD\\x20860\\x20EVO\n");
    EXPECT_EQ(diskModel(disk(tree), tree.run()), "Samsung SSD 860 EVO");
}

TEST(DiskModel, aRecordWithoutANameLeavesItToTheKernel) {
    DiskTree tree;
    tree.addDisk("sda", "8:0");
    tree.describe("sda", "model", "  \n");
    tree.describe("sda", "name", "MMC\n");
    tree.record("8:0", "E:ID_BUS=ata\n");
    EXPECT_EQ(diskModel(disk(tree), tree.run()), "MMC");
}

TEST(FlashReserve, isToldInTheWordsOfAReport) {
    DiskTree tree;
    tree.addDisk("mmcblk0", "179:0");
    const RootDisk flash = disk(tree, "mmcblk0");
    EXPECT_EQ(flashReserveStatus(flash), std::nullopt);
    const std::pair<const char*, std::optional<std::string>> rows[] = {
        {"0x00\n", std::nullopt}, {"0x01\n", "Verified"},     {"0x02\n", "Failing"}, {"0x03\n", "Failing"},
        {"0x04\n", std::nullopt}, {"0x0100\n", std::nullopt}, {"\n", std::nullopt},  {"1\n", std::nullopt}};
    for (const auto& [text, status] : rows) {
        tree.describe("mmcblk0", "pre_eol_info", text);
        EXPECT_EQ(flashReserveStatus(flash), status) << text;
    }
}

}  // namespace
}  // namespace corvanta
