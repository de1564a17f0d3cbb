// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/NetCounterSource.h"
#include "platform/linux/LinkInfo.h"
#include "platform/linux/ProcNetDev.h"

namespace corvanta {

/// The network interfaces from one rtnetlink dump per reading, over a kept socket. It gives kinds, flags and
/// 64-bit counters in one go.
///
/// Owned by the platform. One caller at a time. A dump that fails or was overtaken by a change is tried
/// again, at most twice; after that this reading comes from /proc/net/dev.
class NetlinkCounterSource final : public NetCounterSource {
  public:
    /// A new datagram socket to the kernel's route family, whose owner closes it; negative when the system
    /// refuses.
    using OpenSocket = std::function<int()>;
    static int openRouteSocket();

    NetlinkCounterSource(const std::string& procRoot, const std::string& sysRoot,
                         OpenSocket openSocket = openRouteSocket);
    ~NetlinkCounterSource() override;
    NetlinkCounterSource(const NetlinkCounterSource&) = delete;
    NetlinkCounterSource& operator=(const NetlinkCounterSource&) = delete;

    bool readInterfaces(std::vector<InterfaceReading>& interfaces) override;

  private:
    enum class Outcome { complete, interrupted, failed };

    bool readLinks();
    Outcome dump();
    bool sendRequest();
    Outcome receiveDump();
    void closeSocket();

    OpenSocket openSocket_;
    int socket_ = -1;
    std::uint32_t sequence_ = 0;
    std::vector<std::byte> buffer_;
    std::vector<LinkInfo> links_;  // kept for its memory
    ProcNetDev fallback_;
};

}  // namespace corvanta
