// SPDX-License-Identifier: Apache-2.0
// package/utf8.h - characters of a text that may hold any bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// What a text begins with.
struct Utf8 {
    std::size_t size;   ///< bytes; of a broken one those that cannot begin another
    std::uint32_t code; ///< the character
    bool isValid;
};

/// The character that a text begins with, whose first byte is 0x80 or more. RFC 3629, section 4.
/// Thread-safety: any thread.
inline Utf8 DecodeUtf8(std::string_view text) noexcept
{
    const auto byte = [text](std::size_t i) {
        return static_cast<unsigned char>(i < text.size() ? text[i] : 0);
    };
    const unsigned int first = byte(0);
    const std::size_t size = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4) {
        return {1, 0, false};
    }
    std::uint32_t code = first & (0xFFU >> (size + 1));
    for (std::size_t i = 1; i < size; ++i) {
        const bool isOverlong =
            i == 1 && ((first == 0xE0 && byte(1) < 0xA0) || (first == 0xF0 && byte(1) < 0x90));
        const bool isBeyond =
            i == 1 && ((first == 0xED && byte(1) > 0x9F) || (first == 0xF4 && byte(1) > 0x8F));
        if ((byte(i) & 0xC0) != 0x80 || isOverlong || isBeyond) {
            return {i, 0, false};
        }
        code = (code << 6) | (byte(i) & 0x3FU);
    }
    return {size, code, true};
}
