// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/materials/MaterialPreset.h>

#include <algorithm>
#include <iterator>

namespace KetSDK::Mesh {

namespace {

constexpr std::string_view Rho = "Rho, Hobatho, Ashman 1995, Med. Eng. Phys. 17:347-355";
constexpr std::string_view Morgan = "Morgan, Bayraktar, Keaveny 2003, J. Biomech. 36:897-904";

constexpr MaterialPreset Presets[] = {
    {"femur",
     "proximal femur (modulus: femoral neck)",
     {0.131, 0.001067, 1, 0, 1},
     {6850, 1.49},
     0.26,
     0.75,
     Rho,
     Morgan,
     "the modulus; the relation to HU and the range of densities are as they are commonly cited"},
    {"tibia",
     "proximal tibia",
     {0.114, 0.000916, 1, 0, 1},
     {15520, 1.93},
     0.09,
     0.41,
     Rho,
     Morgan,
     "the modulus, for which a second source has 15490 in place of 15520; the relation to HU and the "
     "range of densities are as they are commonly cited"},
    {"vertebra",
     "vertebral body (relation to HU: lumbar spine)",
     {0.047, 0.001122, 1, 0, 1},
     {4730, 1.56},
     0.11,
     0.35,
     Rho,
     Morgan,
     "the modulus and the relation to HU; the range of densities is as it is commonly cited"},
};

} // namespace

std::span<MaterialPreset const> MaterialPresets() noexcept {
    return Presets;
}

MaterialPreset const* FindMaterialPreset(std::string_view name) noexcept {
    auto const* const found = std::ranges::find(Presets, name, &MaterialPreset::name);
    return found == std::end(Presets) ? nullptr : found;
}

} // namespace KetSDK::Mesh
