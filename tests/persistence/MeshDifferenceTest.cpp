// SPDX-License-Identifier: BSD-3-Clause
#include "persistence/FullMesh.h"

#include <KetSDK/Mesh/persistence/MMeshDifference.h>

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>

namespace {

struct Change {
    std::string found; // what is said of it
    std::function<void(FullMesh&)> make;
};

MMeshElementMaskContainer& Masks(MMeshBase& mesh) {
    return *mesh.GetElementMasks();
}
MMeshElementMaskContainer& Masks(FullMesh& full) {
    return Masks(*full.mesh);
}
MMeshElement& Element(FullMesh& full, std::uint64_t i) {
    return *full.mesh->GetElement(i);
}
MMeshSubVolume& SubVolume(FullMesh& full, std::ptrdiff_t i) {
    return *full.mesh->BeginSubVolume()[i];
}
MMeshMaterial& Material(FullMesh& full, unsigned int id) {
    return *full.mesh->GetMaterialCatalog().GetMaterialWithID(id);
}

void ReplaceFirstField(FullMesh& full, std::wstring const& id, std::wstring const& label,
                       double default_value) {
    using Field = MMeshNamedScalarMaskPoints;
    std::size_t const count = full.fields.size();
    full.fields.clear();
    full.fields.push_back(std::make_unique<Field>(id, label, full.mesh.get(), default_value));
    if (count > 1)
        full.fields.push_back(std::make_unique<Field>(L"", L"", full.mesh.get(), std::nan("")));
}

// One change each of everything that counts, in the order in which it is looked at.
std::vector<Change> const Changes = {
    {"the numbers of nodes are 29 and 30", [](FullMesh& m) { m.mesh->AddPoint(1, 2, 3); }},
    {"node 5: y is 0 mm and 1.52587890625e-05 mm", [](FullMesh& m) { m.mesh->GetRandomPoint(5)->y += 1; }},
    {"the numbers of elements are 4 and 5",
     [](FullMesh& m) { m.mesh->AddElement(4, const_cast<MMeshPoint**>(Element(m, 0).GetNodes())); }},
    {"element 1: its node 5 is 9 and 28",
     [](FullMesh& m) {
         std::vector<MMeshPoint*> nodes(Element(m, 1).GetNodes(), Element(m, 1).GetNodes() + 6);
         nodes[5] = m.mesh->GetRandomPoint(28);
         Element(m, 1).Set(nodes);
     }},
    {"element 3: the numbers of its nodes are 10 and 4",
     [](FullMesh& m) {
         std::vector<MMeshPoint*> const nodes(Element(m, 3).GetNodes(), Element(m, 3).GetNodes() + 4);
         Element(m, 3).Set(nodes);
     }},
    {"element 2: its sub-volume is 1 and none",
     [](FullMesh& m) { Masks(m).GetSubvolumeMask()->SetValue(Element(m, 2), -1); }},
    {"element 0: its grey value is -1024.5 and -1024.4999999999998",
     [](FullMesh& m) { Masks(m).GetGreyValueMask()->SetValue(Element(m, 0), std::nextafter(-1024.5, 0.0)); }},
    {"element 1: its grey value is nan and nan with other bits",
     [](FullMesh& m) {
         auto& mask = *Masks(m).GetGreyValueMask();
         auto const bits = std::bit_cast<std::uint64_t>(mask.GetValue(Element(m, 1)));
         mask.SetValue(Element(m, 1), std::bit_cast<double>(bits + 1));
     }},
    {"element 2: its grey value is -0 and 0",
     [](FullMesh& m) { Masks(m).GetGreyValueMask()->SetValue(Element(m, 2), 0.0); }},
    {"element 3: its material is none and 2",
     [](FullMesh& m) { Masks(m).GetMaterialMask()->SetValue(Element(m, 3), 2); }},
    {"element 1: its volume list is 65535 by 0.1 and empty",
     [](FullMesh& m) { Masks(m).ReleaseVolumeIndexMask(); }},
    {"element 3: its original identifier is 97 and 96",
     [](FullMesh& m) { Masks(m).GetOriginalIDs()->SetValue(Element(m, 3), 96); }},
    {"element 2: its surface triangles are 0/3, 1/2 and 0/3, 1/2, 3/0",
     [](FullMesh& m) { Masks(m).GetSurfaceMask()->GetSlot(Element(m, 2).GetMaskIndex()).Add(3, 0); }},
    {"element 1: its visibility is false and true", [](FullMesh& m) { Masks(m).ReleaseVisibleMask(); }},
    {"node 28: its original identifier is 972 and 0",
     [](FullMesh& m) {
         m.mesh->GetPointMasks()->GetOriginalIDs()->SetValue(*m.mesh->GetRandomPoint(28), 0);
     }},
    {"material 0: its Poisson's ratio is nan and 0.3", [](FullMesh& m) { Material(m, 0).SetPoisson(0.3); }},
    {"material 0: its colour is 0x12345678 and 0x12345679",
     [](FullMesh& m) { Material(m, 0).SetColor(0x12345679); }},
    {"the catalog has material 1 in the first mesh only",
     [](FullMesh& m) { m.mesh->GetMaterialCatalog().RemoveMaterial(1); }},
    {"material 1: its density is not set and 0", [](FullMesh& m) { Material(m, 1).SetDensity(0.0); }},
    {"the catalog has material 5 in the second mesh only",
     [](FullMesh& m) {
         MMeshMaterial material;
         material.SetID(5);
         m.mesh->GetMaterialCatalog().AddMaterial(material);
     }},
    {"material 4294967280: its E-modulus is 1e+308 and 2",
     [](FullMesh& m) { Material(m, 0xFFFFFFF0).SetEmodulus(2.0); }},
    {"the numbers of sub-volumes are 3 and 4", [](FullMesh& m) { m.mesh->AddSubVolume(); }},
    {"sub-volume 1: its name is \"Knochen \u00e4\u4e2d\U0001F9B4 <&\"'\\]]>\\u{a}\\u{9}\\u{1}\" and \"x\"",
     [](FullMesh& m) { SubVolume(m, 1).SetName(L"x"); }},
    {"sub-volume 1: its material number is -4 and 1", [](FullMesh& m) { SubVolume(m, 1).SetMatID(1); }},
    {"sub-volume 1: the numbers of its elements are 1 and 2",
     [](FullMesh& m) { SubVolume(m, 1).IncludeElement(Element(m, 2)); }},
    {"sub-volume 2: its number is 2 and 9", [](FullMesh& m) { SubVolume(m, 2).SetID(9); }},
    {"the flag for grey values is true and false", [](FullMesh& m) { m.mesh->SetGreyValuesFlag(false); }},
    {"the flag for volume lists is true and false", [](FullMesh& m) { m.mesh->SetVolumeIndexFlag(false); }},
    {"the type is 1 and 0", [](FullMesh& m) { m.mesh->SetMeshType(MMeshBase::Linear); }},
    {"the state is 7 and 0", [](FullMesh& m) { m.mesh->SetMeshState(MMeshBase::DefaultState); }},
    {"the upper corner of the box: z is 6 mm and 7 mm",
     [](FullMesh& m) {
         m.mesh->GetRandomPoint(28)->z = 7 * TestMeshes::Unit; // the box only learns of it
         m.mesh->CalcBoundingBox();
         m.mesh->GetRandomPoint(28)->z = 0;
     }},
    {"the numbers of scalar fields are 2 and 1", [](FullMesh& m) { m.fields.pop_back(); }},
    {"scalar field 0: its identifier is \"temperature\" and \"t\"",
     [](FullMesh& m) { ReplaceFirstField(m, L"t", L"Temperatur [\u00b0C]", 36.6); }},
    {"scalar field 0: its label is \"Temperatur [\u00b0C]\" and \"\"",
     [](FullMesh& m) { ReplaceFirstField(m, L"temperature", L"", 36.6); }},
    {"scalar field 0: its default is 36.6 and 37",
     [](FullMesh& m) { ReplaceFirstField(m, L"temperature", L"Temperatur [\u00b0C]", 37.0); }},
    {"node 3: the scalar field \"temperature\" is inf and 36.6",
     [](FullMesh& m) { ReplaceFirstField(m, L"temperature", L"Temperatur [\u00b0C]", 36.6); }},
};

} // namespace

