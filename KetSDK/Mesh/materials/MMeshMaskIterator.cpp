// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/materials/MMeshMaskIterator.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>

template <typename M>
MMeshMaskIterator<M> MMeshMaskIterator<M>::Begin(Mesh* mesh) {
    if (!mesh)
        return {Position(), Position()};
    auto const& masks = mesh->GetPointMasks()->Masks();
    MMeshMaskIterator begin(masks.begin(), masks.end());
    begin._Validate();
    return begin;
}

template <typename M>
MMeshMaskIterator<M> MMeshMaskIterator<M>::End(Mesh* mesh) {
    Position const end = mesh ? mesh->GetPointMasks()->Masks().end() : Position();
    return {end, end};
}

template <typename M>
MMeshMaskIterator<M>& MMeshMaskIterator<M>::operator++() {
    if (m_current != m_end)
        ++m_current;
    _Validate();
    return *this;
}

template <typename M>
MMeshMaskIterator<M> MMeshMaskIterator<M>::operator++(int) {
    MMeshMaskIterator const before(*this);
    ++*this;
    return before;
}

template <typename M>
void MMeshMaskIterator<M>::_Validate() {
    m_mask = nullptr;
    for (; m_current != m_end; ++m_current) {
        m_mask = dynamic_cast<M*>(*m_current);
        if (m_mask)
            return;
    }
}

template class MMeshMaskIterator<MMeshScalarMaskPoints>;
template class MMeshMaskIterator<MMeshScalarMaskPoints const>;
template class MMeshMaskIterator<MMeshNamedScalarMaskPoints>;
template class MMeshMaskIterator<MMeshNamedScalarMaskPoints const>;
