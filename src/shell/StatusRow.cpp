// SPDX-License-Identifier: Apache-2.0
#include "shell/StatusRow.h"

#include <QPainter>
#include <cmath>

#include "shell/RowFonts.h"
#include "shell/Symbols.h"

namespace corvanta {
namespace {

constexpr double chipMargin = 4;

double widthOf(const StatusRun& run) {
    return std::visit([](const auto& r) { return r.width; }, run);
}

/// Draws one run after the other, each centred on the same line.
class RunPainter {
  public:
    RunPainter(QPainter& painter, double height, double devicePixelRatio)
        : painter_(painter), height_(height), devicePixelRatio_(devicePixelRatio) {}

    void draw(const StatusRun& run) {
        std::visit([this](const auto& r) { drawRun(r); }, run);
        left_ += widthOf(run);
    }

  private:
    void drawRun(const TextRun& run) {
        const QFont font = rowFont(run.points);
        const double left = left_ + (run.width - textWidth(font, run.text)) / 2;
        painter_.setFont(font);
        painter_.setPen(run.color);
        painter_.drawText(QPointF(left, onPixel((height_ + capHeight(font)) / 2)), run.text);
    }
    void drawRun(const SymbolRun& run) {
        const double left = onPixel(left_ + (run.width - run.size) / 2);
        const double top = onPixel((height_ - run.size) / 2);
        drawSymbol(painter_, QPointF(left + run.size / 2, top + run.size / 2), run.symbol, run.size,
                   run.color);
    }
    void drawRun(const SpaceRun&) {}

    double onPixel(double position) const {
        return std::round(position * devicePixelRatio_) / devicePixelRatio_;
    }

    QPainter& painter_;
    double height_;
    double devicePixelRatio_;
    double left_ = chipMargin;
};

/// The ground of a row. The last one is kept: it changes only with the row's width, and filling its curves
/// costs more than all the rest and wakes Qt's painting threads.
QImage chipImage(const StatusChip& chip, QSizeF size, double devicePixelRatio) {
    struct Kept {
        StatusChip chip;
        QSizeF size;
        double devicePixelRatio = 0;
        QImage image;
    };
    static Kept& kept = *new Kept;
    if (kept.chip == chip && kept.size == size && kept.devicePixelRatio == devicePixelRatio)
        return kept.image;

    QImage image = rowCanvas(size, devicePixelRatio);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    const double inset = chip.borderWidth / 2;
    painter.setPen(QPen(chip.border, chip.borderWidth));
    painter.setBrush(chip.background);
    painter.drawRoundedRect(QRectF(QPointF(), size).adjusted(inset, inset, -inset, -inset), chip.radius,
                            chip.radius);
    painter.end();
    kept = {chip, size, devicePixelRatio, image};
    return image;
}

}  // namespace

double StatusRow::width() const {
    double width = 2 * chipMargin;
    for (const StatusRun& run : runs) width += widthOf(run);
    return width;
}

QImage renderRow(const StatusRow& row, double height, double devicePixelRatio) {
    QImage image = chipImage(row.chip, QSizeF(row.width(), height), devicePixelRatio);
    QPainter painter(&image);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing);
    RunPainter runs(painter, height, devicePixelRatio);
    for (const StatusRun& run : row.runs) runs.draw(run);
    return image;
}

}  // namespace corvanta
