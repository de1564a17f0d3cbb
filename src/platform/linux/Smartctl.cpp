// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/Smartctl.h"

#include <nlohmann/json.hpp>

#include "core/Utf8Text.h"
#include "platform/linux/CommandOutput.h"
#include "platform/linux/DiskFacts.h"

namespace corvanta {
namespace {

constexpr int notAsked = 0b11;
constexpr int diskFailing = 0b1000;

using Json = nlohmann::json;

const Json* member(const Json* object, const char* name) {
    if (object == nullptr || !object->is_object()) return nullptr;
    const auto found = object->find(name);
    return found == object->end() ? nullptr : &*found;
}

}  // namespace

std::optional<DriveReport> parseSmartctl(std::string_view json, int exitStatus) {
    if ((exitStatus & notAsked) != 0) return std::nullopt;
    // Drives give their names in bytes of any sort, which the reader would not take.
    const Json root = Json::parse(repairedUtf8(json), nullptr, false);
    if (!root.is_object()) return std::nullopt;
    DriveReport report;
    const Json* const model = member(&root, "model_name");
    if (model != nullptr && model->is_string())
        report.deviceName = driveName(model->get_ref<const std::string&>());
    const Json* const passed = member(member(&root, "smart_status"), "passed");
    if (passed != nullptr && passed->is_boolean())
        report.smartStatus = passed->get<bool>() ? "PASSED" : "FAILED!";
    if ((exitStatus & diskFailing) != 0) report.smartStatus = "FAILED!";
    return report;
}

std::optional<DriveReport> readSmartctl(const std::string& program, const std::string& device,
                                        std::chrono::steady_clock::time_point deadline,
                                        const std::stop_token& stop) {
    const auto result = runCommand(program, {"--json=c", "-H", "-i", device}, deadline, stop);
    return result ? parseSmartctl(result->output, result->exitStatus) : std::nullopt;
}

}  // namespace corvanta
