// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/FileIO/SAX/ISAXPersist.h>
#include <KetSDK/FileIO/SAX/ISAXReference.h>
#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/materials/MMeshMaterial.h>

#include <map>
#include <memory>
#include <set>
#include <string>

namespace KetSDK::Mesh::Detail {
class DensityIndex;
}

// The materials of a mesh, by identifier and, once Invalidate() was called, by density. A value:
// copies hold materials of their own. Materials keep their addresses until they are removed. Used by
// one thread at a time; several may look up while none changes.
class KETSDK_MESH_API MMaterialCatalog : public ISAXPersist, public virtual ISAXReference {
public:
    using MaterialMap = std::map<unsigned int, std::shared_ptr<MMeshMaterial>>;
    using const_iterator = MaterialMap::const_iterator;

    MMaterialCatalog();
    MMaterialCatalog(MMaterialCatalog const& other);
    MMaterialCatalog& operator=(MMaterialCatalog const& other);
    ~MMaterialCatalog() override;

    // Stores a copy and returns it. A material that is there already under that identifier is
    // returned instead, unchanged. What is returned belongs to the catalog.
    MMeshMaterial* AddMaterial(MMeshMaterial& material);
    // Stores a copy under the smallest identifier from 1 on that is free, and returns the copy, which
    // belongs to the catalog. The argument keeps its identifier.
    MMeshMaterial* AddMaterialNewID(MMeshMaterial& material);

    // The material with an identifier; null when there is none.
    MMeshMaterial* GetMaterialWithID(unsigned int id) const;
    // The first material entered into the density index under exactly this value; null when there is
    // none. A material that was added since the last Invalidate() is entered under its identifier and
    // not under its density: kept, callers rely on it.
    MMeshMaterial* GetMaterialWithDensity(double density) const;
    // Enters all materials into the density index anew, under their densities.
    void Invalidate();

    // Takes a material out, and out of the density index the first entry that has the identifier.
    void RemoveMaterial(unsigned int id);
    void Clear();
    // Adds copies of another catalog's materials, each as AddMaterial does.
    void Copy(MMaterialCatalog const& other);

    unsigned long long NumberOfMaterials() const noexcept { return m_materials.size(); }
    // Pairs of identifier and shared material, by ascending identifier.
    const_iterator begin() const noexcept { return m_materials.begin(); }
    const_iterator end() const noexcept { return m_materials.end(); }

    // True when both hold equal materials under the same identifiers.
    bool operator==(MMaterialCatalog const& other) const;

    // Persistence as a tag "MaterialCatalog" with one tag "Material" each. Reading adds to what is
    // there; of two materials with one identifier the first stays. Write stops at the first material
    // that fails, and returns false then.
    bool HandleTag(std::wstring const& tag, MSAXReader& reader) override;
    void HandleEndTag(std::wstring const& tag) override;
    bool Write(MSAXWriter& writer) const override;
    // The binary state: a 64-bit count and the materials. Loading adds to what is there; it throws
    // std::runtime_error("invalid state"), and adds nothing, when the stream cannot hold that many.
    void LoadState(MStreamMFileIn& in) override;
    void SaveState(MStreamMFileOut& out) override;

private:
    MMeshMaterial* Store(std::shared_ptr<MMeshMaterial> const& material);
    unsigned int NextFreeID();

    MaterialMap m_materials;
    std::unique_ptr<KetSDK::Mesh::Detail::DensityIndex> m_density_index;
    // Every identifier from 1 up to the next one is taken or was given back, so nobody walks over them again.
    unsigned int m_next_id = 1;
    std::set<unsigned int> m_given_back;
    MMeshMaterial m_scratch; // the material that is being read from tags
};
