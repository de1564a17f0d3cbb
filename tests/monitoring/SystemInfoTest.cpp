// SPDX-License-Identifier: Apache-2.0
#include "monitoring/SystemInfo.h"

#include <gtest/gtest.h>

#include "support/FakePlatform.h"

namespace corvanta {
namespace {

TEST(SystemInfo, namesTheMachineAndItsProcessor) {
    EXPECT_EQ(makeSystemInfo({"Test Book", "book1,1", "Test Processor 9", 4, 8, "Test System 1"}),
              (SystemInfo{"Test Book, Test Processor 9", "Test Book", "Test Processor 9", 4, 8}));
}

TEST(SystemInfo, aMachineWithoutANameIsAMacOfItsProcessor) {
    EXPECT_EQ(makeSystemInfo({"", "", "Test Processor 9", 0, 0, ""}),
              (SystemInfo{"Test Processor 9", "Mac", "Test Processor 9", 0, 0}));
}

TEST(SystemInfo, theSharedOneIsMadeOnFirstUseAndOnce) {
    // Never destroyed, as the shared facts are not either.
    auto& installed = *new test::FakePlatform;
    installed.machineFacts.description.processorBrand = "Test Processor 9";
    installPlatform(installed.platform);
    EXPECT_EQ(installed.machineFacts.descriptions, 0);
    const SystemInfo& shared = SystemInfo::shared();
    EXPECT_EQ(shared.cpuModel, "Test Processor 9");
    EXPECT_EQ(&SystemInfo::shared(), &shared);
    EXPECT_EQ(installed.machineFacts.descriptions, 1);
}

}  // namespace
}  // namespace corvanta
