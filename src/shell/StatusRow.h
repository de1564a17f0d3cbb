// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QColor>
#include <QImage>
#include <QString>
#include <variant>
#include <vector>

namespace corvanta {

/// A text in the row font, centred in its width.
struct TextRun {
    QString text;
    QColor color;
    double points = 0;
    double width = 0;

    bool operator==(const TextRun&) const = default;
};

/// A symbol by name, centred in its width. An unknown name draws nothing and keeps the place.
struct SymbolRun {
    QString symbol;
    QColor color;
    double size = 0;
    double width = 0;

    bool operator==(const SymbolRun&) const = default;
};

struct SpaceRun {
    double width = 0;

    bool operator==(const SpaceRun&) const = default;
};

using StatusRun = std::variant<TextRun, SymbolRun, SpaceRun>;

/// The rounded ground under a row.
struct StatusChip {
    QColor background;
    QColor border;
    double borderWidth = 0;
    double radius = 0;

    bool operator==(const StatusChip&) const = default;
};

/// What a status item shows: runs from left to right on a chip, and the same in words. A value that knows no
/// screen. All measures are device-independent pixels.
struct StatusRow {
    std::vector<StatusRun> runs;
    StatusChip chip;
    QString plainText;

    bool operator==(const StatusRow&) const = default;

    /// The whole width, the chip's margins included.
    double width() const;
};

/// The row as a picture of the given height.
QImage renderRow(const StatusRow& row, double height, double devicePixelRatio);

}  // namespace corvanta
