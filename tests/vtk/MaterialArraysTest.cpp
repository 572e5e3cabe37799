// SPDX-License-Identifier: BSD-3-Clause
// Materials of elements and scalar fields on nodes, as arrays of a grid.
#include <KetSDK/Mesh/materials/MMeshMaskIterator.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/GridFromMesh.h>
#include <KetSDK/MeshVTK/MeshFromGrid.h>
#include <KetSDK/MeshVTK/PointFields.h>

#include <vtkCellData.h>
#include <vtkDoubleArray.h>
#include <vtkFloatArray.h>
#include <vtkIntArray.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkUnsignedIntArray.h>
#include <vtkUnstructuredGrid.h>

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

using namespace KetSDK::MeshVTK;

namespace {

constexpr double None = std::numeric_limits<double>::quiet_NaN();

// A row of separate tetrahedra.
vtkNew<vtkUnstructuredGrid> Row(int cells) {
    vtkNew<vtkUnstructuredGrid> grid;
    vtkNew<vtkPoints> points;
    points->SetDataTypeToDouble();
    grid->SetPoints(points);
    for (int i = 0; i < cells; ++i) {
        vtkIdType const first = points->InsertNextPoint(2.0 * i, 0, 0);
        points->InsertNextPoint(2.0 * i + 1, 0, 0);
        points->InsertNextPoint(2.0 * i, 1, 0);
        points->InsertNextPoint(2.0 * i, 0, 1);
        vtkIdType const ids[] = {first, first + 1, first + 2, first + 3};
        grid->InsertNextCell(VTK_TETRA, 4, ids);
    }
    return grid;
}

template <typename Array = vtkDoubleArray>
void Add(vtkDataSetAttributes& arrays, char const* name, std::vector<double> const& values) {
    vtkNew<Array> array;
    array->SetName(name);
    for (double const value : values)
        array->InsertNextTuple(&value);
    arrays.AddArray(array);
}

// Values as text, so that NaN equals itself; "-" where there is no such array.
std::string Values(vtkDataSetAttributes& arrays, char const* name) {
    vtkDataArray* const array = arrays.GetArray(name);
    std::string text = array ? "" : "-";
    for (vtkIdType i = 0; array && i < array->GetNumberOfTuples(); ++i) {
        double const value = array->GetComponent(i, 0);
        text += std::isnan(value) ? "nan " : std::to_string(value) + " ";
    }
    return text;
}

} // namespace

TEST(MaterialArrays, MaterialsAndTheCatalogComeBack) {
    auto const mesh = MeshFromGrid(*Row(5), {}, nullptr);
    EXPECT_FALSE(mesh->GetElementMasks()->HasMaterialMask());
    int const ids[] = {7, -1, 3, 7, 12}; // 12 is not in the catalog
    EXPECT_EQ(GridFromMesh(*mesh, {}, nullptr)->GetCellData()->GetArray("material"), nullptr);
    EXPECT_FALSE(mesh->GetElementMasks()->HasMaterialMask());
    auto& mask = *mesh->GetElementMasks()->GetMaterialMask();
    EXPECT_EQ(GridFromMesh(*mesh, {}, nullptr)->GetCellData()->GetArray("material"), nullptr);
    for (std::uint64_t i = 0; i < 5; ++i)
        mask.SetValue(*mesh->GetElement(i), ids[i]);
    MMeshMaterial bone;
    bone.SetID(7);
    bone.SetDensity(1.0 / 3.0);
    bone.SetEmodulus(1e4);
    MMeshMaterial cement;
    cement.SetID(3);
    cement.SetDensity(1.2);
    mesh->GetMaterialCatalog().AddMaterial(bone);
    mesh->GetMaterialCatalog().AddMaterial(cement);

    // What the source had by these names is out of date.
    auto const source = Row(5);
    for (char const* const name : {"material", "density", "emodulus", "poisson"})
        Add(*source->GetCellData(), name, {9, 9, 9, 9, 9});
    auto const grid = GridFromMesh(*mesh, {}, source);
    vtkCellData& cells = *grid->GetCellData();
    EXPECT_EQ(cells.GetArray("material")->GetDataType(), VTK_INT);
    EXPECT_EQ(Values(cells, "material"), "7.000000 -1.000000 3.000000 7.000000 12.000000 ");
    EXPECT_EQ(Values(cells, "density"), "0.333333 nan 1.200000 0.333333 nan ");
    EXPECT_EQ(Values(cells, "emodulus"), "10000.000000 nan nan 10000.000000 nan ");
    EXPECT_EQ(Values(cells, "poisson"), "-");

    auto const again = MeshFromGrid(*grid, {}, nullptr);
    EXPECT_TRUE(again->GetMaterialCatalog() == mesh->GetMaterialCatalog());
    for (std::uint64_t i = 0; i < 5; ++i)
        EXPECT_EQ(again->GetElementMasks()->GetMaterialMask()->GetValue(*again->GetElement(i)), ids[i]);
}

