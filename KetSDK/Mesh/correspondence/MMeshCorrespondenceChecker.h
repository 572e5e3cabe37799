// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshOperator.h>

#include <cstdint>

class MStlBase;

// Counts how far a surface and a tetrahedral mesh correspond. It runs when it is constructed, with the
// mapper that the mesh holds, else with a projection of tolerance 0.001, and only the counts stay.
// Enables the neighbour information of the mesh and leaves it enabled. One thread at a time uses the mesh.
class KETSDK_MESH_API MMeshCorrespondenceChecker : public MMeshOperator {
public:
    // Counts, on several threads when parallel. Neither is owned; with a null one, or a mapper of another
    // surface, no triangle has a face.
    MMeshCorrespondenceChecker(MStlBase* stl, MMeshBase* mesh, bool parallel = false);
    ~MMeshCorrespondenceChecker() override;

    // Faces at the boundary of the mesh.
    std::uint64_t GetNbBoundaryFacesWithTriangle() const noexcept { return m_boundary.with; }
    std::uint64_t GetNbBoundaryFacesWithoutTriangle() const noexcept { return m_boundary.without; }
    // Faces between two sub-volumes, each counted once.
    std::uint64_t GetNbInterfaceFacesWithTriangle() const noexcept { return m_interface.with; }
    std::uint64_t GetNbInterfaceFacesWithoutTriangle() const noexcept { return m_interface.without; }
    // Faces inside a sub-volume, each counted once.
    std::uint64_t GetNbInnerFacesWithTriangle() const noexcept { return m_inner.with; }
    // Triangles of the surface.
    std::uint64_t GetNbTrianglesWithFace() const noexcept { return m_triangles.with; }
    std::uint64_t GetNbTrianglesWithoutFace() const noexcept { return m_triangles.without; }
    // Faces whose triangle is turned the wrong way. At the boundary those are the ones that face into the
    // mesh, between two sub-volumes the ones that face another way than most of their surface there.
    std::uint64_t GetNbTrianglesDisagreeing() const noexcept { return m_disagreeing; }

private:
    struct Counts {
        std::uint64_t with = 0;
        std::uint64_t without = 0;
        void Add(bool has) noexcept { ++(has ? with : without); }
        void Add(Counts const& others) noexcept {
            with += others.with;
            without += others.without;
        }
    };
    class Walk;

    bool Operate() override;

    MStlBase* m_stl;
    Counts m_boundary;
    Counts m_interface;
    Counts m_inner;
    Counts m_triangles;
    std::uint64_t m_disagreeing = 0;
};
