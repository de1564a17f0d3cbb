// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/LinuxMachineFacts.h"
#include "platform/linux/MachineTexts.h"
#include "support/FakePlatform.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

using namespace std::string_literals;
using Processors = std::vector<int>;

TEST(MarketingName, isTheProductNameAndForOneVendorTheVersion) {
    EXPECT_EQ(marketingName({"Dell Inc.", "XPS 13 9310", "1.2", "0MRT12"}), "XPS 13 9310");
    EXPECT_EQ(marketingName({"LENOVO", "20L5CTO1WW", "ThinkPad T480", "20L5CTO1WW"}), "ThinkPad T480");
    EXPECT_EQ(marketingName({" Lenovo ", "20L5CTO1WW", " ThinkPad T480 ", ""}), "ThinkPad T480");
    EXPECT_EQ(marketingName({"LENOVO", "20L5CTO1WW", "Not Specified", ""}), "20L5CTO1WW");
    EXPECT_EQ(marketingName({"LENOVO2", "Product", "Version", ""}), "Product");
}

TEST(MarketingName, fillersGiveWayToTheBoard) {
    for (const char* filler :
         {"", "  ", "To be filled by O.E.M.", "TO BE FILLED BY O.E.M.", "System Product Name",
          "System Version", "Default string", " default string ", "Not Specified", "Not Applicable", "None",
          "INVALID", "invalid", "Undefined", "OEM", "O.E.M.", "x.x", "X.X"}) {
        EXPECT_EQ(marketingName({"ASUS", filler, "", "PRIME B450M-A"}), "PRIME B450M-A") << filler;
        EXPECT_EQ(marketingName({"ASUS", filler, "", filler}), "") << filler;
        EXPECT_EQ(marketingName({"LENOVO", filler, filler, "3130"}), "3130") << filler;
    }
    EXPECT_EQ(marketingName({"", "None of these", "", ""}), "None of these");
}

TEST(MarketingName, isOneLineOfUtf8) {
    EXPECT_EQ(marketingName({"", "Two\tparts\x01 \xff", "", ""}), "Two parts  \xEF\xBF\xBD");
}

TEST(DeviceTree, theFirstStringEndsAtItsNul) {
    EXPECT_EQ(firstDeviceTreeString("Raspberry Pi 4 Model B Rev 1.4\0"s), "Raspberry Pi 4 Model B Rev 1.4");
    EXPECT_EQ(firstDeviceTreeString("raspberrypi,4-model-b\0brcm,bcm2711\0"s), "raspberrypi,4-model-b");
    EXPECT_EQ(firstDeviceTreeString("no end"), "no end");
    EXPECT_EQ(firstDeviceTreeString("\0x"s), "");
    EXPECT_EQ(firstDeviceTreeString(""), "");
}

TEST(ProcessorBrand, isTheFirstNameWithItsBlanksCollapsed) {
    EXPECT_EQ(parseProcessorBrand("processor\t: 0\nvendor_id\t: GenuineIntel\ncpu family\t: 6\n"
                                  "model name\t: Intel(R)  Core(TM)   i7 CPU\t@ 2.80GHz  \n"
                                  "processor\t: 1\nmodel name\t: Another\n"),
              "Intel(R) Core(TM) i7 CPU @ 2.80GHz");
    EXPECT_EQ(parseProcessorBrand("model name\t: \nmodel name\t: Second\n"), "Second");
    EXPECT_EQ(parseProcessorBrand("model name\t: cut short"), "");
    EXPECT_EQ(parseProcessorBrand("nothing of the kind\n:\n"), "");
    EXPECT_EQ(parseProcessorBrand(""), "");
}

