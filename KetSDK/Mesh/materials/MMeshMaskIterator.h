// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/materials/MDataMask.h>
#include <KetSDK/Mesh/materials/MMeshNamedScalarMaskPoints.h>
#include <KetSDK/Mesh/materials/MMeshScalarMaskPoints.h>
#include <KetSDK/Mesh/mesh/MMeshPoint.h>

#include <cstddef>
#include <iterator>
#include <type_traits>
#include <vector>

class MMeshBase;

// Walks the masks of kind M, derived kinds included, that are registered with a mesh's node masks, in that
// order. Of a mesh that must not change those of kind M const. A mask that is registered or dies makes the
// iterators of its mesh invalid. One thread at a time, while none registers masks.
template <typename M>
class KETSDK_MESH_API MMeshMaskIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = M;
    using difference_type = std::ptrdiff_t;
    using pointer = M*;
    using reference = M&;

    using Mesh = std::conditional_t<std::is_const_v<M>, MMeshBase const, MMeshBase>;

    // At the first mask of kind M, at the end when there is none; for a null mesh always at the end.
    static MMeshMaskIterator Begin(Mesh* mesh);
    static MMeshMaskIterator End(Mesh* mesh);

    // On to the next mask of kind M; at the end it stays there.
    MMeshMaskIterator& operator++();
    MMeshMaskIterator operator++(int);

    // The current mask; not at the end.
    M& operator*() const noexcept { return *m_mask; }
    M* operator->() const noexcept { return m_mask; }
    // The same as a pointer; null at the end.
    operator M*() const noexcept { return m_mask; }

    // Whether two iterators of one mesh are at the same mask.
    bool operator==(MMeshMaskIterator const& other) const noexcept { return m_current == other.m_current; }

private:
    using Position = typename std::vector<MDataMaskBase<MMeshPoint>*>::const_iterator;

    MMeshMaskIterator(Position current, Position end)
        : m_current(current)
        , m_end(end) {}
    // On from the current mask to one of kind M, which it may be itself.
    void _Validate();

    Position m_current;
    Position m_end;
    M* m_mask = nullptr;
};

extern template class MMeshMaskIterator<MMeshScalarMaskPoints>;
extern template class MMeshMaskIterator<MMeshScalarMaskPoints const>;
extern template class MMeshMaskIterator<MMeshNamedScalarMaskPoints>;
extern template class MMeshMaskIterator<MMeshNamedScalarMaskPoints const>;
