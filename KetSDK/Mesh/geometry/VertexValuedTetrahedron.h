// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/geometry/TetrahedronBase.h>

#include <array>

// A linear tetrahedron in model units with a number at each corner, for what is interpolated between
// them. Made like TetrahedronBase<double>; the numbers are 0 until they are set.
// Objects share nothing: distinct ones may be used from several threads.
class KETSDK_MESH_API VertexValuedTetrahedron : public TetrahedronBase<double> {
public:
    // From nothing, four points, an array of four points, or an element.
    using TetrahedronBase<double>::TetrahedronBase;
    VertexValuedTetrahedron() = default;
    VertexValuedTetrahedron(VertexValuedTetrahedron const&) = default;
    VertexValuedTetrahedron(VertexValuedTetrahedron&&) = default;
    VertexValuedTetrahedron& operator=(VertexValuedTetrahedron const&) = default;
    VertexValuedTetrahedron& operator=(VertexValuedTetrahedron&&) = default;
    ~VertexValuedTetrahedron() override;

    // The numbers at corners 0 to 3.
    void SetValues(double v0, double v1, double v2, double v3) noexcept { m_values = {v0, v1, v2, v3}; }
    // The number at one corner, which is not range-checked.
    void SetVertexValue(unsigned int i, double value) noexcept { m_values[i] = value; }
    double GetVertexValue(unsigned int i) const noexcept { return m_values[i]; }

private:
    std::array<double, 4> m_values{};
};
