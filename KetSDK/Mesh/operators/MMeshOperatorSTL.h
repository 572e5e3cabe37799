// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshOperator.h>

class MStlBase;
struct MSurfaceOrigins;

// Writes the faces of the tetrahedra that the elements are cut into, as the triangle iterator gives them,
// into one surface. Faces between two tetrahedra come too, once from each side; or only those come that
// MMeshOperatorSurface has marked. They wind outwards for correctly oriented elements.
//
// When the mesh has materials, every triangle gets the colour of its element's material; none where the
// element has none. Elements must be of a known kind. Faces with two corners at one position are left out.
// Reports no progress. One thread at a time uses operator, mesh and surface.
class KETSDK_MESH_API MMeshOperatorSTL : public MMeshOperator {
public:
    MMeshOperatorSTL() = default;
    ~MMeshOperatorSTL() override;

    // The container whose contents are replaced, features included, by one surface without a name. Never
    // owned here; null at first.
    void SetStl(MStlBase* stl) noexcept { m_stl = stl; }
    MStlBase* GetStl() noexcept { return m_stl; }

    // Where to record what triangles and points came from; null, as at first, records nothing. Borrowed.
    // Triangles inside an element have no face.
    void SetOrigins(MSurfaceOrigins* origins) noexcept { m_origins = origins; }

    // Writes. False without a mesh, a container or settings of the class MMeshOperatorSettingsSTL, and when
    // only marked faces are wanted and there is no surface mask; otherwise true. The container keeps
    // neighbour information afterwards.
    bool Operate() override;

private:
    MStlBase* m_stl = nullptr;
    MSurfaceOrigins* m_origins = nullptr;
};
