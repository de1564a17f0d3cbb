// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/BluetoothText.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "platform/linux/LinuxBluetoothFallback.h"
#include "platform/linux/PeripheralSupplies.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

using Listed = std::vector<ListedBluetoothDevice>;
using Batteries = std::vector<PeripheralBattery>;
using State = BluetoothServiceState;
constexpr auto longTime = std::chrono::seconds(60);

TEST(BluetoothAddress, isFoundWhereverItStandsAlone) {
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"11:22:33:44:55:66", "11:22:33:44:55:66"},
        {"aa-bb-cc-dd-ee-ff", "AA:BB:CC:DD:EE:FF"},
        {"/org/bluez/hci0/dev_11_22_33_44_55_6A", "11:22:33:44:55:6A"},
        {"hid-11:22:33:44:55:66-battery", "11:22:33:44:55:66"},
        {"ps-controller-battery-ab:cd:ef:00:11:22", "AB:CD:EF:00:11:22"},
        {"", ""},
        {"11:22:33:44:55", ""},
        {"11:22:33:44:55:6", ""},
        {"11:22:33:44:55:6g", ""},
        {"11:22-33:44:55:66", ""},
        {"11.22.33.44.55.66", ""},
        {"11:22:33:44:55:667", ""},
        {"x11:22:33:44:55:66", ""},
        {"4082-d8-01-02-03-04", ""},
    };
    for (const auto& [text, address] : rows) EXPECT_EQ(bluetoothAddressIn(text), address) << text;
}

TEST(ConnectedDevices, standOneInALineWithTheirAddress) {
    EXPECT_EQ(parseConnectedDevices("Device 11:22:33:44:55:66 Ann's  Mouse \n"
                                    "Device aa:bb:cc:dd:ee:ff AA-BB-CC-DD-EE-FF\n"),
              (Listed{{.name = "Ann's  Mouse ", .address = "11:22:33:44:55:66"},
                      {.name = "AA-BB-CC-DD-EE-FF", .address = "AA:BB:CC:DD:EE:FF"}}));
}

TEST(ConnectedDevices, otherLinesAreSkipped) {
    EXPECT_EQ(parseConnectedDevices("Waiting to connect to bluetoothd...\n"
                                    "Device 11:22:33:44:55:66\n"
                                    "Device 11:22:33:44:55:66 \n"
                                    "Device 11:22:33:44:55:6X Mouse\n"
                                    "Device 11:22:33:44:55:66Mouse\n"
                                    "device 11:22:33:44:55:66 Mouse\n"
                                    " Device 11:22:33:44:55:66 Mouse\n"
                                    "\n"
                                    "Device 11:22:33:44:55:66 cut short"),
              Listed{});
    EXPECT_EQ(parseConnectedDevices(""), Listed{});
}

TEST(ConnectedDevices, aNameThatIsNoUtf8IsRepaired) {
    EXPECT_EQ(parseConnectedDevices("Device 11:22:33:44:55:66 M\xffus\n")[0].name, "M\xef\xbf\xbdus");
}

TEST(HidEvent, tellsTheNameAndTheAddress) {
    EXPECT_EQ(parseHidEvent("DRIVER=hid-generic\nHID_ID=0005:0000046D:0000B012\nHID_NAME=MX Mouse\n"
                            "HID_PHYS=00:00:00:00:00:00\nHID_UNIQ=d4:bf:7f:3b:00:11\nMODALIAS=hid:b0005\n"),
              (HidFacts{"MX Mouse", "D4:BF:7F:3B:00:11"}));
    EXPECT_EQ(parseHidEvent("HID_UNIQ=4082-d8-01\nHID_NAME=\n"), HidFacts{});
    EXPECT_EQ(parseHidEvent("HID_NAME=cut"), HidFacts{});
    EXPECT_EQ(parseHidEvent(""), HidFacts{});
}

TEST(CapacityLevel, isAPercentage) {
    const std::vector<std::pair<std::string, std::optional<std::int64_t>>> rows = {
        {"Critical", 5}, {"Low", 10},     {"Normal", 55},   {"High", 70},
        {"Full", 100},   {"Unknown", {}}, {"critical", {}}, {"", {}}};
    for (const auto& [word, percent] : rows) EXPECT_EQ(percentOfCapacityLevel(word), percent) << word;
}

class SupplyTest : public testing::Test {
  protected:
    /// A mouse with half a charge, and the given files instead.
    void supply(const std::string& name,
                const std::vector<std::pair<std::string, std::string>>& others = {}) {
        std::vector<std::pair<std::string, std::string>> files = {
            {"type", "Battery"}, {"scope", "Device"}, {"capacity", "50"}, {"model_name", "Mouse"}};
        files.insert(files.end(), others.begin(), others.end());
        for (const auto& [file, text] : files)
            sys.write("class/power_supply/" + name + '/' + file, text + '\n');
    }
    Batteries read(const std::set<std::string, std::less<>>& told = {}) {
        return readPeripheralSupplies(sys.path().string(), told);
    }

    test::TempDirectory sys;
};

TEST_F(SupplyTest, withoutAFolderThereIsNone) {
    EXPECT_EQ(read(), Batteries{});
}

TEST_F(SupplyTest, peripheralsComeInTheOrderOfTheirFolders) {
    supply("hidpp_battery_1", {{"model_name", "Second"}, {"capacity", "0"}});
    supply("hidpp_battery_0", {{"model_name", "First"}, {"capacity", "100"}});
    EXPECT_EQ(read(), (Batteries{{100, "First"}, {0, "Second"}}));
    EXPECT_EQ(read({"hidpp_battery_0"}), (Batteries{{0, "Second"}}));
}

