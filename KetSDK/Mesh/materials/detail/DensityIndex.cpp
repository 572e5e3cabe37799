// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/materials/detail/DensityIndex.h>

#include <algorithm>
#include <new>

namespace KetSDK::Mesh::Detail {

DensityIndex::Entry DensityIndex::Add(double key, std::shared_ptr<MMeshMaterial> const& material) {
    Entry const entry = m_entries.emplace(key, material);
    try {
        if (KnowsPlaces() && !AddPlace(entry))
            ForgetPlaces();
    } catch (std::bad_alloc const&) {
        ForgetPlaces(); // the entry is there all the same
    }
    return entry;
}

void DensityIndex::Remove(Entry entry) noexcept {
    auto const place = m_places.find(entry->second->GetID());
    if (place != m_places.end() && place->second == entry)
        m_places.erase(place);
    else
        ForgetPlaces();
    m_entries.erase(entry);
}

DensityIndex::Entry DensityIndex::FindFirst(unsigned int id) noexcept {
    try {
        if (!KnowsPlaces())
            LearnPlaces();
    } catch (std::bad_alloc const&) {
        ForgetPlaces();
    }
    if (!KnowsPlaces())
        return std::ranges::find(m_entries, id, [](auto const& e) { return e.second->GetID(); });
    auto const place = m_places.find(id);
    return place == m_places.end() ? m_entries.end() : place->second;
}

void DensityIndex::Swap(DensityIndex& other) noexcept {
    m_entries.swap(other.m_entries);
    ForgetPlaces();
    other.ForgetPlaces();
}

void DensityIndex::Clear() noexcept {
    m_entries.clear();
    ForgetPlaces();
}

void DensityIndex::ForgetPlaces() noexcept {
    m_places.clear();
    m_renumberings.reset();
}

void DensityIndex::LearnPlaces() {
    ForgetPlaces();
    auto const renumberings = std::make_shared<std::uint64_t>(0);
    m_renumberings = renumberings;
    m_known_renumberings = 0;
    for (Entry entry = m_entries.begin(); entry != m_entries.end(); ++entry)
        if (!AddPlace(entry))
            return ForgetPlaces();
}

// False for an identifier that has a place already.
bool DensityIndex::AddPlace(Entry entry) {
    entry->second->m_id.SetCounter(m_renumberings);
    return m_places.try_emplace(entry->second->GetID(), entry).second;
}

} // namespace KetSDK::Mesh::Detail
