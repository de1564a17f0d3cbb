// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QFont>
#include <QImage>
#include <QSizeF>
#include <QString>

namespace corvanta {

// Fonts and measures of everything that is drawn into a row. One font point is one device-independent pixel:
// all of it is measured and drawn on images of 72 dots per inch, so the desktop's text scaling has no say.
// Main thread only. The fonts are embedded and loaded at the first use.

/// The text font, medium weight. Its digits all have one width, and advances are fractional.
QFont rowFont(double points);

/// The font whose glyphs are the symbols.
QFont symbolFont(double points);

/// Device-independent pixels; `font` is one of the two above.
double textWidth(const QFont& font, const QString& text);
double capHeight(const QFont& font);

/// A transparent image that covers `size`, for a screen of the given device pixels per pixel.
QImage rowCanvas(QSizeF size, double devicePixelRatio);

}  // namespace corvanta
