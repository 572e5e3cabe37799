// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/materials/detail/DensityIndex.h>

#include <algorithm>
#include <new>

namespace KetSDK::Mesh::Detail {

DensityIndex::Entry DensityIndex::Add(double key, std::shared_ptr<MMeshMaterial> const& material) {
    Entry const entry = m_entries.emplace(key, material);
    try {
        if (KnowsIdentifiers() && !AddIdentifierOf(entry))
            ForgetIdentifiers();
    } catch (std::bad_alloc const&) {
        ForgetIdentifiers(); // the entry is there all the same
    }
    return entry;
}

void DensityIndex::Remove(Entry entry) noexcept {
    auto const known = m_entry_of.find(entry->second->GetID());
    if (known != m_entry_of.end() && known->second == entry)
        m_entry_of.erase(known);
    else
        ForgetIdentifiers();
    m_entries.erase(entry);
}

DensityIndex::Entry DensityIndex::FindFirst(unsigned int id) noexcept {
    try {
        if (!KnowsIdentifiers())
            LearnIdentifiers();
    } catch (std::bad_alloc const&) {
        ForgetIdentifiers();
    }
    if (!KnowsIdentifiers())
        return std::ranges::find(m_entries, id, [](auto const& e) { return e.second->GetID(); });
    auto const known = m_entry_of.find(id);
    return known == m_entry_of.end() ? m_entries.end() : known->second;
}

void DensityIndex::Swap(DensityIndex& other) noexcept {
    m_entries.swap(other.m_entries);
    ForgetIdentifiers();
    other.ForgetIdentifiers();
}

void DensityIndex::Clear() noexcept {
    m_entries.clear();
    ForgetIdentifiers();
}

void DensityIndex::ForgetIdentifiers() noexcept {
    m_entry_of.clear();
    m_renumberings.reset();
}

void DensityIndex::LearnIdentifiers() {
    ForgetIdentifiers();
    auto const renumberings = std::make_shared<std::uint64_t>(0);
    m_renumberings = renumberings;
    m_known_renumberings = 0;
    for (Entry entry = m_entries.begin(); entry != m_entries.end(); ++entry)
        if (!AddIdentifierOf(entry))
            return ForgetIdentifiers();
}

// False for an identifier that another entry has already.
bool DensityIndex::AddIdentifierOf(Entry entry) {
    entry->second->m_id.SetCounter(m_renumberings);
    return m_entry_of.try_emplace(entry->second->GetID(), entry).second;
}

} // namespace KetSDK::Mesh::Detail
