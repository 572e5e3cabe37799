// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/BaseProgressReporter.h>
#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/materials/MDataMask.h>
#include <KetSDK/Mesh/materials/MDensityLookup.h>
#include <KetSDK/Mesh/mesh/MMeshOperator.h>

#include <map>
#include <memory>
#include <vector>

class MMaterialCatalog;
class MMeshElement;
class MMeshMaterial;
class MMeshOperatorSettingsMaterialAssign;

// Gives every element of the selected sub-volumes a material of the catalog in the settings
// (MMeshOperatorSettingsMaterialAssign). Leaves in the catalog of the mesh exactly the materials that its
// elements have.
//
// Materials may get other identifiers on the way. When all sub-volumes are selected, or the mesh has no
// materials, the catalog of the settings replaces that of the mesh. Otherwise the elements outside keep their
// materials. Each material of the settings becomes the first one of the mesh that is equal to it but for the
// identifier, or is added under a free identifier. Materials are copied; the catalog of the settings stays as
// it is. An element for which there is no material gets 0 or, from the lookup, 0xFFFFFFFF. One thread at a
// time uses the operator and its mesh.
class KETSDK_MESH_API MMeshOperatorMaterialAssign : public MMeshOperator {
public:
    MMeshOperatorMaterialAssign() = default;
    // Copies refer to the same mesh and settings and share the progress delegate.
    MMeshOperatorMaterialAssign(MMeshOperatorMaterialAssign const&) = default;
    MMeshOperatorMaterialAssign(MMeshOperatorMaterialAssign&&) = default;
    MMeshOperatorMaterialAssign& operator=(MMeshOperatorMaterialAssign const&) = default;
    MMeshOperatorMaterialAssign& operator=(MMeshOperatorMaterialAssign&&) = default;
    ~MMeshOperatorMaterialAssign() override;

    // Hears of the progress, as a phase of unknown length, and is asked after each element whether to
    // cancel.
    void SetProgressDelegate(std::shared_ptr<KetSDK::Common::IProgressDelegate> const& delegate) {
        m_progress = delegate;
    }

    // Assigns. False, with nothing changed, without a mesh, with no settings or those of another
    // operator, without a catalog, and without a lookup where the type of assignment needs one.
    // False when cancelled: elements before that have their new materials, the later ones the old ones,
    // and the catalog of the mesh holds all that were to be used.
    bool Operate() override;

private:
    using Reporter = KetSDK::Common::BaseProgressReporter;

    bool IsSuitable();
    std::unique_ptr<MMaterialCatalog> _MergeMaterialCatalogs(MMaterialCatalog const& mesh_catalog,
                                                             MMaterialCatalog const& settings_catalog);
    // All false when cancelled.
    bool _AssignMaterials();
    bool AssignFirstMaterial(Reporter const& reporter);
    bool AssignByGreyValueInFirstVolume(Reporter const& reporter);
    bool AssignByGreyValuePerMaterialIndex(Reporter const& reporter);
    bool AssignByMaterialIndex(Reporter const& reporter);
    bool _AssignReplaceMaterial(Reporter const& reporter);
    // Gives each selected element the material identifier material_of(mask index).
    template <typename MaterialOf>
    bool AssignEach(Reporter const& reporter, MaterialOf const& material_of);
    void _CleanupUnusedMaterials();

    // What the lookup is asked with.
    MDataMask<MMeshElement, double> const& ValuesOf();
    unsigned int RemappedId(unsigned int id) const;
    // The lookup's list of a material index with identifiers of the merged catalog.
    std::vector<MDensityLookup::Entry> RemappedMaterials(unsigned short index) const;
    static bool _IsMaterialsEqual(MMeshMaterial const& a, MMeshMaterial const& b);

    MMeshOperatorSettingsMaterialAssign* m_settings = nullptr;
    // Of the last run: identifier in the settings' catalog to identifier in the merged one, empty when
    // they are the same; and position in the settings' catalog to the latter.
    std::map<unsigned int, unsigned int> m_remapping;
    std::map<unsigned long long, unsigned int> m_index_map;
    std::shared_ptr<KetSDK::Common::IProgressDelegate> m_progress;
};
