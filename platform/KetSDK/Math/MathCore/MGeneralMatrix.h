#pragma once

#include <KetSDK/Common/Shared/MExport.h>

#include <cstddef>
#include <vector>

// A square matrix of any size. A plain value.
class KETSDK_API MGeneralMatrix {
public:
    // All entries zero.
    explicit MGeneralMatrix(std::size_t size) : m_size(size), m_rows(size * size, 0.0) {}

    std::size_t GetSize() const noexcept { return m_size; }
    // Entries are not range-checked.
    double& operator()(std::size_t row, std::size_t column) noexcept { return m_rows[row * m_size + column]; }
    double operator()(std::size_t row, std::size_t column) const noexcept { return m_rows[row * m_size + column]; }

    // 1 for the matrix of size 0.
    double Determinant() const;

private:
    std::size_t m_size;
    std::vector<double> m_rows;
};
