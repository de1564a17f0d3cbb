// SPDX-License-Identifier: Apache-2.0
// The readers that lead to the disks behind the root file system and to what these say. The first byte
// chooses the reader; the second is smartctl's exit status.
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "core/PlainText.h"
#include "core/Utf8Text.h"
#include "platform/linux/DiskFacts.h"
#include "platform/linux/RootDisks.h"
#include "platform/linux/Smartctl.h"

using namespace corvanta;

namespace {

void check(bool holds) {
    if (!holds) std::abort();
}

void checkName(const std::optional<std::string>& name) {
    check(!name || (!name->empty() && repairedUtf8(*name) == *name && plainText(*name) == *name));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const std::string_view text(reinterpret_cast<const char*>(data) + 2, size - 2);
    switch (data[0] % 4) {
        case 0:
            if (const auto source = parseRootSource(text)) check(!source->empty());
            break;
        case 1:
            checkName(parseRecordedModel(text));
            break;
        case 2:
            if (const auto report = parseSmartctl(text, data[1])) {
                checkName(report->deviceName);
                checkName(report->smartStatus);
            }
            break;
        default:
            if (const auto number = parseDeviceNumber(text))
                check(parseDeviceNumber(deviceNumberText(*number)) == number);
            break;
    }
    return 0;
}
