// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/NetlinkCounterSource.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <deque>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/LinkDumpBuilder.h"
#include "platform/OpenDescriptors.h"
#include "support/FakeNetDisk.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

using test::LinkAttributes;
using test::LinkDumpBuilder;
using test::openDescriptors;
using test::TempDirectory;
using Interfaces = std::vector<InterfaceReading>;
using Datagram = std::vector<std::byte>;

Datagram withLinks(std::uint32_t sequence, const std::vector<std::string>& names,
                   std::uint16_t flags = NLM_F_MULTI) {
    LinkDumpBuilder builder(sequence);
    std::int32_t index = 1;
    for (const std::string& name : names) {
        builder.link(index++, true, LinkAttributes().name(name).counters(10, 20), flags);
    }
    return builder.bytes();
}

Datagram theEnd(std::uint32_t sequence) {
    return LinkDumpBuilder(sequence).done().bytes();
}

std::vector<std::string> namesOf(const Interfaces& interfaces) {
    std::vector<std::string> names;
    for (const InterfaceReading& interface : interfaces) names.push_back(interface.name);
    return names;
}

using Names = std::vector<std::string>;

/// Sockets whose far end has answered already. Each that is opened gets the next script; when none is left
/// the system refuses. A fallback stands ready with one interface.
class ScriptedSockets : public testing::Test {
  protected:
    ScriptedSockets() {
        root.write("proc/net/dev", "Inter-| Receive\n face |bytes\nfallback: 1 2 3 4 5 6 7 8 9\n");
    }
    ~ScriptedSockets() override {
        for (const int descriptor : farEnds) close(descriptor);
    }

    int openNext() {
        ++opened;
        if (scripts.empty()) return -1;
        std::array<int, 2> ends{};
        if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()) != 0)
            return -1;
        for (const Datagram& datagram : scripts.front()) {
            EXPECT_EQ(send(ends[1], datagram.data(), datagram.size(), 0),
                      static_cast<ssize_t>(datagram.size()));
        }
        scripts.pop_front();
        farEnds.push_back(ends[1]);
        return ends[0];
    }

    /// The names of one reading; empty when it failed.
    Names read() {
        Interfaces interfaces = {{.name = "left over"}};
        const bool isRead = source.readInterfaces(interfaces);
        EXPECT_EQ(isRead, !interfaces.empty());
        return namesOf(interfaces);
    }

    /// The requests that arrived at a far end.
    std::vector<nlmsghdr> requests(std::size_t socket) {
        std::vector<nlmsghdr> result;
        std::array<std::byte, 256> bytes{};
        while (recv(farEnds.at(socket), bytes.data(), bytes.size(), MSG_DONTWAIT) > 0) {
            nlmsghdr header{};
            std::memcpy(&header, bytes.data(), sizeof header);
            result.push_back(header);
        }
        return result;
    }

    TempDirectory root;
    std::deque<std::vector<Datagram>> scripts;
    std::vector<int> farEnds;
    int opened = 0;
    NetlinkCounterSource source{root.file("proc"), root.file("sys"), [this] { return openNext(); }};
};

TEST_F(ScriptedSockets, asksForOneDumpOfAllLinksOverAKeptSocket) {
    scripts = {{withLinks(1, {"lo"}), theEnd(1), withLinks(2, {"lo", "tun0"}), theEnd(2)}};
    EXPECT_EQ(read(), (Names{"lo"}));
    EXPECT_EQ(read(), (Names{"lo", "tun0"}));
    EXPECT_EQ(opened, 1);
    const auto asked = requests(0);
    ASSERT_EQ(asked.size(), 2U);
    EXPECT_EQ(asked[0].nlmsg_type, RTM_GETLINK);
    EXPECT_EQ(asked[0].nlmsg_flags, NLM_F_REQUEST | NLM_F_DUMP);
    EXPECT_NE(asked[0].nlmsg_seq, asked[1].nlmsg_seq);
}

TEST_F(ScriptedSockets, joinsTheDatagramsOfADump) {
    scripts = {{withLinks(1, {"lo", "tun0"}), withLinks(1, {"tun1"}), withLinks(1, {"tun2"}), theEnd(1)}};
    EXPECT_EQ(read(), (Names{"lo", "tun0", "tun1", "tun2"}));
}

TEST_F(ScriptedSockets, skipsAnswersToOtherRequests) {
    scripts = {
        {withLinks(77, {"event"}), withLinks(1, {"lo"}), theEnd(77), withLinks(0, {"event"}), theEnd(1)}};
    EXPECT_EQ(read(), (Names{"lo"}));
    EXPECT_EQ(opened, 1);
}

TEST_F(ScriptedSockets, anInterruptedDumpIsReadAgainOnTheSameSocket) {
    scripts = {{withLinks(1, {"lo", "old"}, NLM_F_MULTI | NLM_F_DUMP_INTR), withLinks(1, {"lost"}), theEnd(1),
                withLinks(2, {"lo", "new"}), theEnd(2)}};
    EXPECT_EQ(read(), (Names{"lo", "new"}));
    EXPECT_EQ(opened, 1);
}

