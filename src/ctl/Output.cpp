// SPDX-License-Identifier: Apache-2.0
#include "ctl/Output.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/PlausiblePercentage.h"
#include "core/TextForms.h"

namespace corvanta::ctl {
namespace {

/// What a cell takes on the screen: colours take nothing.
std::size_t characters(std::string_view text) {
    std::size_t count = 0;
    bool isInEscape = false;
    for (const char c : text) {
        if (c == '\x1b') isInEscape = true;
        const bool continues = (static_cast<unsigned char>(c) & 0xc0) == 0x80;
        if (!isInEscape && !continues) ++count;
        if (c == 'm') isInEscape = false;
    }
    return count;
}

std::string_view escapeCode(ColorRole role) {
    switch (role) {
        case ColorRole::primary:
            return "\x1b[39m";
        case ColorRole::secondary:
            return "\x1b[2m";
        case ColorRole::green:
            return "\x1b[32m";
        case ColorRole::orange:
            return "\x1b[33m";
        case ColorRole::red:
            return "\x1b[31m";
        case ColorRole::purple:
            return "\x1b[35m";
    }
    std::abort();
}

}  // namespace

std::string colored(std::string_view text, ColorRole role, const OutputOptions& options) {
    if (!options.color) return std::string(text);
    return std::string(escapeCode(role)).append(text).append("\x1b[0m");
}

std::string table(const std::vector<std::vector<std::string>>& rows) {
    std::vector<std::size_t> widths;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], characters(row[i]));
    }
    std::string text;
    for (const auto& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            text += row[i];
            if (i + 1 < row.size()) text.append(widths[i] - characters(row[i]) + 2, ' ');
        }
        text.erase(text.find_last_not_of(' ') + 1);
        text += '\n';
    }
    return text;
}

std::string percentCell(double percentage) {
    return isPlausiblePercentage(percentage) ? percentText(percentage) : "-";
}

bool print(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0)
        return true;
    if (errno != EPIPE) complain(std::string("Could not write: ") + std::strerror(errno));
    return false;
}

void complain(std::string_view text) {
    std::fprintf(stderr, "corvantactl: %.*s\n", static_cast<int>(text.size()), text.data());
}

}  // namespace corvanta::ctl
