// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/Udisks2.h"

#include <sys/sysmacros.h>

#include <QStringList>
#include <algorithm>
#include <string_view>

#include "platform/linux/DiskFacts.h"

namespace corvanta {
namespace {

const QVariantMap* interfaceOf(const BusInterfaces& interfaces, QLatin1String name) {
    const auto found = interfaces.find(name);
    return found == interfaces.end() ? nullptr : &found->second;
}

/// The object of the drive that the disk's block device belongs to.
const BusInterfaces* driveOf(const BusObjects& objects, DeviceNumber disk) {
    const auto number = static_cast<std::int64_t>(gnu_dev_makedev(disk.major, disk.minor));
    for (const auto& [path, interfaces] : objects) {
        const QVariantMap* const block =
            interfaceOf(interfaces, QLatin1String("org.freedesktop.UDisks2.Block"));
        if (block == nullptr || integerOf(*block, QStringLiteral("DeviceNumber")) != number) continue;
        const auto drive = textOf(*block, QStringLiteral("Drive"));
        const auto found = drive ? objects.find(QString::fromStdString(*drive)) : objects.end();
        if (found != objects.end()) return &found->second;
    }
    return nullptr;
}

const char* statusWord(bool isFailing) {
    return isFailing ? "Failing" : "Verified";
}

bool wasAsked(const QVariantMap& drive) {
    return integerOf(drive, QStringLiteral("SmartUpdated")).value_or(0) > 0;
}

std::optional<std::string> ataStatus(const QVariantMap& ata) {
    const bool canTell = boolOf(ata, QStringLiteral("SmartSupported")).value_or(false) &&
                         boolOf(ata, QStringLiteral("SmartEnabled")).value_or(false);
    const auto isFailing = boolOf(ata, QStringLiteral("SmartFailing"));
    if (!canTell || !wasAsked(ata) || !isFailing) return std::nullopt;
    return statusWord(*isFailing);
}

std::optional<std::string> nvmeStatus(const QVariantMap& nvme) {
    const QVariant value = nvme.value(QStringLiteral("SmartCriticalWarning"));
    if (!wasAsked(nvme) || value.typeId() != QMetaType::QStringList) return std::nullopt;
    // A drive that is hot says nothing of its health.
    const QStringList warnings = value.toStringList();
    return statusWord(std::any_of(warnings.begin(), warnings.end(), [](const QString& warning) {
        return warning != QLatin1String("temperature");
    }));
}

std::optional<std::string> nameOf(const QVariantMap& drive) {
    const std::string vendor = textOf(drive, QStringLiteral("Vendor")).value_or("");
    const std::string model = textOf(drive, QStringLiteral("Model")).value_or("");
    return driveName(vendor + ' ' + model);
}

}  // namespace

DriveReport udisksReport(const BusObjects& objects, DeviceNumber disk) {
    DriveReport report;
    const BusInterfaces* const interfaces = driveOf(objects, disk);
    if (interfaces == nullptr) return report;
    if (const auto* drive = interfaceOf(*interfaces, QLatin1String("org.freedesktop.UDisks2.Drive")))
        report.deviceName = nameOf(*drive);
    if (const auto* ata = interfaceOf(*interfaces, QLatin1String("org.freedesktop.UDisks2.Drive.Ata")))
        report.smartStatus = ataStatus(*ata);
    if (const auto* nvme = interfaceOf(*interfaces, QLatin1String("org.freedesktop.UDisks2.NVMe.Controller")))
        report.smartStatus = nvmeStatus(*nvme);
    return report;
}

}  // namespace corvanta
