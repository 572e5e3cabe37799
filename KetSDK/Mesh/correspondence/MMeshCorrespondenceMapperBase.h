// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapper.h>
#include <KetSDK/Support/RecordBins.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

class MMeshBase;
class MStlBase;

namespace KetSDK::Mesh::Detail {
class MappingLoop;
class SurfaceFaces;
class SurfaceMatcher;
struct FaceMatch;
} // namespace KetSDK::Mesh::Detail

// What the mappers of this library have in common: they find the faces that a triangle may lie on, match
// each face once, and answer from what they found. They differ in how faces and triangles are matched.
//
// Faces are those of elements of four and ten nodes (the corner nodes count), at the boundary of the
// mesh and between elements; other elements have none here. Which side of a face is outside follows
// from the winding of the first of its elements, as in surface extraction.
class KETSDK_MESH_API MMeshCorrespondenceMapperBase : public MMeshCorrespondenceMapper {
public:
    ~MMeshCorrespondenceMapperBase() override;

    // Whether mapping uses several threads, as many as the task arena of the caller has; false unless set.
    // What is found is the same.
    void SetParallel(bool parallel) noexcept { m_parallel = parallel; }
    bool GetParallel() const noexcept { return m_parallel; }

    // What the user can cancel mapping by; null for none.
    void SetProgressDelegate(std::shared_ptr<KetSDK::Common::IProgressDelegate> delegate) {
        m_delegate = std::move(delegate);
    }

    // Without a mesh or a surface, or with an empty one, no face has a triangle. When the user cancels, no
    // face has one either, and the next question maps again.
    void Map() override;
    bool IsMapped() const override { return m_mapped; }

    MStlTriangle* GetTriangle(MMeshElement* e, unsigned int face) override;
    MStlTriangle* GetSharedTriangle(MMeshElement* e1, MMeshElement* e2) override;
    MMeshElement* GetElement(MStlTriangle const* triangle) override;
    bool IsAssignedTo(MStlTriangle const* triangle, MMeshElement* e) override;
    int IsBoundaryCrossing(MMeshElement* e1, MMeshElement* e2) override;
    // Whether some face of an element has a triangle, for walks over the mesh that ask no further where
    // none has.
    bool HasTriangle(MMeshElement const& e) {
        MapOnce();
        return FacesOf(e) != nullptr;
    }

protected:
    // Neither is owned.
    MMeshCorrespondenceMapperBase(MStlBase* stl, MMeshBase* mesh) noexcept
        : m_stl(stl)
        , m_mesh(mesh) {}
    MMeshCorrespondenceMapperBase(MMeshCorrespondenceMapperBase const&) = default;
    MMeshCorrespondenceMapperBase& operator=(MMeshCorrespondenceMapperBase const&) = default;

private:
    // What lies on the faces of an element.
    struct ElementFaces {
        std::array<MStlTriangle*, 4> triangle;
        std::array<bool, 4> assigned; // whether the triangle is assigned to the element
    };
    // Triangles that lie one behind the other in memory as well as in the surface.
    struct TriangleRun {
        MStlTriangle const* first;
        std::size_t number; // of the first
        std::size_t count;
    };
    static constexpr std::uint32_t None = std::numeric_limits<std::uint32_t>::max();

    // What knows the triangles of the surface; made anew for each mapping.
    virtual std::unique_ptr<KetSDK::Mesh::Detail::SurfaceMatcher>
    MakeMatcher(MStlBase& stl, MMeshBase const& mesh,
                KetSDK::Mesh::Detail::MappingLoop const& loop) const = 0;

    void Forget() noexcept;
    void Run();
    // Makes room for what lies on the faces of elements. By element: its index in there, or None.
    KetSDK::Support::Values<std::uint32_t>
    NumberElements(KetSDK::Mesh::Detail::SurfaceFaces const& faces,
                   std::vector<KetSDK::Mesh::Detail::FaceMatch> const& matches,
                   KetSDK::Mesh::Detail::MappingLoop const& loop);
    void Enter(KetSDK::Mesh::Detail::SurfaceFaces const& faces,
               std::vector<KetSDK::Mesh::Detail::FaceMatch> const& matches,
               KetSDK::Mesh::Detail::MappingLoop const& loop);
    void FindRuns();
    void MapOnce() {
        if (!m_mapped)
            Map();
    }
    ElementFaces const* FacesOf(MMeshElement const& e) const noexcept;

    MStlBase* m_stl;
    MMeshBase* m_mesh;
    std::shared_ptr<KetSDK::Common::IProgressDelegate> m_delegate;
    bool m_parallel = false;
    bool m_mapped = false;
    KetSDK::Support::Values<std::uint32_t>
        m_entry_of_slot;                           // by mask index of the element: its index below, or None
    KetSDK::Support::Values<ElementFaces> m_faces; // of the elements with a triangle
    KetSDK::Support::Values<std::uint32_t>
        m_element_of;                // by triangle: the element that it is assigned to, or None
    std::vector<TriangleRun> m_runs; // by address
};
