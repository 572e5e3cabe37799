// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/MMeshOperatorSurface.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshElementIterators.h>
#include <KetSDK/Mesh/operators/MMeshOperatorSettingsSurface.h>
#include <KetSDK/Mesh/operators/detail/FaceMatcher.h>
#include <KetSDK/Mesh/operators/detail/SubVolumeIDs.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <tuple>
#include <utility>
#include <vector>

using namespace KetSDK::Mesh::Detail;

namespace {

// A face of a sub-tetrahedron: what a triangle iterator stands at.
struct Triangle {
    std::array<MLong, 3> nodes; // by ascending index
    std::uint32_t element;
    unsigned char tetrahedron;
    unsigned char face;
};
using Triangles = std::vector<Triangle>;

// The faces of each element on the boundary, as bits.
using FaceBits = std::vector<std::uint8_t>;

template <bool WithQuadrilaterals, typename Group>
FaceBits FindFaces(MMeshBase const& mesh, bool parallel, Group const& group) {
    FaceBits faces(static_cast<std::size_t>(mesh.NumberOfElements()), 0);
    FaceMatcher<WithQuadrilaterals>(mesh, parallel, group)
        .ForEachBoundaryFace([&faces](std::uint32_t element, std::uint32_t face, int, int, bool) {
            faces[element] = static_cast<std::uint8_t>(faces[element] | 1U << face);
        });
    return faces;
}

template <typename Group>
FaceBits FindFaces(MMeshBase const& mesh, bool parallel, Group const& group) {
    return HasTrianglesOnly(mesh.Elements(), parallel) ? FindFaces<false>(mesh, parallel, group)
                                                       : FindFaces<true>(mesh, parallel, group);
}

bool LiesOnOneOf(FaceBits::value_type faces, unsigned char n, NodeBits triangle) {
    auto const all = FacesOfElement(n);
    for (std::size_t f = 0; f < all.size(); ++f)
        if ((faces >> f & 1U) != 0 && (triangle & ~NodesOnFace(n, all[f])) == 0)
            return true;
    return false;
}

// Appends the triangles that the marked faces of the current element are cut into.
void AddTriangles(Triangles& triangles, MeshElementsIterator<0>& element, FaceBits::value_type faces) {
    unsigned char const n = element->GetNodeCount();
    for (MMeshOnElementTetraIterator tetrahedron(&element); !tetrahedron.IsDone(); ++tetrahedron)
        for (MMeshOnTetraTriangleIterator face(&tetrahedron); !face.IsDone(); ++face) {
            auto const t = static_cast<unsigned char>(tetrahedron.GetCurrentTetrahedron());
            auto const f = static_cast<unsigned char>(face.GetCurrentTriangle());
            if (!LiesOnOneOf(faces, n, NodesOfTriangle(n, t, f)))
                continue;
            MMeshPoint* corners[3];
            face.GetTriangle(corners);
            Triangle triangle{{}, static_cast<std::uint32_t>(element.GetPosition()), t, f};
            std::ranges::transform(corners, triangle.nodes.begin(), &MMeshPoint::GetIndex);
            std::ranges::sort(triangle.nodes);
            if (std::ranges::adjacent_find(triangle.nodes) == triangle.nodes.end())
                triangles.push_back(triangle);
        }
}

// By the order of the mesh, and of the triangle iterator within an element.
Triangles TrianglesOf(MMeshBase& mesh, FaceBits const& faces, bool parallel) {
    Triangles triangles;
    KetSDK::Support::ComputeSteps<Triangles>(
        {.items = faces.size(), .step = 4096, .parallel = parallel},
        [&](std::uint64_t first, std::uint64_t last, Triangles& found) {
            found.clear();
            for (std::uint64_t i = first; i < last; ++i)
                if (faces[i] != 0) {
                    MeshElementsIterator<0> element(&mesh.Elements(), i);
                    AddTriangles(found, element, faces[i]);
                }
        },
        [&](std::uint64_t, std::uint64_t, Triangles const& found) {
            triangles.insert(triangles.end(), found.begin(), found.end());
            return true;
        });
    return triangles;
}

// Where elements of different kinds meet, their faces may differ and the triangles of these be the same:
// takes out those that another element of the same group has too.
template <typename Group>
void RemoveShared(Triangles& triangles, MMeshElementContainer const& elements, Group const& group) {
    auto const shared = [&](Triangle const& a, Triangle const& b) {
        return a.nodes == b.nodes && a.element != b.element &&
               group(*elements.GetElementPtrAt(a.element)) == group(*elements.GetElementPtrAt(b.element));
    };
    std::ranges::stable_sort(triangles, {}, &Triangle::nodes);
    Triangles kept;
    for (auto first = triangles.begin(); first != triangles.end();) {
        auto const last = std::find_if(first, triangles.end(),
                                       [first](Triangle const& t) { return t.nodes != first->nodes; });
        std::copy_if(first, last, std::back_inserter(kept), [&](Triangle const& own) {
            return std::none_of(first, last, [&](Triangle const& other) { return shared(own, other); });
        });
        first = last;
    }
    std::ranges::sort(kept, {},
                      [](Triangle const& t) { return std::tuple(t.element, t.tetrahedron, t.face); });
    triangles = std::move(kept);
}

// group(element) says to which group an element belongs; faces between groups lie on the boundary.
template <typename Group>
Triangles BoundaryOf(MMeshBase& mesh, bool parallel, Group const& group) {
    MMeshElementContainer const& elements = mesh.Elements();
    Triangles triangles = TrianglesOf(mesh, FindFaces(mesh, parallel, group), parallel);
    unsigned char const kind = elements.begin()->GetNodeCount();
    if (!AllElements(elements, parallel, [kind](MMeshElement const& e) { return e.GetNodeCount() == kind; }))
        RemoveShared(triangles, elements, group);
    return triangles;
}

} // namespace

MMeshOperatorSurface::~MMeshOperatorSurface() = default;

bool MMeshOperatorSurface::Operate() {
    MMeshBase* const mesh = GetMesh();
    auto const* const settings = dynamic_cast<MMeshOperatorSettingsSurface const*>(GetSettings());
    if (!mesh || mesh->NumberOfElements() == 0 || (GetSettings() && !settings))
        return false;
    Triangles const triangles = settings && settings->GetInterfacesAreBoundary()
                                    ? BoundaryOf(*mesh, GetParallel(), SubVolumeIDs(*mesh))
                                    : BoundaryOf(*mesh, GetParallel(), OneGroup());
    MMeshElementMaskContainer& masks = *mesh->GetElementMasks();
    masks.ReleaseSurfaceMask();
    MDataMask<MMeshElement, MMeshSurfaceTriangleList>& lists = *masks.GetSurfaceMask();
    for (Triangle const& triangle : triangles)
        if (std::uint64_t const slot = mesh->GetElement(triangle.element)->GetMaskIndex();
            slot < lists.GetSize()) // an element may be registered with no mask
            lists.GetSlot(slot).Add(triangle.tetrahedron, triangle.face);
    return mesh->GetPointMasks()->RecalculateNeighbourMask(true, GetParallel());
}