TEST(ProcessorBrand, hasItsOwnKeyOnEachArchitecture) {
    EXPECT_EQ(parseProcessorBrand("Model Name\t\t: Loongson-3A5000\n"), "Loongson-3A5000");
    EXPECT_EQ(parseProcessorBrand("processor\t: 0\ncpu\t\t: POWER9, altivec supported\n"),
              "POWER9, altivec supported");
    EXPECT_EQ(parseProcessorBrand("system type\t: MIPS\ncpu model\t: MIPS 74Kc V5.0\n"), "MIPS 74Kc V5.0");
    EXPECT_EQ(parseProcessorBrand("hart\t: 1\nuarch\t: sifive,u74-mc\n"), "sifive,u74-mc");
}

std::string armProcessors(const std::vector<std::pair<std::string, std::string>>& processors) {
    std::string text;
    for (const auto& [implementer, part] : processors) {
        text += "processor\t: 0\nBogoMIPS\t: 48.00\nCPU implementer\t: " + implementer +
                "\nCPU architecture: 8\nCPU variant\t: 0x0\nCPU part\t: " + part + "\nCPU revision\t: 4\n\n";
    }
    return text;
}

TEST(ProcessorBrand, onArmItIsTheLargestKindOfCore) {
    EXPECT_EQ(parseProcessorBrand(armProcessors({{"0x41", "0xd08"}})), "Cortex-A72");
    EXPECT_EQ(parseProcessorBrand(armProcessors({{"0x41", "0xd03"}, {"0x41", "0xd08"}, {"0x41", "0xd03"}})),
              "Cortex-A72");
    EXPECT_EQ(parseProcessorBrand(armProcessors({{"0x41", "0xd44"}, {"0x41", "0xd41"}, {"0x41", "0xd05"}})),
              "Cortex-X1");
    EXPECT_EQ(parseProcessorBrand(armProcessors({{"0x41", "0xfff"}, {"0x41", "0xd05"}})), "Cortex-A55");
    EXPECT_EQ(parseProcessorBrand(armProcessors({{"0x61", "0x022"}, {"0x61", "0x023"}})), "Apple M1");
    EXPECT_EQ(parseProcessorBrand(armProcessors({{"0xc0", "0xac3"}})), "AmpereOne");
    EXPECT_EQ(parseProcessorBrand(armProcessors({{"0x51", "0x001"}})), "Qualcomm");
}

TEST(ProcessorBrand, anUnknownPartHasNoName) {
    EXPECT_EQ(parseProcessorBrand(armProcessors({{"0x41", "0xfff"}})), "");
    EXPECT_EQ(parseProcessorBrand(armProcessors({{"0x61", "0xd08"}})), "");  // another maker's number
    EXPECT_EQ(parseProcessorBrand(armProcessors({{"41", "d08"}})), "");
    EXPECT_EQ(parseProcessorBrand(armProcessors({{"0x41", "0xd08z"}})), "");
    EXPECT_EQ(parseProcessorBrand("CPU part\t: 0xd08\n"), "");
}

