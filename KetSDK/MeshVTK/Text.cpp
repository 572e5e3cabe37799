// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/Text.h>

#include <cstddef>
#include <cstdint>

namespace KetSDK::MeshVTK {

namespace {

constexpr std::uint32_t Replacement = 0xFFFD;

bool IsCharacter(std::uint32_t code) {
    return code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
}

// The character that starts at `at`, which moves behind it; a byte that fits nowhere counts as one
// replacement character.
std::uint32_t NextCharacter(std::string_view text, std::size_t& at) {
    auto const byte = [text](std::size_t i) {
        return static_cast<std::uint32_t>(static_cast<unsigned char>(text[i]));
    };
    std::uint32_t const first = byte(at++);
    if (first < 0x80)
        return first;
    std::size_t const following = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : first >= 0xC2 ? 1 : 0;
    if (following == 0 || first > 0xF4 || at + following > text.size())
        return Replacement;
    std::uint32_t code = first & (0x3Fu >> following);
    for (std::size_t i = 0; i < following; ++i) {
        if ((byte(at + i) & 0xC0u) != 0x80u)
            return Replacement;
        code = code << 6 | (byte(at + i) & 0x3Fu);
    }
    constexpr std::uint32_t smallest[4] = {0, 0x80, 0x800, 0x10000}; // longer than needed is not UTF-8
    if (code < smallest[following] || !IsCharacter(code))
        return Replacement;
    at += following;
    return code;
}

bool IsControl(std::uint32_t code) {
    bool const is_direction = (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
    bool const ends_line = code == 0x2028 || code == 0x2029;
    return code < 0x20 || (code >= 0x7F && code < 0xA0) || is_direction || ends_line;
}

std::string Escaped(std::uint32_t code) {
    constexpr char const* digits = "0123456789ABCDEF";
    bool const is_short = code < 0x100;
    std::string text = is_short ? "\\x" : "\\u";
    for (int shift = is_short ? 4 : 12; shift >= 0; shift -= 4)
        text += digits[code >> shift & 0xF];
    return text;
}

} // namespace

std::string ToUtf8(std::wstring_view text) {
    std::string utf8;
    auto const append = [&utf8](std::uint32_t bits) { utf8.push_back(static_cast<char>(bits)); };
    for (wchar_t const character : text) {
        std::uint32_t code = static_cast<std::uint32_t>(character);
        if (!IsCharacter(code))
            code = Replacement;
        if (code < 0x80) {
            append(code);
        } else if (code < 0x800) {
            append(0xC0 | code >> 6);
            append(0x80 | (code & 0x3F));
        } else if (code < 0x10000) {
            append(0xE0 | code >> 12);
            append(0x80 | (code >> 6 & 0x3F));
            append(0x80 | (code & 0x3F));
        } else {
            append(0xF0 | code >> 18);
            append(0x80 | (code >> 12 & 0x3F));
            append(0x80 | (code >> 6 & 0x3F));
            append(0x80 | (code & 0x3F));
        }
    }
    return utf8;
}

std::wstring FromUtf8(std::string_view text) {
    std::wstring wide;
    wide.reserve(text.size());
    for (std::size_t at = 0; at < text.size();)
        wide.push_back(static_cast<wchar_t>(NextCharacter(text, at)));
    return wide;
}

std::string Printable(std::string_view text) {
    std::string printable;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t const begin = at;
        std::uint32_t const code = NextCharacter(text, at);
        std::string_view const bytes = text.substr(begin, at - begin);
        if (code == Replacement && bytes.size() == 1) // it stands for a byte that fits nowhere
            printable += Escaped(static_cast<unsigned char>(bytes[0]));
        else if (IsControl(code))
            printable += Escaped(code);
        else
            printable += bytes;
    }
    return printable;
}

} // namespace KetSDK::MeshVTK
