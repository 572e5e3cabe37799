// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Math/MathCore/MMTransformMatrix.h>

// A transform of positions in model units, as meshes and surfaces take it: an affine map.
// A plain value: safe to read from several threads while none changes it.
class MMTransform {
public:
    // The identity.
    MMTransform() = default;
    MMTransform(MMTransformMatrix const& matrix)
        : m_matrix(matrix) {}

    MMTransformMatrix const& GetMatrix() const noexcept { return m_matrix; }

    // The image of a point, in model units.
    MMVector<double, 3> Apply(MMVector<double, 3> const& point) const noexcept {
        return m_matrix.Apply(point);
    }

    // The transform that applies `first` and then this one.
    MMTransform operator*(MMTransform const& first) const { return m_matrix * first.m_matrix; }

private:
    MMTransformMatrix m_matrix;
};
