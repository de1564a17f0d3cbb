// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/ProcessStat.h"

#include <algorithm>
#include <charconv>
#include <limits>

#include "core/Utf8Text.h"

namespace corvanta {
namespace {

constexpr std::size_t longestComm = 15;
constexpr std::size_t longestFileName = 255;
constexpr std::uint64_t kernelThreadFlag = 0x00200000;

/// Walks over fields that single blanks part.
class FieldReader {
  public:
    explicit FieldReader(std::string_view text) : at_(text.data()), end_(text.data() + text.size()) {}

    void skip(int fields) {
        for (; fields > 0; --fields) {
            at_ = std::find(at_, end_, ' ');
            if (at_ != end_) ++at_;
        }
    }

    /// Reads a number and the blank behind it. Without that blank the number may have been cut short.
    bool take(std::uint64_t& value) {
        const auto result = std::from_chars(at_, end_, value);
        if (result.ec != std::errc{} || result.ptr == end_ || *result.ptr != ' ') return false;
        at_ = result.ptr + 1;
        return true;
    }

  private:
    const char* at_;
    const char* end_;
};

std::uint64_t saturatedSum(std::uint64_t a, std::uint64_t b) {
    return a > std::numeric_limits<std::uint64_t>::max() - b ? std::numeric_limits<std::uint64_t>::max()
                                                             : a + b;
}

}  // namespace

std::optional<ProcessStat> parseProcessStat(std::string_view text) {
    const auto nameBegin = text.find('(');
    const auto nameEnd = text.rfind(')');
    if (nameBegin == std::string_view::npos || nameEnd == std::string_view::npos || nameEnd < nameBegin) {
        return std::nullopt;
    }
    ProcessStat stat;
    stat.comm = text.substr(nameBegin + 1, nameEnd - nameBegin - 1);

    FieldReader fields(text.substr(nameEnd + 1));
    std::uint64_t flags = 0;
    std::uint64_t userTicks = 0;
    std::uint64_t systemTicks = 0;
    fields.skip(1);      // the blank behind the name
    fields.skip(9 - 3);  // the fields are counted from 1, and the one behind the name is the third
    if (!fields.take(flags)) return std::nullopt;
    fields.skip(14 - 10);
    if (!fields.take(userTicks) || !fields.take(systemTicks)) return std::nullopt;
    fields.skip(20 - 16);
    if (!fields.take(stat.threads)) return std::nullopt;
    fields.skip(22 - 21);
    if (!fields.take(stat.startTicks)) return std::nullopt;
    fields.skip(24 - 23);
    if (!fields.take(stat.residentPages)) return std::nullopt;
    stat.isKernelThread = (flags & kernelThreadFlag) != 0;
    stat.cpuTicks = saturatedSum(userTicks, systemTicks);
    return stat;
}

bool mayBeCut(std::string_view comm) {
    return comm.size() == longestComm;
}

std::string_view recoveredName(std::string_view comm, std::string_view cmdline) {
    for (int argument = 0; argument < 2; ++argument) {
        const auto end = cmdline.find('\0');
        if (end == std::string_view::npos) break;
        std::string_view name = cmdline.substr(0, end);
        cmdline.remove_prefix(end + 1);
        if (const auto slash = name.rfind('/'); slash != std::string_view::npos) {
            name.remove_prefix(slash + 1);
        }
        if (name.starts_with('-') && !comm.starts_with('-')) name.remove_prefix(1);  // a login shell
        if (name.starts_with(comm) && name.size() <= longestFileName) return name;
    }
    return comm;
}

std::string tidyName(std::string_view name) {
    const auto isPlain = [](char sign) { return sign > ' ' && sign <= '~'; };
    if (std::all_of(name.begin(), name.end(), isPlain)) return std::string(name);
    return std::string(trimmedUtf8(repairedUtf8(name)));
}

}  // namespace corvanta