TEST_F(ScriptedSockets, threeInterruptedDumpsLeadToTheFallback) {
    std::vector<Datagram> script;
    for (std::uint32_t dump = 1; dump <= 3; ++dump) {
        script.push_back(withLinks(dump, {"lo"}, NLM_F_MULTI | NLM_F_DUMP_INTR));
        script.push_back(theEnd(dump));
    }
    script.push_back(withLinks(4, {"lo"}));
    script.push_back(theEnd(4));
    scripts = {script};
    EXPECT_EQ(read(), (Names{"fallback"}));
    EXPECT_EQ(read(), (Names{"lo"}));
    EXPECT_EQ(opened, 1);
}

TEST_F(ScriptedSockets, aRefusalIsTriedAgainOnANewSocket) {
    scripts = {{LinkDumpBuilder(1).error(-EBUSY).bytes()}, {withLinks(2, {"lo"}), theEnd(2)}};
    EXPECT_EQ(read(), (Names{"lo"}));
    EXPECT_EQ(opened, 2);
}

TEST_F(ScriptedSockets, aDumpThatFailsAtItsEndIsTriedAgain) {
    scripts = {{withLinks(1, {"lo"}), LinkDumpBuilder(1).done(-ENOBUFS).bytes()},
               {withLinks(2, {"lo"}), theEnd(2)}};
    EXPECT_EQ(read(), (Names{"lo"}));
    EXPECT_EQ(opened, 2);
}

TEST_F(ScriptedSockets, aCutDatagramIsTriedAgain) {
    Datagram cut = withLinks(1, {"lo", "tun0"});
    cut.resize(cut.size() - 5);
    scripts = {{cut, theEnd(1)}, {withLinks(2, {"lo"}), theEnd(2)}};
    EXPECT_EQ(read(), (Names{"lo"}));
    EXPECT_EQ(opened, 2);
}

TEST_F(ScriptedSockets, aDatagramBeyondTheBufferMakesItGrow) {
    const std::vector<std::byte> large(60'000);
    const auto largeLink = [&](std::uint32_t sequence) {
        return LinkDumpBuilder(sequence)
            .link(1, true, LinkAttributes().raw(IFLA_PROP_LIST, large.data(), large.size()).name("lo"))
            .bytes();
    };
    scripts = {{largeLink(1), theEnd(1)}, {largeLink(2), theEnd(2), largeLink(3), theEnd(3)}};
    EXPECT_EQ(read(), (Names{"lo"}));
    EXPECT_EQ(opened, 2);
    EXPECT_EQ(read(), (Names{"lo"}));
    EXPECT_EQ(opened, 2);
}

TEST_F(ScriptedSockets, aSocketThatFallsSilentIsGivenUp) {
    scripts = {{withLinks(1, {"lo"})}, {}, {withLinks(3, {"lo"}), theEnd(3)}};
    EXPECT_EQ(read(), (Names{"lo"}));
    EXPECT_EQ(opened, 3);
}

TEST_F(ScriptedSockets, aSocketThatClosesIsGivenUp) {
    scripts = {{withLinks(1, {"lo"}), theEnd(1)}, {withLinks(3, {"tun0"}), theEnd(3)}};
    EXPECT_EQ(read(), (Names{"lo"}));
    close(farEnds.at(0));
    farEnds.clear();
    EXPECT_EQ(read(), (Names{"tun0"}));
}

TEST_F(ScriptedSockets, threeFailedDumpsLeadToTheFallbackAndTheNextReadingTriesAnew) {
    scripts = {{}, {}, {}, {withLinks(4, {"lo"}), theEnd(4)}};
    EXPECT_EQ(read(), (Names{"fallback"}));
    EXPECT_EQ(opened, 3);
    EXPECT_EQ(read(), (Names{"lo"}));
}

TEST_F(ScriptedSockets, aRefusedSocketLeadsToTheFallback) {
    EXPECT_EQ(read(), (Names{"fallback"}));
}

TEST_F(ScriptedSockets, withoutAFallbackTheReadingFails) {
    root.write("proc/net/dev", "");
    EXPECT_EQ(read(), Names{});
}

TEST_F(ScriptedSockets, aDumpOfNothingIsAnEmptyReading) {
    scripts = {{theEnd(1)}};
    Interfaces interfaces = {{.name = "left over"}};
    EXPECT_TRUE(source.readInterfaces(interfaces));
    EXPECT_TRUE(interfaces.empty());
}

// What the signal handler of the next test needs.
volatile std::sig_atomic_t signalsLeft = 0;
int answeringEnd = -1;
Datagram answer;

extern "C" void answerAfterSignals(int) {
    signalsLeft = signalsLeft - 1;
    if (signalsLeft == 0 && send(answeringEnd, answer.data(), answer.size(), 0) < 0) std::abort();
}

TEST_F(ScriptedSockets, signalsDoNotEndAReading) {
    std::array<int, 2> ends{};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()), 0);
    farEnds.push_back(ends[1]);
    answeringEnd = ends[1];
    answer = LinkDumpBuilder(1).link(1, true, LinkAttributes().name("lo")).done().bytes();
    signalsLeft = 5;

    struct sigaction action {};
    struct sigaction before {};
    action.sa_handler = answerAfterSignals;  // without SA_RESTART, so that waits end with EINTR
    ASSERT_EQ(sigaction(SIGALRM, &action, &before), 0);
    const itimerval everyMillisecond{{0, 1000}, {0, 1000}};
    ASSERT_EQ(setitimer(ITIMER_REAL, &everyMillisecond, nullptr), 0);

    int calls = 0;
    NetlinkCounterSource waiting(root.file("proc"), root.file("sys"),
                                 [&] { return ++calls == 1 ? ends[0] : -1; });
    Interfaces interfaces;
    EXPECT_TRUE(waiting.readInterfaces(interfaces));

    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &before, nullptr);
    EXPECT_EQ(namesOf(interfaces), (Names{"lo"}));
    EXPECT_LE(signalsLeft, 0);
}

