// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Support/MArenaAllocator.h>

#include <algorithm>
#include <cstddef>
#include <span>
#include <utility>
#include <vector>

namespace KetSDK::Support {

// Values that are written before they are read, by the threads that need them.
template <typename Value>
using Values = std::vector<Value, MUninitializedAllocator<Value>>;

// Trivial records, spread over bins that are small enough for what follows to stay in the processor's cache.
// Those of a bin keep their order.
template <typename Record>
class RecordBins {
public:
    // The records record_at(0) to record_at(count - 1); each goes into the bin bin_of(record), and is asked
    // for twice. The function loop(count, block, work) calls work(first, last) for blocks that make up 0 to
    // count - 1, on any number of threads.
    template <typename RecordAt, typename BinOf, typename Loop>
    RecordBins(std::size_t count, std::size_t bins, RecordAt const& record_at, BinOf const& bin_of,
               Loop const& loop) {
        std::size_t const piece_size = std::max(LeastInPiece, count / MostPieces + 1);
        std::size_t const pieces = (count + piece_size - 1) / piece_size;
        std::vector<std::size_t> next(pieces * bins); // where the records of a piece go, by bin
        auto const for_each = [&](auto const& visit) {
            loop(count, piece_size, [&](std::size_t first, std::size_t last) {
                std::size_t* const of_piece = next.data() + first / piece_size * bins;
                for (std::size_t i = first; i < last; ++i) {
                    Record const record = record_at(i);
                    visit(record, of_piece[bin_of(record)]);
                }
            });
        };
        for_each([](Record const&, std::size_t& number) { ++number; });
        m_first.reserve(bins + 1);
        m_first.push_back(0);
        for (std::size_t bin = 0; bin < bins; ++bin) {
            std::size_t sum = m_first.back();
            for (std::size_t piece = 0; piece < pieces; ++piece)
                sum += std::exchange(next[piece * bins + bin], sum);
            m_first.push_back(sum);
        }
        m_records.resize(count);
        for_each([this](Record const& record, std::size_t& at) { m_records[at++] = record; });
    }

    std::size_t NumberOfBins() const noexcept { return m_first.size() - 1; }
    std::span<Record> operator[](std::size_t bin) noexcept {
        return std::span(m_records).subspan(m_first[bin], m_first[bin + 1] - m_first[bin]);
    }
    std::span<Record const> operator[](std::size_t bin) const noexcept {
        return std::span(m_records).subspan(m_first[bin], m_first[bin + 1] - m_first[bin]);
    }
    // How many records come in the bins before.
    std::size_t FirstOf(std::size_t bin) const noexcept { return m_first[bin]; }

private:
    static constexpr std::size_t LeastInPiece = 8192;
    static constexpr std::size_t MostPieces = 256;

    Values<Record> m_records;         // bin by bin
    std::vector<std::size_t> m_first; // of each bin, and where the last one ends
};

} // namespace KetSDK::Support
