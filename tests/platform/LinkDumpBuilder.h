// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <linux/if_link.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace corvanta::test {

/// The bytes of one link's attributes, as the kernel writes them.
class LinkAttributes {
  public:
    LinkAttributes& raw(int type, const void* payload, std::size_t size) {
        const rtattr header{static_cast<unsigned short>(sizeof(rtattr) + size),
                            static_cast<unsigned short>(type)};
        append(&header, sizeof header);
        append(payload, size);
        bytes_.resize((bytes_.size() + 3) & ~std::size_t{3});
        return *this;
    }
    LinkAttributes& text(int type, const std::string& value) {
        return raw(type, value.c_str(), value.size() + 1);
    }
    LinkAttributes& name(const std::string& value) { return text(IFLA_IFNAME, value); }
    LinkAttributes& device(const std::string& value) { return text(IFLA_PARENT_DEV_NAME, value); }
    LinkAttributes& master(std::int32_t index) { return raw(IFLA_MASTER, &index, sizeof index); }
    LinkAttributes& kind(const std::string& value) {
        const LinkAttributes info = LinkAttributes().text(IFLA_INFO_KIND, value);
        return raw(IFLA_LINKINFO | NLA_F_NESTED, info.bytes_.data(), info.bytes_.size());
    }
    /// `size` as old and new kernels have it, shorter and longer than this one's.
    LinkAttributes& counters(std::uint64_t bytesIn, std::uint64_t bytesOut,
                             std::size_t size = sizeof(rtnl_link_stats64)) {
        rtnl_link_stats64 statistics{};
        statistics.rx_packets = 1;
        statistics.tx_packets = 2;
        statistics.rx_bytes = bytesIn;
        statistics.tx_bytes = bytesOut;
        std::vector<std::byte> payload(std::max(size, sizeof statistics), std::byte{0xff});
        std::memcpy(payload.data(), &statistics, sizeof statistics);
        return raw(IFLA_STATS64, payload.data(), size);
    }

    const std::vector<std::byte>& bytes() const { return bytes_; }

  private:
    void append(const void* data, std::size_t size) {
        const auto* begin = static_cast<const std::byte*>(data);
        bytes_.insert(bytes_.end(), begin, begin + size);
    }

    std::vector<std::byte> bytes_;
};

/// One datagram of a dump.
class LinkDumpBuilder {
  public:
    explicit LinkDumpBuilder(std::uint32_t sequence = 1) : sequence_(sequence) {}

    LinkDumpBuilder& link(std::int32_t index, bool isUp, const LinkAttributes& attributes,
                          std::uint16_t flags = NLM_F_MULTI) {
        ifinfomsg body{};
        body.ifi_index = index;
        body.ifi_flags = isUp ? IFF_UP | IFF_RUNNING : IFF_RUNNING;
        std::vector<std::byte> payload(sizeof body);
        std::memcpy(payload.data(), &body, sizeof body);
        payload.insert(payload.end(), attributes.bytes().begin(), attributes.bytes().end());
        return message(RTM_NEWLINK, flags, payload);
    }
    LinkDumpBuilder& done(std::int32_t error = 0, std::uint16_t flags = NLM_F_MULTI) {
        return message(NLMSG_DONE, flags, bytesOf(error));
    }
    LinkDumpBuilder& error(std::int32_t number) {
        nlmsgerr body{};
        body.error = number;
        return message(NLMSG_ERROR, 0, bytesOf(body));
    }
    LinkDumpBuilder& message(std::uint16_t type, std::uint16_t flags, const std::vector<std::byte>& payload) {
        nlmsghdr header{};
        header.nlmsg_len = static_cast<std::uint32_t>(sizeof header + payload.size());
        header.nlmsg_type = type;
        header.nlmsg_flags = flags;
        header.nlmsg_seq = sequence_;
        const std::vector<std::byte> head = bytesOf(header);
        bytes_.insert(bytes_.end(), head.begin(), head.end());
        bytes_.insert(bytes_.end(), payload.begin(), payload.end());
        bytes_.resize((bytes_.size() + 3) & ~std::size_t{3});
        return *this;
    }
    /// The messages that follow carry another number.
    LinkDumpBuilder& sequence(std::uint32_t number) {
        sequence_ = number;
        return *this;
    }

    const std::vector<std::byte>& bytes() const { return bytes_; }

  private:
    template <class Record>
    static std::vector<std::byte> bytesOf(const Record& record) {
        std::vector<std::byte> bytes(sizeof record);
        std::memcpy(bytes.data(), &record, sizeof record);
        return bytes;
    }

    std::uint32_t sequence_;
    std::vector<std::byte> bytes_;
};

}  // namespace corvanta::test