TEST(NetlinkCounterSource, tenThousandReadingsLeaveNoDescriptor) {
    const std::size_t before = openDescriptors();
    {
        NetlinkCounterSource source("/proc", "/sys");
        Interfaces interfaces;
        for (int i = 0; i < 10'000; ++i) ASSERT_TRUE(source.readInterfaces(interfaces));
        EXPECT_EQ(openDescriptors(), before + 1);
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST(NetlinkCounterSource, failedReadingsLeaveNoDescriptor) {
    const std::size_t before = openDescriptors();
    {
        // Sockets that answer nothing.
        NetlinkCounterSource source("/nowhere", "/nowhere", [] {
            return socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_USERSOCK);
        });
        Interfaces interfaces;
        for (int i = 0; i < 1000; ++i) ASSERT_FALSE(source.readInterfaces(interfaces));
        EXPECT_EQ(openDescriptors(), before);
    }
    EXPECT_EQ(openDescriptors(), before);
}

// One contract for every counter source: names that tell interfaces apart, counters that never fall.
enum class Kind { fake, netlink, files };

class NetCounterSourceContract : public testing::TestWithParam<Kind> {
  protected:
    NetCounterSourceContract() {
        switch (GetParam()) {
            case Kind::fake: {
                auto fake = std::make_unique<test::FakeNetCounterSource>();
                fake->queue = {
                    Interfaces{{"lo", true, InterfaceCounter{1, 1}}, {"en0", true, InterfaceCounter{5, 6}}},
                    Interfaces{{"lo", true, InterfaceCounter{1, 1}}, {"en0", true, InterfaceCounter{7, 9}}}};
                source = std::move(fake);
                break;
            }
            case Kind::netlink:
                source = std::make_unique<NetlinkCounterSource>("/nowhere", "/nowhere");
                break;
            case Kind::files:
                source = std::make_unique<NetlinkCounterSource>("/proc", "/sys", [] { return -1; });
                break;
        }
    }
    std::unique_ptr<NetCounterSource> source;
};

TEST_P(NetCounterSourceContract, namesTellInterfacesApartAndCountersNeverFall) {
    Interfaces before = {{.name = "left over"}};
    ASSERT_TRUE(source->readInterfaces(before));
    ASSERT_FALSE(before.empty());
    const Names names = namesOf(before);
    EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), names.size());
    EXPECT_EQ(std::count(names.begin(), names.end(), ""), 0);
    EXPECT_EQ(std::count(names.begin(), names.end(), "left over"), 0);
    EXPECT_EQ(std::count(names.begin(), names.end(), "lo"), 1);

    Interfaces after;
    ASSERT_TRUE(source->readInterfaces(after));
    ASSERT_EQ(namesOf(after), names);
    for (std::size_t i = 0; i < after.size(); ++i) {
        ASSERT_TRUE(before[i].counters && after[i].counters);
        EXPECT_GE(after[i].counters->bytesIn, before[i].counters->bytesIn);
        EXPECT_GE(after[i].counters->bytesOut, before[i].counters->bytesOut);
    }
}

INSTANTIATE_TEST_SUITE_P(All, NetCounterSourceContract,
                         testing::Values(Kind::fake, Kind::netlink, Kind::files), [](const auto& param) {
                             switch (param.param) {
                                 case Kind::fake:
                                     return "Fake";
                                 case Kind::netlink:
                                     return "Linux";
                                 case Kind::files:
                                     return "LinuxFallback";
                             }
                             std::abort();
                         });

}  // namespace
}  // namespace corvanta