TEST(MeshDifference, NamesTheFirstChangeOfEverythingThatCounts) {
    FullMesh const mesh;
    for (Change const& change : Changes) {
        FullMesh changed;
        change.make(changed);
        EXPECT_EQ(FindMeshDifference(*mesh.mesh, *changed.mesh), change.found);
        EXPECT_NE(FindMeshDifference(*changed.mesh, *mesh.mesh), std::nullopt) << change.found;
    }
    // On top of all later changes each one is still the first that is found.
    FullMesh changed;
    for (auto change = Changes.rbegin(); change != Changes.rend(); ++change) {
        change->make(changed);
        EXPECT_EQ(FindMeshDifference(*mesh.mesh, *changed.mesh), change->found);
    }
}

TEST(MeshDifference, EqualMeshesHaveNone) {
    FullMesh full;
    EXPECT_EQ(FindMeshDifference(*full.mesh, *FullMesh().mesh), std::nullopt);
    full.fields.clear(); // which copies of meshes do not have
    MMeshBase copy(*full.mesh);
    EXPECT_EQ(FindMeshDifference(*full.mesh, copy), std::nullopt);

    MMeshBase bare, with_masks;
    TestMeshes::FillWithCubes(bare, 2);
    TestMeshes::FillWithCubes(with_masks, 2);
    Masks(with_masks).GetMaterialMask();
    Masks(with_masks).GetGreyValueMask();
    Masks(with_masks).GetVisibleMask();
    Masks(with_masks).GetSurfaceMask();
    with_masks.GetPointMasks()->GetOriginalIDs();
    EXPECT_EQ(FindMeshDifference(bare, with_masks), std::nullopt) << "all values are the default ones";
}
