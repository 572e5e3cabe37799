// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>

#include <array>
#include <span>
#include <string_view>

namespace KetSDK::Mesh {

// Published relations for the cancellous bone of one site.
struct MaterialPreset {
    std::string_view name;
    std::string_view site;
    std::array<double, 5> law;     // a, b, c, d, e of density [g/cm3] = a + b x^c + d x^e, x in HU
    std::array<double, 2> modulus; // p, q of E [MPa] = p density^q
    // Apparent densities of the specimens behind the modulus [g/cm3].
    double lowest_density;
    double highest_density;
    std::string_view law_source;
    std::string_view modulus_source;
    // How far the figures were compared with a second source.
    std::string_view compared;

    // The Hounsfield units that the law turns into those densities.
    double LowestGrey() const { return GreyOf(lowest_density); }
    double HighestGrey() const { return GreyOf(highest_density); }

private:
    // The laws are linear.
    double GreyOf(double density) const { return (density - law[0]) / law[1]; }
};

// All presets.
KETSDK_MESH_API std::span<MaterialPreset const> MaterialPresets() noexcept;
// The preset of that name; null when there is none.
KETSDK_MESH_API MaterialPreset const* FindMaterialPreset(std::string_view name) noexcept;

} // namespace KetSDK::Mesh
