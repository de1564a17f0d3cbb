// SPDX-License-Identifier: Apache-2.0
// The readers of rtnetlink dumps and of /proc/net/dev, and the names that stand on what they read. The first
// byte chooses the reader; dumps have the sequence number 1.
#include <cstdint>
#include <cstdlib>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "monitoring/collectors/NetworkMonitor.h"
#include "platform/linux/LinkDump.h"
#include "platform/linux/LinkInfo.h"
#include "platform/linux/ProcNetDev.h"

using namespace corvanta;

namespace {

void check(bool holds) {
    if (!holds) std::abort();
}

void name(const std::vector<LinkInfo>& links) {
    std::vector<InterfaceReading> interfaces;
    canonicalise(links, interfaces);
    check(interfaces.size() == links.size());
    std::set<std::string> names;
    for (std::size_t i = 0; i < links.size(); ++i) {
        check(!links[i].name.empty() && links[i].name.find('\0') == std::string::npos);
        check(interfaces[i].counters == links[i].counters && interfaces[i].isUp == links[i].isUp);
        names.insert(interfaces[i].name);
    }
    const auto preferred = NetworkMonitor::preferredInterfaceNames(names);
    for (const std::string& chosen : preferred)
        check(names.count(chosen) == 1 && chosen.substr(0, 2) != "x-");
    check(NetworkMonitor::preferredInterfaceNames(preferred) == preferred);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    std::vector<LinkInfo> links;
    if (data[0] % 2 == 0) {
        parseLinkDump(std::as_bytes(std::span(data + 1, size - 1)), 1, links);
    } else {
        const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
        parseNetDev(text, links);
        parseInterfaceFlags(text);
        parseDeviceType(text);
    }
    name(links);
    return 0;
}
