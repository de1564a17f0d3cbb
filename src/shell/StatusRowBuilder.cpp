// SPDX-License-Identifier: Apache-2.0
#include "shell/StatusRowBuilder.h"

#include <algorithm>
#include <cmath>

#include "core/TextForms.h"
#include "shell/RowFonts.h"

namespace corvanta {
namespace {

constexpr double valuePoints = 10.5;
constexpr double separatorPoints = 12;
constexpr double metricPadding = 6;
constexpr double symbolSize = 16;
constexpr double symbolWidth = 19;

QString toQString(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

double valueWidth(const QString& text) {
    return textWidth(rowFont(valuePoints), text);
}

class Builder {
  public:
    explicit Builder(Appearance appearance) : theme_(rowTheme(appearance)) {
        row_.chip = {
            .background = theme_.chipBackground, .border = theme_.chipBorder, .borderWidth = 1, .radius = 7};
    }

    /// `reserved` is the least width of the text.
    void addMetric(const QString& name, const QString& symbol, const QString& text, const QColor& color,
                   double reserved) {
        if (!row_.runs.empty()) addSeparator();
        row_.runs.emplace_back(SpaceRun{metricPadding});
        row_.runs.emplace_back(
            SymbolRun{.symbol = symbol, .color = color, .size = symbolSize, .width = symbolWidth});
        row_.runs.emplace_back(TextRun{.text = text,
                                       .color = color,
                                       .points = valuePoints,
                                       .width = std::floor(std::max(valueWidth(text), reserved))});
        row_.runs.emplace_back(SpaceRun{metricPadding});
        if (!row_.plainText.isEmpty()) row_.plainText += QStringLiteral(", ");
        row_.plainText += name + u' ' + text;
    }

    const RowTheme& theme() const { return theme_; }
    StatusRow take() { return std::move(row_); }

  private:
    void addSeparator() {
        const QString bar = QStringLiteral(" \u2502 ");
        row_.runs.emplace_back(TextRun{.text = bar,
                                       .color = theme_.separator,
                                       .points = separatorPoints,
                                       .width = textWidth(rowFont(separatorPoints), bar)});
    }

    RowTheme theme_;
    StatusRow row_;
};

}  // namespace

StatusRow buildStatusRow(const StatusReadings& readings, Appearance appearance) {
    Builder row(appearance);
    const RowTheme& theme = row.theme();
    const double percentWidth = valueWidth(QStringLiteral("100%"));
    const double sizeWidth =
        std::max(valueWidth(QStringLiteral("00.00 GB")), valueWidth(QStringLiteral("000.0 MB")));
    row.addMetric(QStringLiteral("CPU"), QStringLiteral("cpu"), toQString(percentText(readings.cpuPercent)),
                  theme.label, percentWidth);
    row.addMetric(QStringLiteral("RAM"), QStringLiteral("memorychip"), readings.ramText, theme.label,
                  sizeWidth);
    row.addMetric(QStringLiteral("Memory pressure"), toQString(sfSymbol(readings.pressureLevel)),
                  readings.pressureText, theme.color(color(readings.pressureLevel)), 0);
    return row.take();
}

}  // namespace corvanta
