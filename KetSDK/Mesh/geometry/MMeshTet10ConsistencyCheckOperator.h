// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshOperator.h>

// Counts four kinds of defect in the elements of a mesh, and changes nothing. Those are elements with a
// mid-edge node too far from the middle of its edge, and elements with a face whose mid nodes are too far
// from theirs. The others are inverted elements, and elements without volume. An element may have several
// defects. The first two are looked for in quadratic meshes only. Every element is seen as a tetrahedron,
// linear or quadratic, on its first nodes, unless SetEveryKind says otherwise. The counts add up over runs
// (kept: callers sum over meshes in this way); a new operator starts at 0. Reads no settings, reports no
// progress. One thread at a time uses operator and mesh.
class KETSDK_MESH_API MMeshTet10ConsistencyCheckOperator : public MMeshOperator {
public:
    MMeshTet10ConsistencyCheckOperator() = default;
    ~MMeshTet10ConsistencyCheckOperator() override;

    // The largest deviation of mid nodes that passes, in percent of a length: see CheckMidVertices and
    // CheckMidFaces of Tetrahedron10Base. 0.5 unless set.
    void SetTolerance(double percent) noexcept { m_tolerance = percent; }
    double GetTolerance() const noexcept { return m_tolerance; }

    // Whether hexahedra and wedges are seen as what they are: by the volume of the tetrahedra that they are
    // cut into, and without mid nodes. False unless set.
    void SetEveryKind(bool every_kind) noexcept { m_every_kind = every_kind; }

    // Checks all elements. False without a mesh, otherwise true, whatever is found.
    bool Operate() override;

    // Numbers of elements.
    int GetWrongOrientation() const noexcept { return m_wrong_orientation; }
    int GetWrongMidEdges() const noexcept { return m_wrong_mid_edges; }
    int GetWrongMidFaces() const noexcept { return m_wrong_mid_faces; }
    int GetZeroVolume() const noexcept { return m_zero_volume; }

private:
    int m_elements_checked = 0;
    int m_wrong_orientation = 0;
    int m_wrong_mid_edges = 0;
    int m_wrong_mid_faces = 0;
    int m_zero_volume = 0;
    double m_tolerance = 0.5;
    bool m_every_kind = false;
};
