// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MLong.h>
#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Support/MArenaAllocator.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

// The distribution of one quality measure over many elements: the values as they were added, and their
// counts. These are taken in partitions (bins) of equal width that cut up a range of values. CountT (int,
// MLong or unsigned int) is the type of the counts, ValueT (double) that of the values and bounds.
//
// Usual order: SetNbPartitions, SetMinRange and SetMaxRange where the range is not that of the values,
// AddValue for each element, ComputeHistogram, then the getters. Partition numbers are not
// range-checked. Nothing here fails: what does not belong to a bin is not counted.
// A plain value. One thread fills and bins it; after that it may be read from several.
template <typename CountT, typename ValueT>
class KETSDK_MESH_API QualityHistogram {
public:
    // Ten empty partitions of the range [0, 0], no values, no title.
    QualityHistogram() = default;

    // Keeps a value; the bins stay as they are.
    void AddValue(ValueT value) { m_values.push_back(value); }
    // As AddValue for each in turn. The values must not be this histogram's own.
    void AddValues(std::span<ValueT const> values) {
        m_values.insert(m_values.end(), values.begin(), values.end());
    }
    // Adds so many values for the caller to set, on any thread; until then they hold anything. They stay
    // where they are until the next value is added.
    std::span<ValueT> AddRoom(std::size_t count) {
        m_values.resize(m_values.size() + count);
        return std::span(m_values).last(count);
    }
    // Drops the values added last, so many.
    void DropLast(std::size_t count) { m_values.resize(m_values.size() - count); }
    // Makes room for so many values in all.
    void Reserve(std::size_t count) { m_values.reserve(count); }
    // All values, in the order in which they came.
    std::span<ValueT const> GetValues() const noexcept { return m_values; }

    // Puts every kept value into its bin, after setting the range to that of the values when it is
    // [0, 0]. Counts are not reset first: a second call counts every value again, unless
    // SetNbPartitions comes between.
    void ComputeHistogram() { ComputeHistogram(false); }
    // The same, on several threads where asked for; the results are the same.
    void ComputeHistogram(bool parallel);

    // Puts one value, which is not kept, into its bin: [lower, upper), for the last one with its upper
    // bound and what lies within 1e-14 of it. False when it belongs to none: below or above the range,
    // NaN, or any value when the range is empty or there are no partitions.
    bool UpdateHistogram(ValueT value) {
        if (m_counts.empty())
            return false;
        // The quotient is tested before it becomes an integer, which could not hold every one.
        ValueT const quotient = (value - m_min_range) / Width();
        if (!(quotient >= 0.0 && quotient <= std::numeric_limits<ValueT>::max()))
            return false;
        if (quotient < static_cast<ValueT>(m_counts.size()))
            ++m_counts[static_cast<std::size_t>(quotient)];
        else if (std::fabs(value - m_max_range) < upper_tolerance)
            ++m_counts.back();
        else
            return false;
        return true;
    }

    // Cuts the range into so many partitions and sets all counts to zero.
    void SetNbPartitions(unsigned int partitions) { m_counts.assign(partitions, CountT(0)); }
    unsigned int GetNbPartitions() const noexcept { return static_cast<unsigned int>(m_counts.size()); }
    // The bounds of the range; values are not binned again.
    void SetMinRange(ValueT bound) noexcept { m_min_range = bound; }
    void SetMaxRange(ValueT bound) noexcept { m_max_range = bound; }
    ValueT GetMinRange() const noexcept { return m_min_range; }
    ValueT GetMaxRange() const noexcept { return m_max_range; }

    // The smallest and the largest kept value, the first of equal ones; 0 when there is none. NaN counts
    // only as the first value, and then wins.
    ValueT GetMinValue() const;
    ValueT GetMaxValue() const { return GetMaxValue(false); }
    // The same, on several threads where asked for.
    ValueT GetMaxValue(bool parallel) const;

    CountT GetPartitionCount(unsigned int i) const noexcept { return m_counts[i]; }
    void SetPartitionCount(unsigned int i, CountT count) noexcept { m_counts[i] = count; }
    void IncreasePartitionCount(unsigned int i, CountT count) noexcept { m_counts[i] += count; }
    // The bounds of partition i.
    ValueT GetPartitionMin(unsigned int i) const noexcept { return Bound(static_cast<ValueT>(i)); }
    ValueT GetPartitionMax(unsigned int i) const noexcept { return Bound(static_cast<ValueT>(i) + 1.0); }

    // The sum of the counts of all partitions.
    CountT GetTotalSum() const noexcept;
    // The number of kept values, binned or not, that are less than a threshold.
    CountT GetNbElementsLowerThanThreshold(ValueT threshold) const noexcept;

    // A caption, such as the name of the measure.
    void SetTitle(std::string const& title) { m_title = title; }
    std::string GetTitle() const { return m_title; }

    // Sets the range to that of the kept values.
    void _SetMinMax() { _SetMinMax(false); }

private:
    // Values up to so far beyond the upper bound are in the last bin, whatever the scale of the range.
    static constexpr ValueT upper_tolerance = 1e-14;

    ValueT Width() const noexcept {
        return (m_max_range - m_min_range) / static_cast<ValueT>(m_counts.size());
    }
    ValueT Bound(ValueT partition) const noexcept {
        return (m_max_range - m_min_range) * partition / static_cast<ValueT>(m_counts.size()) + m_min_range;
    }
    void _SetMinMax(bool parallel);
    void CountBlock(std::span<ValueT const> values, unsigned int* counts) const;

    ValueT m_min_range = 0.0;
    ValueT m_max_range = 0.0;
    std::vector<CountT> m_counts = std::vector<CountT>(10); // one per partition
    std::vector<ValueT, KetSDK::Support::MUninitializedAllocator<ValueT>> m_values;
    std::string m_title;
};

extern template class QualityHistogram<int, double>;
extern template class QualityHistogram<unsigned int, double>;
static_assert(std::is_same_v<MLong, int>, "QualityHistogram<int, double> is QualityHistogram<MLong, double>");
