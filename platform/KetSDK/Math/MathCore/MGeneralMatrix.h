// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MExport.h>

#include <array>
#include <cstddef>
#include <vector>

// A square matrix of doubles of any size. Up to 4 x 4 it needs no heap.
// A plain value: safe to read from several threads while none changes it.
class KETSDK_API MGeneralMatrix {
public:
    // size x size zeros.
    explicit MGeneralMatrix(std::size_t size);

    std::size_t GetSize() const noexcept { return m_size; }

    // The entry in a row and a column, counted from 0; not range-checked.
    double& operator()(std::size_t row, std::size_t column) noexcept { return Data()[row * m_size + column]; }
    double operator()(std::size_t row, std::size_t column) const noexcept {
        return Data()[row * m_size + column];
    }

    // By cofactors up to 4 x 4, by LU decomposition with partial pivoting beyond; 1 for the empty matrix.
    double Determinant() const;

private:
    static constexpr std::size_t small_size = 4;

    double* Data() noexcept { return m_size <= small_size ? m_small.data() : m_large.data(); }
    double const* Data() const noexcept { return m_size <= small_size ? m_small.data() : m_large.data(); }

    std::size_t m_size;
    std::array<double, small_size * small_size> m_small{}; // by rows
    std::vector<double> m_large;                           // in place of m_small beyond its size
};
