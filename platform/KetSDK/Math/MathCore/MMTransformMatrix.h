#pragma once

#include <KetSDK/Common/Shared/MExport.h>
#include <KetSDK/Math/MathCore/MMVector.h>

#include <array>
#include <cstddef>
#include <optional>

// An affine transform of space as a 4 x 4 matrix that acts on column vectors (x, y, z, 1).
// A plain value; lengths are in model units, angles in radians.
class KETSDK_API MMTransformMatrix {
public:
    // The identity.
    MMTransformMatrix() noexcept;
    // From sixteen numbers, row by row. The last row is taken to be 0, 0, 0, 1.
    explicit MMTransformMatrix(std::array<double, 16> const& rows) noexcept;

    static MMTransformMatrix Translation(MMVector<double, 3> const& shift) noexcept;
    static MMTransformMatrix Scaling(MMVector<double, 3> const& factors) noexcept;
    // Counter-clockwise seen from the tip of the axis, about the origin. A zero axis gives the identity.
    static MMTransformMatrix Rotation(MMVector<double, 3> const& axis, double angle) noexcept;

    double operator()(std::size_t row, std::size_t column) const noexcept { return m_rows[4 * row + column]; }

    // The transform that applies b first and then a.
    friend KETSDK_API MMTransformMatrix operator*(MMTransformMatrix const& a, MMTransformMatrix const& b) noexcept;
    friend bool operator==(MMTransformMatrix const&, MMTransformMatrix const&) noexcept = default;

    // Determinant of the linear part: the factor by which volumes grow, negative for a mirror image.
    double Determinant() const noexcept;
    // Nothing when the linear part is singular.
    std::optional<MMTransformMatrix> Inverse() const;

    MMVector<double, 3> Apply(MMVector<double, 3> const& p) const noexcept;

private:
    std::array<double, 16> m_rows;
};
