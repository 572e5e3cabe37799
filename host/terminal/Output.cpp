// SPDX-License-Identifier: BSD-3-Clause
#include <host/terminal/Output.h>

#include <KetSDK/MeshVTK/Text.h>

#include <cstddef>
#include <iostream>
#include <sstream>
#include <stdexcept>

namespace ketmesh {

namespace {

// Those from DEL on, which the format lets stand in text: in UTF-8 they are 0x7F, or 0xC2 and a byte below
// 0xA0.
std::string EscapeHighControls(std::string const& json) {
    std::string escaped;
    for (std::size_t i = 0; i < json.size(); ++i) {
        auto const byte = [&json](std::size_t at) { return static_cast<unsigned char>(json[at]); };
        bool const has_two = byte(i) == 0xC2 && i + 1 < json.size() && byte(i + 1) < 0xA0;
        if (!has_two && byte(i) != 0x7F) {
            escaped += json[i];
            continue;
        }
        i += has_two;
        constexpr char const* digits = "0123456789abcdef";
        escaped += "\\u00";
        escaped += digits[byte(i) >> 4];
        escaped += digits[byte(i) & 0xF];
    }
    return escaped;
}

} // namespace

void PrintLines(std::string const& text) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        std::cout << KetSDK::MeshVTK::Printable(line) << '\n';
}

std::string JsonText(Json const& object) {
    return EscapeHighControls(object.dump(2, ' ', false, Json::error_handler_t::replace)) + '\n';
}

void PrintJson(Json const& object) {
    std::cout << JsonText(object);
}

void FinishOutput() {
    std::cout.flush();
    if (!std::cout)
        throw std::runtime_error("the results could not be written to standard output");
}

} // namespace ketmesh
