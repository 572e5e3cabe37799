// SPDX-License-Identifier: BSD-3-Clause
#include "GreyMesh.h"
#include "TestProgress.h"

#include <KetSDK/Mesh/materials/MDensityLookup.h>
#include <KetSDK/Mesh/materials/MMeshOperatorMaterialAssign.h>
#include <KetSDK/Mesh/materials/MMeshOperatorSettingsMaterialAssign.h>

#include <gtest/gtest.h>

#include <map>
#include <memory>

namespace {

using Settings = MMeshOperatorSettingsMaterialAssign;
using Densities = std::map<unsigned int, double>;
using Materials = std::vector<int>;

// Materials that differ in their density alone, by identifier.
MMaterialCatalog Catalog(Densities const& densities) {
    MMaterialCatalog catalog;
    for (auto const& [id, density] : densities) {
        MMeshMaterial material;
        material.SetID(id);
        material.SetDensity(density);
        catalog.AddMaterial(material);
    }
    return catalog;
}

Densities Content(MMaterialCatalog const& catalog) {
    Densities densities;
    for (auto const& [id, material] : catalog) {
        EXPECT_EQ(material->GetID(), id);
        densities[id] = material->GetDensity();
    }
    return densities;
}

Materials MaterialsOf(MMeshBase& mesh) {
    Materials materials;
    for (MMeshElement const& e : mesh.Elements())
        materials.push_back(mesh.GetElementMasks()->GetMaterialMask()->GetValue(e));
    return materials;
}

// A mesh with the operator on it and what the settings point to.
struct Job {
    Job(std::vector<GreyMesh::Element> const& elements, Densities const& catalog_densities)
        : catalog(Catalog(catalog_densities)) {
        GreyMesh::Fill(mesh, elements);
        settings.SetMatCatalog(&catalog);
        settings.SetGrey2dens(&lookup);
        job.SetMesh(&mesh);
        job.SetSettings(&settings);
    }
    bool Run(int type) {
        settings.SetAssignType(Settings::EAssignType(type));
        return job.Operate();
    }
    void Select(std::vector<int> const& numbers) {
        Settings::SubVolumes selected;
        for (int const number : numbers)
            selected.insert(mesh.BeginSubVolume()[number].get());
        settings.SetSubVolumes(selected);
    }

    MMeshBase mesh;
    MMaterialCatalog catalog;
    MDensityLookup lookup;
    Settings settings;
    MMeshOperatorMaterialAssign job;
};

// Asks to cancel when it is asked for the n-th time.
class CancellingDelegate : public RecordingDelegate {
public:
    explicit CancellingDelegate(int n)
        : m_left(n) {}
    bool IsCancelled() const override { return --m_left == 0; }

private:
    mutable int m_left;
};

} // namespace

// Part of a mesh gets other materials: what is equal to a present one, also because the density map has
// no density for it, becomes that; the others get free identifiers.
TEST(MaterialAssign, EqualMaterialsAreSharedWithTheRestOfTheMesh) {
    Job job({{50, 0, {}, 1}, {50, 0, {}, 3}, {50, 1, {}, 7}}, {{1, 5.0}, {2, 6.0}, {3, 5.0}});
    job.mesh.SetMaterialCatalog(Catalog({{7, 0.0}}));
    Densities densities;
    job.settings.SetDensity(&densities);
    job.Select({0});
    job.settings.SetMaskUsed({true});
    job.catalog.GetMaterialWithID(1)->SetColor(5);
    job.catalog.GetMaterialWithID(2)->SetPoisson(0.3);
    EXPECT_TRUE(job.Run(3)); // position 2 for elements in no volume: one flag is set, and one on
    EXPECT_EQ(densities, (Densities{{1, 0.0}, {2, 0.0}, {3, 0.0}}));
    EXPECT_EQ(MaterialsOf(job.mesh), (Materials{7, 7, 7}));
    EXPECT_TRUE(job.Run(4));
    EXPECT_EQ(MaterialsOf(job.mesh), (Materials{7, 7, 7})) << "7 is no identifier of the settings";
    EXPECT_EQ(Content(job.mesh.GetMaterialCatalog()), (Densities{{7, 0.0}}));
}

TEST(MaterialAssign, MissingMaterialsAreZeroOrNone) {
    Job job({{1, 0, {}, 5}}, {});
    for (auto const& [type, id] : {std::pair(0, 0), {1, -1}, {2, 0}, {3, 0}, {4, 0}, {5, 0}}) {
        EXPECT_TRUE(job.Run(type));
        EXPECT_EQ(MaterialsOf(job.mesh), Materials{id}) << type;
        EXPECT_EQ(job.mesh.GetMaterialCatalog().NumberOfMaterials(), 0U);
    }
    // The mesh's own catalog may be the one that is given.
    job.catalog = Catalog({{4, 1.0}, {6, 2.0}});
    job.mesh.SetMaterialCatalog(job.catalog);
    job.settings.SetMatCatalog(&job.mesh.GetMaterialCatalog());
    EXPECT_TRUE(job.Run(0));
    EXPECT_EQ(Content(job.mesh.GetMaterialCatalog()), (Densities{{4, 1.0}}));
}

TEST(MaterialAssign, RefusesUnsuitableInputAndChangesNothing) {
    Job job({{1, 0, {}, 5}}, {{1, 1.0}});
    job.mesh.SetMaterialCatalog(Catalog({{5, 1.0}}));
    auto const refused = [&job](std::initializer_list<int> types) {
        for (int const type : types)
            EXPECT_FALSE(job.Run(type)) << type;
        EXPECT_EQ(MaterialsOf(job.mesh), Materials{5});
        EXPECT_EQ(Content(job.mesh.GetMaterialCatalog()), (Densities{{5, 1.0}}));
    };
    job.settings.SetGrey2dens(nullptr);
    refused({1, 2});
    job.settings.SetMatCatalog(nullptr);
    refused({0, 1, 2, 3, 4, 5});
    MMeshOperatorSettings other;
    for (MMeshOperatorSettings* settings : {static_cast<MMeshOperatorSettings*>(nullptr), &other}) {
        job.job.SetSettings(settings);
        refused({0});
    }
    EXPECT_FALSE(MMeshOperatorMaterialAssign().Operate());
}

TEST(MaterialAssign, StopsBehindTheElementWhereItIsCancelled) {
    std::vector<GreyMesh::Element> const elements = {
        {1, 1, {}, 5}, {1, 0, {}, 5}, {1, 1, {}, 5}, {1, 0, {}, 5}};
    for (int const type : {0, 1, 2, 3, 4}) {
        Job job(elements, {{5, 7.0}, {8, 9.0}});
        job.lookup.AddMaterial(0, 8, 0.0);
        job.mesh.SetMaterialCatalog(Catalog({{5, 9.0}}));
        job.Select({0, 1});
        auto const progress = std::make_shared<CancellingDelegate>(3);
        job.job.SetProgressDelegate(progress);
        EXPECT_FALSE(job.Run(type));
        EXPECT_EQ(progress->m_labels, std::vector<std::string>{"Assigning Materials..."});
        EXPECT_FALSE(progress->m_running || progress->m_determinate);
        // Sub-volume 0 comes first; 5 and 8 of the settings have become 1 and 5.
        int const id = type == 1 ? 5 : type == 3 ? 5 : 1;
        EXPECT_EQ(MaterialsOf(job.mesh), (Materials{id, id, 5, id})) << type;
        EXPECT_EQ(Content(job.mesh.GetMaterialCatalog()), (Densities{{1, 7.0}, {5, 9.0}}));
    }
}
