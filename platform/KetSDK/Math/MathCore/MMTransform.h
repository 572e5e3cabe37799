#pragma once

#include <KetSDK/Math/MathCore/MMTransformMatrix.h>
#include <KetSDK/Math/MathCore/MMVector.h>

// A placement of objects in space, in model units. A plain value.
class MMTransform {
public:
    // Leaves everything where it is.
    MMTransform() noexcept = default;
    explicit MMTransform(MMTransformMatrix const& matrix) noexcept : m_matrix(matrix) {}

    MMTransformMatrix const& GetMatrix() const noexcept { return m_matrix; }
    void SetMatrix(MMTransformMatrix const& matrix) noexcept { m_matrix = matrix; }

    // Where a point goes.
    MMVector<double, 3> Apply(MMVector<double, 3> const& p) const noexcept { return m_matrix.Apply(p); }

private:
    MMTransformMatrix m_matrix;
};
