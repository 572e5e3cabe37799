// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/mesh/MeshElementsIterator.h>

#include <KetSDK/Mesh/mesh/MMeshElementContainer.h>

#include <new>

namespace KetSDK::Mesh::Detail {

template <int IsConst>
MeshElementsIterator<IsConst>::~MeshElementsIterator() = default;

template <int IsConst>
std::size_t MeshElementsIterator<IsConst>::GetCloneSize() const {
    return sizeof(*this);
}

template <int IsConst>
MeshElementsIterator<IsConst>* MeshElementsIterator<IsConst>::Clone(void* storage) const {
    return storage ? new (storage) MeshElementsIterator(*this) : nullptr;
}

template <int IsConst>
MeshElementsIterator<IsConst>& MeshElementsIterator<IsConst>::operator++() {
    ++m_position;
    return *this;
}

template <int IsConst>
MeshElementsIterator<IsConst>& MeshElementsIterator<IsConst>::First() {
    m_position = 0;
    return *this;
}

template <int IsConst>
bool MeshElementsIterator<IsConst>::IsDone() const {
    return m_position >= m_container->GetNumElements();
}

template class MeshElementsIterator<0>;
template class MeshElementsIterator<1>;

} // namespace KetSDK::Mesh::Detail
