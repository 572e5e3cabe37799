// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MeshElementsIterator.h>

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <type_traits>

class MMeshSubVolume;

namespace KetSDK::Mesh::Detail {

// Walks the elements of a mesh that carry the number of a sub-volume: <0> gives elements that can be
// changed, <1> const ones. Copies are independent.
template <int IsConst>
class KETSDK_MESH_API SubVolumeElementsIterator {
public:
    using SubVolume = std::conditional_t<IsConst != 0, MMeshSubVolume const, MMeshSubVolume>;
    using Element = typename MeshElementsIterator<IsConst>::Element;

    using iterator_category = std::input_iterator_tag;
    using value_type = MMeshElement;
    using difference_type = std::ptrdiff_t;
    using pointer = Element*;
    using reference = Element&;

    // At the first member of the sub-volume; at the end for null and for one whose mesh is gone.
    static SubVolumeElementsIterator Begin(SubVolume* sub_volume);
    static SubVolumeElementsIterator End(SubVolume* sub_volume);

    SubVolumeElementsIterator(SubVolumeElementsIterator const& other);
    SubVolumeElementsIterator(SubVolumeElementsIterator&&) noexcept = default;
    SubVolumeElementsIterator& operator=(SubVolumeElementsIterator const& other);
    SubVolumeElementsIterator& operator=(SubVolumeElementsIterator&&) noexcept = default;

    SubVolumeElementsIterator& operator++();
    bool IsDone() const noexcept { return m_at_end; }
    // The index of the current element in the mesh.
    std::uint64_t GetPosition() const noexcept { return m_element_it->GetPosition(); }

    Element& operator*() const noexcept { return **m_element_it; }
    Element* operator->() const noexcept { return &**m_element_it; }

    // Both at the end, or both at the same element.
    bool operator==(SubVolumeElementsIterator const& o) const noexcept;

private:
    SubVolumeElementsIterator(SubVolume* sub_volume, std::unique_ptr<MeshElementsIterator<IsConst>> it)
        : m_sub_volume(sub_volume)
        , m_element_it(std::move(it))
        , m_at_end(!m_element_it) {}
    // On from the current element to the next member, the current one included.
    void FindMember();

    SubVolume* m_sub_volume;
    std::unique_ptr<MeshElementsIterator<IsConst>> m_element_it;
    bool m_at_end;
};

extern template class SubVolumeElementsIterator<0>;
extern template class SubVolumeElementsIterator<1>;

} // namespace KetSDK::Mesh::Detail
