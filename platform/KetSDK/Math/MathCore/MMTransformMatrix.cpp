// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Math/MathCore/MMTransformMatrix.h>

#include <KetSDK/Math/MathCore/MMatrix3x3.h>

#include <Eigen/Geometry>

namespace {

using EigenMatrix = Eigen::Matrix<double, 4, 4, Eigen::RowMajor>;
using DoubleVector = MMVector<double, 3>;

Eigen::Vector3d ToEigen(DoubleVector const& v) {
    return {v[0], v[1], v[2]};
}

MMTransformMatrix FromEigen(EigenMatrix const& matrix) {
    MMTransformMatrix result;
    for (std::size_t row = 0; row < 4; ++row)
        for (std::size_t column = 0; column < 4; ++column)
            result(row, column) = matrix(static_cast<Eigen::Index>(row), static_cast<Eigen::Index>(column));
    return result;
}

} // namespace

MMTransformMatrix::MMTransformMatrix()
    : m_entries{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1} {}

MMTransformMatrix MMTransformMatrix::Translation(DoubleVector const& offset) {
    MMTransformMatrix result;
    for (std::size_t i = 0; i < 3; ++i)
        result(i, 3) = offset[i];
    return result;
}

MMTransformMatrix MMTransformMatrix::Scaling(DoubleVector const& factors) {
    MMTransformMatrix result;
    for (std::size_t i = 0; i < 3; ++i)
        result(i, i) = factors[i];
    return result;
}

MMTransformMatrix MMTransformMatrix::Rotation(DoubleVector const& axis, double angle,
                                              DoubleVector const& origin) {
    DoubleVector direction = axis;
    if (!direction.Normalize())
        return {};
    Eigen::Affine3d const map = Eigen::Translation3d(ToEigen(origin)) *
                                Eigen::AngleAxisd(angle, ToEigen(direction)) *
                                Eigen::Translation3d(-ToEigen(origin));
    return FromEigen(map.matrix());
}

MMTransformMatrix MMTransformMatrix::operator*(MMTransformMatrix const& first) const {
    return FromEigen(Eigen::Map<EigenMatrix const>(m_entries.data()) *
                     Eigen::Map<EigenMatrix const>(first.m_entries.data()));
}

MMVector<double, 3> MMTransformMatrix::Apply(DoubleVector const& point) const noexcept {
    return ApplyToDirection(point) + DoubleVector(m_entries[3], m_entries[7], m_entries[11]);
}

MMVector<double, 3> MMTransformMatrix::ApplyToDirection(DoubleVector const& d) const noexcept {
    auto const& m = m_entries;
    return {m[0] * d[0] + m[1] * d[1] + m[2] * d[2], m[4] * d[0] + m[5] * d[1] + m[6] * d[2],
            m[8] * d[0] + m[9] * d[1] + m[10] * d[2]};
}

double MMTransformMatrix::Determinant() const noexcept {
    auto const& m = m_entries;
    return MMatrix3x3({m[0], m[1], m[2]}, {m[4], m[5], m[6]}, {m[8], m[9], m[10]}).Determinant();
}

bool MMTransformMatrix::Invert(MMTransformMatrix& inverse) const {
    auto const& m = m_entries;
    MMatrix3x3 const linear({m[0], m[1], m[2]}, {m[4], m[5], m[6]}, {m[8], m[9], m[10]});
    DoubleVector ignored;
    if (!linear.Solve({}, ignored))
        return false;
    EigenMatrix const result = Eigen::Affine3d(EigenMatrix(Eigen::Map<EigenMatrix const>(m_entries.data())))
                                   .inverse(Eigen::Affine)
                                   .matrix();
    inverse = FromEigen(result);
    return true;
}
