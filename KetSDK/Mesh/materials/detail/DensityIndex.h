// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/materials/MMeshMaterial.h>

#include <cmath>
#include <cstdint>
#include <map>
#include <memory>
#include <unordered_map>

namespace KetSDK::Mesh::Detail {

// The materials of a catalog by a number that is mostly their density. The first entry with an identifier is
// found without a walk over all entries, unless somebody changed the identifier of a material in between or
// several entries have the same.
class DensityIndex {
public:
    // Ascending, with "not a number", which a file may hold, behind all numbers.
    struct Order {
        bool operator()(double a, double b) const noexcept { return std::isnan(b) ? !std::isnan(a) : a < b; }
    };
    using Entries = std::multimap<double, std::shared_ptr<MMeshMaterial>, Order>;
    using Entry = Entries::const_iterator;

    DensityIndex() = default;
    // What is copied has no entries of the other one: copies of catalogs hold materials of their own.
    DensityIndex(DensityIndex const&) = delete;
    DensityIndex& operator=(DensityIndex const&) = delete;
    ~DensityIndex() = default;

    Entries const& GetEntries() const noexcept { return m_entries; }

    // Behind those that have the same key. Changes nothing when it throws.
    Entry Add(double key, std::shared_ptr<MMeshMaterial> const& material);
    void Remove(Entry entry) noexcept;
    // The first one, in the order of keys, whose material has that identifier now; the end of the entries for
    // none.
    Entry FindFirst(unsigned int id) noexcept;
    // Exchanges the entries.
    void Swap(DensityIndex& other) noexcept;
    void Clear() noexcept;

private:
    bool KnowsIdentifiers() const noexcept {
        return m_renumberings && *m_renumberings == m_known_renumberings;
    }
    void ForgetIdentifiers() noexcept;
    void LearnIdentifiers();
    bool AddIdentifierOf(Entry entry);

    Entries m_entries;
    // The entry of each identifier, and how often identifiers had changed when they were looked up. No
    // counter: they are not known.
    std::unordered_map<unsigned int, Entry> m_entry_of;
    std::shared_ptr<std::uint64_t> m_renumberings;
    std::uint64_t m_known_renumberings = 0;
};

} // namespace KetSDK::Mesh::Detail
