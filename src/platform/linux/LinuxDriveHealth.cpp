// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/LinuxDriveHealth.h"

#include <algorithm>
#include <utility>

#include "platform/linux/CommandOutput.h"
#include "platform/linux/DiskFacts.h"
#include "platform/linux/Smartctl.h"
#include "platform/linux/Udisks2.h"

namespace corvanta {
namespace {

using std::chrono::milliseconds;

// A blocking call can't be called off, so a slow service is asked again until its time is over.
constexpr milliseconds longestCall = std::chrono::seconds(1);

/// The kernel writes the "/" in a device's name as "!".
std::string devicePath(const RootDisk& disk) {
    std::string name = disk.name;
    std::replace(name.begin(), name.end(), '!', '/');
    return "/dev/" + name;
}

/// How much a report weighs: one without a verdict least, one of a failing drive most.
int weight(const DriveReport& report) {
    if (!report.smartStatus) return 0;
    return report.smartStatus == "Failing" || report.smartStatus == "FAILED!" ? 2 : 1;
}

}  // namespace

LinuxDriveHealth::LinuxDriveHealth(BusService::Connect systemBus, Places places)
    : places_(std::move(places)),
      service_(std::move(systemBus),
               {.name = QStringLiteral("org.freedesktop.UDisks2"), .isStartedOnDemand = true},
               milliseconds(0)) {}

std::optional<std::vector<DriveReport>> LinuxDriveHealth::readDrives(std::chrono::seconds limit,
                                                                     const std::stop_token& stop) {
    const Moment start = std::chrono::steady_clock::now();
    const auto disks = findRootDisks(places_.procRoot, places_.sysRoot, places_.deviceNumberOf);
    if (disks.empty()) return std::nullopt;
    // What is left of the time is for the programs that stand in for a service without an answer.
    const auto objects = askService(start + limit * 2 / 3, stop);
    std::vector<DriveReport> reports;
    for (const RootDisk& disk : disks) {
        DriveReport report = askDisk(disk, objects, start + limit, stop);
        if (report == DriveReport{}) continue;
        // A verdict must not come to stand beside the name of another drive.
        if (!report.deviceName && disks.size() > 1) report.deviceName = disk.name;
        reports.push_back(std::move(report));
    }
    if (reports.empty() || stop.stop_requested()) return std::nullopt;
    std::stable_sort(reports.begin(), reports.end(), [](const DriveReport& one, const DriveReport& other) {
        return weight(one) < weight(other);
    });
    return reports;
}

std::optional<BusObjects> LinuxDriveHealth::askService(Moment deadline, const std::stop_token& stop) {
    while (!stop.stop_requested()) {
        const auto left =
            std::chrono::duration_cast<milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left <= milliseconds(0)) break;
        const BusAnswer answer = service_.call(
            QStringLiteral("/org/freedesktop/UDisks2"), QStringLiteral("org.freedesktop.DBus.ObjectManager"),
            QStringLiteral("GetManagedObjects"), {}, std::min(left, longestCall));
        if (answer.kind == BusAnswer::Kind::reply) return managedObjectsOf(answer.arguments);
        if (answer.kind != BusAnswer::Kind::silent) break;
    }
    return std::nullopt;
}

DriveReport LinuxDriveHealth::askDisk(const RootDisk& disk, const std::optional<BusObjects>& objects,
                                      Moment deadline, const std::stop_token& stop) const {
    DriveReport report = objects ? udisksReport(*objects, disk.number) : DriveReport{};
    if (!report.smartStatus) report.smartStatus = flashReserveStatus(disk);
    if (!report.smartStatus) {
        const auto program = findProgram("smartctl", places_.searchPath);
        const auto told = program ? readSmartctl(*program, devicePath(disk), deadline, stop) : std::nullopt;
        if (told) report.smartStatus = told->smartStatus;
        if (told && !report.deviceName) report.deviceName = told->deviceName;
    }
    if (!report.deviceName) report.deviceName = diskModel(disk, places_.runRoot);
    return report;
}

}  // namespace corvanta