TEST(ProcessorList, isReadInTheKernelsNotation) {
    EXPECT_EQ(parseProcessorList("0\n"), (Processors{0}));
    EXPECT_EQ(parseProcessorList("0-3,8,10-11\n"), (Processors{0, 1, 2, 3, 8, 10, 11}));
    EXPECT_EQ(parseProcessorList("\n"), Processors{});
    for (const char* text : {"", "0-3", "3-0\n", "a\n", "0-\n", "-1\n", "0,,1\n", "0-99999999\n", "0 1\n"}) {
        EXPECT_EQ(parseProcessorList(text), std::nullopt) << text;
    }
    EXPECT_EQ(parseProcessorList("0-65535\n")->size(), 65'536U);
    EXPECT_EQ(parseProcessorList("0-65535,0\n"), std::nullopt);
}

TEST(PrettyName, isReadAsAShellWould) {
    EXPECT_EQ(parsePrettyName("NAME=x\nPRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\nID=debian\n"),
              "Debian GNU/Linux 12 (bookworm)");
    EXPECT_EQ(parsePrettyName("PRETTY_NAME='Alpine Linux v3.20'\n"), "Alpine Linux v3.20");
    EXPECT_EQ(parsePrettyName("PRETTY_NAME=Arch\n"), "Arch");
    EXPECT_EQ(parsePrettyName("PRETTY_NAME=\"the last line\""), "the last line");
    EXPECT_EQ(parsePrettyName("PRETTY_NAME=\"a \\\"b\\\" \\$c \\\\ d\"\n"), "a \"b\" $c \\ d");
    EXPECT_EQ(parsePrettyName("PRETTY_NAME='a \\ b'\n"), "a \\ b");
    EXPECT_EQ(parsePrettyName("PRETTY_NAME=one\nPRETTY_NAME=two\n"), "two");
    EXPECT_EQ(parsePrettyName("#PRETTY_NAME=no\nNAME=\"PRETTY_NAME=no\"\n"), "");
    EXPECT_EQ(parsePrettyName("PRETTY_NAME=\"\n"), "");
    EXPECT_EQ(parsePrettyName("PRETTY_NAME=\n"), "");
    EXPECT_EQ(parsePrettyName(""), "");
}

/// A machine of files.
class LinuxMachineFactsTest : public testing::Test {
  protected:
    void firmware(const std::string& name, const std::string& text) const {
        root.write("sys/class/dmi/id/" + name, text + "\n");
    }
    void topology(int processor, const std::string& file, const std::string& siblings) const {
        root.write("sys/devices/system/cpu/cpu" + std::to_string(processor) + "/topology/" + file,
                   siblings + "\n");
    }
    void online(const std::string& list) const { root.write("sys/devices/system/cpu/online", list + "\n"); }
    MachineDescription describe() const {
        const std::string path = root.path().string();
        return LinuxMachineFacts(path + "/proc", path + "/sys", path).describe();
    }

    test::TempDirectory root;
};

TEST_F(LinuxMachineFactsTest, aLaptopOfThatVendorHasItsMarketingName) {
    firmware("sys_vendor", "LENOVO");
    firmware("product_name", "20L5CTO1WW");
    firmware("product_version", "ThinkPad T480");
    firmware("board_name", "20L5CTO1WW");
    EXPECT_EQ(describe().name, "ThinkPad T480");
    EXPECT_EQ(describe().hardwareModel, "20L5CTO1WW");
}

TEST_F(LinuxMachineFactsTest, aSelfBuiltMachineIsNamedForItsBoard) {
    firmware("sys_vendor", "System manufacturer");
    firmware("product_name", "System Product Name");
    firmware("product_version", "System Version");
    firmware("board_name", "PRIME B450M-A");
    EXPECT_EQ(describe().name, "PRIME B450M-A");
    EXPECT_EQ(describe().hardwareModel, "System Product Name");  // raw
}

TEST_F(LinuxMachineFactsTest, aBoardWithADeviceTreeIsNamedByIt) {
    root.write("proc/device-tree/model", "Raspberry Pi 4 Model B Rev 1.4\0"s);
    root.write("proc/device-tree/compatible", "raspberrypi,4-model-b\0brcm,bcm2711\0"s);
    root.write("proc/cpuinfo", armProcessors({{"0x41", "0xd08"}}));
    const MachineDescription machine = describe();
    EXPECT_EQ(machine.name, "Raspberry Pi 4 Model B Rev 1.4");
    EXPECT_EQ(machine.hardwareModel, "raspberrypi,4-model-b");
    EXPECT_EQ(machine.processorBrand, "Cortex-A72");
}

TEST_F(LinuxMachineFactsTest, firmwareOfFillersGivesWayToTheDeviceTree) {
    firmware("product_name", "Default string");
    firmware("board_name", "Default string");
    root.write("proc/device-tree/model", "Board\0"s);
    EXPECT_EQ(describe().name, "Board");
}

TEST_F(LinuxMachineFactsTest, aMachineThatTellsNothingHasNoNames) {
    utsname system{};
    ASSERT_EQ(uname(&system), 0);
    EXPECT_EQ(describe(), (MachineDescription{.name = "",
                                              .hardwareModel = "",
                                              .processorBrand = system.machine,
                                              .physicalCores = 0,
                                              .logicalCores = sysconf(_SC_NPROCESSORS_ONLN),
                                              .systemVersion = "Linux"}));
}

TEST_F(LinuxMachineFactsTest, siblingsShareACoreAndProcessorsThatAreOffDoNotCount) {
    online("0-2,4-5");
    topology(0, "core_cpus_list", "0,4");
    topology(4, "core_cpus_list", "0,4");
    topology(1, "core_cpus_list", "1,5");
    topology(5, "core_cpus_list", "1,5");
    topology(2, "core_cpus_list", "2");
    topology(3, "core_cpus_list", "3");  // off
    EXPECT_EQ(describe().logicalCores, 5);
    EXPECT_EQ(describe().physicalCores, 3);
}

TEST_F(LinuxMachineFactsTest, olderKernelsNameTheSiblingsOtherwise) {
    online("0-3");
    topology(0, "thread_siblings_list", "0-1");
    topology(1, "thread_siblings_list", "0-1");
    topology(2, "core_cpus_list", "2-3");
    topology(2, "thread_siblings_list", "2");
    topology(3, "core_cpus_list", "2-3");
    EXPECT_EQ(describe().logicalCores, 4);
    EXPECT_EQ(describe().physicalCores, 2);
}

TEST_F(LinuxMachineFactsTest, aProcessorWithoutATopologyIsACore) {
    online("0");
    EXPECT_EQ(describe().logicalCores, 1);
    EXPECT_EQ(describe().physicalCores, 1);
}

TEST_F(LinuxMachineFactsTest, theSystemIsTheDistributionWithItsKernel) {
    root.write("usr/lib/os-release", "PRETTY_NAME=\"Vendor Linux 1\"\n");
    EXPECT_EQ(describe().systemVersion, "Vendor Linux 1");
    root.write("proc/sys/kernel/osrelease", "6.1.0-18-amd64\n");
    EXPECT_EQ(describe().systemVersion, "Vendor Linux 1 (linux 6.1.0-18-amd64)");
    root.write("etc/os-release", "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\n");
    EXPECT_EQ(describe().systemVersion, "Debian GNU/Linux 12 (bookworm) (linux 6.1.0-18-amd64)");
    root.write("etc/os-release", "NAME=Debian\n");
    EXPECT_EQ(describe().systemVersion, "Vendor Linux 1 (linux 6.1.0-18-amd64)");
}

/// What every source of these facts does, on the machine that the test runs on as well.
void keepsTheContract(const MachineFacts& facts) {
    const MachineDescription machine = facts.describe();
    EXPECT_EQ(facts.describe(), machine);
    EXPECT_FALSE(machine.processorBrand.empty());
    EXPECT_GE(machine.logicalCores, 1);
    EXPECT_LE(machine.physicalCores, machine.logicalCores);
    for (const std::string& text : {machine.name, machine.hardwareModel, machine.systemVersion}) {
        EXPECT_EQ(shownText(text), text);
    }
}

TEST(MachineFactsContract, isKeptOnThisMachine) {
    const LinuxMachineFacts facts("/proc", "/sys", "");
    keepsTheContract(facts);
    EXPECT_EQ(facts.describe().logicalCores, sysconf(_SC_NPROCESSORS_ONLN));
}

TEST(MachineFactsContract, isKeptByTheFake) {
    test::FakeMachineFacts facts;
    facts.description = {"Test Machine", "test1,1", "Test Processor", 4, 8, "Test System 1"};
    keepsTheContract(facts);
    EXPECT_EQ(facts.descriptions, 2);
}

}  // namespace
}  // namespace corvanta
