// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/materials/MaterialLaw.h>

#include <KetSDK/Mesh/materials/MDensityExpression.h>

#include <algorithm>
#include <cmath>

namespace KetSDK::Mesh {

double MaterialLaw::DensityAt(double grey) const noexcept {
    auto const& [a, b, c, d, e] = density;
    MDensityExpression expression;
    expression.CreateFromExpression(a, b, c, d, e);
    return expression.CalcRealExpression(grey - grey_offset);
}

double MaterialLaw::RaisedDensity(double law_density) const noexcept {
    return std::isfinite(law_density) ? std::max(law_density, least_density) : least_density;
}

double MaterialLaw::ModulusAt(double law_density) const noexcept {
    return modulus[0] * std::pow(law_density, modulus[1]);
}

} // namespace KetSDK::Mesh
