// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshOperatorSettings.h>

// What MMeshOperatorSTL is to do. A value; used by one thread at a time.
class KETSDK_MESH_API MMeshOperatorSettingsSTL : public MMeshOperatorSettings {
public:
    // Whether ten-node elements are taken by their corners alone: as one tetrahedron, and not as the
    // eight that they are cut into. False unless set.
    void SetSimplify(bool simplify) noexcept { m_simplify = simplify; }
    bool GetSimplify() const noexcept { return m_simplify; }

    // Whether only the triangles on faces are written that the surface mask of the elements lists, as
    // MMeshOperatorSurface marks them. A face that is marked in elements of several sub-volumes is written
    // once, seen from the one of the lowest identifier. With simplifying, the one triangle of a ten-node
    // element's face is written when any part of the face is marked. False unless set.
    void SetMarkedOnly(bool marked_only) noexcept { m_marked_only = marked_only; }
    bool GetMarkedOnly() const noexcept { return m_marked_only; }

private:
    bool m_simplify = false;
    bool m_marked_only = false;
};
