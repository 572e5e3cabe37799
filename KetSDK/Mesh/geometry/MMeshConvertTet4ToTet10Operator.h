// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshOperator.h>

#include <memory>
#include <utility>

class MMeshBase;
struct MMeshOrigins;

// Builds a mesh of quadratic tetrahedra on the linear ones of a mesh: the corners stay where they are, and
// every edge gets a node in its middle. Elements come sub-volume by sub-volume, within one in the order of
// the mesh; each new sub-volume has the name and the material number of the old one. Nodes at one position
// become one node, so neighbours share the nodes of their edges.
//
// Each time that an element uses a node the node gets a fresh mask index, as by AddPointUnique. So node masks
// of the target have a slot for every node of every element (kept: hosts rely on these indices).
//
// Grey values, materials, other masks and original identifiers are not copied. Orientation is kept, wrong
// orientation included. Of elements of other kinds the first four nodes are taken, and a node that an
// element does not have is at the origin. One thread at a time uses operator and meshes; copies refer to
// the same meshes and delegate.
class KETSDK_MESH_API MMeshConvertTet4ToTet10Operator : public MMeshOperator {
public:
    MMeshConvertTet4ToTet10Operator() = default;
    MMeshConvertTet4ToTet10Operator(MMeshConvertTet4ToTet10Operator const&) = default;
    MMeshConvertTet4ToTet10Operator(MMeshConvertTet4ToTet10Operator&&) = default;
    MMeshConvertTet4ToTet10Operator& operator=(MMeshConvertTet4ToTet10Operator const&) = default;
    MMeshConvertTet4ToTet10Operator& operator=(MMeshConvertTet4ToTet10Operator&&) = default;
    ~MMeshConvertTet4ToTet10Operator() override;

    // The mesh to fill; meant to be empty: its sub-volumes are dropped, nodes and elements that it has stay.
    // Borrowed. Without one, Operate() makes a mesh, which belongs to the caller.
    void SetTet10Mesh(MMeshBase* target) noexcept { m_target = target; }
    MMeshBase* GetTet10Mesh() const noexcept { return m_target; }

    // Where to record what elements and nodes of the target came from; null, as at first, records nothing.
    // Borrowed. Nodes and elements that the target had before came from nothing.
    void SetOrigins(MMeshOrigins* origins) noexcept { m_origins = origins; }

    void SetProgressDelegate(std::shared_ptr<KetSDK::Common::IProgressDelegate> progress) noexcept {
        m_progress = std::move(progress);
    }

    // Converts, and makes the target quadratic. False without a mesh and when mesh and target are the same,
    // with nothing changed, and when cancelled: the target then keeps what was built and its type.
    bool Operate() override;

private:
    MMeshBase* m_target = nullptr;
    MMeshOrigins* m_origins = nullptr;
    std::shared_ptr<KetSDK::Common::IProgressDelegate> m_progress;
};