TEST_F(SupplyTest, theMachinesOwnSuppliesAndDevicesThatAreOffAreNone) {
    supply("BAT0", {{"scope", "System"}});
    supply("wacom_ac", {{"type", "Mains"}});
    supply("gone", {{"present", "0"}});
    supply("off", {{"online", "0"}});
    sys.write("class/power_supply/BAT1/type", "Battery\n");
    EXPECT_EQ(read(), Batteries{});
    supply("here", {{"present", "1"}, {"online", "1"}});
    EXPECT_EQ(read().size(), 1u);
}

TEST_F(SupplyTest, aLevelThatIsNoPercentageIsUnknown) {
    for (const std::string text : {"101", "-1", "50%", "5.0", "99999999999999999999"}) {
        sys.write("class/power_supply/m/capacity_level", "Unknown\n");
        supply("m", {{"capacity", text}});
        EXPECT_EQ(read().at(0).batteryPercent, std::nullopt) << text;
    }
}

TEST_F(SupplyTest, whereThereIsNoPercentageTheWordCounts) {
    sys.write("class/power_supply/m/type", "Battery\n");
    sys.write("class/power_supply/m/scope", "Device\n");
    sys.write("class/power_supply/m/capacity_level", "Critical\n");
    sys.write("class/power_supply/m/model_name", " Mouse\n");
    EXPECT_EQ(read(), (Batteries{{5, "Mouse"}}));
}

TEST_F(SupplyTest, theAddressAndAMissingNameAreThoseOfTheDevice) {
    supply("hidpp_battery_0",
           {{"device/uevent", "HID_NAME=MX Mouse\nHID_UNIQ=11:22:33:44:55:66"}, {"model_name", ""}});
    supply("ps-controller-battery-aa:bb:cc:dd:ee:ff", {{"model_name", ""}});
    EXPECT_EQ(read(),
              (Batteries{{50, "MX Mouse", "11:22:33:44:55:66"}, {50, std::nullopt, "AA:BB:CC:DD:EE:FF"}}));
}

class FallbackTest : public SupplyTest {
  protected:
    FallbackTest() {
        sys.write("bus/hid/devices/0005:046D:B012.0002/uevent",
                  "HID_NAME=Mouse\nHID_UNIQ=11:22:33:44:55:66\n");
        sys.write("bus/hid/devices/0003:046D:C52B.0001/uevent", "HID_NAME=Receiver\n");
        sys.write("bus/hid/devices/0005:0000:0000.0003/uevent", "DRIVER=hid\n");
    }
    void adapter() { sys.write("class/bluetooth/hci0/uevent", "DEVTYPE=host\n"); }
    void tool(const std::string& script) {
        std::filesystem::permissions(
            sys.write("bin/bluetoothctl", "#!/bin/sh\necho >> " + sys.file("runs") + '\n' + script),
            std::filesystem::perms(0755));
    }
    Listed read(State state, std::chrono::seconds limit = longTime, const std::stop_token& stop = {}) {
        LinuxBluetoothFallback fallback(sys.path().string(), sys.file("bin"), [state] { return state; });
        return fallback.readConnectedDevices(limit, stop);
    }
    std::size_t runs() const {
        return std::filesystem::exists(sys.file("runs")) ? std::filesystem::file_size(sys.file("runs")) : 0;
    }

    const Listed toolsDevices{{.name = "Headset", .address = "AA:BB:CC:DD:EE:FF"}};
    const Listed kernelsDevices{{.name = "Mouse", .address = "11:22:33:44:55:66"}};
};

TEST_F(FallbackTest, aServiceThatFailsUsIsAskedByTheTool) {
    adapter();
    tool("[ \"$*\" = 'devices Connected' ] && echo Device AA:BB:CC:DD:EE:FF Headset");
    EXPECT_EQ(read(State::fails), toolsDevices);
    tool("exit 0");
    EXPECT_EQ(read(State::fails), Listed{});
}

TEST_F(FallbackTest, aToolThatFailsOrIsMissingGivesTheKernelsDevices) {
    adapter();
    EXPECT_EQ(read(State::fails), kernelsDevices);
    tool("echo Device AA:BB:CC:DD:EE:FF Headset; exit 1");
    EXPECT_EQ(read(State::fails), kernelsDevices);
    EXPECT_EQ(runs(), 1u);
}

TEST_F(FallbackTest, aToolThatHangsIsKilledAtTheLimitAndAtAStop) {
    adapter();
    tool("exec sleep 600");
    EXPECT_EQ(read(State::fails, std::chrono::seconds(1)), kernelsDevices);
    std::stop_source stop;
    stop.request_stop();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(read(State::fails, longTime, stop.get_token()), kernelsDevices);
    EXPECT_LT(std::chrono::steady_clock::now() - start, longTime / 2);
}

TEST_F(FallbackTest, noToolIsStartedThatCouldNotHelp) {
    tool("echo Device AA:BB:CC:DD:EE:FF Headset");
    EXPECT_EQ(read(State::fails), kernelsDevices);  // no adapter
    adapter();
    EXPECT_EQ(read(State::isAbsent), kernelsDevices);
    EXPECT_EQ(read(State::fails, std::chrono::seconds(0)), kernelsDevices);
    EXPECT_EQ(read(State::answers), Listed{});
    EXPECT_EQ(runs(), 0u);
    EXPECT_EQ(read(State::fails), toolsDevices);
}

TEST_F(FallbackTest, withoutAnythingTheListIsEmpty) {
    LinuxBluetoothFallback fallback(sys.file("none"), "", [] { return State::fails; });
    EXPECT_EQ(fallback.readConnectedDevices(longTime, {}), Listed{});
}

}  // namespace
}  // namespace corvanta
