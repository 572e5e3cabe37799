// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/materials/MDensityLookup.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

void MDensityLookup::AddMaterial(unsigned short index, unsigned int material_id, double density) {
    m_materials[index].emplace_back(material_id, density);
}

void MDensityLookup::Sort() {
    // "Not a number" behind all numbers: a sort needs an order.
    auto const below = [](Entry const& a, Entry const& b) {
        return std::isnan(b.second) ? !std::isnan(a.second) : a.second < b.second;
    };
    for (auto& [index, list] : m_materials)
        std::stable_sort(list.begin(), list.end(), below);
}

unsigned int MDensityLookup::GetMaterialId(unsigned short index, double density) const {
    return FindMaterialId(GetMaterials(index), density);
}

std::span<MDensityLookup::Entry const> MDensityLookup::GetMaterials(unsigned short index) const {
    auto const found = m_materials.find(index);
    return found == m_materials.end() ? std::span<Entry const>() : found->second;
}

// A binary search without branches: which half a density lies in cannot be predicted.
unsigned int MDensityLookup::FindMaterialId(std::span<Entry const> sorted, double density) noexcept {
    if (sorted.empty())
        return NoMaterial;
    Entry const* first = sorted.data();
    for (std::size_t size = sorted.size(); size > 1;) {
        std::size_t const half = size / 2;
        first += density < first[half].second ? 0 : half;
        size -= half;
    }
    return first->first;
}
