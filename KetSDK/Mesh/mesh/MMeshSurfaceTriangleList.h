// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshElementDescriptor.h>

#include <cstdint>
#include <vector>

// The faces of one element that lie on some boundary: sub-tetrahedron and face number of each, in the
// order in which they were added. A plain value.
class KETSDK_MESH_API MMeshSurfaceTriangleList {
public:
    struct Face {
        std::uint8_t tetrahedron; // sub-tetrahedron of the element
        std::uint8_t triangle;    // its face 0..3, a row of descr_triangle_point
        friend bool operator==(Face const&, Face const&) = default;
    };

    // Whether an element with n nodes has such a face.
    static bool IsFaceOf(unsigned char n, unsigned char tetrahedron, unsigned char triangle) noexcept {
        return tetrahedron < MMeshElementDescriptor::GetNumTetraOfElement(n) && triangle < 4;
    }

    void Add(unsigned char tetrahedron, unsigned char triangle) {
        m_faces.push_back({tetrahedron, triangle});
    }
    void Clear() noexcept { m_faces.clear(); }
    bool IsEmpty() const noexcept { return m_faces.empty(); }
    std::uint64_t GetSize() const noexcept { return m_faces.size(); }
    auto begin() const noexcept { return m_faces.begin(); }
    auto end() const noexcept { return m_faces.end(); }

private:
    std::vector<Face> m_faces;
};