TEST(MaterialArrays, ArraysThatMakeNoCatalogAreCarriedAlong) {
    struct Case {
        char const* what;
        std::vector<double> ids;
        std::vector<double> density;
        std::vector<double> emodulus;
        std::size_t materials;
    };
    for (Case const& c : {Case{"two materials", {1, 2, 1}, {0.5, 0.25, 0.5}, {5, None, 5}, 2},
                          Case{"two densities of one material", {1, 2, 1}, {0.5, 0.25, 0.6}, {5, 6, 5}, 0},
                          Case{"two moduli", {1, 2, 1}, {0.5, 0.25, 0.5}, {5, 6, 7}, 0},
                          Case{"a number and none", {1, 2, 1}, {0.5, 0.25, None}, {5, 6, 5}, 0},
                          Case{"a density without a material", {1, -1, 1}, {0.5, 0.25, 0.5}, {5, None, 5}, 0},
                          Case{"no number at all", {1, 2, 1}, {None, None, None}, {None, None, None}, 0}}) {
        SCOPED_TRACE(c.what);
        auto const grid = Row(3);
        vtkCellData& cells = *grid->GetCellData();
        Add<vtkIntArray>(cells, "material", c.ids);
        Add(cells, "density", c.density);
        Add<vtkFloatArray>(cells, "emodulus", c.emodulus);
        auto const mesh = MeshFromGrid(*grid, {}, nullptr);
        EXPECT_EQ(mesh->GetMaterialCatalog().NumberOfMaterials(), c.materials);
        auto const back = GridFromMesh(*mesh, {}, grid);
        for (char const* const name : {"material", "density", "emodulus"})
            EXPECT_EQ(Values(*back->GetCellData(), name), Values(cells, name)) << name;
    }
    // Identifiers beyond 32 bits, fractions: no identifiers. The largest of 32 bits is "none".
    auto const grid = Row(2);
    Add(*grid->GetCellData(), "material", {0.5, 1e10});
    EXPECT_FALSE(MeshFromGrid(*grid, {}, nullptr)->GetElementMasks()->HasMaterialMask());
    Add<vtkUnsignedIntArray>(*grid->GetCellData(), "material", {4294967295.0, 3});
    auto const mesh = MeshFromGrid(*grid, {}, nullptr);
    EXPECT_EQ(Values(*GridFromMesh(*mesh, {}, grid)->GetCellData(), "material"), "-1.000000 3.000000 ");
}

TEST(PointFields, AreMadeOfArraysAndWrittenAgain) {
    auto const grid = Row(1);
    Add(*grid->GetPointData(), "W\xC3\xA4rme", {1.5, -2.0, None, 1e-300});
    Add<vtkFloatArray>(*grid->GetPointData(), "load", {0.5, 0.25, 0.125, 8.0});
    Add<vtkIntArray>(*grid->GetPointData(), "count", {1, 2, 3, 4});
    vtkNew<vtkDoubleArray> vectors;
    vectors->SetName("displacement");
    vectors->SetNumberOfComponents(3);
    vectors->SetNumberOfTuples(4);
    grid->GetPointData()->AddArray(vectors);

    auto const mesh = MeshFromGrid(*grid, {}, nullptr);
    auto fields = PointFieldsFromGrid(*mesh, *grid);
    ASSERT_EQ(fields.size(), 2u);
    EXPECT_EQ(fields[0]->GetID(), L"W\u00E4rme");
    auto found = MMeshMaskIterator<MMeshNamedScalarMaskPoints>::Begin(mesh.get());
    EXPECT_EQ(&*found, fields[0].get());
    MDataMask<MMeshPoint, double>& load = *fields[1];
    EXPECT_EQ(load.GetValue(*mesh->GetRandomPoint(3)), 8.0);

    load.SetValue(*mesh->GetRandomPoint(3), 1.0 / 3.0);
    auto const back = GridFromMesh(*mesh, {}, grid); // the mesh knows better than the grid
    EXPECT_EQ(back->GetPointData()->GetArray("load")->GetComponent(3, 0), 1.0 / 3.0);
    EXPECT_EQ(Values(*back->GetPointData(), "W\xC3\xA4rme"), Values(*grid->GetPointData(), "W\xC3\xA4rme"));
    EXPECT_TRUE(back->GetPointData()->HasArray("displacement"));

    fields.clear();
    EXPECT_EQ(Values(*GridFromMesh(*mesh, {}, nullptr)->GetPointData(), "load"), "-");
    EXPECT_THROW(PointFieldsFromGrid(*mesh, *Row(2)), Error);
}
