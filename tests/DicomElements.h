// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

// DICOM files, element by element.

template <typename T>
std::string Bytes(T value, bool big_endian = false) {
    char bytes[sizeof(T)];
    std::memcpy(bytes, &value, sizeof value);
    if (big_endian)
        std::reverse(bytes, bytes + sizeof value);
    return std::string(bytes, sizeof value);
}

// A DICOM element with its type written out.
inline std::string DicomElement(unsigned int tag, std::string const& type, std::string value) {
    if (value.size() % 2 != 0)
        value += ' ';
    std::string bytes =
        Bytes(static_cast<std::uint16_t>(tag >> 16)) + Bytes(static_cast<std::uint16_t>(tag & 0xFFFF)) + type;
    bool const is_long = type == "OB" || type == "OW" || type == "SQ" || type == "UN";
    if (is_long)
        bytes += std::string(2, '\0') + Bytes(static_cast<std::uint32_t>(value.size()));
    else
        bytes += Bytes(static_cast<std::uint16_t>(value.size()));
    return bytes + value;
}
