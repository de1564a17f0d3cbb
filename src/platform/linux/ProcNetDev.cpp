// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/ProcNetDev.h"

#include <net/if.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <cstdint>
#include <optional>

#include "platform/linux/TextScan.h"

namespace corvanta {
namespace {

constexpr std::size_t mostTable = std::size_t{1} << 20;
constexpr std::size_t mostSmallFile = 4096;
constexpr std::size_t receivedColumn = 0;
constexpr std::size_t sentColumn = 8;

bool isInterfaceName(std::string_view name) {
    constexpr std::string_view neverInNames("/\0", 2);
    return !name.empty() && name.size() < IFNAMSIZ && name != "." && name != ".." &&
           name.find_first_of(neverInNames) == std::string_view::npos;
}

std::optional<InterfaceCounter> parseCounters(std::string_view columns) {
    InterfaceCounter counters;
    for (std::size_t column = 0; column <= sentColumn; ++column) {
        const auto value = parseNumber<std::uint64_t>(takeWord(columns));
        if (!value) return std::nullopt;
        if (column == receivedColumn) counters.bytesIn = *value;
        if (column == sentColumn) counters.bytesOut = *value;
    }
    return counters;
}

std::int32_t readIndex(const std::string& path) {
    KernelFile file(path);
    std::string_view text = file.read(mostSmallFile).value_or("");
    return parseNumber<std::int32_t>(takeLine(text).value_or("")).value_or(0);
}

}  // namespace

bool parseNetDev(std::string_view text, std::vector<LinkInfo>& links) {
    constexpr std::string_view firstTitle = "Inter-|";
    links.clear();
    const auto titles = takeLine(text);
    if (!titles || titles->substr(0, firstTitle.size()) != firstTitle || !takeLine(text)) return false;
    while (const auto line = takeLine(text)) {
        // No name has a colon, and old kernels set the first number right behind it.
        const auto colon = line->find(':');
        if (colon == std::string_view::npos) continue;
        std::string_view start = line->substr(0, colon);
        LinkInfo link;
        link.name = takeWord(start);
        link.counters = parseCounters(line->substr(colon + 1));
        if (isInterfaceName(link.name) && link.counters) links.push_back(std::move(link));
    }
    return true;
}

unsigned parseInterfaceFlags(std::string_view text) {
    constexpr std::string_view prefix = "0x";
    const std::string_view word = takeLine(text).value_or("");
    if (word.substr(0, prefix.size()) != prefix) return 0;
    unsigned flags = 0;
    const auto result = std::from_chars(word.data() + prefix.size(), word.data() + word.size(), flags, 16);
    return result.ec == std::errc{} && result.ptr == word.data() + word.size() ? flags : 0;
}

std::string_view parseDeviceType(std::string_view text) {
    constexpr std::string_view key = "DEVTYPE=";
    while (const auto line = takeLine(text)) {
        if (line->substr(0, key.size()) != key) continue;
        const std::string_view type = line->substr(key.size());
        return type == "wlan" || type == "wwan" ? std::string_view() : type;
    }
    return {};
}

ProcNetDev::ProcNetDev(const std::string& procRoot, const std::string& sysRoot)
    : table_(procRoot + "/net/dev"), interfaces_(sysRoot + "/class/net/") {}

bool ProcNetDev::read(std::vector<LinkInfo>& links) {
    links.clear();
    const auto table = table_.read(mostTable);
    if (!table || !parseNetDev(*table, links)) return false;
    for (LinkInfo& link : links) {
        const std::string folder = interfaces_ + link.name;
        KernelFile flags(folder + "/flags");
        KernelFile event(folder + "/uevent");
        link.isUp = (parseInterfaceFlags(flags.read(mostSmallFile).value_or("")) & IFF_UP) != 0;
        link.kind = parseDeviceType(event.read(mostSmallFile).value_or(""));
        // A user-space tunnel's event names no kind.
        if (link.kind.empty() && access((folder + "/tun_flags").c_str(), F_OK) == 0) link.kind = "tun";
        link.hasDevice = access((folder + "/device").c_str(), F_OK) == 0;
        link.index = readIndex(folder + "/ifindex");
        link.master = readIndex(folder + "/master/ifindex");
    }
    return true;
}

}  // namespace corvanta
