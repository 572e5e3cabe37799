// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/materials/MDataMaskContainer.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

template <typename T>
MDataMaskContainer<T>::~MDataMaskContainer() {
    DropMasks();
}

template <typename T>
void MDataMaskContainer<T>::Optimise() {}

template <typename T>
typename MDataMaskContainer<T>::NewIndices MDataMaskContainer<T>::HandOut(std::uint64_t count) {
    NewIndices indices;
    std::uint64_t const reused = std::min(count, m_free_count);
    indices.m_reused.reserve(static_cast<std::size_t>(reused));
    MakeUnfilledRoom(CapacityWith(count - reused)); // nothing after it runs out of memory
    while (indices.m_reused.size() < reused)
        indices.m_reused.push_back(_GetNewID());
    indices.m_first = GetNewIDsUnfilled(count - reused);
    return indices;
}

template <typename T>
void MDataMaskContainer<T>::ReenterObject(T& object) {
    std::uint64_t const index = object.GetMaskIndex();
    if (index >= m_capacity)
        throw std::runtime_error("invalid state");
    m_objects.Grow(m_capacity, nullptr);
    if (m_objects[index])
        throw std::runtime_error("invalid state");
    m_objects[index] = &object;
}

template <typename T>
void MDataMaskContainer<T>::UnregisterMaskObject(T const& object) {
    std::uint64_t const index = object.GetMaskIndex();
    if (index >= m_capacity)
        return;
    if (m_keep_objects && GetObjectAt(index) != &object)
        return; // given back before
    m_free.Grow(m_free_count + 1, 0);
    if (m_keep_objects)
        m_objects[index] = nullptr;
    _ReleaseID(index);
}

template <typename T>
void MDataMaskContainer<T>::ResetMaskObject(T const& object) {
    for (MDataMaskBase<T>* mask : m_masks)
        mask->ResetValueAt(object.GetMaskIndex());
}

template <typename T>
void MDataMaskContainer<T>::CopyMaskInfo(T const& from, T const& to) {
    for (MDataMaskBase<T>* mask : m_masks)
        if (mask->GetCopyFlag())
            mask->CopyValue(from, to);
}

template <typename T>
bool MDataMaskContainer<T>::AddMask(IDataMask* mask) {
    auto* const typed = dynamic_cast<MDataMaskBase<T>*>(mask);
    if (!typed || typed->m_owner)
        return false;
    typed->m_size = 0; // slots of an earlier owner mean nothing here
    typed->Resize(m_capacity);
    m_masks.push_back(typed);
    typed->m_owner = this;
    return true;
}

template <typename T>
void MDataMaskContainer<T>::AddSizedMask(MDataMaskBase<T>* mask) {
    m_masks.push_back(mask);
    mask->m_owner = this;
}

template <typename T>
bool MDataMaskContainer<T>::RegisterMask(IDataMask* mask, std::string const& name) {
    if (!AddMask(mask))
        return false;
    try {
        m_names[name] = mask;
    } catch (...) {
        RemoveMask(mask);
        throw;
    }
    return true;
}

template <typename T>
IDataMask* MDataMaskContainer<T>::FindMask(std::string const& name) const {
    auto const found = m_names.find(name);
    return found == m_names.end() ? nullptr : found->second;
}

template <typename T>
bool MDataMaskContainer<T>::RemoveMask(IDataMask const* mask) {
    std::erase_if(m_names, [mask](auto const& entry) { return entry.second == mask; });
    auto const found = std::find_if(m_masks.begin(), m_masks.end(), [mask](MDataMaskBase<T>* m) {
        return static_cast<IDataMask*>(m) == mask;
    });
    if (found == m_masks.end())
        return false;
    (*found)->m_owner = nullptr;
    m_masks.erase(found);
    return true;
}

template <typename T>
std::size_t MDataMaskContainer<T>::MemoryUsed() const {
    std::size_t bytes = m_free.MemoryUsed() + m_objects.MemoryUsed();
    for (MDataMaskBase<T> const* mask : m_masks)
        bytes += mask->MemoryUsed();
    return bytes;
}

template <typename T>
void MDataMaskContainer<T>::ReleaseAllIDs() {
    MakeRoomToReplaceAll(0, false);
    m_free_count = 0;
    for (std::uint64_t index = m_capacity; index-- > 0;) {
        if (m_keep_objects)
            m_objects[index] = nullptr;
        Push(index);
    }
}

template <typename T>
void MDataMaskContainer<T>::MakeRoomToReplaceAll(std::uint64_t count, bool masks_stay) {
    std::uint64_t const capacity = count > m_capacity ? CapacityWith(count - m_capacity) : m_capacity;
    m_free.Grow(std::max(m_capacity, Batch), 0);
    if (masks_stay) {
        MakeRoom(capacity);
    } else if (m_keep_objects) {
        m_objects.Grow(m_capacity, nullptr); // objects may have been forgotten
        m_objects.GrowUnfilled(capacity);
    }
}

template <typename T>
void MDataMaskContainer<T>::DropMasks() noexcept {
    for (MDataMaskBase<T>* mask : m_masks)
        mask->m_owner = nullptr;
    m_masks.clear();
    m_names.clear();
}

template <typename T>
std::uint64_t MDataMaskContainer<T>::GetNewIDs(std::uint64_t count) {
    std::uint64_t const first = GrowBy(count);
    FreeFrom(first + count);
    return first;
}

template <typename T>
std::uint64_t MDataMaskContainer<T>::GrowBy(std::uint64_t count) {
    std::uint64_t const capacity = CapacityWith(count);
    MakeRoom(capacity);
    return std::exchange(m_capacity, capacity);
}

template <typename T>
void MDataMaskContainer<T>::MakeRoom(std::uint64_t capacity) {
    m_free.Grow(Batch, 0);
    if (m_keep_objects)
        m_objects.Grow(capacity, nullptr);
    _ReallocateMasks(capacity);
}

template <typename T>
void MDataMaskContainer<T>::MakeUnfilledRoom(std::uint64_t capacity) {
    m_free.Grow(Batch, 0);
    _ReallocateMasks(capacity);
    if (m_keep_objects) {
        m_objects.Grow(m_capacity, nullptr); // objects may have been forgotten
        m_objects.GrowUnfilled(capacity);
    }
}

template <typename T>
std::uint64_t MDataMaskContainer<T>::GetNewIDsUnfilled(std::uint64_t count) {
    std::uint64_t const first = GetNewIDs(count);
    for (std::uint64_t i = first + count; i < m_objects.Capacity(); ++i)
        m_objects[i] = nullptr;
    return first;
}

template <typename T>
void MDataMaskContainer<T>::FreeFrom(std::uint64_t index) {
    // Descending, so that the lowest index lies on top.
    m_free.Grow(m_free_count + m_capacity - index, 0);
    for (std::uint64_t i = m_capacity; i-- > index;)
        m_free[m_free_count++] = i;
}

template <typename T>
void MDataMaskContainer<T>::_ReleaseID(std::uint64_t index) {
    Push(index);
    if (m_free_count > m_optimise_threshold)
        Optimise();
}

template <typename T>
void MDataMaskContainer<T>::Push(std::uint64_t index) {
    m_free.Grow(m_free_count + 1, 0);
    m_free[m_free_count++] = index;
}

template <typename T>
void MDataMaskContainer<T>::_ReallocateMasks(std::uint64_t capacity) {
    for (MDataMaskBase<T>* mask : m_masks)
        mask->Resize(capacity);
}

template class MDataMaskContainer<MMeshElement>;
template class MDataMaskContainer<MMeshPoint>;
template class MDataMaskContainer<MStlTriangle>;
