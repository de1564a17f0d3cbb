// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/linux/LinkInfo.h"

namespace corvanta {

/// What one datagram of an rtnetlink dump says of the dump.
struct LinkDumpPart {
    bool isLast = false;
    bool isInterrupted = false;  ///< interfaces came or went meanwhile, so some may be missing
    bool isBroken = false;       ///< the kernel refused, or the bytes are no proper messages

    bool operator==(const LinkDumpPart&) const = default;
};

/// Adds the interfaces of one datagram to `links`. Only messages with the given sequence number count; others
/// answer another request. An interface without a name is left out, one without 64-bit counters has none.
LinkDumpPart parseLinkDump(std::span<const std::byte> bytes, std::uint32_t sequence,
                           std::vector<LinkInfo>& links);

}  // namespace corvanta
