// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <charconv>
#include <concepts>
#include <cstdint>
#include <string>

// Values in words, for reports of what differs. Different values read different, but for numbers that are
// none. Internal.
namespace KetSDK::Mesh::Detail {

template <std::integral Integer>
std::string InWords(Integer value) {
    return std::to_string(value);
}

inline std::string InWords(bool value) {
    return value ? "true" : "false";
}

// The fewest digits that read back as the same number.
template <std::floating_point Float>
std::string InWords(Float value) {
    char text[32];
    return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

inline std::string Hexadecimal(std::uint32_t number) {
    char digits[8];
    return {digits, std::to_chars(digits, digits + sizeof digits, number, 16).ptr};
}

// In UTF-8, on one line and between double quotes; what is no character to be shown stands as its number.
std::string InWords(std::wstring const& name);

} // namespace KetSDK::Mesh::Detail
