// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshElement.h>
#include <KetSDK/Mesh/mesh/MMeshOperator.h>

// Repairs inverted tetrahedra, linear and quadratic, by exchanging corners 2 and 3. On a ten-node element the
// mid-edge nodes of their edges change places too (5 with 8 and 6 with 7), so that each stays on its edge.
// Flat elements have no orientation and stay, and so does every other kind of element. Nodes, masks and
// neighbour information are not touched. Reads no settings, reports no progress. One thread at a time uses
// operator and mesh.
class KETSDK_MESH_API MMeshOrientOperator : public MMeshOperator {
public:
    MMeshOrientOperator() = default;
    ~MMeshOrientOperator() override;

    // Repairs all elements. False without a mesh, otherwise true.
    bool Operate() override;

    // Number of elements repaired, of all runs together (kept: callers sum over meshes in this way); a new
    // operator starts at 0.
    int GetNbCorrected() const noexcept { return m_corrected; }

    // Repairs one element where it needs that, and says whether it did.
    static bool TurnIfInverted(MMeshElement& e);
    // The same for an element whose nodes stand elsewhere too: calls exchange(i, k) for indices of its nodes.
    template <typename Exchange>
    static bool TurnIfInverted(MMeshElement const& e, Exchange const& exchange) {
        bool const inverted = IsInverted(e);
        if (inverted)
            exchange(2U, 3U);
        if (inverted && e.GetNodeCount() == 10) { // the edges 1-2 and 1-3, 2-0 and 0-3
            exchange(5U, 8U);
            exchange(6U, 7U);
        }
        return inverted;
    }
    // Whether it is a tetrahedron of negative volume, by its corners.
    static bool IsInverted(MMeshElement const& e);

private:
    int m_corrected = 0;
};
