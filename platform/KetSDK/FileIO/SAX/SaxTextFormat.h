// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <charconv>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

// How values stand in a text document. Shared by the text writer and the text reader, and by nobody
// else.
namespace KetSAX::Detail {

// Room that a number needs at most.
constexpr std::size_t MostCharacters = 32;

// Writes a double to where there is room for one, and returns the end of it. With a precision of 17 or more:
// the fewest digits that read back as the same double, and "nan:" with the bits in hexadecimal for what is no
// number.
char* PutDouble(char* to, double value, int precision);

// Appends characters as UTF-8 that may stand in XML, in a text or between double quotes. What XML
// cannot hold becomes \u{hexadecimal}, and a backslash is doubled.
void AppendEscaped(std::string& out, std::wstring_view text);

// The characters of UTF-8 that AppendEscaped wrote, after an XML parser has had it. Throws
// std::runtime_error("invalid state") for other uses of the backslash.
std::wstring Unescape(std::string_view text);

// The text without the white space around it.
std::string_view Trim(std::string_view text) noexcept;

// The number that a text is, all of it; throws std::runtime_error("invalid state") when it is none,
// or one out of range.
double ParseDouble(std::string_view text);

template <typename Integer>
Integer ParseInteger(std::string_view text) {
    Integer value{};
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
        throw std::runtime_error("invalid state");
    }
    return value;
}

} // namespace KetSAX::Detail
