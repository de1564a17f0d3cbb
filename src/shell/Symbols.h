// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QColor>
#include <QImage>
#include <QPainter>
#include <QString>

namespace corvanta {

// Symbols by name, as `resources/icons.tsv` lists them. Main thread only.

/// The symbol's glyph in `symbolFont`; empty for an unknown name.
QString symbolGlyph(const QString& name);

/// Draws a symbol of the given size around `center`; nothing for an unknown name. The painter works on a
/// `rowCanvas`.
void drawSymbol(QPainter& painter, QPointF center, const QString& name, double size, const QColor& color);

/// A square picture of a symbol; a null image for an unknown name.
QImage symbolImage(const QString& name, double size, const QColor& color, double devicePixelRatio);

}  // namespace corvanta
