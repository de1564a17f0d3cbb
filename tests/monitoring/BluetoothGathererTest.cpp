// SPDX-License-Identifier: Apache-2.0
#include "monitoring/collectors/BluetoothGatherer.h"

#include <gtest/gtest.h>

#include <future>
#include <string>
#include <utility>
#include <vector>

#include "platform/OpenDescriptors.h"
#include "support/FakePlatform.h"

namespace corvanta {
namespace {

using test::FakePlatform;
using Devices = std::vector<BluetoothDevice>;

PairedBluetoothDevice connected(std::string name, std::string address = {}) {
    return {.name = std::move(name), .isConnected = true, .address = std::move(address)};
}
BluetoothDevice device(std::string name, std::int64_t level = -1) {
    return {.name = std::move(name), .batteryLevel = level};
}
PeripheralBattery battery(std::optional<std::string> product, std::optional<std::int64_t> percent,
                          std::string address = {}) {
    return {.batteryPercent = percent, .product = std::move(product), .address = std::move(address)};
}

class BluetoothGathererTest : public testing::Test {
  protected:
    Devices gather() { return gatherer.gather({}); }
    /// While the service hangs: until the wait for it is over.
    Devices gatherWithoutAnswer() {
        auto result = std::async(std::launch::async, [this] { return gather(); });
        EXPECT_TRUE(machine.waiter.awaitWaits(++waits));
        machine.waiter.release();
        return result.get();
    }

