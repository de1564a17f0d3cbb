// SPDX-License-Identifier: Apache-2.0
#include "monitoring/collectors/NetworkMonitor.h"

#include <gtest/gtest.h>

#include <limits>
#include <thread>
#include <vector>

#include "support/FakeNetDisk.h"
#include "support/FakePlatform.h"

namespace corvanta {
namespace {

using Names = std::set<std::string>;
using Interfaces = std::vector<InterfaceReading>;

InterfaceReading up(std::string name, std::uint64_t bytesIn, std::uint64_t bytesOut) {
    return {std::move(name), true, InterfaceCounter{bytesIn, bytesOut}};
}
InterfaceReading down(std::string name, std::uint64_t bytesIn, std::uint64_t bytesOut) {
    return {std::move(name), false, InterfaceCounter{bytesIn, bytesOut}};
}

class NetworkMonitorTest : public testing::Test {
  protected:
    /// The next sample, the given time after the last one.
    NetworkSpeed sample(Interfaces interfaces, double secondsLater = 1) {
        return sample(test::FakeNetCounterSource::Reading(std::move(interfaces)), secondsLater);
    }
    NetworkSpeed sample(test::FakeNetCounterSource::Reading reading, double secondsLater = 1) {
        clock.advance(secondsLater);
        source.queue.push_back(std::move(reading));
        return monitor.getNetworkSpeed();
    }

