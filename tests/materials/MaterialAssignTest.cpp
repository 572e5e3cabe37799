#include "GreyMesh.h"
#include "TestProgress.h"

#include <KetSDK/Mesh/materials/MDensityLookup.h>
#include <KetSDK/Mesh/materials/MMeshOperatorMaterialAssign.h>
#include <KetSDK/Mesh/materials/MMeshOperatorSettingsMaterialAssign.h>

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <optional>

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

// The same assignment, element by element on plain maps. Catalogs are densities by identifier.
struct PlainAssignment {
    std::vector<GreyMesh::Element> elements;
    Densities mesh_catalog, catalog;
    std::optional<Densities> replaced_densities = {};
    std::map<unsigned int, std::multimap<double, unsigned int>> lookup = {};
    std::vector<bool> used = {};
    std::set<unsigned int> selected = {}; // sub-volumes

    std::map<unsigned int, unsigned int> remapping = {}, index_map = {};

    unsigned int Find(unsigned int index, double grey) {
        unsigned int id = 0xFFFFFFFF;
        if (lookup.contains(index)) {
            auto const& list = lookup[index];
            auto const above = list.upper_bound(grey);
            id = above == list.begin() ? above->second : std::prev(above)->second;
        }
        return remapping.contains(id) ? remapping[id] : id;
    }

    void Run(int type) {
        bool const all = selected.empty() || mesh_catalog.empty();
        if (all)
            mesh_catalog.clear();
        for (unsigned int position = 0; auto [id, density] : catalog) {
            if (replaced_densities)
                density = (*replaced_densities)[id];
            unsigned int new_id = all ? id : 0;
            for (auto it = mesh_catalog.rbegin(); !all && it != mesh_catalog.rend(); ++it)
                if (it->second == density)
                    new_id = it->first;
            for (unsigned int free = 1; new_id == 0; ++free)
                if (!mesh_catalog.contains(free))
                    new_id = free;
            mesh_catalog[new_id] = density;
            index_map[position++] = new_id;
            if (!all)
                remapping[id] = new_id;
        }
        std::size_t first_used = 0;
        while (first_used < used.size() && !used[first_used])
            ++first_used;
        Densities in_use;
        for (auto& e : elements) {
            auto const index = GreyMesh::MaterialIndex(e.volumes, used);
            auto id = static_cast<unsigned int>(e.material);
            bool inside = first_used == used.size();
            for (auto const& entry : e.volumes)
                inside = inside || entry.volume_index == first_used;
            if (selected.empty() || selected.contains(e.sub_volume)) {
                if (type == 0)
                    id = index_map[0];
                else if (type == 1)
                    id = inside ? Find(0, e.grey) : index_map[0];
                else if (type == 2)
                    id = index == used.size() ? index_map[0] : Find(index, e.grey);
                else if (type == 3)
                    id = index_map[index + 1];
                else if (type == 4)
                    id = remapping.contains(id) ? remapping[id] : id;
            }
            e.material = static_cast<int>(id);
            if (mesh_catalog.contains(id))
                in_use[id] = mesh_catalog[id];
        }
        mesh_catalog = in_use;
    }
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

TEST(MaterialAssign, DoesWhatThePlainRulesSay) {
    for (unsigned int seed = 1; seed <= 300; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        auto const some_densities = [&random](unsigned int most) {
            Densities densities;
            for (auto n = random() % (most + 1); n > 0; --n)
                densities[static_cast<unsigned int>(1 + random() % 6)] =
                    0.5 * static_cast<double>(random() % 5);
            return densities;
        };
        PlainAssignment expected{GreyMesh::Random(random, 60), some_densities(4), some_densities(5)};
        Job job(expected.elements, expected.catalog);
        job.mesh.SetMaterialCatalog(Catalog(expected.mesh_catalog));
        for (auto n = random() % 12; n > 0; --n) {
            auto const index = static_cast<unsigned short>(random() % 5);
            auto const id = static_cast<unsigned int>(1 + random() % 6);
            auto const grey = static_cast<double>(random() % 300);
            expected.lookup[index].emplace(grey, id);
            job.lookup.AddMaterial(index, id, grey);
        }
        job.lookup.Sort();
        expected.used = GreyMesh::RandomFlags(random);
        job.settings.SetMaskUsed(expected.used);
        for (int number = 0; number < 4 && seed % 3 != 0; ++number)
            if (random() % 2 == 0)
                expected.selected.insert(static_cast<unsigned int>(number));
        job.Select({expected.selected.begin(), expected.selected.end()});
        Densities replaced = some_densities(6);
        if (random() % 2 == 0) {
            expected.replaced_densities = replaced;
            job.settings.SetDensity(&replaced);
        }
        int const type = static_cast<int>(seed % 7);

        expected.Run(type);
        Materials materials;
        for (auto const& e : expected.elements)
            materials.push_back(e.material);
        EXPECT_TRUE(job.Run(type));
        EXPECT_EQ(MaterialsOf(job.mesh), materials) << type;
        EXPECT_EQ(Content(job.mesh.GetMaterialCatalog()), expected.mesh_catalog) << type;
        EXPECT_EQ(Content(job.catalog), expected.catalog) << "only read";
        EXPECT_EQ(replaced, expected.replaced_densities.value_or(replaced));
    }
}

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
