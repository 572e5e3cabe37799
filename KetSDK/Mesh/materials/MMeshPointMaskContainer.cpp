// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/materials/MMeshPointMaskContainer.h>

#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/Mesh/materials/detail/MMaskFile.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshElementIterators.h>
#include <KetSDK/Support/MArenaAllocator.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <cstddef>
#include <numeric>

using namespace KetSDK;
using namespace KetSDK::Mesh::Detail;

namespace {

// A face of a tetrahedron of an element, with the mask indices of its corners.
struct Triangle {
    std::uint64_t corners[3];
    std::uint32_t element;
    char tetrahedron;
    char face;
};
using Triangles = std::vector<Triangle>;

// Calls visit(iterator at the triangle).
template <typename Visit>
void AtTriangle(MMeshBase& mesh, std::uint64_t number, char tetrahedron, char face, Visit const& visit) {
    MeshElementsIterator<0> element(&mesh.Elements(), number);
    MMeshTetrahedronIterator below(&element, tetrahedron);
    visit(MMeshTriangleIterator(&below, face));
}

Triangle MakeTriangle(MMeshBase& mesh, std::uint64_t number, std::uint8_t tetrahedron, std::uint8_t face) {
    Triangle triangle{
        {}, static_cast<std::uint32_t>(number), static_cast<char>(tetrahedron), static_cast<char>(face)};
    AtTriangle(mesh, number, triangle.tetrahedron, triangle.face, [&](MMeshTriangleIterator const& it) {
        MMeshPoint* corners[3];
        it.GetTriangle(corners);
        std::ranges::transform(corners, triangle.corners, &MMeshPoint::GetMaskIndex);
    });
    return triangle;
}

using SurfaceMask = MDataMask<MMeshElement, MMeshSurfaceTriangleList>;

// Those of elements first to last - 1: the faces that the mask lists, or all without a mask.
void CollectTriangles(MMeshBase& mesh, SurfaceMask const* surface, std::uint64_t first, std::uint64_t last,
                      Triangles& triangles) {
    for (std::uint64_t number = first; number < last; ++number) {
        MMeshElement const& e = *mesh.Elements().GetElementPtrAt(number);
        if (surface) {
            for (auto const& face : surface->GetValue(e))
                triangles.push_back(MakeTriangle(mesh, number, face.tetrahedron, face.triangle));
            continue;
        }
        unsigned char const tetrahedra = MMeshElementDescriptor::GetNumTetraOfElement(e.GetNodeCount());
        for (std::uint8_t tetrahedron = 0; tetrahedron < tetrahedra; ++tetrahedron)
            for (std::uint8_t face = 0; face < 4; ++face)
                triangles.push_back(MakeTriangle(mesh, number, tetrahedron, face));
    }
}

// In the order of the mesh.
Triangles FindTriangles(MMeshBase& mesh, SurfaceMask const* surface, bool parallel) {
    Triangles triangles;
    Support::ComputeSteps<Triangles>(
        {.items = static_cast<std::uint64_t>(mesh.NumberOfElements()), .step = 4096, .parallel = parallel},
        [&](std::uint64_t first, std::uint64_t last, Triangles& found) {
            found.clear();
            CollectTriangles(mesh, surface, first, last, found);
        },
        [&](std::uint64_t, std::uint64_t, Triangles const& found) {
            triangles.insert(triangles.end(), found.begin(), found.end());
            return true;
        });
    return triangles;
}

} // namespace

// One iterator a triangle, which the lists of its three nodes share.
struct MMeshPointMaskContainer::NeighbourMask {
    NeighbourMask() = default;
    NeighbourMask(NeighbourMask const&) = delete;
    NeighbourMask& operator=(NeighbourMask const&) = delete;
    ~NeighbourMask() {
        for (MMeshTriangleIterator* const iterator : iterators)
            if (iterator) // else memory ran out before all were made
                iterator->~MMeshTriangleIterator();
    }

    // Makes the iterators, one behind the other.
    void MakeIterators(MMeshBase& mesh, Triangles const& triangles, bool parallel) {
        if (triangles.empty())
            return;
        std::size_t size = 0;
        AtTriangle(mesh, 0, 0, 0, [&size](MMeshTriangleIterator const& it) { size = it.GetCloneSize(); });
        memory.resize(triangles.size() * size);
        iterators.resize(triangles.size());
        Support::ComputeSteps({.items = triangles.size(), .step = 4096, .parallel = parallel},
                              [&](std::uint64_t first, std::uint64_t last) {
                                  for (std::uint64_t i = first; i < last; ++i)
                                      AtTriangle(mesh, triangles[i].element, triangles[i].tetrahedron,
                                                 triangles[i].face, [&](MMeshTriangleIterator const& it) {
                                                     iterators[i] = it.Clone(memory.data() + i * size);
                                                 });
                              });
    }

