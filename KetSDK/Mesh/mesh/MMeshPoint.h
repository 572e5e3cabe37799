// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MDataMaskIndex.h>
#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/Common/Shared/MLong.h>
#include <KetSDK/Math/MathCore/MMVector.h>
#include <KetSDK/Mesh/MMeshExport.h>

// A mesh node: an integer position in internal units. The node knows its index in the node container
// of its mesh and its slot in the node masks, and nothing else of the mesh.
// A plain value: safe to use from several threads as long as none of them writes it.
class KETSDK_MESH_API MMeshPoint : public MDataMaskIndex {
public:
    // At the origin, in no container.
    MMeshPoint() = default;
    // At a position in internal units, in no container.
    MMeshPoint(MLong px, MLong py, MLong pz) noexcept
        : x(px)
        , y(py)
        , z(pz) {}

    MMeshPoint(MMeshPoint const&) = default;
    // Takes over the mask index and the position but keeps its own index: assigning to a node that
    // lives in a container moves a position to its index.
    MMeshPoint& operator=(MMeshPoint const& other) noexcept {
        MDataMaskIndex::operator=(other);
        x = other.x;
        y = other.y;
        z = other.z;
        return *this;
    }

    // Equal index and position: two nodes at one position but with different indices differ.
    bool operator==(MMeshPoint const& o) const noexcept {
        return m_index == o.m_index && x == o.x && y == o.y && z == o.z;
    }
    bool operator!=(MMeshPoint const& o) const noexcept { return !(*this == o); }

    // The position in model units, exact.
    MMVector<double, 3> GetPosition() const noexcept {
        constexpr double units = KetSDK::Common::MInternalUnits::Get();
        return {x / units, y / units, z / units};
    }

    // The node's index in the node container of its mesh; -1 for a node in no container.
    MLong GetIndex() const noexcept { return m_index; }

    MLong x = 0; // internal units
    MLong y = 0;
    MLong z = 0;

private:
    friend class MMeshPointContainer;
    MLong m_index = -1;
};
