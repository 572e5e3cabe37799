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

private:
    bool m_simplify = false;
};
