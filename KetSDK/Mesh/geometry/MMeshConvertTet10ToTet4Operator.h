// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshOperator.h>

class MMeshBase;
struct MMeshOrigins;

// Builds a mesh of linear tetrahedra on the quadratic ones of a mesh. It makes one on the corners of each
// element, or eight on all its nodes in the order of MMeshElementDescriptor::descr_tet10_to_tet4. Elements
// come sub-volume by sub-volume, within one in the order of the mesh; each new sub-volume has the name and
// the material number of the old one. Nodes at one position become one node. Inverted tetrahedra are turned.
//
// Each time that an element uses a node the node gets a fresh mask index, as by AddPointUnique. So node masks
// of the target have a slot for every node of every element (kept: hosts rely on these indices).
//
// Grey values, materials, other masks and original identifiers are not copied. Of elements of other kinds the
// first four nodes are taken. A node that an element does not have is at the origin, as are the mid-edge
// nodes of an element with fewer than ten nodes. Reads no settings, reports no progress. One thread at a time
// uses operator and meshes; copies refer to the same meshes.
class KETSDK_MESH_API MMeshConvertTet10ToTet4Operator : public MMeshOperator {
public:
    MMeshConvertTet10ToTet4Operator() = default;
    MMeshConvertTet10ToTet4Operator(MMeshConvertTet10ToTet4Operator const&) = default;
    MMeshConvertTet10ToTet4Operator(MMeshConvertTet10ToTet4Operator&&) = default;
    MMeshConvertTet10ToTet4Operator& operator=(MMeshConvertTet10ToTet4Operator const&) = default;
    MMeshConvertTet10ToTet4Operator& operator=(MMeshConvertTet10ToTet4Operator&&) = default;
    ~MMeshConvertTet10ToTet4Operator() override;

    // The mesh to fill; meant to be empty: its sub-volumes are dropped, nodes and elements that it has stay.
    // Borrowed. Without one, Operate() makes a mesh, which belongs to the caller.
    void SetTet4Mesh(MMeshBase* target) noexcept { m_target = target; }
    MMeshBase* GetTet4Mesh() const noexcept { return m_target; }

    // Where to record what elements and nodes of the target came from; null, as at first, records nothing.
    // Borrowed. Nodes and elements that the target had before came from nothing.
    void SetOrigins(MMeshOrigins* origins) noexcept { m_origins = origins; }

    // Whether an element becomes eight tetrahedra instead of one; false unless set.
    void SetMultipleElements(bool multiple) noexcept { m_multiple = multiple; }

    // Converts, and makes the target linear. False without a mesh and when mesh and target are the same, with
    // nothing changed.
    bool Operate() override;

    // How many elements of the target the last run turned.
    int GetNbCorrected() const noexcept { return m_corrected; }

private:
    MMeshBase* m_target = nullptr;
    MMeshOrigins* m_origins = nullptr;
    bool m_multiple = false;
    int m_corrected = 0;
};
