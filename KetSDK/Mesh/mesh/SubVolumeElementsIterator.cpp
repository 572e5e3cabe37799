// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/mesh/SubVolumeElementsIterator.h>

#include <KetSDK/Mesh/materials/MMeshElementMaskContainer.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshSubVolume.h>

namespace KetSDK::Mesh::Detail {

template <int IsConst>
SubVolumeElementsIterator<IsConst> SubVolumeElementsIterator<IsConst>::Begin(SubVolume* sub_volume) {
    if (!sub_volume || !sub_volume->GetParent())
        return End(sub_volume);
    std::unique_ptr<MeshElementsIterator<IsConst>> it(sub_volume->GetParent()->CreateBeginElementIter());
    SubVolumeElementsIterator begin(sub_volume, std::move(it));
    begin.FindMember();
    return begin;
}

template <int IsConst>
SubVolumeElementsIterator<IsConst> SubVolumeElementsIterator<IsConst>::End(SubVolume* sub_volume) {
    return {sub_volume, nullptr};
}

template <int IsConst>
SubVolumeElementsIterator<IsConst>::SubVolumeElementsIterator(SubVolumeElementsIterator const& other)
    : m_sub_volume(other.m_sub_volume)
    , m_element_it(other.m_element_it ? std::make_unique<MeshElementsIterator<IsConst>>(*other.m_element_it)
                                      : nullptr)
    , m_at_end(other.m_at_end) {}

template <int IsConst>
SubVolumeElementsIterator<IsConst>&
SubVolumeElementsIterator<IsConst>::operator=(SubVolumeElementsIterator const& other) {
    return *this = SubVolumeElementsIterator(other);
}

template <int IsConst>
SubVolumeElementsIterator<IsConst>& SubVolumeElementsIterator<IsConst>::operator++() {
    ++*m_element_it;
    FindMember();
    return *this;
}

template <int IsConst>
bool SubVolumeElementsIterator<IsConst>::operator==(SubVolumeElementsIterator const& o) const noexcept {
    if (m_at_end || o.m_at_end)
        return m_at_end == o.m_at_end;
    return *m_element_it == *o.m_element_it;
}

template <int IsConst>
void SubVolumeElementsIterator<IsConst>::FindMember() {
    MMeshElementMaskContainer const& masks = *m_sub_volume->GetParent()->GetElementMasks();
    MDataMask<MMeshElement, int> const* const numbers = masks.GetSubvolumeMask();
    while (!m_element_it->IsDone() &&
           (!numbers || numbers->GetValue(**m_element_it) != m_sub_volume->GetID()))
        ++*m_element_it;
    m_at_end = m_element_it->IsDone();
}

template class SubVolumeElementsIterator<0>;
template class SubVolumeElementsIterator<1>;

} // namespace KetSDK::Mesh::Detail
