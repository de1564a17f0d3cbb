// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QColor>

#include "core/ColorRole.h"

namespace corvanta {

/// Whether what surrounds the status item is dark or light.
enum class Appearance { dark, light };

/// The colours of a row for one appearance. A value; the desktop's palette has no say in it.
struct RowTheme {
    QColor label;
    QColor secondary;
    QColor separator;
    QColor green;
    QColor orange;
    QColor red;
    QColor purple;
    QColor chipBackground;
    QColor chipBorder;

    bool operator==(const RowTheme&) const = default;

    const QColor& color(ColorRole role) const;
};

RowTheme rowTheme(Appearance appearance);

}  // namespace corvanta
