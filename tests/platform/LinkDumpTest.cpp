// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/LinkDump.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "platform/LinkDumpBuilder.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

using test::LinkAttributes;
using test::LinkDumpBuilder;
using Links = std::vector<LinkInfo>;

struct Parsed {
    LinkDumpPart part;
    Links links;
};

Parsed parsed(std::span<const std::byte> bytes, std::uint32_t sequence = 1) {
    Parsed result;
    result.part = parseLinkDump(bytes, sequence, result.links);
    return result;
}

constexpr LinkDumpPart goesOn{};
constexpr LinkDumpPart last{.isLast = true};
constexpr LinkDumpPart broken{.isBroken = true};

TEST(LinkDump, readsEveryFieldOfALink) {
    const auto result = parsed(
        LinkDumpBuilder()
            .link(7, true,
                  LinkAttributes().name("veth1").kind("veth").master(3).counters(1ULL << 40, 1ULL << 41))
            .link(2, false, LinkAttributes().name("eth0").device("0000:00:1f.6").counters(0, 0))
            .done()
            .bytes());
    EXPECT_EQ(result.part, last);
    EXPECT_EQ(result.links, (Links{{.index = 7,
                                    .master = 3,
                                    .name = "veth1",
                                    .kind = "veth",
                                    .hasDevice = false,
                                    .isUp = true,
                                    .counters = InterfaceCounter{1ULL << 40, 1ULL << 41}},
                                   {.index = 2,
                                    .master = 0,
                                    .name = "eth0",
                                    .kind = "",
                                    .hasDevice = true,
                                    .isUp = false,
                                    .counters = InterfaceCounter{0, 0}}}));
}

TEST(LinkDump, readsACapturedDump) {
    const std::string text = test::readFile(CORVANTA_FIXTURES "/net/link-dump-virtio-and-ifb");
    const auto result = parsed(std::as_bytes(std::span(text)));
    EXPECT_EQ(result.part, last);
    ASSERT_EQ(result.links.size(), 4U);
    EXPECT_EQ(result.links[0].name, "lo");
    EXPECT_FALSE(isPhysical(result.links[0]));
    EXPECT_EQ(result.links[1].name, "ifb0");
    EXPECT_EQ(result.links[1].kind, "ifb");
    EXPECT_FALSE(result.links[1].isUp);
    EXPECT_EQ(result.links[3].name, "eth0");
    EXPECT_TRUE(isPhysical(result.links[3]));
    EXPECT_TRUE(result.links[3].isUp);
    ASSERT_TRUE(result.links[3].counters);
    EXPECT_GT(result.links[3].counters->bytesIn, 0U);
}

TEST(LinkDump, addsToWhatEarlierDatagramsGave) {
    Links links;
    const auto first = LinkDumpBuilder().link(1, true, LinkAttributes().name("lo")).bytes();
    const auto second = LinkDumpBuilder().link(2, true, LinkAttributes().name("eth0")).done().bytes();
    EXPECT_EQ(parseLinkDump(first, 1, links), goesOn);
    EXPECT_EQ(parseLinkDump(second, 1, links), last);
    ASSERT_EQ(links.size(), 2U);
    EXPECT_EQ(links[1].name, "eth0");
}

TEST(LinkDump, aDatagramWithNothingIsAPartOfADump) {
    EXPECT_EQ(parsed({}).part, goesOn);
}

TEST(LinkDump, whatComesAfterTheEndDoesNotCount) {
    const auto result = parsed(LinkDumpBuilder().done().link(1, true, LinkAttributes().name("lo")).bytes());
    EXPECT_EQ(result.part, last);
    EXPECT_TRUE(result.links.empty());
}

TEST(LinkDump, aLinkWithoutANameIsLeftOut) {
    EXPECT_TRUE(
        parsed(LinkDumpBuilder().link(1, true, LinkAttributes().counters(1, 2)).bytes()).links.empty());
    EXPECT_TRUE(parsed(LinkDumpBuilder().link(1, true, LinkAttributes().name("")).bytes()).links.empty());
}

