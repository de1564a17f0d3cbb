// SPDX-License-Identifier: Apache-2.0
#include "shell/StatusRow.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QFontInfo>
#include <QFontMetricsF>
#include <QSet>
#include <algorithm>
#include <cmath>

#include "shell/RowFonts.h"
#include "shell/RowSamples.h"
#include "shell/Symbols.h"

namespace corvanta {
namespace {

using test::sampleRow;

constexpr double height = 24;

std::vector<SymbolRun> symbolsOf(const StatusRow& row) {
    std::vector<SymbolRun> symbols;
    for (const StatusRun& run : row.runs) {
        if (const auto* symbol = std::get_if<SymbolRun>(&run)) symbols.push_back(*symbol);
    }
    return symbols;
}

/// The values, without the separators.
std::vector<TextRun> valuesOf(const StatusRow& row) {
    std::vector<TextRun> texts;
    for (const StatusRun& run : row.runs) {
        const auto* text = std::get_if<TextRun>(&run);
        if (text != nullptr && !text->text.contains(QChar(0x2502))) texts.push_back(*text);
    }
    return texts;
}

/// How many pixels have a colour, give or take the rounding of premultiplied alpha.
int pixelsOf(const QImage& image, const QColor& color) {
    int count = 0;
    const auto near = [](int a, int b) { return std::abs(a - b) <= 3; };
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor pixel = image.pixelColor(x, y);
            count += near(pixel.red(), color.red()) && near(pixel.green(), color.green()) &&
                     near(pixel.blue(), color.blue());
        }
    }
    return count;
}

StatusRow rowOf(const StatusRun& run) {
    StatusRow row;
    row.runs.push_back(run);
    row.chip.background = Qt::transparent;
    row.chip.border = Qt::transparent;
    return row;
}

bool isBlank(const QImage& image) {
    QImage blank = image;
    blank.fill(Qt::transparent);
    return image == blank;
}

TEST(StatusRowTest, showsCpuMemoryAndPressureInThisOrder) {
    const StatusRow row = sampleRow(42, MemoryPressureLevel::warning, QStringLiteral("Warning"));
    const std::vector<TextRun> values = valuesOf(row);
    ASSERT_EQ(values.size(), 3U);
    EXPECT_EQ(values[0].text, QStringLiteral("42%"));
    EXPECT_EQ(values[1].text, QStringLiteral("61%"));
    EXPECT_EQ(values[2].text, QStringLiteral("Warning"));
    const std::vector<SymbolRun> symbols = symbolsOf(row);
    ASSERT_EQ(symbols.size(), 3U);
    EXPECT_EQ(symbols[0].symbol, QStringLiteral("cpu"));
    EXPECT_EQ(symbols[1].symbol, QStringLiteral("memorychip"));
    EXPECT_EQ(symbols[2].symbol, QStringLiteral("memorychip.fill"));
    EXPECT_EQ(row.plainText, QStringLiteral("CPU 42%, RAM 61%, Memory pressure Warning"));
}

TEST(StatusRowTest, barsStandBetweenTheMetricsOnly) {
    const StatusRow row = sampleRow();
    const auto bars = std::count_if(row.runs.begin(), row.runs.end(), [](const StatusRun& run) {
        const auto* text = std::get_if<TextRun>(&run);
        return text != nullptr && text->text.contains(QChar(0x2502));
    });
    EXPECT_EQ(bars, 2);
}

TEST(StatusRowTest, cpuTakesTheSameRoomFromNothingToEverything) {
    const double width = sampleRow(100).width();
    for (const double percent : {0.0, 9.0, 11.0, 42.0, 88.8, 99.9}) {
        EXPECT_EQ(sampleRow(percent).width(), width) << percent;
    }
}

TEST(StatusRowTest, memoryTakesTheSameRoomWhateverItsDecimals) {
    const auto widthWith = [](const QString& ramText) {
        return buildStatusRow({42, ramText, MemoryPressureLevel::normal, QStringLiteral("Normal")},
                              Appearance::dark)
            .width();
    };
    const double width = widthWith(QStringLiteral("22.64 GB"));
    for (const char* text : {"9 GB", "9.5 GB", "22.6 GB", "512.3 MB", "38%"}) {
        EXPECT_EQ(widthWith(QString::fromLatin1(text)), width) << text;
    }
}

