// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/correspondence/detail/SurfaceMatcher.h>
#include <KetSDK/Support/RecordBins.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <span>
#include <utility>
#include <vector>

namespace KetSDK::Mesh::Detail {

// A counting sort by the lowest corner, bin by bin, each of which takes some corners.
template <typename Record>
class CornerSort {
public:
    CornerSort(Support::Values<Record>& records, std::size_t corners, MappingLoop const& loop)
        : m_records(records)
        , m_ends(corners) {
        if (corners == 0)
            return;
        std::size_t const wanted = std::clamp<std::size_t>(records.size() / RecordsPerBin, 1, MostBins);
        auto const shift = static_cast<unsigned int>(std::bit_width((corners - 1) / wanted));
        Support::RecordBins<Record> const bins(
            records.size(), ((corners - 1) >> shift) + 1, [&](std::size_t i) { return records[i]; },
            [shift](Record const& r) { return LowestOf(r) >> shift; }, loop);
        loop(bins.NumberOfBins(), 1, [&](std::size_t first, std::size_t last) {
            for (std::size_t bin = first; bin < last; ++bin)
                Sort(bins[bin], bins.FirstOf(bin), bin << shift, std::min((bin + 1) << shift, corners));
        });
    }

    Support::Values<std::size_t> TakeEnds() noexcept { return std::move(m_ends); }

private:
    static constexpr std::size_t RecordsPerBin = 8192;
    static constexpr std::size_t MostBins = 1024;

    static std::size_t LowestOf(Record const& r) noexcept { return static_cast<std::size_t>(r.corners[0]); }

    // The records of some corners, which go where the first one says.
    void Sort(std::span<Record const> bin, std::size_t first, std::size_t first_corner,
              std::size_t last_corner) noexcept {
        std::fill(m_ends.data() + first_corner, m_ends.data() + last_corner, 0);
        for (Record const& r : bin)
            ++m_ends[LowestOf(r)];
        std::size_t sum = first;
        for (std::size_t corner = first_corner; corner < last_corner; ++corner)
            sum += std::exchange(m_ends[corner], sum); // where they begin, for the moment
        for (Record const& r : bin)
            m_records[m_ends[LowestOf(r)]++] = r;
        for (std::size_t corner = first_corner; corner < last_corner; ++corner)
            std::sort(m_records.data() + std::exchange(first, m_ends[corner]),
                      m_records.data() + m_ends[corner]);
    }

    Support::Values<Record>& m_records;
    Support::Values<std::size_t> m_ends;
};

// Sorts trivial records by their corners, a member of three ascending numbers below `corners`, and then by
// the rest of them. Returns, by corner, where the records end that have it as their lowest one; they begin
// where those of the corner before end.
template <typename Record>
Support::Values<std::size_t> SortByCorners(Support::Values<Record>& records, std::size_t corners,
                                           MappingLoop const& loop) {
    return CornerSort<Record>(records, corners, loop).TakeEnds();
}

} // namespace KetSDK::Mesh::Detail
