// SPDX-License-Identifier: Apache-2.0
#include "platform/profiler/ProfilerReports.h"

#include <gtest/gtest.h>

#include <string>

#include "monitoring/collectors/DiskMonitor.h"
#include "platform/OpenDescriptors.h"
#include "platform/profiler/PropertyListText.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

using Drives = std::vector<DriveReport>;
using Peripherals = std::vector<ProfiledPeripheral>;

std::string fixture(const std::string& name) {
    std::string text = test::readFile(std::string(CORVANTA_FIXTURES) + "/plist/" + name);
    EXPECT_FALSE(text.empty()) << name;
    return text;
}

std::string repeated(std::string_view piece, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) text += piece;
    return text;
}

std::string listOf(const std::string& root) {
    return "<?xml version=\"1.0\"?>\n<plist version=\"1.0\">" + root + "</plist>\n";
}

/// A report whose one drive is the given XML.
std::string drive(const std::string& xml) {
    return listOf("<array><dict><key>_items</key><array><dict><key>physical_drive</key>" + xml +
                  "</dict></array></dict></array>");
}

/// A report with one peripheral of the given properties.
std::string peripheral(const std::string& properties) {
    return listOf(
        "<array><dict><key>_items</key><array><dict><key>device_connected</key><array><dict>"
        "<key>X</key><dict>" +
        properties + "</dict></dict></array></dict></array></dict></array>");
}

std::int64_t levelOf(const std::string& properties) {
    const Peripherals found = parseBluetoothProfile(peripheral(properties));
    EXPECT_EQ(found.size(), 1U) << properties;
    return found.empty() ? -2 : found.front().batteryLevel;
}

bool isRefused(const std::string& xml) {
    return !parseStorageProfile(xml) && parseBluetoothProfile(xml).empty();
}

TEST(StorageProfile, givesEachPhysicalDriveInOrder) {
    EXPECT_EQ(parseStorageProfile(fixture("storage-two-volumes.xml")),
              (Drives{{"FASTDISK 512", "Verified"}, {"Old & Slow \u2014 2TB", "Failing"}}));
}

TEST(StorageProfile, anEmptyRootHasNoDrives) {
    EXPECT_EQ(parseStorageProfile(fixture("storage-empty-root.xml")), Drives{});
    EXPECT_EQ(parseStorageProfile(listOf("<array></array>")), Drives{});
}

TEST(StorageProfile, aRootThatIsNoArrayOfDictionariesGivesNothing) {
    EXPECT_EQ(parseStorageProfile(fixture("storage-root-is-a-dictionary.xml")), std::nullopt);
    EXPECT_EQ(parseStorageProfile(fixture("storage-root-holds-a-text.xml")), std::nullopt);
    EXPECT_EQ(parseStorageProfile(listOf("<string>array</string>")), std::nullopt);
    EXPECT_EQ(parseStorageProfile(listOf("<array><array/></array>")), std::nullopt);
}

TEST(StorageProfile, valuesOfOtherTypesCountAsAbsent) {
    EXPECT_EQ(parseStorageProfile(fixture("storage-wrong-types.xml")),
              (Drives{{}, {}, {"Only a name", std::nullopt}, {std::nullopt, "PASSED"}}));
}

TEST(StorageProfile, aWordThatIsNoneOfTheFourLeavesTheStatusUnknownWithTheModelFilled) {
    const auto reports =
        parseStorageProfile(drive("<dict><key>device_name</key><string>DISK</string>"
                                  "<key>smart_status</key><string>Not Supported</string></dict>"));
    ASSERT_TRUE(reports);
    EXPECT_EQ(DiskMonitor::verdictOf(*reports),
              (DiskMonitor::DriveVerdict{.status = SMARTStatus::unknown, .model = "DISK"}));
}

TEST(StorageProfile, theLastDriveWithEachKeyDecides) {
    const auto reports = parseStorageProfile(fixture("storage-two-volumes.xml"));
    ASSERT_TRUE(reports);
    EXPECT_EQ(DiskMonitor::verdictOf(*reports),
              (DiskMonitor::DriveVerdict{.status = SMARTStatus::failing, .model = "Old & Slow \u2014 2TB"}));
}

