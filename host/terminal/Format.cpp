// SPDX-License-Identifier: BSD-3-Clause
#include <host/terminal/Format.h>

#include <cstddef>
#include <cstdio>
#include <iterator>

namespace ketmesh {

std::string FormatBytes(std::uint64_t bytes) {
    static constexpr char const* units[] = {"bytes", "kB", "MB", "GB", "TB"};
    double value = static_cast<double>(bytes);
    std::size_t unit = 0;
    for (; value >= 1000.0 && unit + 1 < std::size(units); ++unit)
        value /= 1000.0;
    char text[64];
    std::snprintf(text, sizeof text, "%.*f %s", unit == 0 ? 0 : 1, value, units[unit]);
    return text;
}

std::string FormatColor(unsigned int color) {
    char text[8];
    std::snprintf(text, sizeof text, "#%06x", color & 0xFFFFFFu);
    return text;
}

} // namespace ketmesh
