// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/materials/MMeshPointMaskContainer.h>

#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/Mesh/materials/detail/MMaskFile.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshElementIterators.h>

using namespace KetSDK::Mesh::Detail;

// One iterator a triangle, which the lists of its three nodes share.
struct MMeshPointMaskContainer::NeighbourMask {
    std::vector<std::unique_ptr<MMeshTriangleIterator>> triangles;
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

bool MMeshPointMaskContainer::RecalculateNeighbourMask(bool surface_only) {
    ReleaseNeighbourMask();
    MMeshElementMaskContainer& element_masks = *m_mesh->GetElementMasks();
    if (m_mesh->NumberOfElements() == 0 || (surface_only && !element_masks.HasSurfaceMask()))
        return false;
    auto mask = std::make_unique<NeighbourMask>();
    AddMask(&mask->lists);

    auto const enter = [&mask](MMeshTriangleIterator const& triangle) {
        MMeshPoint* corners[3];
        triangle.GetTriangle(corners);
        MMeshTriangleIterator* const kept = mask->triangles.emplace_back(triangle.Clone(nullptr)).get();
        for (MMeshPoint const* corner : corners)
            if (corner->GetMaskIndex() < mask->lists.GetSize())
                mask->lists.GetSlot(corner->GetMaskIndex()).push_back(kept);
    };
    std::unique_ptr<MeshElementsIterator<0>> element_it(m_mesh->CreateBeginElementIter());
    if (surface_only) {
        for (; !element_it->IsDone(); ++*element_it) {
            for (auto const& face : element_masks.GetSurfaceMask()->GetValue(**element_it)) {
                MMeshTetrahedronIterator tetrahedron(element_it.get(), static_cast<char>(face.tetrahedron));
                enter(MMeshTriangleIterator(&tetrahedron, static_cast<char>(face.triangle)));
            }
        }
    } else {
        MMeshTetrahedronIterator tetrahedron(element_it.get());
        for (MMeshTriangleIterator triangle(&tetrahedron); !triangle.IsDone(); ++triangle)
            enter(triangle);
    }
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