    test::FakeClock clock;
    test::FakeNetCounterSource source;
    NetworkMonitor monitor{source, clock};
};

constexpr NetworkSpeed none{};

TEST_F(NetworkMonitorTest, theFirstSampleIsZeroAndTheSecondGivesTheRates) {
    EXPECT_EQ(sample({up("en0", 1000, 5000)}), none);
    EXPECT_EQ(sample({up("en0", 4000, 5500)}), (NetworkSpeed{.upload = 500, .download = 3000}));
}

TEST_F(NetworkMonitorTest, ratesArePerSecondOfTheTimePassed) {
    sample({up("en0", 0, 0)});
    EXPECT_EQ(sample({up("en0", 3000, 1000)}, 4), (NetworkSpeed{.upload = 250, .download = 750}));
    EXPECT_EQ(sample({up("en0", 3500, 1250)}, 0.5), (NetworkSpeed{.upload = 500, .download = 1000}));
}

TEST_F(NetworkMonitorTest, sumsAllInterfacesOfTheFamily) {
    sample({up("en0", 0, 0), up("eth1", 0, 0), up("wlan0", 0, 0)});
    EXPECT_EQ(sample({up("en0", 1, 10), up("eth1", 2, 20), up("wlan0", 4, 40)}),
              (NetworkSpeed{.upload = 70, .download = 7}));
}

TEST_F(NetworkMonitorTest, besideAPhysicalInterfaceTheTunnelDoesNotCount) {
    sample({up("en0", 0, 0), up("utun3", 0, 0)});
    EXPECT_EQ(sample({up("en0", 100, 200), up("utun3", 90, 190)}),
              (NetworkSpeed{.upload = 200, .download = 100}));
}

TEST_F(NetworkMonitorTest, withoutAPhysicalInterfaceTheTunnelCounts) {
    sample({up("utun3", 0, 0), up("lo0", 0, 0)});
    EXPECT_EQ(sample({up("utun3", 90, 190), up("lo0", 5000, 5000)}),
              (NetworkSpeed{.upload = 190, .download = 90}));
}

TEST_F(NetworkMonitorTest, theLoopbackAloneGivesZero) {
    sample({up("lo0", 0, 0)});
    EXPECT_EQ(sample({up("lo0", 5000, 5000)}), none);
}

TEST_F(NetworkMonitorTest, anInterfaceThatIsDownDoesNotCountAndDoesNotDecideTheFamily) {
    sample({down("en0", 0, 0), up("utun3", 0, 0)});
    EXPECT_EQ(sample({down("en0", 100, 200), up("utun3", 90, 190)}),
              (NetworkSpeed{.upload = 190, .download = 90}));
}

TEST_F(NetworkMonitorTest, anInterfaceWithoutCountersDoesNotCountAndDoesNotDecideTheFamily) {
    sample({{"en0", true, std::nullopt}, up("utun3", 0, 0)});
    EXPECT_EQ(sample({{"en0", true, std::nullopt}, up("utun3", 90, 190)}),
              (NetworkSpeed{.upload = 190, .download = 90}));
}

TEST_F(NetworkMonitorTest, anInterfaceThatAppearsCountsFromTheNextSample) {
    sample({up("en0", 0, 0)});
    EXPECT_EQ(sample({up("en0", 10, 20), up("en1", 7'000'000, 8'000'000)}),
              (NetworkSpeed{.upload = 20, .download = 10}));
    EXPECT_EQ(sample({up("en0", 10, 20), up("en1", 7'000'001, 8'000'002)}),
              (NetworkSpeed{.upload = 2, .download = 1}));
}

TEST_F(NetworkMonitorTest, anInterfaceThatVanishedStartsAnewWhenItComesBack) {
    sample({up("en0", 0, 0), up("en1", 1000, 1000)});
    EXPECT_EQ(sample({up("en0", 1, 1)}), (NetworkSpeed{.upload = 1, .download = 1}));
    EXPECT_EQ(sample({up("en0", 1, 1), up("en1", 9000, 9000)}), none);
    EXPECT_EQ(sample({up("en0", 1, 1), up("en1", 9005, 9006)}), (NetworkSpeed{.upload = 6, .download = 5}));
}

TEST_F(NetworkMonitorTest, aCounterThatDroppedAddsNothingForItsDirectionOnly) {
    sample({up("en0", 4'000'000'000, 100), up("en1", 50, 4'000'000'000)});
    EXPECT_EQ(sample({up("en0", 500, 130), up("en1", 57, 500)}), (NetworkSpeed{.upload = 30, .download = 7}));
    EXPECT_EQ(sample({up("en0", 600, 130), up("en1", 57, 900)}),
              (NetworkSpeed{.upload = 400, .download = 100}));
}

TEST_F(NetworkMonitorTest, aCounterThatStandsStillAddsNothing) {
    sample({up("en0", 500, 500)});
    EXPECT_EQ(sample({up("en0", 500, 500)}), none);
}

TEST_F(NetworkMonitorTest, countersBeyondThirtyTwoBitsAreExact) {
    constexpr std::uint64_t large = std::uint64_t{1} << 40;
    sample({up("en0", large, std::numeric_limits<std::uint64_t>::max() - 5)});
    EXPECT_EQ(
        sample({up("en0", large + (std::uint64_t{5} << 32), std::numeric_limits<std::uint64_t>::max())}),
        (NetworkSpeed{.upload = 5, .download = 5.0 * 4294967296.0}));
}

TEST_F(NetworkMonitorTest, aClockSetBackGivesZeroOnceAndNewBaselines) {
    sample({up("en0", 0, 0)});
    EXPECT_EQ(sample({up("en0", 1000, 1000)}, -3600), none);
    EXPECT_EQ(sample({up("en0", 1010, 1020)}), (NetworkSpeed{.upload = 20, .download = 10}));
}

TEST_F(NetworkMonitorTest, twoSamplesAtTheSameMomentGiveZeroAndNewBaselines) {
    sample({up("en0", 0, 0)});
    EXPECT_EQ(sample({up("en0", 1000, 1000)}, 0), none);
    EXPECT_EQ(sample({up("en0", 1010, 1020)}), (NetworkSpeed{.upload = 20, .download = 10}));
}

TEST_F(NetworkMonitorTest, timeIsTheWallClocks) {
    sample({up("en0", 0, 0)});
    clock.setNow(clock.now() + std::chrono::duration<double>(9));
    EXPECT_EQ(sample({up("en0", 1000, 2000)}), (NetworkSpeed{.upload = 200, .download = 100}));
}

TEST_F(NetworkMonitorTest, aFailedOrEmptyReadingChangesNothing) {
    sample({up("en0", 0, 0)});
    EXPECT_EQ(sample(std::nullopt), none);
    EXPECT_EQ(sample(Interfaces{}), none);
    EXPECT_EQ(sample({up("en0", 300, 600)}), (NetworkSpeed{.upload = 200, .download = 100}));
}

TEST_F(NetworkMonitorTest, aFailedFirstReadingIsNoFirstSample) {
    EXPECT_EQ(sample(std::nullopt), none);
    EXPECT_EQ(sample({up("en0", 300, 600)}), none);
    EXPECT_EQ(sample({up("en0", 301, 602)}), (NetworkSpeed{.upload = 2, .download = 1}));
}

TEST_F(NetworkMonitorTest, whenNothingIsUpThatIsABaselineToo) {
    sample({up("en0", 0, 0)});
    EXPECT_EQ(sample({down("en0", 100, 100)}), none);
    EXPECT_EQ(sample({up("en0", 5000, 5000)}), none);  // no baseline of en0 is left
    EXPECT_EQ(sample({up("en0", 5001, 5002)}), (NetworkSpeed{.upload = 2, .download = 1}));
}

TEST_F(NetworkMonitorTest, aNameThatComesIntoPreferenceLaterHasABaseline) {
    sample({up("en0", 0, 0), up("utun3", 0, 0)});
    sample({up("en0", 1000, 1000), up("utun3", 50, 60)});
    EXPECT_EQ(sample({up("utun3", 55, 67)}), (NetworkSpeed{.upload = 7, .download = 5}));
}

TEST_F(NetworkMonitorTest, aLaterEntryOfTheSameNameOverwrites) {
    sample({up("en0", 900, 900), up("en0", 0, 0)});
    EXPECT_EQ(sample({up("en0", 5000, 5000), up("en0", 10, 20)}),
              (NetworkSpeed{.upload = 20, .download = 10}));
}

TEST_F(NetworkMonitorTest, severalThreadsMaySample) {
    for (std::uint64_t i = 0; i < 400; ++i) source.queue.push_back(Interfaces{up("en0", i, i)});
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int j = 0; j < 100; ++j) {
                clock.advance(1);
                const NetworkSpeed speed = monitor.getNetworkSpeed();
                EXPECT_TRUE(speed.upload >= 0 && speed.upload <= 1) << speed.upload;
                EXPECT_EQ(speed.upload, speed.download);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_TRUE(source.queue.empty());
}

// One row per family: each name of a tier wins alone, and loses against the tier before.
struct Tier {
    std::vector<std::string> names;
};

TEST(PreferredInterfaceNames, eachFamilyStandsInItsTier) {
    const std::vector<Tier> tiers = {
        {{"en0", "enp3s0", "eno1", "ens3", "enx001122334455", "eth0", "wlan0", "wlp2s0", "wl0", "wwan0",
          "wwp0s20u4", "ib0", "ibp5s0", "usb0", "pdp_ip0", "en:lan0"}},
        {{"bridge0", "bridge", "br0", "br9", "br-1a2b3c4d5e6f", "virbr0", "docker0", "lxcbr0", "lxdbr0",
          "incusbr0", "podman1", "cni0", "cni-podman0"}},
        {{"utun3", "ipsec0", "tun0", "tap0", "wg0", "ppp0", "xfrm0", "vti0", "gre1", "gretap0", "sit1",
          "ip6tnl1", "tailscale0", "nordlynx", "proton0", "ztabcdef"}},
    };
    for (std::size_t tier = 0; tier < tiers.size(); ++tier) {
        for (const std::string& name : tiers[tier].names) {
            EXPECT_EQ(NetworkMonitor::preferredInterfaceNames({name, "lo"}), Names{name});
            for (std::size_t lower = tier + 1; lower < tiers.size(); ++lower) {
                for (const std::string& other : tiers[lower].names) {
                    EXPECT_EQ(NetworkMonitor::preferredInterfaceNames({name, other, "lo"}), Names{name})
                        << name << " " << other;
                }
            }
        }
        const Names all(tiers[tier].names.begin(), tiers[tier].names.end());
        EXPECT_EQ(NetworkMonitor::preferredInterfaceNames(all), all);
    }
}

TEST(PreferredInterfaceNames, everyOtherNameNeverCounts) {
    for (const std::string name :
         {"",       "lo",     "lo0",      "e",      "E0",       "EN0",     "awdl0", "llw0", "veth12ab",
          "x-eth0", "x-en0",  "x-wlan0",  "x-br0",  "x-tun0",   "br",      "bra",   "brx0", "bond0",
          "team0",  "dummy0", "ifb0",     "vxlan0", "macvlan0", "ip6gre0", "gif0",  "stf0", "p2p0",
          "can0",   "vmnet8", "vboxnet0", "pan0",   "teql0",    "w0",      "i0"}) {
        EXPECT_EQ(NetworkMonitor::preferredInterfaceNames({name}), Names{}) << name;
    }
    EXPECT_EQ(NetworkMonitor::preferredInterfaceNames({}), Names{});
}

}  // namespace
}  // namespace corvanta
