// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshOperator.h>

#include <cstdint>

class MMeshBase;
struct MMeshOrigins;

// Builds a mesh in which every hexahedron of a mesh is cut into five linear tetrahedra, four at the corners
// 1, 3, 4 and 6 and one in the middle. Elements of other kinds are copied. Elements come sub-volume by
// sub-volume, within one in the order of the mesh; each new sub-volume has the name and the material number
// of the old one. Nodes at one position become one node. Inverted tetrahedra are turned.
//
// The cut goes by the order of the nodes alone: it runs along the diagonals of the faces between the corners
// 0, 2, 5 and 7. Where two hexahedra have different diagonals on the face that they share, the tetrahedra do
// not conform: see CompareDiagonals. In a regular grid all agree when every other hexahedron, as on a
// chessboard, has its nodes turned by a quarter (1, 2, 3, 0, 5, 6, 7, 4).
//
// Each time that an element uses a node the node gets a fresh mask index, as by AddPointUnique. So node masks
// of the target have a slot for every node of every element (kept: hosts rely on these indices).
//
// Grey values, materials, other masks and original identifiers are not copied. Reads no settings, reports no
// progress. One thread at a time uses operator and meshes; copies refer to the same meshes.
class KETSDK_MESH_API MMeshConvertHex8ToTet4Operator : public MMeshOperator {
public:
    MMeshConvertHex8ToTet4Operator() = default;
    MMeshConvertHex8ToTet4Operator(MMeshConvertHex8ToTet4Operator const&) = default;
    MMeshConvertHex8ToTet4Operator(MMeshConvertHex8ToTet4Operator&&) = default;
    MMeshConvertHex8ToTet4Operator& operator=(MMeshConvertHex8ToTet4Operator const&) = default;
    MMeshConvertHex8ToTet4Operator& operator=(MMeshConvertHex8ToTet4Operator&&) = default;
    ~MMeshConvertHex8ToTet4Operator() override;

    // The mesh to fill, which must be set; meant to be empty: its sub-volumes are dropped, nodes and elements
    // that it has stay. Borrowed.
    void SetTet4Mesh(MMeshBase* target) noexcept { m_target = target; }
    MMeshBase* GetTet4Mesh() const noexcept { return m_target; }

    // Where to record what elements and nodes of the target came from; null, as at first, records nothing.
    // Borrowed. Nodes and elements that the target had before came from nothing.
    void SetOrigins(MMeshOrigins* origins) noexcept { m_origins = origins; }

    // Converts, and makes the target linear. False without a mesh or target and when both are the same, with
    // nothing changed.
    bool Operate() override;

    struct Diagonals {
        std::uint64_t interior;  // faces that hexahedra share
        std::uint64_t different; // those that they cut along different diagonals
    };
    // Compares the diagonals along which the hexahedra of a mesh are cut, or would be, where they meet. Nodes
    // at one position count as one.
    static Diagonals CompareDiagonals(MMeshBase const& hexahedra);

    // How many elements of the target the last run turned.
    int GetNbCorrected() const noexcept { return m_corrected; }

private:
    MMeshBase* m_target = nullptr;
    MMeshOrigins* m_origins = nullptr;
    int m_corrected = 0;
};
