// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/QualityStatistics.h>

#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>

namespace KetSDK::Mesh {

namespace {

constexpr std::uint64_t ValuesAtOnce = 65536;

// The finite ones of some values.
struct Extent {
    std::size_t count = 0;
    double min = 0.0;
    double max = 0.0;

    void Add(Extent const& other) {
        if (other.count == 0)
            return;
        min = count == 0 ? other.min : std::min(min, other.min);
        max = count == 0 ? other.max : std::max(max, other.max);
        count += other.count;
    }
};

Extent FiniteExtent(std::span<double const> values, bool parallel) {
    Extent all;
    Support::ComputeSteps<Extent>(
        {.items = values.size(), .step = ValuesAtOnce, .parallel = parallel},
        [values](std::uint64_t first, std::uint64_t last, Extent& found) {
            std::size_t count = 0; // in registers
            double min = std::numeric_limits<double>::infinity(), max = -min;
            for (std::uint64_t i = first; i < last; ++i) {
                bool const is_finite = std::isfinite(values[i]);
                count += is_finite;
                min = is_finite && values[i] < min ? values[i] : min;
                max = is_finite && values[i] > max ? values[i] : max;
            }
            found = {count, min, max};
        },
        [&all](std::uint64_t, std::uint64_t, Extent const& found) {
            all.Add(found);
            return true;
        });
    return all;
}

// Neumaier 1974, ZAMM 54, of the finite values. The wider type keeps the sum of the largest numbers finite.
double Mean(std::span<double const> values, std::size_t count) {
    long double sum = 0.0L;
    long double lost = 0.0L;
    for (double const value : values) {
        if (!std::isfinite(value))
            continue;
        long double const next = sum + value;
        lost += std::fabs(sum) >= std::fabs(value) ? (sum - next) + value : (value - next) + sum;
        sum = next;
    }
    return static_cast<double>((sum + lost) / static_cast<long double>(count));
}

// Ranges of equal length between the smallest and the largest value, in ascending order; one where numbers
// cannot tell more apart.
class Ranges {
public:
    static constexpr std::size_t Count = 1024;
    using Counts = std::array<std::uint32_t, Count>;

    explicit Ranges(Extent const& extent)
        : m_min(extent.min)
        , m_factor(Count / (extent.max - extent.min)) {
        if (!std::isfinite(m_factor))
            m_factor = 0.0;
    }
    // Of a finite value.
    std::size_t Of(double value) const noexcept {
        return m_factor == 0.0 ? 0
                               : std::min(static_cast<std::size_t>((value - m_min) * m_factor), Count - 1);
    }

private:
    double m_min;
    double m_factor;
};

Ranges::Counts CountInRanges(std::span<double const> values, Ranges const& ranges, bool parallel) {
    Ranges::Counts all{};
    Support::ComputeSteps<Ranges::Counts>(
        {.items = values.size(), .step = ValuesAtOnce, .parallel = parallel},
        [&](std::uint64_t first, std::uint64_t last, Ranges::Counts& counts) {
            counts.fill(0);
            for (std::uint64_t i = first; i < last; ++i)
                if (std::isfinite(values[i]))
                    ++counts[ranges.Of(values[i])];
        },
        [&all](std::uint64_t, std::uint64_t, Ranges::Counts const& counts) {
            std::ranges::transform(all, counts, all.begin(), std::plus<>());
            return true;
        });
    return all;
}

// Finds values by their rank among all. Only those in the ranges where these lie are brought into an order.
class RankedValues {
public:
    // The ranks count from 0 and ascend.
    RankedValues(std::span<double const> values, Extent const& extent, std::span<std::size_t const> ranks,
                 bool parallel)
        : m_ranges(extent) {
        Ranges::Counts const counts = CountInRanges(values, m_ranges, parallel);
        std::size_t range = 0, before = 0;
        for (std::size_t const rank : ranks) {
            for (; before + counts[range] <= rank; ++range)
                before += counts[range];
            if (m_wanted.empty() || m_wanted.back().range != range)
                m_wanted.push_back({range, before, {}, 0});
            m_wanted_at[range] = static_cast<unsigned char>(m_wanted.size());
        }
        Collect(values, parallel);
    }

    // To be called for one rank after another.
    double At(std::size_t rank) {
        while (rank >= m_wanted[m_next].before + m_wanted[m_next].values.size())
            ++m_next;
        Wanted& wanted = m_wanted[m_next];
        auto const begin = wanted.values.begin();
        auto const ranked = begin + static_cast<std::ptrdiff_t>(rank - wanted.before);
        std::nth_element(begin + wanted.ordered, ranked, wanted.values.end());
        wanted.ordered = ranked - begin;
        return *ranked;
    }

private:
    struct Wanted {
        std::size_t range;
        std::size_t before; // values in the ranges before it
        std::vector<double> values;
        std::ptrdiff_t ordered; // of them, so many are no larger than those behind
    };

    void Collect(std::span<double const> values, bool parallel) {
        Support::ComputeSteps<std::vector<double>>(
            {.items = values.size(), .step = ValuesAtOnce, .parallel = parallel},
            [&](std::uint64_t first, std::uint64_t last, std::vector<double>& found) {
                found.clear();
                for (std::uint64_t i = first; i < last; ++i)
                    if (std::isfinite(values[i]) && m_wanted_at[m_ranges.Of(values[i])] != 0)
                        found.push_back(values[i]);
            },
            [&](std::uint64_t, std::uint64_t, std::vector<double> const& found) {
                for (double const value : found)
                    m_wanted[m_wanted_at[m_ranges.Of(value)] - std::size_t{1}].values.push_back(value);
                return true;
            });
    }

    Ranges m_ranges;
    std::vector<Wanted> m_wanted;
    std::array<unsigned char, Ranges::Count>
        m_wanted_at{}; // the place of each range in the list, from 1; or 0
    std::size_t m_next = 0;
};

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

QualityStatistics Summarize(std::span<double const> values, bool parallel) {
    Extent const extent = FiniteExtent(values, parallel);
    QualityStatistics result;
    result.nonfinite = values.size() - extent.count;
    if (extent.count == 0) {
        result.min = result.mean = result.max = std::numeric_limits<double>::quiet_NaN();
        result.percentiles.fill(result.min);
        return result;
    }
    result.min = extent.min;
    result.mean = Mean(values, extent.count);
    result.max = extent.max;
    std::array<std::size_t, QualityStatistics::Percents.size()> ranks;
    std::ranges::transform(QualityStatistics::Percents, ranks.begin(), [&extent](unsigned int percent) {
        return (extent.count * percent + 99) / 100 - 1;
    });
    RankedValues ranked(values, extent, ranks, parallel);
    std::ranges::transform(ranks, result.percentiles.begin(),
                           [&](std::size_t rank) { return ranked.At(rank); });
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
