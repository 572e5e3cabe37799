// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/QualityStatistics.h>

#include <KetSDK/Support/ParallelWork.h>

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

constexpr std::size_t Percentiles = QualityStatistics::Percents.size();

// Bins of equal width from the least to the largest value: one alone where no width can be computed.
class Bins {
public:
    static constexpr std::size_t Count = 4096;

    Bins(double least, double largest) noexcept
        : m_least(least)
        , m_scale(static_cast<double>(Count) / (largest - least)) {
        m_is_one = !std::isfinite(largest - least) || !std::isfinite(m_scale);
    }
    // Rises with the value, or stays.
    std::size_t Of(double value) const noexcept {
        return m_is_one ? 0
                        : std::min(static_cast<std::size_t>(static_cast<int>((value - m_least) * m_scale)),
                                   Count - 1);
    }

private:
    double m_least;
    double m_scale;
    bool m_is_one;
};

// The values at nearest ranks. Only those in the bins where a rank is are sorted.
std::array<double, Percentiles> FindPercentiles(std::span<double const> values, double least,
                                                double largest) {
    Bins const bins(least, largest);
    std::vector<std::size_t> counts(Bins::Count);
    for (double const value : values)
        ++counts[bins.Of(value)];
    std::array<std::size_t, Percentiles> ranks; // among the values that are sorted
    std::vector<bool> is_sorted(Bins::Count);
    std::size_t before = 0; // values in bins before this one
    std::size_t sorted = 0; // those of them that are sorted
    for (std::size_t i = 0, bin = 0; i < Percentiles; ++i) {
        std::size_t const rank = (values.size() * QualityStatistics::Percents[i] + 99) / 100 - 1;
        for (; before + counts[bin] <= rank; before += counts[bin++])
            sorted += is_sorted[bin] ? counts[bin] : 0;
        is_sorted[bin] = true;
        ranks[i] = sorted + rank - before;
    }
    std::vector<double> some;
    for (double const value : values)
        if (is_sorted[bins.Of(value)])
            some.push_back(value);
    std::array<double, Percentiles> found;
    auto first = some.begin();
    for (std::size_t i = 0; i < Percentiles; ++i) {
        // Ranks ascend, so each one is found behind the one before.
        auto const ranked = some.begin() + static_cast<std::ptrdiff_t>(ranks[i]);
        std::nth_element(first, ranked, some.end());
        found[i] = *ranked;
        first = ranked;
    }
    return found;
}

// The worst values by an order that says whether the first of two finite ones is worse.
template <typename IsWorse>
std::vector<std::uint32_t> FindFirst(std::span<double const> values, std::size_t count,
                                     IsWorse const& is_worse) {
    auto const comes_before = [&](std::uint32_t i, std::uint32_t j) {
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
            double const least_bad = values[worst.front()];
            if (!std::isfinite(least_bad)) // all of them: those to come stand behind
                break;
            if (std::isfinite(values[i]) && !is_worse(values[i], least_bad))
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

} // namespace

QualityStatistics Summarize(std::span<double const> values, bool parallel) {
    auto const is_finite = [](double v) { return std::isfinite(v); };
    QualityStatistics result;
    result.nonfinite = values.size() - static_cast<std::size_t>(std::ranges::count_if(values, is_finite));
    std::vector<double> finite;
    if (result.nonfinite > 0) {
        finite.reserve(values.size() - static_cast<std::size_t>(result.nonfinite));
        std::ranges::copy_if(values, std::back_inserter(finite), is_finite);
        values = finite;
    }
    if (values.empty()) {
        result.min = result.mean = result.max = std::numeric_limits<double>::quiet_NaN();
        result.percentiles.fill(result.min);
        return result;
    }
    Support::ComputeSteps({.items = 2, .parallel = parallel}, [&](std::uint64_t item, std::uint64_t) {
        if (item == 0) {
            result.mean = Mean(values);
            return;
        }
        auto const [smallest, largest] = std::ranges::minmax(values);
        result.min = smallest;
        result.max = largest;
        result.percentiles = FindPercentiles(values, smallest, largest);
    });
    return result;
}

std::vector<std::uint32_t> FindWorst(QualityMetric const& metric, std::span<double const> values,
                                     std::size_t count) {
    switch (metric.worst) {
    case QualityMetric::Worst::Highest:
        return FindFirst(values, count, [](double a, double b) { return a > b; });
    case QualityMetric::Worst::NegativeThenHighest:
        return FindFirst(values, count,
                         [](double a, double b) { return a < 0.0 || b < 0.0 ? a < b : a > b; });
    case QualityMetric::Worst::Lowest:
        break;
    }
    return FindFirst(values, count, [](double a, double b) { return a < b; });
}

} // namespace KetSDK::Mesh