TEST(StatusRowTest, allDigitsHaveOneWidth) {
    const QFont font = rowFont(10.5);
    const double width = textWidth(font, QStringLiteral("0"));
    EXPECT_GT(width, 0);
    for (char16_t digit = u'1'; digit <= u'9'; ++digit) {
        EXPECT_DOUBLE_EQ(textWidth(font, QString(QChar(digit))), width) << static_cast<int>(digit);
    }
}

TEST(StatusRowTest, widthsAreFractional) {
    const double width = textWidth(rowFont(10.5), QStringLiteral("42%"));
    EXPECT_NE(width, std::round(width));
}

TEST(StatusRowTest, theEmbeddedFontsAreTheOnesInUse) {
    EXPECT_TRUE(rowFont(10).family().startsWith(QStringLiteral("Lato")));
    EXPECT_EQ(symbolFont(10).family(), QStringLiteral("Material Icons"));
    EXPECT_EQ(QFontInfo(rowFont(10)).weight(), QFont::Medium);
    EXPECT_NEAR(textWidth(rowFont(11), QStringLiteral("100%")), 27.969, 0.01);
}

TEST(StatusRowTest, pressureIsDrawnInTheColourOfItsLevel) {
    for (const Appearance appearance : {Appearance::dark, Appearance::light}) {
        const RowTheme theme = rowTheme(appearance);
        for (const auto& [level, own] : {std::pair(MemoryPressureLevel::normal, theme.green),
                                         std::pair(MemoryPressureLevel::warning, theme.orange),
                                         std::pair(MemoryPressureLevel::critical, theme.red)}) {
            const QImage image =
                renderRow(sampleRow(42, level, QStringLiteral("Level"), appearance), height, 2);
            for (const QColor& color : {theme.green, theme.orange, theme.red}) {
                if (color == own) {
                    EXPECT_GT(pixelsOf(image, color), 20) << label(level);
                } else {
                    EXPECT_EQ(pixelsOf(image, color), 0) << label(level);
                }
            }
        }
    }
}

TEST(StatusRowTest, anUnknownPressureIsSecondary) {
    const StatusRow row = sampleRow(0, MemoryPressureLevel::unavailable, QStringLiteral("Unavailable"));
    EXPECT_EQ(valuesOf(row)[2].color, rowTheme(Appearance::dark).secondary);
    EXPECT_EQ(symbolsOf(row)[2].symbol, QStringLiteral("questionmark.circle"));
}

TEST(StatusRowTest, chipFollowsTheAppearance) {
    const QImage dark = renderRow(sampleRow(), height, 1);
    const QImage light = renderRow(
        sampleRow(42, MemoryPressureLevel::normal, QStringLiteral("Normal"), Appearance::light), height, 1);
    const QPoint ground(6, 12);
    EXPECT_LT(dark.pixelColor(ground).lightness(), 40);
    EXPECT_GT(light.pixelColor(ground).lightness(), 220);
    EXPECT_EQ(dark.pixelColor(0, 0).alpha(), 0) << "the corners are round";
    EXPECT_GT(dark.pixelColor(0, 12).alpha(), 0);
}

TEST(StatusRowTest, pictureCoversTheRowInDevicePixels) {
    const StatusRow row = sampleRow();
    for (const double ratio : {1.0, 1.5, 2.0}) {
        const QImage image = renderRow(row, height, ratio);
        EXPECT_EQ(image.width(), std::ceil(row.width() * ratio));
        EXPECT_EQ(image.height(), std::ceil(height * ratio));
        EXPECT_EQ(image.devicePixelRatio(), ratio);
    }
}

