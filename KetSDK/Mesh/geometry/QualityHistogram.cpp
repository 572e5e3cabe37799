// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/QualityHistogram.h>

#include <KetSDK/Mesh/geometry/detail/VectorPair.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <limits>

using namespace KetSDK::Mesh::Detail;

namespace {

// Bins are numbered with int where several values are binned at once.
constexpr std::size_t most_bins_in_blocks = std::numeric_limits<int>::max() - 1;

// Work for several threads is cut into at most so many blocks, none smaller than this many values.
constexpr std::size_t most_blocks = 64;
constexpr std::size_t smallest_block = 1u << 15;

// A few values at once are counted in tables of their own, so that no count waits for the one before it
// in the same bin. Beyond so many bins the tables would crowd the cache, and bins seldom repeat.
constexpr std::size_t tables = 4;
constexpr std::size_t most_bins_in_tables = 2048;

std::size_t NumberOfBlocks(std::size_t values, bool parallel) {
    return parallel ? std::clamp<std::size_t>(values / smallest_block, 1, most_blocks) : 1;
}

// Part `block` of `blocks` about equal ones.
std::span<double const> Block(std::span<double const> values, std::size_t block, std::size_t blocks) {
    std::size_t const begin = values.size() / blocks * block;
    std::size_t const end = block + 1 == blocks ? values.size() : values.size() / blocks * (block + 1);
    return values.subspan(begin, end - begin);
}

// work(block) for every block; on several threads when there are several.
template <typename Work>
void ForEachBlock(std::size_t blocks, Work const& work) {
    KetSDK::Support::ComputeSteps(
        {.items = blocks, .parallel = true},
        [&work](std::uint64_t block, std::uint64_t) { work(static_cast<std::size_t>(block)); });
}

DoublePair Load(double const* values) {
    return DoublePair{values[0], values[1]};
}

struct Extremes {
    double smallest, largest;
};

// The extremes of `values`, NaN left out, beginning from a number `start`.
Extremes ExtremesFrom(double start, std::span<double const> values) {
    // Four searches side by side, as each waits for its own last result.
    DoublePair low[4], high[4];
    std::fill(std::begin(low), std::end(low), DoublePair{start, start});
    std::fill(std::begin(high), std::end(high), DoublePair{start, start});
    std::size_t i = 0;
    for (; i + 8 <= values.size(); i += 8)
        for (std::size_t k = 0; k < 4; ++k) {
            DoublePair const pair = Load(&values[i + 2 * k]);
            low[k] = Min(low[k], pair);
            high[k] = Max(high[k], pair);
        }
    Extremes found{MinLane(Min(Min(low[0], low[1]), Min(low[2], low[3]))),
                   MaxLane(Max(Max(high[0], high[1]), Max(high[2], high[3])))};
    for (; i < values.size(); ++i) {
        found.smallest = values[i] < found.smallest ? values[i] : found.smallest;
        found.largest = found.largest < values[i] ? values[i] : found.largest;
    }
    return found;
}

// As a search in order of the values finds them: from the first value, replaced by what compares less or
// greater.
Extremes FindExtremes(std::span<double const> values, bool parallel) {
    if (values.empty())
        return {0.0, 0.0};
    double const first = values.front();
    if (std::isnan(first))
        return {first, first};
    std::size_t const blocks = NumberOfBlocks(values.size(), parallel);
    Extremes of_blocks[most_blocks];
    ForEachBlock(blocks,
                 [&](std::size_t b) { of_blocks[b] = ExtremesFrom(first, Block(values, b, blocks)); });
    Extremes found = of_blocks[0];
    for (Extremes const& other : std::span(of_blocks, blocks).subspan(1)) {
        found.smallest = std::min(found.smallest, other.smallest);
        found.largest = std::max(found.largest, other.largest);
    }
    // Zeros of both signs are equal: the first one counts.
    for (double* const zero : {&found.smallest, &found.largest})
        if (*zero == 0.0)
            *zero = *std::find(values.begin(), values.end(), 0.0);
    return found;
}

} // namespace

template <typename CountT, typename ValueT>
ValueT QualityHistogram<CountT, ValueT>::GetMinValue() const {
    return FindExtremes(m_values, false).smallest;
}

template <typename CountT, typename ValueT>
ValueT QualityHistogram<CountT, ValueT>::GetMaxValue(bool parallel) const {
    return FindExtremes(m_values, parallel).largest;
}

