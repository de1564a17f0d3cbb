// SPDX-License-Identifier: Apache-2.0
// The readers of a system profiler's reports.
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string>
#include <string_view>

#include "core/Utf8Text.h"
#include "platform/profiler/ProfilerReports.h"

using namespace corvanta;

namespace {

void checkText(const std::string& text) {
    if (repairedUtf8(text) != text) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view xml(reinterpret_cast<const char*>(data), size);
    if (const auto reports = parseStorageProfile(xml)) {
        for (const DriveReport& report : *reports) {
            checkText(report.deviceName.value_or(""));
            checkText(report.smartStatus.value_or(""));
        }
    }
    std::set<std::string> names;
    for (const ProfiledPeripheral& peripheral : parseBluetoothProfile(xml)) {
        checkText(peripheral.name);
        if (peripheral.name.empty() || !names.insert(peripheral.name).second) std::abort();
    }
    return 0;
}
