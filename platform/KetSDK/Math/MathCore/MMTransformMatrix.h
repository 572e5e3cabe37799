// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MExport.h>
#include <KetSDK/Math/MathCore/MMVector.h>

#include <array>
#include <cstddef>

// An affine map of space as a 4 x 4 matrix that acts on columns (x, y, z, 1); the last row is
// (0, 0, 0, 1). Lengths are in model units, angles in radians.
// A plain value: safe to read from several threads while none changes it.
class KETSDK_API MMTransformMatrix {
public:
    // The identity.
    MMTransformMatrix();

    static MMTransformMatrix Translation(MMVector<double, 3> const& offset);
    // Scales along the axes, with the origin fixed.
    static MMTransformMatrix Scaling(MMVector<double, 3> const& factors);
    // Turns by an angle about the axis through `origin`, counter-clockwise when looking against the axis.
    // The axis needs no unit length; a zero axis gives the identity.
    static MMTransformMatrix Rotation(MMVector<double, 3> const& axis, double angle,
                                      MMVector<double, 3> const& origin = {});

    // The entry in row and column 0 to 3, not range-checked. Whoever writes keeps the last row.
    double& operator()(std::size_t row, std::size_t column) noexcept { return m_entries[row * 4 + column]; }
    double operator()(std::size_t row, std::size_t column) const noexcept {
        return m_entries[row * 4 + column];
    }

    // The map that applies `first` and then this one.
    MMTransformMatrix operator*(MMTransformMatrix const& first) const;

    // The image of a point.
    MMVector<double, 3> Apply(MMVector<double, 3> const& point) const noexcept;
    // The image of a direction: without the translation.
    MMVector<double, 3> ApplyToDirection(MMVector<double, 3> const& direction) const noexcept;

    // The factor by which volumes grow; negative for a map that mirrors.
    double Determinant() const noexcept;

    // The inverse map. False, with `inverse` as it was, when there is none: see MMatrix3x3::Solve.
    bool Invert(MMTransformMatrix& inverse) const;

private:
    std::array<double, 16> m_entries; // by rows
};