template <typename CountT, typename ValueT>
void QualityHistogram<CountT, ValueT>::_SetMinMax(bool parallel) {
    Extremes const extremes = FindExtremes(m_values, parallel);
    m_min_range = extremes.smallest;
    m_max_range = extremes.largest;
}

template <typename CountT, typename ValueT>
CountT QualityHistogram<CountT, ValueT>::GetTotalSum() const noexcept {
    unsigned int sum = 0;
    for (CountT const count : m_counts)
        sum += static_cast<unsigned int>(count);
    return static_cast<CountT>(sum);
}

template <typename CountT, typename ValueT>
CountT QualityHistogram<CountT, ValueT>::GetNbElementsLowerThanThreshold(ValueT threshold) const noexcept {
    return static_cast<CountT>(std::count_if(m_values.begin(), m_values.end(),
                                             [threshold](ValueT value) { return value < threshold; }));
}

// What UpdateHistogram does with each value, two at once and without branches: a value that is in no bin
// goes into one more behind the last. `counts` has room for all bins and that one.
template <typename CountT, typename ValueT>
void QualityHistogram<CountT, ValueT>::CountBlock(std::span<ValueT const> values,
                                                  unsigned int* counts) const {
    std::size_t const bins = m_counts.size();
    ValueT const width = Width();
    auto const both = [](double v) { return DoublePair{v, v}; };
    DoublePair const none = both(static_cast<double>(bins));
    DoublePair const last = both(static_cast<double>(bins - 1));
    auto const bins_of = [&](DoublePair v) {
        DoublePair const quotient = (v - m_min_range) / width;
        auto const near_upper = Abs(v - m_max_range) < both(upper_tolerance);
        auto const is_finite = quotient <= both(std::numeric_limits<double>::max());
        DoublePair const beyond = (near_upper & is_finite) ? last : none;
        DoublePair const not_below = quotient < none ? quotient : beyond;
        return quotient >= both(0.0) ? not_below : none;
    };
    std::size_t const stride = bins <= most_bins_in_tables ? bins + 1 : 0;
    std::vector<unsigned int> more(stride * (tables - 1));
    unsigned int* table[tables];
    for (std::size_t t = 0; t < tables; ++t)
        table[t] = t == 0 || stride == 0 ? counts : more.data() + (t - 1) * stride;

    std::size_t i = 0;
    for (; i + 4 <= values.size(); i += 4) {
        DoublePair const first = bins_of(Load(&values[i]));
        DoublePair const second = bins_of(Load(&values[i + 2]));
        ++table[0][static_cast<int>(first[0])];
        ++table[1][static_cast<int>(first[1])];
        ++table[2][static_cast<int>(second[0])];
        ++table[3][static_cast<int>(second[1])];
    }
    for (; i < values.size(); ++i)
        ++counts[static_cast<int>(bins_of(both(values[i]))[0])];
    for (std::size_t k = 0; k < more.size(); ++k)
        counts[k % stride] += more[k];
}

template <typename CountT, typename ValueT>
void QualityHistogram<CountT, ValueT>::ComputeHistogram(bool parallel) {
    if (m_min_range == 0.0 && m_max_range == 0.0)
        _SetMinMax(parallel);
    std::size_t const bins = m_counts.size();
    // With few values for each bin, a table of counts costs more than it saves.
    if (m_values.size() < bins || bins == 0 || bins > most_bins_in_blocks) {
        for (ValueT const value : m_values)
            UpdateHistogram(value);
        return;
    }
    // For each block there is a table, which should be small beside the block.
    std::size_t const blocks = std::min(NumberOfBlocks(m_values.size(), parallel),
                                        std::max<std::size_t>(m_values.size() / (8 * bins), 1));
    std::size_t const stride = bins + 1;
    std::vector<unsigned int> counts(blocks * stride);
    ForEachBlock(blocks,
                 [&](std::size_t b) { CountBlock(Block(m_values, b, blocks), counts.data() + b * stride); });
    for (std::size_t b = 0; b < blocks; ++b)
        for (std::size_t k = 0; k < bins; ++k)
            m_counts[k] =
                static_cast<CountT>(static_cast<unsigned int>(m_counts[k]) + counts[b * stride + k]);
}

template class QualityHistogram<int, double>;
template class QualityHistogram<unsigned int, double>;
