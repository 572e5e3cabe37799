// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshElement.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

class MMeshElementContainer;

namespace KetSDK::Mesh::Detail {

// Walks an element container by number: MeshElementsIterator<0> gives elements that can be changed,
// MeshElementsIterator<1> const ones. Copies are independent. One thread at a time per iterator.
template <int IsConst>
class KETSDK_MESH_API MeshElementsIterator {
public:
    using Container = std::conditional_t<IsConst != 0, MMeshElementContainer const, MMeshElementContainer>;
    using Element = std::conditional_t<IsConst != 0, MMeshElement const, MMeshElement>;

    MeshElementsIterator(Container* container, std::uint64_t position) noexcept
        : m_position(position)
        , m_container(container) {}
    MeshElementsIterator(MeshElementsIterator const&) = default;
    MeshElementsIterator& operator=(MeshElementsIterator const&) = default;

    // Room that Clone needs, in bytes.
    virtual std::size_t GetCloneSize() const;
    // Builds a copy in a block of GetCloneSize() bytes and returns it; null without a block.
    virtual MeshElementsIterator* Clone(void* storage) const;
    virtual ~MeshElementsIterator();
    // On to the next element.
    virtual MeshElementsIterator& operator++();
    // Back to element 0.
    virtual MeshElementsIterator& First();
    // True at or beyond the end of the container.
    virtual bool IsDone() const;

    // The current element; not to be called when done.
    Element& operator*() const noexcept;
    Element* operator->() const noexcept { return &**this; }

    std::uint64_t GetPosition() const noexcept { return m_position; }
    Container* GetContainer() const noexcept { return m_container; }

    // Same index in the same container.
    bool operator==(MeshElementsIterator const& o) const noexcept {
        return m_position == o.m_position && m_container == o.m_container;
    }

private:
    std::uint64_t m_position;
    Container* m_container;
};

extern template class MeshElementsIterator<0>;
extern template class MeshElementsIterator<1>;

} // namespace KetSDK::Mesh::Detail
