// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/materials/MDataMask.h>
#include <KetSDK/Mesh/materials/MMeshMask.h>
#include <KetSDK/Mesh/mesh/MMeshPoint.h>
#include <KetSDK/Triangles/Data/IScalarMask.h>

#include <cstdint>

// A scalar field on the nodes of a mesh, for results or imported data. It belongs to its maker, and the
// mesh finds it with MMeshMaskIterator while it lives; ClearMesh lets go of it. Mesh and mask may die in
// either order. Not synchronised: concurrent reads are safe; masks are made and destroyed by one thread.
class KETSDK_MESH_API MMeshScalarMaskPoints : public IScalarMask,
                                              public MDataMask<MMeshPoint, double>,
                                              public virtual MMeshMask {
public:
    // Registers with the node masks of the mesh: every node, also one that is added later, has the
    // default value. Without a mesh there are no values but the default.
    MMeshScalarMaskPoints(MMeshBase* mesh, double default_value);
    ~MMeshScalarMaskPoints() override;

    // A node's value by its mask index, as the field of whatever is shown; by node see MDataMask.
    double GetValueAt(std::uint64_t index) const override;
    void SetValueAt(std::uint64_t index, double value) override;
    double GetDefaultValue() const override;
};