TEST(BluetoothProfile, readsTheLevelFromTheNestedIntegerOrElseFromTheText) {
    EXPECT_EQ(parseBluetoothProfile(fixture("bluetooth-all-levels.xml")),
              (Peripherals{{"Percent Mouse", 85},
                           {"Blank Keyboard", 85},
                           {"Nested Trackpad", 40},
                           {"Nested Text", 7},
                           {"Signed", -3},
                           {"Words", -1},
                           {"Fraction", -1},
                           {"Two Signs", -1},
                           {"Only Percent", -1},
                           {"Huge", -1},
                           {"Plain Integer", -1},
                           {"No Battery", -1}}));
}

TEST(BluetoothProfile, listsANameOnceAndAsItComesFirst) {
    EXPECT_EQ(parseBluetoothProfile(fixture("bluetooth-duplicate-names.xml")),
              (Peripherals{{"Mouse", 10}, {"mouse", -1}}));
}

TEST(BluetoothProfile, skipsWhatHasTheWrongShape) {
    EXPECT_EQ(parseBluetoothProfile(fixture("bluetooth-wrong-types.xml")), (Peripherals{{"Good", -1}}));
    EXPECT_EQ(parseBluetoothProfile(fixture("storage-root-is-a-dictionary.xml")), Peripherals{});
    EXPECT_EQ(parseBluetoothProfile(fixture("storage-root-holds-a-text.xml")), Peripherals{});
}

TEST(BluetoothProfile, aLevelTextWithAPercentSignWithOrWithoutABlankIsANumber) {
    const auto level = [](const std::string& text) {
        return levelOf("<key>device_batteryLevel</key><string>" + text + "</string>");
    };
    EXPECT_EQ(level("85%"), 85);
    EXPECT_EQ(level("85 %"), 85);
    EXPECT_EQ(level("% 85"), 85);
    EXPECT_EQ(level("+85"), 85);
    EXPECT_EQ(level("0"), 0);
    for (const char* text : {"", "none", "8 5", "%", "-", "+", "85.0", "0x10", "1e2", "\xd9\xa3"})
        EXPECT_EQ(level(text), -1) << text;
}

TEST(BluetoothProfile, theNestedIntegerComesBeforeTheText) {
    const auto nested = [](const std::string& value) {
        return levelOf("<key>device_battery</key><dict><key>device_batteryLevel</key>" + value +
                       "</dict><key>device_batteryLevel</key><string>9</string>");
    };
    EXPECT_EQ(nested("<integer>40</integer>"), 40);
    EXPECT_EQ(nested("<integer>-5</integer>"), -5);
    EXPECT_EQ(nested("<integer>\n +5 </integer>"), 5);
    EXPECT_EQ(nested("<integer>9223372036854775807</integer>"), INT64_MAX);
    EXPECT_EQ(nested("<integer>-9223372036854775808</integer>"), INT64_MIN);
    EXPECT_EQ(nested("<real>40</real>"), 9);
    EXPECT_EQ(nested("<true/>"), 9);
}

TEST(PropertyList, integersThatDontFitOrAreNoneSpoilTheText) {
    for (const char* text :
         {"9223372036854775808", "18446744073709551615", "-9223372036854775809", "99999999999999999999999999",
          "", "abc", "5x", "0x10", "+-5", "- 5", "5 5", "5<!-- -->5", "<![CDATA[5]]>", "5<true/>"}) {
        EXPECT_TRUE(isRefused(listOf("<array><integer>" + std::string(text) + "</integer></array>"))) << text;
        EXPECT_TRUE(isRefused(peripheral("<key>x</key><integer>" + std::string(text) + "</integer>")))
            << text;
    }
    EXPECT_TRUE(isRefused(listOf("<array><integer/></array>")));
}

