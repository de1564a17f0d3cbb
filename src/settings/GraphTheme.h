// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <variant>

#include "core/RawEnum.h"

namespace corvanta {

/// A colour by its fractions of red, green and blue, each 0 to 1.
struct RGBColor {
    double red = 0;
    double green = 0;
    double blue = 0;

    bool operator==(const RGBColor&) const = default;
};

/// A colour that the desktop chooses; the header text follows its light and dark looks.
enum class SystemColor { headerText, purple };

using GraphColor = std::variant<SystemColor, RGBColor>;

/// The accent colour of graphs. The raw value is persisted and shown.
enum class GraphTheme { classic, purple, cyan, blue, green, orange, red, pink, yellow, graphite };

inline constexpr std::array allGraphThemes = {
    GraphTheme::classic, GraphTheme::purple, GraphTheme::cyan, GraphTheme::blue,   GraphTheme::green,
    GraphTheme::orange,  GraphTheme::red,    GraphTheme::pink, GraphTheme::yellow, GraphTheme::graphite};
constexpr const auto& allCases(GraphTheme) {
    return allGraphThemes;
}

constexpr std::string_view rawValue(GraphTheme value) {
    switch (value) {
        case GraphTheme::classic:
            return "Classic Monochrome";
        case GraphTheme::purple:
            return "Corvanta Purple";
        case GraphTheme::cyan:
            return "Electric Cyan";
        case GraphTheme::blue:
            return "Midnight Blue";
        case GraphTheme::green:
            return "Emerald Green";
        case GraphTheme::orange:
            return "Sunset Orange";
        case GraphTheme::red:
            return "Crimson Red";
        case GraphTheme::pink:
            return "Neon Pink";
        case GraphTheme::yellow:
            return "Goldenrod";
        case GraphTheme::graphite:
            return "Graphite";
    }
    std::abort();
}

constexpr std::optional<GraphTheme> graphThemeFromRaw(std::string_view raw) {
    return caseFromRaw<GraphTheme>(raw);
}

/// The accent colour itself, opaque.
constexpr GraphColor color(GraphTheme value) {
    switch (value) {
        case GraphTheme::classic:
            return SystemColor::headerText;
        case GraphTheme::purple:
            return SystemColor::purple;
        case GraphTheme::cyan:
            return RGBColor{0, 0.9, 1.0};
        case GraphTheme::blue:
            return RGBColor{0.15, 0.4, 1.0};
        case GraphTheme::green:
            return RGBColor{0.1, 0.8, 0.4};
        case GraphTheme::orange:
            return RGBColor{1.0, 0.4, 0};
        case GraphTheme::red:
            return RGBColor{0.86, 0.08, 0.24};
        case GraphTheme::pink:
            return RGBColor{1.0, 0.08, 0.58};
        case GraphTheme::yellow:
            return RGBColor{1.0, 0.8, 0.1};
        case GraphTheme::graphite:
            return RGBColor{0.6, 0.6, 0.6};
    }
    std::abort();
}

}  // namespace corvanta
