// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/LinkDump.h"

#include <linux/if_link.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

namespace corvanta {
namespace {

using Bytes = std::span<const std::byte>;

/// The record at the front, which need not be aligned.
template <class Record>
std::optional<Record> frontRecord(Bytes bytes) {
    if (bytes.size() < sizeof(Record)) return std::nullopt;
    Record record;
    std::memcpy(&record, bytes.data(), sizeof record);
    return record;
}

/// Records begin at multiples of four bytes; the last one may lack its padding.
Bytes afterPadding(Bytes bytes, std::size_t offset) {
    return bytes.subspan(std::min(bytes.size(), (offset + 3) & ~std::size_t{3}));
}

/// Calls `use(type, payload)` for each attribute. False when a length is impossible.
template <class Use>
bool forEachAttribute(Bytes bytes, Use use) {
    while (const auto header = frontRecord<rtattr>(bytes)) {
        if (header->rta_len < sizeof(rtattr) || header->rta_len > bytes.size()) return false;
        use(header->rta_type & NLA_TYPE_MASK,
            bytes.subspan(sizeof(rtattr), header->rta_len - sizeof(rtattr)));
        bytes = afterPadding(bytes, header->rta_len);
    }
    return true;
}

std::string_view textOf(Bytes payload) {
    const std::string_view text(reinterpret_cast<const char*>(payload.data()), payload.size());
    return text.substr(0, text.find('\0'));
}

std::optional<InterfaceCounter> countersOf(Bytes payload) {
    if (payload.size() < offsetof(rtnl_link_stats64, rx_errors)) return std::nullopt;
    rtnl_link_stats64 statistics{};
    std::memcpy(&statistics, payload.data(), std::min(payload.size(), sizeof statistics));
    return InterfaceCounter{statistics.rx_bytes, statistics.tx_bytes};
}

/// False when the message is malformed.
bool parseLink(Bytes message, std::vector<LinkInfo>& links) {
    const auto body = frontRecord<ifinfomsg>(message);
    if (!body) return false;
    LinkInfo link;
    link.index = body->ifi_index;
    link.isUp = (body->ifi_flags & IFF_UP) != 0;
    bool isSound = true;
    isSound &= forEachAttribute(afterPadding(message, sizeof(ifinfomsg)), [&](int type, Bytes payload) {
        switch (type) {
            case IFLA_IFNAME:
                link.name = textOf(payload);
                break;
            case IFLA_MASTER:
                link.master = frontRecord<std::int32_t>(payload).value_or(0);
                break;
            case IFLA_PARENT_DEV_NAME:
                link.hasDevice = true;
                break;
            case IFLA_STATS64:
                link.counters = countersOf(payload);
                break;
            case IFLA_LINKINFO:
                isSound &= forEachAttribute(payload, [&](int infoType, Bytes info) {
                    if (infoType == IFLA_INFO_KIND) link.kind = textOf(info);
                });
                break;
            default:
                break;
        }
    });
    if (isSound && !link.name.empty()) links.push_back(std::move(link));
    return isSound;
}

}  // namespace

LinkDumpPart parseLinkDump(Bytes bytes, std::uint32_t sequence, std::vector<LinkInfo>& links) {
    LinkDumpPart part;
    while (!bytes.empty() && !part.isLast) {
        const auto header = frontRecord<nlmsghdr>(bytes);
        if (!header || header->nlmsg_len < sizeof(nlmsghdr) || header->nlmsg_len > bytes.size()) {
            part.isBroken = true;
            break;
        }
        const Bytes message = bytes.subspan(sizeof(nlmsghdr), header->nlmsg_len - sizeof(nlmsghdr));
        bytes = afterPadding(bytes, header->nlmsg_len);
        if (header->nlmsg_seq != sequence) continue;
        part.isInterrupted |= (header->nlmsg_flags & NLM_F_DUMP_INTR) != 0;
        switch (header->nlmsg_type) {
            case RTM_NEWLINK:
                part.isBroken |= !parseLink(message, links);
                break;
            case NLMSG_DONE:
                part.isLast = true;
                // A dump that fails half-way tells so here.
                part.isBroken |= frontRecord<std::int32_t>(message).value_or(0) < 0;
                break;
            case NLMSG_ERROR:
            case NLMSG_OVERRUN:
                part.isBroken = true;
                break;
            default:
                break;
        }
    }
    return part;
}

}  // namespace corvanta