    // Fills the lists of the nodes, one behind the other.
    void FillLists(Triangles const& triangles) {
        // Of each list; of the one before until it is filled.
        std::vector<std::uint64_t> ends(lists.GetSize(), 0);
        for (Triangle const& triangle : triangles)
            for (std::uint64_t const corner : triangle.corners)
                if (corner < ends.size())
                    ++ends[corner];
        std::exclusive_scan(ends.begin(), ends.end(), ends.begin(), std::uint64_t{0});
        entries.resize(3 * triangles.size());
        for (std::size_t i = 0; i < triangles.size(); ++i)
            for (std::uint64_t const corner : triangles[i].corners)
                if (corner < ends.size())
                    entries[ends[corner]++] = iterators[i];
        for (std::uint64_t corner = 0, begin = 0; corner < ends.size(); begin = ends[corner++])
            lists.GetSlot(corner) = std::span(entries).subspan(begin, ends[corner] - begin);
    }

    std::vector<std::byte, Support::MUninitializedAllocator<std::byte>> memory;
    std::vector<MMeshTriangleIterator*> iterators;
    std::vector<MMeshTriangleIterator*> entries;
    MDataMask<MMeshPoint, TriangleList> lists;
};

MMeshPointMaskContainer::MMeshPointMaskContainer(MMeshBase* mesh)
    : m_mesh(mesh) {
    KeepObjectTable();
}

MMeshPointMaskContainer::~MMeshPointMaskContainer() = default;

MDataMask<MMeshPoint, int>* MMeshPointMaskContainer::GetOriginalIDs() {
    return m_original_ids ? m_original_ids.get() : MakeBuiltInMask(*this, m_original_ids);
}

void MMeshPointMaskContainer::Clear() {
    MakeRoomToReplaceAll(0, false);
    ReleaseBuiltInMasks(*this);
    ReleaseNeighbourMask();
    DropMasks();
    ReleaseAllIDs();
}

bool MMeshPointMaskContainer::RecalculateNeighbourMask(bool surface_only, bool parallel) {
    ReleaseNeighbourMask();
    MMeshElementMaskContainer& element_masks = *m_mesh->GetElementMasks();
    if (m_mesh->NumberOfElements() == 0 || (surface_only && !element_masks.HasSurfaceMask()))
        return false;
    auto mask = std::make_unique<NeighbourMask>();
    AddMask(&mask->lists);
    Triangles const triangles =
        FindTriangles(*m_mesh, surface_only ? element_masks.GetSurfaceMask() : nullptr, parallel);
    mask->MakeIterators(*m_mesh, triangles, parallel);
    mask->FillLists(triangles);
    m_neighbours = std::move(mask);
    return true;
}

void MMeshPointMaskContainer::ReleaseNeighbourMask() noexcept {
    m_neighbours.reset();
}

void MMeshPointMaskContainer::GetNeighbourMaskPointInfo(MMeshPoint const& point,
                                                        MMeshTriangleIterator**& triangles,
                                                        unsigned long long& count) {
    triangles = nullptr;
    count = 0;
    if (!m_neighbours || point.GetMaskIndex() >= m_neighbours->lists.GetSize())
        return;
    TriangleList& list = m_neighbours->lists.GetSlot(point.GetMaskIndex());
    triangles = list.empty() ? nullptr : list.data();
    count = list.size();
}

void MMeshPointMaskContainer::GetNeighbourMaskPointInfo(MMeshPoint const& point,
                                                        MMeshTriangleIterator**& triangles,
                                                        unsigned long long& count) const {
    const_cast<MMeshPointMaskContainer*>(this)->GetNeighbourMaskPointInfo(point, triangles, count);
}

void MMeshPointMaskContainer::CopyBuiltInMasksOf(MMeshPointMaskContainer const& other,
                                                 MMeshBase const& source) {
    ForEachBuiltInMask<MMeshPointMaskContainer>([&](auto const& row) {
        auto const* const values = row.Find(other);
        if (!values)
            return;
        auto& copies = *row.Make(*this);
        MMeshPointIterator copy = m_mesh->BeginPoint();
        for (MMeshPointConstIterator p = source.BeginPoint(); p != source.EndPoint(); ++p, ++copy)
            copies.SetValue(*copy, values->GetValue(*p));
    });
}

static MaskOrder OrderOfNodes(MMeshBase const& mesh) {
    return {static_cast<std::uint64_t>(mesh.NumberOfPoints()),
            [&mesh](std::uint64_t i) { return mesh.GetRandomPoint(i)->GetMaskIndex(); }};
}

void MMeshPointMaskContainer::SaveMeshPointMaskToFile(MFile* file) const {
    MaskOrder const order = OrderOfNodes(*m_mesh);
    SaveBuiltInMasks(*this, order.GetCount(), *file,
                     [&](auto const& mask) { WriteNumbers(*file, mask, order); });
}

void MMeshPointMaskContainer::LoadMeshPointMaskFromFile(MFile* file) {
    MaskOrder const order = OrderOfNodes(*m_mesh);
    LoadBuiltInMasks(*this, order.GetCount(), *file, [&](auto& mask) { ReadNumbers(*file, mask, order); });
}
