// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/PowerUevent.h"

#include <gtest/gtest.h>
#include <linux/netlink.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

#include "platform/OwnNamespaces.h"

namespace corvanta {
namespace {

using test::inOwnNamespaces;
using test::run;
using Outcome = UeventSocket::Outcome;

/// A message as the kernel puts it together.
std::string message(const std::string& header, const std::vector<std::string>& fields) {
    std::string text = header + '\0';
    for (const std::string& field : fields) text += field + '\0';
    return text;
}

std::string batteryMessage(const std::string& status) {
    return message("change@/devices/LNXSYSTM:00/BAT0/power_supply/BAT0",
                   {"ACTION=change", "SUBSYSTEM=power_supply", "POWER_SUPPLY_NAME=BAT0",
                    "POWER_SUPPLY_STATUS=" + status, "POWER_SUPPLY_CAPACITY=50", "SEQNUM=7"});
}

/// The next message of the kernel's whose header begins so; empty when none comes.
std::string awaitMessage(UeventSocket& socket, const std::string& beginning) {
    pollfd waiting{socket.descriptor(), POLLIN, 0};
    while (poll(&waiting, 1, 20'000) == 1) {
        std::string_view text;
        while (socket.receive(text) == Outcome::message) {
            if (text.substr(0, beginning.size()) == beginning) return std::string(text);
        }
    }
    return "";
}

void sendToGroup(const std::string& text) {
    const int descriptor = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_KOBJECT_UEVENT);
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = 1;
    EXPECT_EQ(sendto(descriptor, text.data(), text.size(), 0, reinterpret_cast<sockaddr*>(&address),
                     sizeof address),
              static_cast<ssize_t>(text.size()));
    close(descriptor);
}

TEST(PowerUevent, readsTheMachinesOwnSupplies) {
    EXPECT_EQ(parsePowerUevent(batteryMessage("Charging")),
              (PowerUevent{.action = "change", .name = "BAT0", .status = "Charging", .online = ""}));
    EXPECT_EQ(parsePowerUevent(message("add@/devices/AC", {"SUBSYSTEM=power_supply", "POWER_SUPPLY_NAME=AC",
                                                           "POWER_SUPPLY_ONLINE=1"})),
              (PowerUevent{.action = "add", .name = "AC", .status = "", .online = "1"}));
}

TEST(PowerUevent, passesOverEverythingElse) {
    for (const std::string& text : {
             std::string(),
             std::string("\0", 1),
             std::string("libudev\0\xfe\xed\xca\xfe", 12),
             std::string("change@/devices/x"),
             message("change@/devices/x", {"SUBSYSTEM=net", "POWER_SUPPLY_NAME=BAT0"}),
             message("change@/devices/x", {"SUBSYSTEM=power_supply"}),
             message("change@/devices/x", {"SUBSYSTEM=power_supply", "POWER_SUPPLY_NAME="}),
             message("change@/devices/x", {"SUBSYSTEM", "power_supply", "=", "POWER_SUPPLY_NAME=BAT0"}),
             message("change", {"SUBSYSTEM=power_supply", "POWER_SUPPLY_NAME=BAT0"}),
             message("change@/devices/x", {"SUBSYSTEM=power_supply", "POWER_SUPPLY_NAME=hidpp_battery_0",
                                           "POWER_SUPPLY_SCOPE=Device"}),
         }) {
        EXPECT_EQ(parsePowerUevent(text), std::nullopt) << text;
    }
}

TEST(PowerUevent, aMessageThatIsCutShortHasWhatItHas) {
    std::string text = message("change@/devices/x", {"SUBSYSTEM=power_supply", "POWER_SUPPLY_NAME=BAT0"});
    text += "POWER_SUPPLY_STATUS=Dischar";
    EXPECT_EQ(parsePowerUevent(text)->status, "Dischar");
}

TEST(PowerUevent, aChargeThatMovesIsNoChange) {
    PowerUeventFilter filter;
    const auto isChange = [&](const std::string& text) {
        const auto event = parsePowerUevent(text);
        return event && filter.isChange(*event);
    };
    EXPECT_TRUE(isChange(batteryMessage("Discharging")));
    EXPECT_FALSE(isChange(batteryMessage("Discharging")));
    EXPECT_TRUE(isChange(batteryMessage("Charging")));
    EXPECT_FALSE(isChange(batteryMessage("Charging")));
}

TEST(PowerUevent, everySupplyHasItsOwnStateAndComingAndGoingIsAChange) {
    PowerUeventFilter filter;
    const PowerUevent battery{.action = "change", .name = "BAT0", .status = "Full", .online = ""};
    const PowerUevent unplugged{.action = "change", .name = "AC", .status = "", .online = "0"};
    const PowerUevent plugged{.action = "change", .name = "AC", .status = "", .online = "1"};
    EXPECT_TRUE(filter.isChange(battery));
    EXPECT_TRUE(filter.isChange(unplugged));
    EXPECT_TRUE(filter.isChange(plugged));
    EXPECT_FALSE(filter.isChange(battery));
    EXPECT_FALSE(filter.isChange(plugged));
    EXPECT_TRUE(filter.isChange({.action = "add", .name = "BAT0", .status = "Full", .online = ""}));
    EXPECT_TRUE(filter.isChange({.action = "remove", .name = "BAT0", .status = "", .online = ""}));
    EXPECT_TRUE(filter.isChange({.action = "remove", .name = "BAT0", .status = "", .online = ""}));
    EXPECT_TRUE(filter.isChange(battery));
}

TEST(UeventSocket, hearsTheKernelAndNeverWaits) {
    inOwnNamespaces([] {
        UeventSocket socket;
        ASSERT_GE(socket.descriptor(), 0);
        std::string_view text;
        EXPECT_EQ(socket.receive(text), Outcome::none);
        ASSERT_TRUE(run("ip link add power0 type bridge"));
        const std::string heard = awaitMessage(socket, "add@/devices/virtual/net/power0");
        EXPECT_NE(heard.find("SUBSYSTEM=net"), std::string::npos);
        EXPECT_EQ(parsePowerUevent(heard), std::nullopt);
    });
}

TEST(UeventSocket, passesOverWhatOthersThanTheKernelSend) {
    inOwnNamespaces([] {
        UeventSocket socket;
        sendToGroup(batteryMessage("Charging"));
        ASSERT_TRUE(run("ip link add power0 type bridge"));
        // The first that it hands over is the kernel's, though the other came before.
        pollfd waiting{socket.descriptor(), POLLIN, 0};
        std::string_view text;
        do {
            ASSERT_EQ(poll(&waiting, 1, 20'000), 1);
        } while (socket.receive(text) == Outcome::none);
        EXPECT_EQ(text.find("POWER_SUPPLY_NAME"), std::string_view::npos);
        EXPECT_NE(text.find("SUBSYSTEM="), std::string_view::npos);
    });
}

TEST(UeventSocket, tellsWhenTheKernelHadMoreThanItHolds) {
    inOwnNamespaces([] {
        UeventSocket socket;
        const int smallest = 1;
        ASSERT_EQ(setsockopt(socket.descriptor(), SOL_SOCKET, SO_RCVBUF, &smallest, sizeof smallest), 0);
        for (int i = 0; i < 20; ++i) sendToGroup(std::string(2000, 'x'));
        std::string_view text;
        EXPECT_EQ(socket.receive(text), Outcome::lost);
        EXPECT_EQ(socket.receive(text), Outcome::none);
    });
}

TEST(UeventSocket, withoutASocketItFails) {
    UeventSocket socket(-1);
    std::string_view text;
    EXPECT_EQ(socket.receive(text), Outcome::failed);
}

}  // namespace
}  // namespace corvanta
