// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Math/MathCore/MGeneralMatrix.h>

#include <Eigen/Dense>

namespace {

template <int N>
double DeterminantOf(double const* entries) {
    return Eigen::Map<Eigen::Matrix<double, N, N> const>(entries).determinant();
}

} // namespace

MGeneralMatrix::MGeneralMatrix(std::size_t size)
    : m_size(size) {
    if (size > small_size)
        m_large.resize(size * size);
}

// Eigen reads the rows as columns: the determinant of the transpose is the same.
double MGeneralMatrix::Determinant() const {
    switch (m_size) {
    case 0:
        return 1.0;
    case 1:
        return m_small[0];
    case 2:
        return DeterminantOf<2>(Data());
    case 3:
        return DeterminantOf<3>(Data());
    case 4:
        return DeterminantOf<4>(Data());
    default: {
        auto const n = static_cast<Eigen::Index>(m_size);
        return Eigen::Map<Eigen::MatrixXd const>(Data(), n, n).determinant();
    }
    }
}
