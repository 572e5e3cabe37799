// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/materials/MDataMask.h>
#include <KetSDK/Mesh/mesh/MMeshOperatorSettings.h>

#include <map>
#include <set>
#include <vector>

class MDensityLookup;
class MMaterialCatalog;
class MMeshElement;
class MMeshSubVolume;

// What MMeshOperatorMaterialAssign is to do. Copies refer to the same lookup, catalog, density map and
// values, which are borrowed: the caller keeps them until Operate() has returned. One thread at a time.
class KETSDK_MESH_API MMeshOperatorSettingsMaterialAssign : public MMeshOperatorSettings {
public:
    // Which material an element gets; the numbers stand in files of callers. Any other number: none.
    // Materials are counted in ascending order of their identifiers in the catalog of the settings.
    enum EAssignType : int {
        FirstMaterial = 0,             // the first material
        GreyValueInFirstVolume = 1,    // by grey value inside the first used volume, else the first material
        GreyValuePerMaterialIndex = 2, // by grey value among the materials of the element's material index
        MaterialIndex = 3,             // the material behind the one that the material index counts to
        ReplaceMaterial = 4,           // the one into which its present material was merged
        NoAssignment = 5,
    };
    using SubVolumes = std::set<MMeshSubVolume const*>;

    MMeshOperatorSettingsMaterialAssign() = default;
    MMeshOperatorSettingsMaterialAssign(MMeshOperatorSettingsMaterialAssign const&) = default;
    MMeshOperatorSettingsMaterialAssign(MMeshOperatorSettingsMaterialAssign&&) = default;
    MMeshOperatorSettingsMaterialAssign& operator=(MMeshOperatorSettingsMaterialAssign const&) = default;
    MMeshOperatorSettingsMaterialAssign& operator=(MMeshOperatorSettingsMaterialAssign&&) = default;
    ~MMeshOperatorSettingsMaterialAssign() override;

    // Finds the material of the catalog for a grey value; sorted. Needed by the two types that look up.
    MDensityLookup* GetGrey2dens() noexcept { return m_grey_to_density; }
    MDensityLookup const* GetGrey2dens() const noexcept { return m_grey_to_density; }
    void SetGrey2dens(MDensityLookup* lookup) noexcept { m_grey_to_density = lookup; }

    // The materials to assign. Always needed.
    MMaterialCatalog* GetMatCatalog() noexcept { return m_catalog; }
    MMaterialCatalog const* GetMatCatalog() const noexcept { return m_catalog; }
    void SetMatCatalog(MMaterialCatalog* catalog) noexcept { m_catalog = catalog; }

    EAssignType GetAssignType() const noexcept { return m_assign_type; }
    void SetAssignType(EAssignType type) noexcept { m_assign_type = type; }

    // For each volume of the elements' volume lists whether it counts.
    std::vector<bool> const& GetMaskUsed() const noexcept { return m_mask_used; }
    void SetMaskUsed(std::vector<bool> const& used) { m_mask_used = used; }

    // Densities that replace those of the catalog, by identifier in the catalog; null, the default, keeps
    // them. The run enters 0.0 for each identifier that is missing.
    std::map<unsigned int, double>* GetDensity() const noexcept { return m_density; }
    void SetDensity(std::map<unsigned int, double>* density) noexcept { m_density = density; }

    // The values of the elements that are looked up in place of their grey values, a mask that is registered
    // with the mesh; null, the default, for the grey values.
    MDataMask<MMeshElement, double> const* GetValues() const noexcept { return m_values; }
    void SetValues(MDataMask<MMeshElement, double> const* values) noexcept { m_values = values; }

    // The sub-volumes whose elements get materials; empty, the default, stands for all.
    SubVolumes const& GetSubVolumes() const noexcept { return m_sub_volumes; }
    void SetSubVolumes(SubVolumes const& sub_volumes) { m_sub_volumes = sub_volumes; }

private:
    MDensityLookup* m_grey_to_density = nullptr;
    MMaterialCatalog* m_catalog = nullptr;
    EAssignType m_assign_type = NoAssignment;
    std::vector<bool> m_mask_used;
    std::map<unsigned int, double>* m_density = nullptr;
    MDataMask<MMeshElement, double> const* m_values = nullptr;
    SubVolumes m_sub_volumes;
};
