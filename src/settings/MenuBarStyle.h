// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "core/RawEnum.h"

namespace corvanta {

/// The family that the menu bar row is drawn in. The raw value is persisted and shown.
enum class MenuBarStyle { classic, signature };

inline constexpr std::array allMenuBarStyles = {MenuBarStyle::classic, MenuBarStyle::signature};
constexpr const auto& allCases(MenuBarStyle) {
    return allMenuBarStyles;
}

constexpr std::string_view rawValue(MenuBarStyle value) {
    switch (value) {
        case MenuBarStyle::classic:
            return "Classic";
        case MenuBarStyle::signature:
            return "Signature";
    }
    std::abort();
}

constexpr std::optional<MenuBarStyle> menuBarStyleFromRaw(std::string_view raw) {
    return caseFromRaw<MenuBarStyle>(raw);
}

}  // namespace corvanta