    FakePlatform machine;
    BluetoothGatherer gatherer{machine.platform};
    std::size_t waits = 0;
};

TEST(BluetoothDevice, isLowFromZeroThroughTwentyPercent) {
    for (const auto& [level, isLow] :
         std::vector<std::pair<int, bool>>{{-1, false}, {0, true}, {20, true}, {21, false}, {100, false}})
        EXPECT_EQ(device("x", level).isLowBattery(), isLow) << level;
}

TEST(BluetoothDevice, hasTheIconOfTheFirstKeywordInItsName) {
    const std::vector<std::pair<std::string, std::string_view>> rows = {
        {"MX Mouse", "cursorarrow"},
        {"KEYBOARD K380", "keyboard"},
        {"Ann's AirPods Pro", "airpods"},
        {"Magic Trackpad", "hand.draw"},
        {"Headphones", "headphones"},
        {"GamePad", "gamecontroller"},
        {"Wireless Controller", "gamecontroller"},
        {"Keyboard with Mouse", "cursorarrow"},
        {"Headset", "antenna.radiowaves.left.and.right"},
        {"", "antenna.radiowaves.left.and.right"},
    };
    for (const auto& [name, icon] : rows) EXPECT_EQ(device(name).iconName(), icon) << name;
}

TEST_F(BluetoothGathererTest, aMachineWithoutPeripheralsHasAnEmptyListAndAsksNobody) {
    EXPECT_EQ(gather(), Devices{});
    EXPECT_EQ(machine.bluetoothQuery.questions.comers(), 0);
    EXPECT_EQ(machine.threadSetup.labels(), std::vector<std::string>{});
}

TEST_F(BluetoothGathererTest, connectedDevicesWithANameAreListed) {
    machine.bluetoothQuery.known = {connected("Mouse"),
                                    {.name = "Away", .isConnected = false},
                                    {.name = "", .isConnected = true},
                                    {.name = std::nullopt, .isConnected = true},
                                    connected("Keyboard")};
    EXPECT_EQ(gather(), (Devices{device("Mouse"), device("Keyboard")}));
}

TEST_F(BluetoothGathererTest, aNameThatAppearsTwiceAmongPairedDevicesIsListedOnce) {
    machine.bluetoothQuery.known = {connected("Mouse", "00:00:00:00:00:01"),
                                    connected("Mouse", "00:00:00:00:00:02"), connected("mouse")};
    EXPECT_EQ(gather(), (Devices{device("Mouse"), device("mouse")}));
}

TEST_F(BluetoothGathererTest, aServiceThatMustBeAskedIsAskedOnAThreadOfItsOwn) {
    machine.bluetoothQuery.answer(std::vector{connected("Mouse")});
    EXPECT_EQ(gather(), Devices{device("Mouse")});
    EXPECT_EQ(machine.threadSetup.labels(),
              std::vector<std::string>{"com.corvanta.bluetoothmonitor.iobluetooth"});
    EXPECT_EQ(machine.waiter.waits(), std::vector<double>{2.0});
}

TEST_F(BluetoothGathererTest, anAbsentOrEmptyAnswerGivesTheFallback) {
    machine.bluetoothFallback.devices = {
        {.name = "Headset", .batteryLevel = 70}, {.name = "Headset", .batteryLevel = 10}, {.name = "Mouse"}};
    machine.bluetoothQuery.answer(std::nullopt);
    EXPECT_EQ(gather(), (Devices{device("Headset", 70), device("Mouse")}));
    machine.bluetoothQuery.answer(std::vector<PairedBluetoothDevice>());
    EXPECT_EQ(gather(), (Devices{device("Headset", 70), device("Mouse")}));
    EXPECT_EQ(machine.bluetoothFallback.lastLimit, std::chrono::seconds(12));
}

TEST_F(BluetoothGathererTest, aQueryThatTakesThreeSecondsYieldsTheFallbackAndTheNextRunsNormally) {
    machine.bluetoothFallback.devices = {{.name = "Fallback"}};
    machine.bluetoothQuery.answer(std::vector{connected("Mouse")});
    machine.bluetoothQuery.questions.hold();
    EXPECT_EQ(gatherWithoutAnswer(), Devices{device("Fallback")});
    EXPECT_EQ(machine.waiter.waits(), std::vector<double>{2.0});

    machine.bluetoothQuery.questions.release();
    // The late answer's thread may need a moment to go; until then the fallback stands in.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    Devices devices;
    while (devices != Devices{device("Mouse")} && std::chrono::steady_clock::now() < deadline)
        devices = gather();
    EXPECT_EQ(devices, Devices{device("Mouse")});
    EXPECT_EQ(machine.bluetoothQuery.questions.comers(), 2);
    EXPECT_EQ(machine.bluetoothFallback.readings.comers(), 1);
}

TEST_F(BluetoothGathererTest, whileAQueryIsStuckTheFallbackComesWithoutAWait) {
    machine.bluetoothFallback.devices = {{.name = "Fallback"}};
    machine.bluetoothQuery.answer(std::vector{connected("Mouse")});
    machine.bluetoothQuery.questions.hold();
    gatherWithoutAnswer();
    for (int i = 0; i < 3; ++i) EXPECT_EQ(gather(), Devices{device("Fallback")});
    EXPECT_EQ(machine.waiter.waits().size(), 1u);
    EXPECT_TRUE(machine.bluetoothQuery.questions.await(1));
    EXPECT_EQ(machine.bluetoothQuery.questions.comers(), 1);
    machine.bluetoothQuery.questions.release();
}

TEST_F(BluetoothGathererTest, theSlowListingRunsAtMostEveryThreeHundredSeconds) {
    machine.bluetoothFallback.devices = {{.name = "Mouse"}};
    const std::vector<std::pair<double, int>> rows = {{0, 1}, {15, 1}, {299.9, 1}, {300, 2}, {315, 2}};
    const double start = machine.clock.systemUptime();
    for (const auto& [seconds, readings] : rows) {
        machine.clock.setUptime(start + seconds);
        EXPECT_EQ(gather(), Devices{device("Mouse")});
        EXPECT_EQ(machine.bluetoothFallback.readings.comers(), readings) << seconds;
    }
}

TEST_F(BluetoothGathererTest, anEmptyListingUsesTheGateUpAndReplacesTheOneBefore) {
    machine.bluetoothFallback.devices = {{.name = "Mouse"}};
    gather();
    machine.bluetoothFallback.devices.clear();
    machine.clock.advance(300);
    EXPECT_EQ(gather(), Devices{});
    machine.bluetoothFallback.devices = {{.name = "Keyboard"}};
    machine.clock.advance(299);
    EXPECT_EQ(gather(), Devices{});
    machine.clock.advance(1);
    EXPECT_EQ(gather(), Devices{device("Keyboard")});
}

TEST_F(BluetoothGathererTest, anAnswerWithDevicesLeavesTheCacheAndTheGateUntouched) {
    machine.bluetoothFallback.devices = {{.name = "Fallback"}};
    machine.bluetoothQuery.known = {connected("Mouse")};
    gather();
    EXPECT_EQ(machine.bluetoothFallback.readings.comers(), 0);
    machine.bluetoothQuery.known.emplace();
    gather();
    machine.clock.advance(200);
    machine.bluetoothQuery.known = {connected("Mouse")};
    gather();
    machine.bluetoothQuery.known.emplace();
    machine.bluetoothFallback.devices.clear();
    EXPECT_EQ(gather(), Devices{device("Fallback")});
    machine.clock.advance(100);
    EXPECT_EQ(gather(), Devices{});
    EXPECT_EQ(machine.bluetoothFallback.readings.comers(), 2);
}

TEST_F(BluetoothGathererTest, aCertainEmptyAnswerIsFinalAndDropsTheListingOfTheSilence) {
    machine.bluetoothFallback.devices = {{.name = "Headset"}};
    machine.bluetoothQuery.answer(std::nullopt);
    EXPECT_EQ(gather(), Devices{device("Headset")});
    machine.clock.advance(15);
    machine.bluetoothQuery.isCertain = true;
    machine.bluetoothQuery.answer(std::vector<PairedBluetoothDevice>{{.name = "Headset"}});
    EXPECT_EQ(gather(), Devices{});
    // It has left; the next silence must not bring it back.
    machine.clock.advance(15);
    machine.bluetoothQuery.answer(std::nullopt);
    EXPECT_EQ(gather(), Devices{});
    EXPECT_EQ(machine.bluetoothFallback.readings.comers(), 1);
    machine.clock.advance(270);
    EXPECT_EQ(gather(), Devices{device("Headset")});
}

TEST_F(BluetoothGathererTest, aCertainEmptyAnswerLeavesTheSlowListingForASilence) {
    machine.bluetoothFallback.devices = {{.name = "Headset"}};
    machine.bluetoothQuery.isCertain = true;
    machine.bluetoothQuery.known.emplace();
    EXPECT_EQ(gather(), Devices{});
    EXPECT_EQ(machine.bluetoothFallback.readings.comers(), 0);
    machine.clock.advance(20);
    machine.bluetoothQuery.answer(std::nullopt);
    EXPECT_EQ(gather(), Devices{device("Headset")});
}

TEST_F(BluetoothGathererTest, aBatteryOfAListedNameSetsItsLevelAndAnyOtherNameIsASecondDevice) {
    machine.bluetoothQuery.known = {connected("Mouse")};
    machine.peripheralBatteries.services = {battery(" Mouse\n", 80)};
    EXPECT_EQ(gather(), Devices{device("Mouse", 80)});
    machine.peripheralBatteries.services = {battery("mouse", 80)};
    EXPECT_EQ(gather(), (Devices{device("Mouse"), device("mouse", 80)}));
}

TEST_F(BluetoothGathererTest, theDriversWinOverTheServicesAndBothOverTheListing) {
    machine.bluetoothFallback.devices = {{.name = "Mouse", .batteryLevel = 90}};
    machine.peripheralBatteries.services = {battery("Mouse", 80), battery("Keyboard", 50)};
    machine.peripheralBatteries.drivers = {battery("Mouse", 79)};
    EXPECT_EQ(gather(), (Devices{device("Mouse", 79), device("Keyboard", 50)}));
}

TEST_F(BluetoothGathererTest, aServicesBatteryWithoutANameIsAnUnknownDeviceAndADriversIsSkipped) {
    machine.peripheralBatteries.services = {battery(std::nullopt, 40), battery(" \t\n", 41)};
    machine.peripheralBatteries.drivers = {battery(std::nullopt, 42), battery("", 43)};
    EXPECT_EQ(gather(), Devices{device("Unknown Device", 40)});
}

TEST_F(BluetoothGathererTest, aBatteryWithoutALevelIsSkipped) {
    machine.peripheralBatteries.services = {battery("Mouse", std::nullopt)};
    machine.peripheralBatteries.drivers = {battery("Keyboard", std::nullopt)};
    EXPECT_EQ(gather(), Devices{});
}

TEST_F(BluetoothGathererTest, internalSensorsAmongTheDriversAreSkippedByTheirExactLetters) {
    machine.peripheralBatteries.services = {battery("temp", 1)};
    machine.peripheralBatteries.drivers = {
        battery("CPU temp", 2), battery("template", 3), battery("PMU tdie", 4),
        battery("NAND CH0", 5), battery("Temp", 6),     battery("pmu", 7),
        battery("My PMU", 8),   battery("Nand", 9),     battery(" PMU", 10)};
    EXPECT_EQ(gather(), (Devices{device("temp", 1), device("Temp", 6), device("pmu", 7), device("My PMU", 8),
                                 device("Nand", 9)}));
}

TEST_F(BluetoothGathererTest, oneDeviceUnderTwoNamesIsListedOnceByItsAddress) {
    machine.bluetoothQuery.known = {connected("Ann's Mouse", "11:22:33:44:55:66")};
    machine.peripheralBatteries.services = {battery("Wireless Mouse", 30, "11:22:33:44:55:66"),
                                            battery(std::nullopt, 31, "11:22:33:44:55:66")};
    machine.peripheralBatteries.drivers = {battery("Wireless Mouse", 32, "11:22:33:44:55:66"),
                                           battery("Wireless Mouse", 50, "66:55:44:33:22:11")};
    EXPECT_EQ(gather(), (Devices{device("Ann's Mouse", 32), device("Wireless Mouse", 50)}));
}

TEST_F(BluetoothGathererTest, theFallbacksAddressesCountAsWell) {
    machine.bluetoothFallback.devices = {{.name = "Ann's Mouse", .address = "11:22:33:44:55:66"}};
    machine.peripheralBatteries.drivers = {battery("Wireless Mouse", 32, "11:22:33:44:55:66")};
    EXPECT_EQ(gather(), Devices{device("Ann's Mouse", 32)});
}

TEST_F(BluetoothGathererTest, aStopEndsTheWaitForTheService) {
    machine.bluetoothQuery.answer(std::nullopt);
    machine.bluetoothQuery.questions.hold();
    std::stop_source stop;
    auto result = std::async(std::launch::async, [&] { return gatherer.gather(stop.get_token()); });
    ASSERT_TRUE(machine.waiter.awaitWaits(1));
    stop.request_stop();
    EXPECT_EQ(result.get(), Devices{});
    EXPECT_EQ(machine.bluetoothFallback.readings.comers(), 0);
    machine.bluetoothQuery.questions.release();
}

TEST_F(BluetoothGathererTest, withoutTimeForTheSlowListingItSaysSo) {
    BluetoothGatherer(machine.platform, std::chrono::seconds(0)).gather({});
    EXPECT_EQ(machine.bluetoothFallback.lastLimit, std::chrono::seconds(0));
}

TEST_F(BluetoothGathererTest, tenThousandRefreshesLeaveNoDescriptorBehind) {
    machine.bluetoothQuery.answer(std::vector{connected("Mouse")});
    const std::size_t before = test::openDescriptors();
    for (int i = 0; i < 10'000; ++i) ASSERT_EQ(gather().size(), 1u);
    EXPECT_EQ(machine.bluetoothQuery.questions.comers(), 10'000);
    EXPECT_EQ(test::openDescriptors(), before);
}

}  // namespace
}  // namespace corvanta
