// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace corvanta {

/// A colour by its role; the theme that draws gives it a value.
enum class ColorRole { primary, secondary, green, orange, red, purple };

}  // namespace corvanta
