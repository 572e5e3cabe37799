// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/materials/MaterialPreset.h>

#include <array>

namespace KetSDK::Mesh {

// How grey values become densities, and densities moduli. A plain value; safe to read from several threads.
struct KETSDK_MESH_API MaterialLaw {
    std::array<double, 5> density{}; // a, b, c, d, e of density [g/cm3] = a + b x^c + d x^e
    std::array<double, 2> modulus{}; // p, q of E [MPa] = p density^q
    double poisson = 0.3;            // Poisson's ratio of all materials
    // Density [g/cm3] of materials for which the law gives less, or no number.
    double least_density = 0.01;
    // How much the grey values lie above the Hounsfield units x.
    double grey_offset = 0.0;
    // The presets that density and modulus were taken from; null for none.
    MaterialPreset const* density_preset = nullptr;
    MaterialPreset const* modulus_preset = nullptr;

    // The density for a grey value: 0 for a negative x when c or e is no integer.
    double DensityAt(double grey) const noexcept;
    // The density that a material gets: at least the least one, also in place of what is no finite number.
    double RaisedDensity(double law_density) const noexcept;
    // Young's modulus for a density.
    double ModulusAt(double law_density) const noexcept;
};

} // namespace KetSDK::Mesh