TEST(StatusRowTest, textOfOnePointIsOnePixelHighPerRatio) {
    // A capital letter is about 0.72 of the font size, whatever the desktop's resolution.
    EXPECT_NEAR(capHeight(rowFont(100)), 72, 1);
    const StatusRow row =
        rowOf(TextRun{.text = QStringLiteral("H"), .color = Qt::white, .points = 20, .width = 30});
    for (const double ratio : {1.0, 2.0}) {
        const QImage image = renderRow(row, height, ratio);
        QSet<int> inked;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                if (image.pixelColor(x, y).alpha() > 128) inked.insert(y);
            }
        }
        EXPECT_NEAR(static_cast<double>(inked.size()), 14.4 * ratio, 1.0);
    }
}

TEST(StatusRowTest, anUnknownSymbolDrawsNothingAndKeepsItsPlace) {
    const auto symbolRow = [](const QString& name) {
        return rowOf(SymbolRun{.symbol = name, .color = Qt::red, .size = 16, .width = 19});
    };
    EXPECT_FALSE(isBlank(renderRow(symbolRow(QStringLiteral("cpu")), height, 1)));
    EXPECT_TRUE(isBlank(renderRow(symbolRow(QStringLiteral("no.such.symbol")), height, 1)));
    EXPECT_EQ(symbolRow(QStringLiteral("no.such.symbol")).width(), symbolRow(QStringLiteral("cpu")).width());
}

TEST(StatusRowTest, anEmptyTextKeepsItsReservedRoom) {
    const StatusRow row = buildStatusRow({}, Appearance::dark);
    EXPECT_EQ(valuesOf(row)[1].width, valuesOf(sampleRow())[1].width);
    EXPECT_FALSE(isBlank(renderRow(row, height, 1)));
}

TEST(SymbolsTest, aNameYieldsItsGlyph) {
    EXPECT_EQ(symbolGlyph(QStringLiteral("memorychip")), QString(QChar(0xE322)));
    EXPECT_EQ(symbolGlyph(QStringLiteral("power")), QString(QChar(0xE8AC)));
}

TEST(SymbolsTest, anUnknownNameYieldsNoImage) {
    EXPECT_TRUE(symbolGlyph(QStringLiteral("no.such.symbol")).isEmpty());
    EXPECT_TRUE(symbolGlyph(QStringLiteral("symbol")).isEmpty()) << "the heading is no entry";
    EXPECT_TRUE(symbolGlyph(QString()).isEmpty());
    EXPECT_TRUE(symbolImage(QStringLiteral("no.such.symbol"), 16, Qt::red, 1).isNull());
}

TEST(SymbolsTest, everyListedSymbolIsInTheFont) {
    QFile table(QStringLiteral(":/corvanta/icons.tsv"));
    ASSERT_TRUE(table.open(QIODevice::ReadOnly));
    const QStringList lines = QString::fromUtf8(table.readAll()).trimmed().split(u'\n').mid(1);
    EXPECT_GT(lines.size(), 60);
    const QFontMetricsF metrics(symbolFont(16));
    for (const QString& line : lines) {
        const QString glyph = symbolGlyph(line.section(u'\t', 0, 0));
        ASSERT_FALSE(glyph.isEmpty()) << line.toStdString();
        EXPECT_TRUE(metrics.inFontUcs4(glyph.toUcs4().first())) << line.toStdString();
    }
}

TEST(SymbolsTest, everyPressureLevelHasItsSymbol) {
    for (const MemoryPressureLevel level : allMemoryPressureLevels) {
        EXPECT_FALSE(symbolGlyph(QString::fromStdString(std::string(sfSymbol(level)))).isEmpty());
    }
}

TEST(SymbolsTest, aPictureHasTheSizeAndTheColourAskedFor) {
    const QImage image = symbolImage(QStringLiteral("power"), 16, QColor(200, 40, 90), 2);
    EXPECT_EQ(image.size(), QSize(32, 32));
    EXPECT_EQ(image.devicePixelRatio(), 2);
    EXPECT_GT(pixelsOf(image, QColor(200, 40, 90)), 50);
}

}  // namespace
}  // namespace corvanta