TEST(PropertyList, whatIsNoneGivesNothing) {
    const std::string good = fixture("storage-two-volumes.xml");
    for (const std::string& text : {std::string(),
                                    std::string("\n"),
                                    std::string("plain text"),
                                    std::string("<"),
                                    std::string("<>"),
                                    std::string("bplist00\xa0\x08\0\0", 12),
                                    std::string("{\"json\": true}"),
                                    std::string("<array/>"),
                                    listOf(""),
                                    listOf("text"),
                                    listOf("<array/><array/>"),
                                    listOf("<array/>") + listOf("<array/>"),
                                    listOf("<array></dict>"),
                                    listOf("<array><array></array>"),
                                    listOf("</array>"),
                                    listOf("<array"),
                                    listOf("<array><nothing/></array>"),
                                    listOf("<array><plist/></array>"),
                                    listOf("<array>") + "<!--",
                                    listOf("<array at='>'/>"),
                                    listOf("<array at=\">\"/>"),
                                    listOf("<![CDATA[<array/>]]>"),
                                    listOf("<array><dict><key>a</key>&nothing;</dict></array>"),
                                    "\xef\xbb\xbf" + good,
                                    good + "junk",
                                    "junk" + good,
                                    fixture("storage-cut.xml")}) {
        EXPECT_TRUE(isRefused(text)) << text;
    }
}

TEST(PropertyList, aTextCutShortAnywhereGivesNothing) {
    const std::string good = fixture("bluetooth-all-levels.xml");
    for (std::size_t size = 0; size < good.size() - std::string_view("</plist>\n").size(); size += 7)
        EXPECT_TRUE(isRefused(good.substr(0, size))) << size;
}

TEST(PropertyList, textsThatMakeTheirOwnDocumentTypeAreRefused) {
    EXPECT_TRUE(isRefused(fixture("storage-entities.xml")));
    EXPECT_TRUE(isRefused(fixture("storage-internal-subset.xml")));
    EXPECT_TRUE(isRefused("<plist><!DOCTYPE plist><array/></plist>"));
}

TEST(PropertyList, commentsAndUnparsedTextAreRead) {
    EXPECT_EQ(parseStorageProfile(drive("<!-- <array> --><dict><key>device_name</key>"
                                        "<string>A <![CDATA[<b> & ]]>c</string></dict>")),
              (Drives{{"A <b> & c", std::nullopt}}));
}

TEST(PropertyList, invalidUtf8IsRepaired) {
    EXPECT_EQ(parseStorageProfile(fixture("storage-bad-utf8.xml"))->front(),
              (DriveReport{"bad \uFFFD\uFFFD utf8 512", "Verified"}));
}

TEST(PropertyList, anEmbeddedNullIsRefused) {
    std::string text = fixture("storage-two-volumes.xml");
    text[text.find("FASTDISK") + 2] = '\0';
    EXPECT_TRUE(isRefused(text));
    EXPECT_TRUE(isRefused(drive("<dict><key>device_name</key><string>a&#0;b</string></dict>")));
}

TEST(PropertyList, theDeepestTextIsReadAndADeeperOneIsNot) {
    // "plist", the root and its dictionary stand above.
    const auto list = [](std::size_t depth) {
        const std::size_t below = depth - 3;
        return listOf("<array><dict><key>x</key>" + repeated("<array>", below) + repeated("</array>", below) +
                      "</dict></array>");
    };
    EXPECT_EQ(parseStorageProfile(list(deepestPropertyList)), Drives{});
    EXPECT_TRUE(isRefused(list(deepestPropertyList + 1)));
    EXPECT_TRUE(isRefused(list(300'000)));
    EXPECT_TRUE(isRefused(listOf(repeated("<array>", 300'000))));
}

TEST(PropertyList, theLongestTextIsReadAndALongerOneIsNot) {
    const auto list = [](std::size_t size) {
        const std::string empty = listOf("<array/>");
        return empty + std::string(size - empty.size(), ' ');
    };
    EXPECT_EQ(parseStorageProfile(list(longestPropertyList)), Drives{});
    EXPECT_TRUE(isRefused(list(longestPropertyList + 1)));
    EXPECT_TRUE(isRefused(list(std::size_t{50} << 20)));
}

TEST(PropertyList, readingManyTimesLeavesNothingOpen) {
    const std::string storage = fixture("storage-two-volumes.xml");
    const std::string bluetooth = fixture("bluetooth-all-levels.xml");
    const std::size_t before = test::openDescriptors();
    for (int i = 0; i < 10'000; ++i) {
        ASSERT_TRUE(parseStorageProfile(storage));
        ASSERT_FALSE(parseBluetoothProfile(bluetooth).empty());
    }
    EXPECT_EQ(test::openDescriptors(), before);
}

}  // namespace
}  // namespace corvanta
