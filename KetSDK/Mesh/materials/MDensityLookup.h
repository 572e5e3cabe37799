// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>

#include <map>
#include <span>
#include <utility>
#include <vector>

// Finds the material for a density, separately for each material index, by thresholds: a material holds
// from its own threshold up to the next one. Fill it with AddMaterial, then call Sort, then look up.
// A value; safe to read from several threads.
class KETSDK_MESH_API MDensityLookup {
public:
    // A material identifier and the density from which it holds.
    using Entry = std::pair<unsigned int, double>;
    static constexpr unsigned int NoMaterial = 0xFFFFFFFF;

    // Appends to the list of a material index, which is made when needed. Duplicates stay.
    void AddMaterial(unsigned short index, unsigned int material_id, double density);
    // Sorts every list by ascending density; entries of one density keep their order.
    void Sort();

    // The last material whose threshold is at most the density; the lowest one for densities below all
    // thresholds. NoMaterial for an index without a list. The lists must be sorted.
    unsigned int GetMaterialId(unsigned short index, double density) const;
    bool HasMaterial(unsigned short index) const { return m_materials.contains(index); }
    // The list of a material index, for whoever looks up many densities; empty when there is none.
    std::span<Entry const> GetMaterials(unsigned short index) const;
    // What GetMaterialId finds in such a list.
    static unsigned int FindMaterialId(std::span<Entry const> sorted, double density) noexcept;

    void Clear() noexcept { m_materials.clear(); }

private:
    std::map<unsigned short, std::vector<Entry>> m_materials;
};
