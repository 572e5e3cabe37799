#include <KetSDK/Math/MathCore/MGeneralMatrix.h>

#include <Eigen/LU>

double MGeneralMatrix::Determinant() const {
    if (m_size == 0)
        return 1.0;
    auto const n = static_cast<Eigen::Index>(m_size);
    return Eigen::Map<Eigen::MatrixXd const>(m_rows.data(), n, n).determinant(); // that of the transposed
}
