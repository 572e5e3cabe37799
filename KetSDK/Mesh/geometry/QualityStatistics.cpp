// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/QualityStatistics.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

namespace KetSDK::Mesh {

namespace {

// Neumaier 1974, ZAMM 54. The wider type keeps the sum of the largest numbers finite.
double Mean(std::span<double const> values) {
    long double sum = 0.0L;
    long double lost = 0.0L;
    for (double const value : values) {
        long double const next = sum + value;
        lost += std::fabs(sum) >= std::fabs(value) ? (sum - next) + value : (value - next) + sum;
        sum = next;
    }
    return static_cast<double>((sum + lost) / static_cast<long double>(values.size()));
}

// Whether the first of two finite values is worse.
using Order = bool (*)(double a, double b);

Order OrderOfWorst(QualityMetric::Worst worst) {
    switch (worst) {
    case QualityMetric::Worst::Highest:
        return [](double a, double b) { return a > b; };
    case QualityMetric::Worst::NegativeThenHighest:
        return [](double a, double b) { return a < 0.0 || b < 0.0 ? a < b : a > b; };
    case QualityMetric::Worst::Lowest:
        break;
    }
    return [](double a, double b) { return a < b; };
}

} // namespace

QualityStatistics Summarize(std::span<double const> values) {
    std::vector<double> finite;
    finite.reserve(values.size());
    std::ranges::copy_if(values, std::back_inserter(finite), [](double v) { return std::isfinite(v); });
    QualityStatistics result;
    result.nonfinite = values.size() - finite.size();
    if (finite.empty()) {
        result.min = result.mean = result.max = std::numeric_limits<double>::quiet_NaN();
        result.percentiles.fill(result.min);
        return result;
    }
    result.mean = Mean(finite); // before the values change places
    auto first = finite.begin();
    for (std::size_t i = 0; i < result.percentiles.size(); ++i) {
        // Ranks ascend, so each one is found behind the one before.
        std::size_t const rank = (finite.size() * QualityStatistics::Percents[i] + 99) / 100;
        auto const ranked = finite.begin() + static_cast<std::ptrdiff_t>(rank - 1);
        std::nth_element(first, ranked, finite.end());
        result.percentiles[i] = *ranked;
        first = ranked;
    }
    auto const [smallest, largest] = std::ranges::minmax(finite);
    result.min = smallest;
    result.max = largest;
    return result;
}

std::vector<std::uint32_t> FindWorst(QualityMetric const& metric, std::span<double const> values,
                                     std::size_t count) {
    auto const comes_before = [values, is_worse = OrderOfWorst(metric.worst)](std::uint32_t i,
                                                                              std::uint32_t j) {
        double const a = values[i];
        double const b = values[j];
        bool const a_finite = std::isfinite(a);
        bool const b_finite = std::isfinite(b);
        if (a_finite != b_finite)
            return b_finite;
        if (a_finite && (is_worse(a, b) || is_worse(b, a)))
            return is_worse(a, b);
        return i < j;
    };
    std::vector<std::uint32_t> worst; // a heap with the least bad of them on top
    for (std::uint32_t i = 0; i < values.size() && count > 0; ++i) {
        if (worst.size() == count) {
            if (!comes_before(i, worst.front()))
                continue;
            std::ranges::pop_heap(worst, comes_before);
            worst.pop_back();
        }
        worst.push_back(i);
        std::ranges::push_heap(worst, comes_before);
    }
    std::ranges::sort_heap(worst, comes_before);
    return worst;
}

} // namespace KetSDK::Mesh
