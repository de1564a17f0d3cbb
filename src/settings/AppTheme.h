// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "core/RawEnum.h"

namespace corvanta {

/// The appearance of the windows. The raw value is persisted and shown.
enum class AppTheme { system, light, dark };

inline constexpr std::array allAppThemes = {AppTheme::system, AppTheme::light, AppTheme::dark};
constexpr const auto& allCases(AppTheme) {
    return allAppThemes;
}

constexpr std::string_view rawValue(AppTheme value) {
    switch (value) {
        case AppTheme::system:
            return "System";
        case AppTheme::light:
            return "Light";
        case AppTheme::dark:
            return "Dark";
    }
    std::abort();
}

constexpr std::optional<AppTheme> appThemeFromRaw(std::string_view raw) {
    return caseFromRaw<AppTheme>(raw);
}

}  // namespace corvanta
