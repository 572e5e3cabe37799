// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>

class MMeshBase;

// Base of masks that know the mesh whose values they hold. The mesh is borrowed; the pointer means
// nothing once the mesh is gone. Virtual base: a mask of several kinds has one mesh.
class KETSDK_MESH_API MMeshMask {
public:
    explicit MMeshMask(MMeshBase* mesh) noexcept
        : m_mesh(mesh) {}
    virtual ~MMeshMask();

    MMeshBase* GetMesh() noexcept { return m_mesh; }
    MMeshBase const* GetMesh() const noexcept { return m_mesh; }

private:
    friend class MMeshBase; // a mask follows the content of its mesh
    MMeshBase* m_mesh;
};
