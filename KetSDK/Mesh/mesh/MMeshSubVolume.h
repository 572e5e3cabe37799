// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/SubVolumeElementsIterator.h>

#include <cstdint>
#include <string>
#include <utility>

class MMeshBase;
class MMeshElement;
class MMeshPoint;

namespace KetSDK::Mesh::Detail {
class MeshTagsReader;
}

// A named group of a mesh's elements. Which elements belong to it stands in the mesh's sub-volume mask;
// the sub-volume itself only counts them, so walking one takes a pass over the whole mesh.
// Several threads may make sub-volumes at the same time, but not for one mesh.
class KETSDK_MESH_API MMeshSubVolume {
public:
    // Named "Volume " and the number, with material number 1 and no elements.
    MMeshSubVolume(MMeshBase* parent, int number);
    // A copy has the same fields, the unique identity included.
    MMeshSubVolume(MMeshSubVolume const&) = default;
    MMeshSubVolume& operator=(MMeshSubVolume const&) = default;
    ~MMeshSubVolume() = default;

    // The mesh; not owned. Null once the mesh is gone or has dropped the sub-volume from its list: such a
    // sub-volume has no elements, and adding one throws std::runtime_error("invalid state").
    MMeshBase* GetParent() noexcept { return m_parent; }
    MMeshBase const* GetParent() const noexcept { return m_parent; }
    void SetParent(MMeshBase* parent) noexcept { m_parent = parent; }

    std::wstring const& GetName() const noexcept { return m_name; }
    void SetName(std::wstring const& name) { m_name = name; }
    void SetName(std::wstring&& name) noexcept { m_name = std::move(name); }

    // The number that member elements carry: the index in the mesh's list while that is in order.
    // Changing it without rewriting the elements detaches them.
    int GetID() const noexcept { return m_number; }
    void SetID(int number) noexcept { m_number = number; }

    int GetMatID() const noexcept { return m_material; }
    void SetMatID(int material) noexcept { m_material = material; }

    // Numbered in order of construction within the process and never given twice.
    std::uint64_t GetUniqueID() const noexcept { return m_unique_id; }

    // Number of elements, as the operations below keep it.
    std::uint64_t GetNbElements() const noexcept {
        return static_cast<std::uint64_t>(std::int64_t{m_element_count});
    }
    // Number of distinct nodes that its elements use.
    std::uint64_t GetNbPoints() const;
    // Signed volume in cubic model units; positive for correctly oriented elements.
    double GetVolume() const;

    // Makes the element a member and counts it. The count of the sub-volume that it belonged to is left
    // alone: use MoveElement to move one.
    void IncludeElement(MMeshElement& e);
    // Moves an element that is a member here (not checked) to another sub-volume.
    void MoveElement(MMeshElement& e, MMeshSubVolume* target);
    void MoveAllElements(MMeshSubVolume* target);
    // Adds an element with the first n nodes of `nodes` to the mesh, as a member of this sub-volume.
    MMeshElement* AddElement(char n, MMeshPoint** nodes);

    // Walk the member elements in the order of the mesh.
    KetSDK::Mesh::Detail::SubVolumeElementsIterator<0> begin();
    KetSDK::Mesh::Detail::SubVolumeElementsIterator<0> end();
    KetSDK::Mesh::Detail::SubVolumeElementsIterator<1> begin() const;
    KetSDK::Mesh::Detail::SubVolumeElementsIterator<1> end() const;

    // Next unique identity. Constructors take it atomically, as jobs may make meshes at the same time.
    static std::uint64_t mg_unique_counter;

private:
    friend class MMeshBase;
    friend class KetSDK::Mesh::Detail::MeshTagsReader; // reads counts from a file

    // Lets go of the mesh and its elements.
    void Detach() noexcept {
        m_parent = nullptr;
        m_element_count = 0;
    }
    // A count that came out of a file may be any number: it wraps round.
    void Count(unsigned int change) noexcept {
        m_element_count = static_cast<int>(static_cast<unsigned int>(m_element_count) + change);
    }

    MMeshBase* m_parent;
    std::wstring m_name;
    int m_element_count = 0;
    int m_number;
    int m_material = 1;
    std::uint64_t m_unique_id;
};
