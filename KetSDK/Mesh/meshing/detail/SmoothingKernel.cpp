// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/meshing/detail/SmoothingKernel.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace KetSDK::Mesh::Detail {

namespace {

constexpr double SmallestSigma = 0.1;
constexpr double WideToNarrow = 1.4142135623730951;
constexpr double Interpolation = 1.0 / 6.0;

std::vector<double> Gaussian(double sigma, int radius) {
    std::vector<double> weights;
    double sum = 0.0;
    for (int i = -radius; i <= radius; ++i) {
        weights.push_back(sigma < SmallestSigma ? double(i == 0)
                                                : std::exp(-0.5 * (i / sigma) * (i / sigma)));
        sum += weights.back();
    }
    for (double& weight : weights)
        weight /= sum;
    return weights;
}

double Variance(std::vector<double> const& weights) {
    std::size_t const middle = weights.size() / 2;
    double const radius = static_cast<double>(middle);
    double variance = 0.0;
    for (std::size_t i = 0; i < weights.size(); ++i)
        variance += weights[i] * (static_cast<double>(i) - radius) * (static_cast<double>(i) - radius);
    return variance;
}

} // namespace

SmoothingKernel::SmoothingKernel(std::array<double, 3> const& sigmas) {
    double of_narrow = Interpolation, of_wide = Interpolation;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        double const sigma = sigmas[axis];
        int const radius =
            sigma < SmallestSigma ? 0 : std::max(1, static_cast<int>(std::ceil(2.8 * WideToNarrow * sigma)));
        narrow[axis] = Gaussian(sigma, radius);
        wide[axis] = Gaussian(WideToNarrow * sigma, radius);
        of_narrow += Variance(narrow[axis]) / 3.0;
        of_wide += Variance(wide[axis]) / 3.0;
    }
    double const difference = std::sqrt(of_wide) - std::sqrt(of_narrow);
    if (difference > 1e-3)
        share = std::min(std::sqrt(of_wide) / difference, 5.0);
}

} // namespace KetSDK::Mesh::Detail