TEST(LinkDump, aNameNeedsNoTerminator) {
    EXPECT_EQ(parsed(LinkDumpBuilder().link(1, true, LinkAttributes().raw(IFLA_IFNAME, "eth0", 4)).bytes())
                  .links.at(0)
                  .name,
              "eth0");
}

TEST(LinkDump, countersOfOlderAndNewerKernelsAreRead) {
    const auto countersOfSize = [](std::size_t size) {
        return parsed(LinkDumpBuilder()
                          .link(1, true, LinkAttributes().name("eth0").counters(5, 6, size))
                          .bytes())
            .links.at(0)
            .counters;
    };
    const InterfaceCounter counters{5, 6};
    EXPECT_EQ(countersOfSize(sizeof(rtnl_link_stats64) + 64), counters);
    EXPECT_EQ(countersOfSize(sizeof(rtnl_link_stats64)), counters);
    EXPECT_EQ(countersOfSize(4 * sizeof(std::uint64_t)), counters);
    EXPECT_EQ(countersOfSize(4 * sizeof(std::uint64_t) - 1), std::nullopt);
    EXPECT_EQ(countersOfSize(0), std::nullopt);
}

TEST(LinkDump, countersUseAllSixtyFourBits) {
    constexpr auto most = std::numeric_limits<std::uint64_t>::max();
    EXPECT_EQ(
        parsed(LinkDumpBuilder().link(1, true, LinkAttributes().name("a").counters(most, most - 1)).bytes())
            .links.at(0)
            .counters,
        (InterfaceCounter{most, most - 1}));
}

TEST(LinkDump, thirtyTwoBitCountersAreNone) {
    const rtnl_link_stats statistics{};
    EXPECT_EQ(parsed(LinkDumpBuilder()
                         .link(1, true,
                               LinkAttributes().name("eth0").raw(IFLA_STATS, &statistics, sizeof statistics))
                         .bytes())
                  .links.at(0)
                  .counters,
              std::nullopt);
}

TEST(LinkDump, messagesOfAnotherRequestDoNotCount) {
    const auto result =
        parsed(LinkDumpBuilder(5)
                   .sequence(4)
                   .link(1, true, LinkAttributes().name("stale"), NLM_F_MULTI | NLM_F_DUMP_INTR)
                   .error(-16)
                   .done()
                   .sequence(0)
                   .link(1, true, LinkAttributes().name("event"))
                   .sequence(5)
                   .link(1, true, LinkAttributes().name("lo"))
                   .bytes(),
               5);
    EXPECT_EQ(result.part, goesOn);
    ASSERT_EQ(result.links.size(), 1U);
    EXPECT_EQ(result.links[0].name, "lo");
}

TEST(LinkDump, messagesOfOtherTypesDoNotCount) {
    const auto payload = LinkAttributes().name("noise").bytes();
    const auto result = parsed(LinkDumpBuilder()
                                   .message(NLMSG_NOOP, 0, {})
                                   .message(RTM_DELLINK, 0, payload)
                                   .message(RTM_NEWADDR, 0, payload)
                                   .done()
                                   .bytes());
    EXPECT_EQ(result.part, last);
    EXPECT_TRUE(result.links.empty());
}

TEST(LinkDump, tellsThatTheDumpWasInterrupted) {
    const LinkAttributes lo = LinkAttributes().name("lo");
    EXPECT_TRUE(parsed(LinkDumpBuilder().link(1, true, lo, NLM_F_MULTI | NLM_F_DUMP_INTR).bytes())
                    .part.isInterrupted);
    EXPECT_EQ(parsed(LinkDumpBuilder().link(1, true, lo).done(0, NLM_F_MULTI | NLM_F_DUMP_INTR).bytes()).part,
              (LinkDumpPart{.isLast = true, .isInterrupted = true}));
}

