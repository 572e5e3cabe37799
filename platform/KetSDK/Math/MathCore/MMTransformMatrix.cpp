#include <KetSDK/Math/MathCore/MMTransformMatrix.h>

#include <Eigen/Geometry>
#include <Eigen/LU>

namespace {

using RowMajor = Eigen::Matrix<double, 4, 4, Eigen::RowMajor>;

std::array<double, 16> RowsOf(Eigen::Affine3d const& transform) {
    std::array<double, 16> rows;
    Eigen::Map<RowMajor>(rows.data()) = transform.matrix();
    return rows;
}

Eigen::Vector3d ToEigen(MMVector<double, 3> const& v) {
    return {v[0], v[1], v[2]};
}

} // namespace

MMTransformMatrix::MMTransformMatrix() noexcept : m_rows(RowsOf(Eigen::Affine3d::Identity())) {}

MMTransformMatrix::MMTransformMatrix(std::array<double, 16> const& rows) noexcept : m_rows(rows) {
    m_rows[12] = m_rows[13] = m_rows[14] = 0.0;
    m_rows[15] = 1.0;
}

MMTransformMatrix MMTransformMatrix::Translation(MMVector<double, 3> const& shift) noexcept {
    return MMTransformMatrix(RowsOf(Eigen::Affine3d(Eigen::Translation3d(ToEigen(shift)))));
}

MMTransformMatrix MMTransformMatrix::Scaling(MMVector<double, 3> const& factors) noexcept {
    return MMTransformMatrix(RowsOf(Eigen::Affine3d(Eigen::Scaling(ToEigen(factors)))));
}

MMTransformMatrix MMTransformMatrix::Rotation(MMVector<double, 3> const& axis, double angle) noexcept {
    MMVector<double, 3> direction = axis;
    if (!direction.Normalize())
        return {};
    return MMTransformMatrix(RowsOf(Eigen::Affine3d(Eigen::AngleAxisd(angle, ToEigen(direction)))));
}

MMTransformMatrix operator*(MMTransformMatrix const& a, MMTransformMatrix const& b) noexcept {
    MMTransformMatrix product;
    Eigen::Map<RowMajor>(product.m_rows.data()).noalias() =
        Eigen::Map<RowMajor const>(a.m_rows.data()) * Eigen::Map<RowMajor const>(b.m_rows.data());
    return product;
}

double MMTransformMatrix::Determinant() const noexcept {
    return Eigen::Map<RowMajor const>(m_rows.data()).topLeftCorner<3, 3>().determinant();
}

std::optional<MMTransformMatrix> MMTransformMatrix::Inverse() const {
    Eigen::Matrix3d const linear = Eigen::Map<RowMajor const>(m_rows.data()).topLeftCorner<3, 3>();
    Eigen::FullPivLU<Eigen::Matrix3d> const lu(linear);
    if (!lu.isInvertible())
        return std::nullopt;
    Eigen::Affine3d inverse = Eigen::Affine3d::Identity();
    inverse.linear() = lu.inverse();
    inverse.translation() = -(inverse.linear() * Eigen::Vector3d(m_rows[3], m_rows[7], m_rows[11]));
    return MMTransformMatrix(RowsOf(inverse));
}

MMVector<double, 3> MMTransformMatrix::Apply(MMVector<double, 3> const& p) const noexcept {
    MMVector<double, 3> moved;
    for (std::size_t row = 0; row < 3; ++row)
        moved[row] = (*this)(row, 0) * p[0] + (*this)(row, 1) * p[1] + (*this)(row, 2) * p[2] + (*this)(row, 3);
    return moved;
}
