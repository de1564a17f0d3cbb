// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/Udisks2.h"

#include <gtest/gtest.h>
#include <sys/sysmacros.h>

#include <QDBusObjectPath>
#include <QStringList>
#include <limits>

namespace corvanta {
namespace {

const QString blockPath = QStringLiteral("/org/freedesktop/UDisks2/block_devices/sda");
const QString drivePath = QStringLiteral("/org/freedesktop/UDisks2/drives/Disk");
const QString blockInterface = QStringLiteral("org.freedesktop.UDisks2.Block");
const QString driveInterface = QStringLiteral("org.freedesktop.UDisks2.Drive");
const QString ataInterface = QStringLiteral("org.freedesktop.UDisks2.Drive.Ata");
const QString nvmeInterface = QStringLiteral("org.freedesktop.UDisks2.NVMe.Controller");

constexpr DeviceNumber sda{8, 0};

QVariantMap block(const QVariant& number, const QString& drive) {
    return {{QStringLiteral("DeviceNumber"), number},
            {QStringLiteral("Drive"), QVariant::fromValue(QDBusObjectPath(drive))}};
}

QVariantMap names(const QVariant& vendor, const QVariant& model) {
    return {{QStringLiteral("Vendor"), vendor}, {QStringLiteral("Model"), model}};
}

QVariantMap ata(const QVariant& supported, const QVariant& enabled, const QVariant& updated,
                const QVariant& failing) {
    return {{QStringLiteral("SmartSupported"), supported},
            {QStringLiteral("SmartEnabled"), enabled},
            {QStringLiteral("SmartUpdated"), updated},
            {QStringLiteral("SmartFailing"), failing}};
}

QVariantMap nvme(const QVariant& updated, const QVariant& warnings) {
    return {{QStringLiteral("SmartUpdated"), updated}, {QStringLiteral("SmartCriticalWarning"), warnings}};
}

/// A disk 8:0 with the given interfaces on its drive.
BusObjects objects(BusInterfaces drive) {
    return {{blockPath, {{blockInterface, block(quint64(gnu_dev_makedev(8, 0)), drivePath)}}},
            {drivePath, std::move(drive)}};
}

std::optional<std::string> name(const QVariant& vendor, const QVariant& model) {
    return udisksReport(objects({{driveInterface, names(vendor, model)}}), sda).deviceName;
}
std::optional<std::string> ataWord(const QVariantMap& properties) {
    return udisksReport(objects({{ataInterface, properties}}), sda).smartStatus;
}
std::optional<std::string> nvmeWord(const QVariantMap& properties) {
    return udisksReport(objects({{nvmeInterface, properties}}), sda).smartStatus;
}
QVariant text(const char* text) {
    return QString::fromUtf8(text);
}

TEST(Udisks2, theNameIsTheVendorsAndTheModels) {
    EXPECT_EQ(name(text("WDC"), text("WD10EZEX")), "WDC WD10EZEX");
    EXPECT_EQ(name(text(""), text(" Samsung SSD 860 EVO 500GB ")), "Samsung SSD 860 EVO 500GB");
    EXPECT_EQ(name(text("Seagate"), {}), "Seagate");
    EXPECT_EQ(name(5, text("Disk\n2")), "Disk 2");
    EXPECT_EQ(name(text(" "), text("")), std::nullopt);
    EXPECT_EQ(name({}, {}), std::nullopt);
}

TEST(Udisks2, anAtaDriveHasAVerdictOnceItWasAsked) {
    const qulonglong asked = 1'795'000'000;
    EXPECT_EQ(ataWord(ata(true, true, asked, false)), "Verified");
    EXPECT_EQ(ataWord(ata(true, true, asked, true)), "Failing");
    EXPECT_EQ(ataWord(ata(true, true, qulonglong(1), false)), "Verified");
    EXPECT_EQ(ataWord(ata(true, true, qulonglong(0), true)), std::nullopt);
    EXPECT_EQ(ataWord(ata(false, true, asked, true)), std::nullopt);
    EXPECT_EQ(ataWord(ata(true, false, asked, true)), std::nullopt);
}

TEST(Udisks2, anNvmeDriveHasAVerdictOnceItWasAsked) {
    const auto word = [](const QStringList& warnings) { return nvmeWord(nvme(qulonglong(5), warnings)); };
    EXPECT_EQ(word({}), "Verified");
    EXPECT_EQ(word({QStringLiteral("temperature")}), "Verified");
    for (const char* warning :
         {"spare", "degraded", "readonly", "volatile_mem", "pmr_readonly", "unheard_of"}) {
        EXPECT_EQ(word({QString::fromLatin1(warning)}), "Failing") << warning;
        EXPECT_EQ(word({QStringLiteral("temperature"), QString::fromLatin1(warning)}), "Failing") << warning;
    }
    EXPECT_EQ(nvmeWord(nvme(qulonglong(0), QStringList{QStringLiteral("spare")})), std::nullopt);
}

TEST(Udisks2, valuesOfOtherTypesGiveNoVerdict) {
    const qulonglong asked = 5;
    EXPECT_EQ(ataWord({}), std::nullopt);
    EXPECT_EQ(ataWord(ata(1, true, asked, false)), std::nullopt);
    EXPECT_EQ(ataWord(ata(true, text("true"), asked, false)), std::nullopt);
    EXPECT_EQ(ataWord(ata(true, true, true, false)), std::nullopt);
    EXPECT_EQ(ataWord(ata(true, true, -5, false)), std::nullopt);
    EXPECT_EQ(ataWord(ata(true, true, asked, text("no"))), std::nullopt);
    EXPECT_EQ(nvmeWord({}), std::nullopt);
    EXPECT_EQ(nvmeWord(nvme(asked, text("spare"))), std::nullopt);
    EXPECT_EQ(nvmeWord(nvme(text("now"), QStringList())), std::nullopt);
}

TEST(Udisks2, onlyTheDiskOfTheNumberCounts) {
    BusObjects all = objects({{driveInterface, names({}, text("Other"))}});
    EXPECT_EQ(udisksReport(all, {8, 16}), DriveReport{});
    const QString second = QStringLiteral("/second");
    all[second] = {{driveInterface, names({}, text("Mine"))}};
    all[QStringLiteral("/z")] = {{blockInterface, block(quint64(gnu_dev_makedev(259, 300)), second)}};
    EXPECT_EQ(udisksReport(all, {259, 300}).deviceName, "Mine");
}

TEST(Udisks2, aBlockDeviceWithoutItsDriveGivesNothing) {
    EXPECT_EQ(udisksReport({}, sda), DriveReport{});
    BusObjects all = objects({{driveInterface, names({}, text("Disk"))}});
    for (const QVariantMap& properties :
         {QVariantMap(), block(QStringLiteral("2048"), drivePath),
          block(std::numeric_limits<qulonglong>::max(), drivePath),
          block(quint64(gnu_dev_makedev(8, 0)), QStringLiteral("/")),
          block(quint64(gnu_dev_makedev(8, 0)), QStringLiteral("/gone")),
          QVariantMap{{QStringLiteral("DeviceNumber"), quint64(gnu_dev_makedev(8, 0))},
                      {QStringLiteral("Drive"), 7}}}) {
        all[blockPath] = {{blockInterface, properties}};
        EXPECT_EQ(udisksReport(all, sda), DriveReport{});
    }
}

}  // namespace
}  // namespace corvanta
