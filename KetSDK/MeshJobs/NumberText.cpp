// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/NumberText.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>

namespace KetSDK::MeshJobs {

namespace {

std::string Print(char const* format, int digits, double value) {
    char text[400];
    std::snprintf(text, sizeof text, format, digits, value);
    return text;
}

} // namespace

std::string FormatNumber(double value, double scale) {
    if (std::isnan(value))
        return "nan"; // which has a sign that printing would show
    double const magnitude = std::max(std::fabs(value), std::fabs(scale));
    if (!std::isfinite(value) || (magnitude > 0.0 && magnitude < 1e-3) || magnitude >= 1e15)
        return Print("%.*g", 3, value);
    int const before_point = magnitude >= 1.0 ? static_cast<int>(std::log10(magnitude)) + 1 : 1;
    int const decimals = std::clamp(7 - before_point, 1, 4);
    bool const is_lost = value != 0.0 && std::fabs(value) < std::pow(10.0, -decimals);
    return is_lost ? Print("%.*g", 2, value) : Print("%.*f", decimals, value);
}

std::string FormatGeneral(double value, int digits) {
    return std::isnan(value) ? "nan" : Print("%.*g", digits, value + 0.0); // + 0.0: no "-0"
}

std::string FormatShare(std::uint64_t share, std::uint64_t all) {
    return FormatGeneral(
               100.0 * static_cast<double>(share) / static_cast<double>(std::max<std::uint64_t>(all, 1)), 3) +
           " %";
}

std::string FormatBox(std::array<double, 6> const& box) {
    std::string text;
    for (std::size_t i = 0; i < box.size(); ++i)
        text += (i == 0 ? "" : i == 3 ? " .. " : " ") + FormatNumber(box[i]);
    return text;
}

} // namespace KetSDK::MeshJobs
