// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/persistence/detail/MeshSwap.h>

#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/Mesh/materials/detail/MMaskFile.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <vector>

namespace KetSDK::Mesh::Detail {

namespace {

// The file: node block, element block, the mask index of every node and of every element (64 bits each), a
// byte that says whether there is a coordinate index, the number of nodes that it knows and their numbers (32
// bits), then the blocks of the element masks and of the node masks.

constexpr std::size_t ValuesAtOnce = 4096;

// The nodes of a mesh, for range-for.
struct NodesOf {
    MMeshBase& mesh;
    struct Iterator {
        MMeshPointIterator at;
        MMeshPoint& operator*() const { return *at; }
        MMeshPoint* operator->() const { return at; }
        Iterator& operator++() {
            ++at;
            return *this;
        }
        bool operator!=(Iterator const& other) const { return at != other.at; }
    };
    Iterator begin() const { return {mesh.BeginPoint()}; }
    Iterator end() const { return {mesh.EndPoint()}; }
};

template <typename Container>
void WriteIndices(MFile& file, Container const& objects) {
    std::vector<std::uint64_t> indices;
    indices.reserve(ValuesAtOnce);
    for (auto const& object : objects) {
        indices.push_back(object.GetMaskIndex());
        if (indices.size() == ValuesAtOnce) {
            file.WriteArray<std::uint64_t>(indices);
            indices.clear();
        }
    }
    file.WriteArray<std::uint64_t>(indices);
}

template <typename Container>
void ReadIndices(MFile& file, std::uint64_t left, Container& objects) {
    std::vector<std::uint64_t> indices(ValuesAtOnce);
    auto object = objects.begin();
    while (left > 0) {
        std::span const block(indices.data(),
                              static_cast<std::size_t>(std::min<std::uint64_t>(left, ValuesAtOnce)));
        ThrowUnless(file.ReadArray(block));
        for (std::uint64_t const index : block) {
            object->SetMaskIndex(index);
            ++object;
        }
        left -= block.size();
    }
}

std::vector<std::uint32_t> ReadNodeNumbers(MFile& file, std::uint64_t nodes) {
    auto const count = file.READ<std::uint32_t>();
    ThrowUnless(file.IsGood() && count <= nodes);
    std::vector<std::uint32_t> numbers(count);
    ThrowUnless(file.ReadArray(std::span(numbers)) &&
                std::ranges::all_of(numbers, [nodes](std::uint32_t number) { return number < nodes; }));
    return numbers;
}

// Enters the objects under their indices; those that were registered with no mask are left out.
template <typename Masks, typename Container>
void Reenter(Masks& masks, Container& objects) {
    for (auto& object : objects)
        if (object.GetMaskIndex() != MDataMaskIndex::NotRegistered)
            masks.ReenterObject(object);
}

// What became of the numbers of sub-volumes: none when nothing has changed, -1 for those that have gone.
std::map<int, int> NewNumbers(std::map<int, std::uint64_t> const& before, MMeshBase const& mesh) {
    std::map<std::uint64_t, int> number_of;
    for (auto it = mesh.BeginSubVolume(); it != mesh.EndSubVolume(); ++it)
        number_of.emplace((*it)->GetUniqueID(), (*it)->GetID());
    std::map<int, int> changed;
    for (auto const& [number, identity] : before) {
        auto const found = number_of.find(identity);
        if (int const now = found == number_of.end() ? -1 : found->second; now != number)
            changed[number] = now;
    }
    return changed;
}

// Whether those that have a mask index have one of their own, within the masks.
template <typename Masks, typename Container>
bool HaveOwnIndices(Masks const& masks, Container const& objects) {
    std::vector<bool> taken(static_cast<std::size_t>(masks.GetCapacity()));
    for (auto const& object : objects) {
        if (object.GetMaskIndex() == MDataMaskIndex::NotRegistered)
            continue;
        auto const index = static_cast<std::size_t>(object.GetMaskIndex());
        if (index >= taken.size() || taken[index])
            return false;
        taken[index] = true;
    }
    return true;
}

// Whether the nodes of all elements are those of the mesh, and no copies of them.
bool OwnsItsNodes(MMeshBase const& mesh) {
    bool all = true;
    mesh.Elements().ForEachWithNodes([&](MMeshElement const& e, std::uint64_t) {
        for (unsigned int i = 0; i < e.GetNodeCount(); ++i)
            all &=
                &*mesh.GetRandomPoint(static_cast<std::uint64_t>(e.GetNode(i)->GetIndex())) == e.GetNode(i);
    });
    return all;
}

} // namespace

bool MeshSwap::CanBeRestored(MMeshBase const& mesh) {
    return mesh.IsConsistent() && OwnsItsNodes(mesh) &&
           HaveOwnIndices(*mesh.GetPointMasks(), NodesOf{const_cast<MMeshBase&>(mesh)}) &&
           HaveOwnIndices(*mesh.GetElementMasks(), mesh.Elements());
}

std::map<int, std::uint64_t> MeshSwap::SubVolumesOf(MMeshBase const& mesh) {
    std::map<int, std::uint64_t> identities;
    for (auto it = mesh.BeginSubVolume(); it != mesh.EndSubVolume(); ++it)
        identities.emplace((*it)->GetID(), (*it)->GetUniqueID());
    return identities;
}

void MeshSwap::Write(MMeshBase& mesh, MFile& file) {
    mesh.m_points->SavePointsToFile(&file);
    mesh.m_elements->SaveElementsToFile(&file);
    WriteIndices(file, NodesOf{mesh});
    WriteIndices(file, mesh.Elements());
    file.WRITE(mesh.m_points->HasCoordinateIndex());
    std::vector<std::uint32_t> const indexed = mesh.m_points->GetIndexedNodes();
    file.WRITE(static_cast<std::uint32_t>(indexed.size()));
    file.WriteArray<std::uint32_t>(indexed);
    mesh.m_element_masks->SaveElementMaskToFile(&mesh, &file);
    mesh.m_point_masks->SaveMeshPointMaskToFile(&file);
}

void MeshSwap::Release(MMeshBase& mesh) noexcept {
    mesh.m_neighbors->Disable();
    mesh.RemoveCorrespondenceMapper();
    ReleaseBuiltInMasks(*mesh.m_element_masks);
    mesh.m_element_masks->ForgetObjects();
    ReleaseBuiltInMasks(*mesh.m_point_masks);
    mesh.m_point_masks->ReleaseNeighbourMask();
    mesh.m_point_masks->ForgetObjects();
    mesh.m_elements->Clear();
    mesh.m_points->Clear();
}

bool MeshSwap::IsReleased(MMeshBase const& mesh) noexcept {
    return mesh.NumberOfPoints() == 0 && mesh.NumberOfElements() == 0;
}

void MeshSwap::Restore(MMeshBase& mesh, MFile& file, std::map<int, std::uint64_t> const& sub_volumes) {
    std::map<int, int> const new_number = NewNumbers(sub_volumes, mesh);
    MMeshBase loaded;
    loaded.m_points->LoadPointsFromFile(&loaded, &file);
    loaded.m_elements->LoadElementsFromFile(&loaded, &file);
    NodesOf nodes{loaded};
    ReadIndices(file, loaded.m_points->GetNumPoints(), nodes);
    ReadIndices(file, loaded.m_elements->GetNumElements(), loaded.Elements());
    bool const has_coordinate_index = file.READ<bool>();
    std::vector<std::uint32_t> const indexed = ReadNodeNumbers(file, loaded.m_points->GetNumPoints());
    if (has_coordinate_index)
        loaded.m_points->CreateCoordinateIndex(indexed);
    try {
        Reenter(*mesh.m_point_masks, nodes);
        Reenter(*mesh.m_element_masks, loaded.Elements());
        mesh.m_points.swap(loaded.m_points);
        mesh.m_elements.swap(loaded.m_elements);
        mesh.m_element_masks->LoadElementMaskFromFile(&mesh, &file);
        mesh.m_point_masks->LoadMeshPointMaskFromFile(&file);
        ThrowUnless(file.BytesLeft() == 0);
        if (!new_number.empty())
            mesh.RenumberElements(new_number);
    } catch (...) {
        Release(mesh);
        throw;
    }
}

} // namespace KetSDK::Mesh::Detail
