// SPDX-License-Identifier: Apache-2.0
// The reader of a process's line, its name and its arguments. The first byte says how long the line is, in
// steps of four bytes; the arguments are what follows it.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "core/Utf8Text.h"
#include "monitoring/collectors/ProcessControl.h"
#include "platform/linux/ProcessStat.h"

using namespace corvanta;

namespace {

void check(bool holds) {
    if (!holds) std::abort();
}

void checkName(std::string_view bytes) {
    const std::string name = tidyName(bytes);
    check(repairedUtf8(name) == name);
    check(trimmedUtf8(name) == name);
    check(name.size() <= 3 * bytes.size());
    const auto refused = ProcessControl::refusal(500, name, 4242);
    check(ProcessControl::canSignal(500, name, 4242) == !refused);
}

void recover(std::string_view comm, std::string_view arguments) {
    const std::string_view name = recoveredName(comm, arguments);
    check(name.substr(0, comm.size()) == comm);
    checkName(name);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
    const std::size_t length = std::min<std::size_t>(text.size(), std::size_t{4} * data[0]);
    const std::string_view line = text.substr(0, length);
    const std::string_view arguments = text.substr(length);
    if (const auto stat = parseProcessStat(line)) {
        check(line.find(')', static_cast<std::size_t>(stat->comm.data() - line.data()) + stat->comm.size() +
                                 1) == std::string_view::npos);
        checkName(stat->comm);
        recover(stat->comm, arguments);
    }
    checkName(arguments);
    recover(line.substr(0, 15), arguments);
    return 0;
}