TEST(LinkDump, aRefusalIsABrokenDump) {
    EXPECT_TRUE(parsed(LinkDumpBuilder().error(-16).bytes()).part.isBroken);
    EXPECT_TRUE(parsed(LinkDumpBuilder().message(NLMSG_OVERRUN, 0, {}).bytes()).part.isBroken);
    EXPECT_EQ(parsed(LinkDumpBuilder().done(-105).bytes()).part,
              (LinkDumpPart{.isLast = true, .isBroken = true}));
    EXPECT_EQ(parsed(LinkDumpBuilder().message(NLMSG_DONE, 0, {}).bytes()).part, last);
}

TEST(LinkDump, cutAnywhereItIsBrokenOrGoesOnButNeverEnds) {
    const auto whole = LinkDumpBuilder()
                           .link(1, true, LinkAttributes().name("lo").counters(1, 2))
                           .link(2, true, LinkAttributes().name("eth0").kind("veth").counters(3, 4))
                           .done()
                           .bytes();
    ASSERT_EQ(parsed(whole).part, last);
    int unbroken = 0;
    for (std::size_t length = 0; length < whole.size(); ++length) {
        // A copy of its own, so that a read beyond the end is found.
        const std::vector<std::byte> cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        const Parsed result = parsed(cut);
        EXPECT_FALSE(result.part.isLast) << length;
        if (!result.part.isBroken) ++unbroken;
    }
    EXPECT_EQ(unbroken, 3);  // before each of the three messages
}

TEST(LinkDump, impossibleLengthsOfMessagesAreBroken) {
    for (const std::uint32_t length : {0U, 1U, 15U, 1000U, 0xffffffffU, 0xfffffffcU}) {
        auto bytes = LinkDumpBuilder().link(1, true, LinkAttributes().name("lo")).done().bytes();
        std::memcpy(bytes.data(), &length, sizeof length);
        EXPECT_EQ(parsed(bytes).part, broken) << length;
    }
}

TEST(LinkDump, impossibleLengthsOfAttributesAreBroken) {
    for (const std::uint16_t length : {0, 1, 3, 13, 1000, 0xffff}) {
        auto bytes = LinkDumpBuilder().link(1, true, LinkAttributes().name("eth0")).bytes();
        std::memcpy(bytes.data() + sizeof(nlmsghdr) + sizeof(ifinfomsg), &length, sizeof length);
        const Parsed result = parsed(bytes);
        EXPECT_EQ(result.part, broken) << length;
        EXPECT_TRUE(result.links.empty());
    }
}

TEST(LinkDump, impossibleLengthsInsideTheKindAreBroken) {
    for (const std::uint16_t length : {0, 3, 100}) {
        const rtattr inside{length, IFLA_INFO_KIND};
        const auto bytes =
            LinkDumpBuilder()
                .link(1, true, LinkAttributes().name("eth0").raw(IFLA_LINKINFO, &inside, sizeof inside))
                .bytes();
        EXPECT_EQ(parsed(bytes).part, broken) << length;
    }
}

TEST(LinkDump, aLinkWithoutItsFixedPartIsBroken) {
    EXPECT_EQ(parsed(LinkDumpBuilder().message(RTM_NEWLINK, 0, std::vector<std::byte>(15)).bytes()).part,
              broken);
}

TEST(LinkDump, bytesNeedNoAlignment) {
    const auto whole =
        LinkDumpBuilder().link(1, true, LinkAttributes().name("eth0").counters(5, 6)).done().bytes();
    std::vector<std::byte> shifted(1);
    shifted.insert(shifted.end(), whole.begin(), whole.end());
    const Parsed result = parsed(std::span(shifted).subspan(1));
    EXPECT_EQ(result.part, last);
    EXPECT_EQ(result.links.at(0).counters, (InterfaceCounter{5, 6}));
}

}  // namespace
}  // namespace corvanta
