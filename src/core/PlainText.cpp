// SPDX-License-Identifier: Apache-2.0
#include "core/PlainText.h"

#include <cstddef>

namespace corvanta {

std::string plainText(std::string_view text) {
    std::string plain;
    plain.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const unsigned next = i + 1 < text.size() ? static_cast<unsigned char>(text[i + 1]) : 0;
        if (byte < 0x20 || byte == 0x7f) {
            plain += ' ';
        } else if (byte == 0xc2 && next >= 0x80 && next < 0xa0) {  // U+0080 to U+009F
            plain += ' ';
            ++i;
        } else {
            plain += text[i];
        }
    }
    return plain;
}

}  // namespace corvanta
