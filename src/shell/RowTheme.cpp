// SPDX-License-Identifier: Apache-2.0
#include "shell/RowTheme.h"

#include <cstdlib>

namespace corvanta {

const QColor& RowTheme::color(ColorRole role) const {
    switch (role) {
        case ColorRole::primary:
            return label;
        case ColorRole::secondary:
            return secondary;
        case ColorRole::green:
            return green;
        case ColorRole::orange:
            return orange;
        case ColorRole::red:
            return red;
        case ColorRole::purple:
            return purple;
    }
    std::abort();
}

RowTheme rowTheme(Appearance appearance) {
    if (appearance == Appearance::dark) {
        return {
            .label = QColor(255, 255, 255, 217),
            .secondary = QColor(255, 255, 255, 140),
            .separator = QColor(255, 255, 255, 26),
            .green = QColor(48, 209, 88),
            .orange = QColor(255, 159, 10),
            .red = QColor(255, 69, 58),
            .purple = QColor(191, 90, 242),
            .chipBackground = QColor::fromRgbF(0.04F, 0.04F, 0.04F, 0.8F),
            .chipBorder = QColor::fromRgbF(1, 1, 1, 0.14F),
        };
    }
    return {
        .label = QColor(0, 0, 0, 217),
        .secondary = QColor(0, 0, 0, 128),
        .separator = QColor(0, 0, 0, 26),
        .green = QColor(40, 205, 65),
        .orange = QColor(255, 149, 0),
        .red = QColor(255, 59, 48),
        .purple = QColor(175, 82, 222),
        .chipBackground = QColor::fromRgbF(1, 1, 1, 0.88F),
        .chipBorder = QColor::fromRgbF(0, 0, 0, 0.12F),
    };
}

}  // namespace corvanta
