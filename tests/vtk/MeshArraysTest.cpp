// SPDX-License-Identifier: BSD-3-Clause
// Arrays go from VTK to a mesh or a surface and back as they were, to the last byte of a file.
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/GridFile.h>
#include <KetSDK/MeshVTK/GridFromMesh.h>
#include <KetSDK/MeshVTK/MeshArrays.h>
#include <KetSDK/MeshVTK/MeshFromGrid.h>
#include <KetSDK/MeshVTK/NodeValues.h>
#include <KetSDK/MeshVTK/PolyDataFromSurface.h>
#include <KetSDK/MeshVTK/SurfaceFile.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <vtkAbstractArray.h>
#include <vtkBitArray.h>
#include <vtkCellData.h>
#include <vtkCharArray.h>
#include <vtkDoubleArray.h>
#include <vtkFieldData.h>
#include <vtkFloatArray.h>
#include <vtkIdTypeArray.h>
#include <vtkInformation.h>
#include <vtkInformationDoubleVectorKey.h>
#include <vtkInformationStringKey.h>
#include <vtkIntArray.h>
#include <vtkLongLongArray.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkPolyData.h>
#include <vtkStringArray.h>
#include <vtkUnsignedLongArray.h>
#include <vtkUnstructuredGrid.h>
#include <vtkUnstructuredGridWriter.h>
#include <vtkVariantArray.h>
#include <vtkXMLPolyDataWriter.h>
#include <vtkXMLUnstructuredGridWriter.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <bit>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <optional>
#include <string>
#include <vector>

using namespace KetSDK::MeshVTK;

namespace {

template <typename Writer>
std::string WrittenBy(vtkDataObject& data) {
    vtkNew<Writer> writer;
    writer->SetInputDataObject(&data);
    writer->SetWriteToOutputString(true);
    if constexpr (requires { writer->SetDataModeToAppended(); })
        writer->SetDataModeToAppended(); // every bit
    else
        writer->SetFileTypeToBinary();
    writer->Write();
    return writer->GetOutputString();
}

std::string AsVtu(vtkUnstructuredGrid& grid) {
    return WrittenBy<vtkXMLUnstructuredGridWriter>(grid);
}

template <typename Array>
vtkSmartPointer<Array> NumberArray(char const* name, int components, vtkIdType tuples) {
    auto array = vtkSmartPointer<Array>::New();
    array->SetName(name);
    array->SetNumberOfComponents(components);
    array->SetNumberOfTuples(tuples);
    for (vtkIdType i = 0; i < components * tuples; ++i)
        array->SetComponent(i / components, static_cast<int>(i % components), static_cast<double>(i % 2));
    return array;
}

// Arrays with everything that the files of VTK hold of one.
void AddOddArrays(vtkFieldData& arrays, vtkIdType tuples) {
    auto const floats = NumberArray<vtkFloatArray>("floats", 3, tuples);
    floats->SetValue(0, std::bit_cast<float>(0x7F800001U)); // signalling
    floats->SetValue(1, std::bit_cast<float>(0xFFC12345U));
    floats->SetValue(2, std::numeric_limits<float>::denorm_min());
    floats->SetComponentName(0, "along x, in %");
    floats->SetComponentName(2, "\u03c3=z");
    arrays.AddArray(floats);
    auto const doubles = NumberArray<vtkDoubleArray>("doubles", 2, tuples);
    doubles->SetValue(0, std::bit_cast<double>(0x7FF0000000000001U));
    doubles->SetValue(1, -0.0);
    doubles->GetInformation()->Set(vtkDataArray::UNITS_LABEL(), "N / mm2");
    arrays.AddArray(doubles);
    auto const vectors = NumberArray<vtkDoubleArray>("vectors", 3, tuples);
    double range[2];
    vectors->GetRange(range, -1); // which stays in the information
    arrays.AddArray(vectors);
    auto const wide = NumberArray<vtkLongLongArray>("wide", 1, tuples);
    wide->SetValue(0, std::numeric_limits<long long>::min());
    arrays.AddArray(wide);
    auto const wider = NumberArray<vtkUnsignedLongArray>("wider", 2, tuples);
    wider->SetValue(0, std::numeric_limits<unsigned long>::max());
    arrays.AddArray(wider);
    arrays.AddArray(NumberArray<vtkCharArray>("chars", 1, tuples));
    arrays.AddArray(NumberArray<vtkIdTypeArray>("ids", 1, tuples));
    arrays.AddArray(NumberArray<vtkBitArray>("bits", 1, tuples));
    vtkNew<vtkStringArray> strings;
    strings->SetName("strings \u00e4");
    for (vtkIdType i = 0; i < tuples; ++i)
        strings->InsertNextValue(i == 1 ? "" : "Z\u00e4hler");
    arrays.AddArray(strings);
    arrays.AddArray(NumberArray<vtkIntArray>("Latin \xE4", 1, tuples)); // no UTF-8
}

// The arrays again, by way of a mesh.
std::vector<MMeshArray> There(MMeshBase const& mesh, vtkUnstructuredGrid& grid) {
    vtkNew<vtkUnstructuredGrid> copy;
    copy->ShallowCopy(&grid);
    std::vector<MMeshArray> arrays = TakeArraysFromGrid(mesh, *copy);
    EXPECT_EQ(copy->GetNumberOfCells() + copy->GetCellData()->GetNumberOfArrays(), 0);
    EXPECT_EQ(arrays.size(), ArraysFromGrid(mesh, grid).size());
    return arrays;
}

TEST(MeshArrays, OfRealFilesComeBackAsTheyWere) {
    for (char const* const name :
         {"head_small_tet4.vtu", "head_small_tet10.vtu", "hex_matrix_fiber.vtu", "wedge_beam14.vtu"}) {
        SCOPED_TRACE(name);
        auto const grid = ReadGridFile(std::string(KETSDK_DATA_DIR) + "/" + name, nullptr);
        auto const mesh = MeshFromGrid(*grid, {}, nullptr);
        auto const direct = GridFromMesh(*mesh, {}, grid);
        auto const back = GridFromMesh(*mesh, {}, There(*mesh, *grid));
        EXPECT_TRUE(AsVtu(*direct) == AsVtu(*back));
    }
}

TEST(MeshArrays, OfEveryKindComeBackAsTheyWere) {
    auto const grid = ReadGridFile(std::string(KETSDK_DATA_DIR) + "/wedge_beam14.vtu", nullptr);
    AddOddArrays(*grid->GetCellData(), grid->GetNumberOfCells());
    AddOddArrays(*grid->GetPointData(), grid->GetNumberOfPoints());
    AddOddArrays(*grid->GetFieldData(), 2);
    grid->GetCellData()->SetActiveScalars("floats");
    grid->GetCellData()->SetActiveVectors("floats");
    grid->GetPointData()->SetActiveGlobalIds("ids");
    auto const mesh = MeshFromGrid(*grid, {}, nullptr);
    auto const direct = GridFromMesh(*mesh, {}, grid);
    auto const back = GridFromMesh(*mesh, {}, There(*mesh, *grid));
    for (vtkFieldData* const arrays :
         {static_cast<vtkFieldData*>(back->GetCellData()), static_cast<vtkFieldData*>(back->GetPointData()),
          back->GetFieldData()})
        EXPECT_STREQ(arrays->GetAbstractArray("floats")->GetComponentName(2), "\u03c3=z");
    EXPECT_TRUE(AsVtu(*direct) == AsVtu(*back));
    EXPECT_TRUE(WrittenBy<vtkUnstructuredGridWriter>(*direct) == WrittenBy<vtkUnstructuredGridWriter>(*back));

    vtkNew<vtkVariantArray> variants;
    variants->SetName("variants");
    grid->GetFieldData()->AddArray(variants);
    EXPECT_THROW(ArraysFromGrid(*mesh, *grid), Error);
}

// Whoever wrote the file may have put anything into the types.
TEST(MeshArrays, OfADamagedFileDoNoHarm) {
    auto const grid = ReadGridFile(std::string(KETSDK_DATA_DIR) + "/wedge_beam14.vtu", nullptr);
    auto const mesh = MeshFromGrid(*grid, {}, nullptr);
    for (std::wstring const type :
         {L"", L" ", L"float64 component:7=a component:-1=a component:x=a component:0=%4 component",
          L"name=%zz",
          L"float64 key:vtkDataArray:UNITS_LABEL:doubles=1 key:vtkDataArray:L2_NORM_RANGE:doubles=1,2,3,4 "
          L"key:::",
          L"float64 key:a:b:int=1 key:vtkDataArray:UNITS_LABEL:string=a,b range finite_range Vectors "
          L"Nothing"}) {
        MMeshArray array{L"a", MMeshArray::OnMesh, 2, type, std::vector<double>(4, 1.0)};
        EXPECT_NO_THROW(AddArrays(*grid, {array}));
        grid->GetFieldData()->Initialize();
    }
    MMeshArray array{L"a", MMeshArray::OnNodes, 1, L"float64", std::vector<double>(4, 1.0)};
    EXPECT_THROW(AddArrays(*grid, {array}), Error); // as many as there are nodes
    array.components = 3;
    EXPECT_THROW(AddArrays(*grid, {array}), Error);
}

// What the program asks of a field does not depend on whether there is a grid.
TEST(MeshArrays, GiveNodesTheValuesThatAGridGivesThem) {
    auto const grid = ReadGridFile(std::string(KETSDK_DATA_DIR) + "/head_small_tet4.vtu", nullptr);
    auto const wide = NumberArray<vtkUnsignedLongArray>("wide", 2, grid->GetNumberOfPoints());
    wide->SetValue(1, std::numeric_limits<unsigned long>::max());
    grid->GetPointData()->AddArray(wide);
    auto const mesh = MeshFromGrid(*grid, {}, nullptr);
    std::vector<MMeshArray> const arrays = ArraysFromGrid(*mesh, *grid);
    auto const full = GridFromMesh(*mesh, {}, arrays);
    struct Field {
        char const* name;
        std::optional<int> component;
    };
    for (auto const& [name, component] :
         {Field{"wide", 1}, Field{"grey", {}}, Field{"subvolume", {}}, Field{"original_id", {}}}) {
        SCOPED_TRACE(name);
        MDataMask<MMeshPoint, double> a(-1.0);
        MDataMask<MMeshPoint, double> b(-1.0);
        mesh->GetPointMasks()->RegisterMask(&a);
        mesh->GetPointMasks()->RegisterMask(&b);
        NodeValuesReport const from_grid = NodeValuesFromGrid(*mesh, *full, name, component, a);
        NodeValuesReport const from_arrays = NodeValuesOf(*mesh, arrays, name, component, b);
        EXPECT_EQ(from_grid.from_cells, from_arrays.from_cells);
        EXPECT_EQ(from_grid.max, from_arrays.max);
        EXPECT_LT(from_grid.min, from_grid.max);
        for (auto node = mesh->BeginPoint(); node != mesh->EndPoint(); ++node)
            ASSERT_EQ(a.GetValue(*node), b.GetValue(*node));
    }
    MDataMask<MMeshPoint, double> values(0.0);
    auto const message = [&](std::string const& name, std::optional<int> component) {
        try {
            NodeValuesOf(*mesh, arrays, name, component, values);
        } catch (Error const& e) {
            return std::string(e.what());
        }
        return std::string();
    };
    EXPECT_EQ(message("wide", {}),
              "the array \"wide\" has 2 components; say which one is meant, from 0 to 1");
    EXPECT_NE(message("none", {}).find("the point arrays are wide, original_id; the cell arrays are"),
              std::string::npos);
}

TEST(MeshArrays, OfSurfacesComeBackAsTheyWere) {
    MStlBase stl;
    MStlPoint* const points[] = {stl.AddPoint(0, 0, 0, true), stl.AddPoint(9, 0, 0, true),
                                 stl.AddPoint(0, 9, 0, true), stl.AddPoint(0, 0, 9, true)};
    stl.AddTriangle(points[0], points[1], points[2], nullptr);
    stl.AddTriangle(points[1], points[3], points[2], nullptr);
    auto const data = PolyDataFromSurfaces(stl, {});
    AddOddArrays(*data->GetCellData(), 2);
    AddOddArrays(*data->GetPointData(), 4);
    auto const back = PolyDataFromSurfaces(stl, {});
    AddArrays(*back, ArraysFromSurface(*data));
    EXPECT_TRUE(WrittenBy<vtkXMLPolyDataWriter>(*data) == WrittenBy<vtkXMLPolyDataWriter>(*back));
}

// In files too: of all surfaces together and of each alone.
TEST(MeshArrays, OfSurfacesGoThroughFiles) {
    MStlBase stl;
    MStlPoint* points[5];
    for (int i = 0; i < 5; ++i)
        points[i] = stl.AddPoint(i * 1000, i * i * 1000, i * i * i * 1000, true);
    MStlSurface* const surfaces[] = {stl.AddSurface(nullptr), stl.AddSurface(nullptr)};
    surfaces[0]->SetName(L"a");
    surfaces[1]->SetName(L"b");
    surfaces[0]->AddTriangle(points[0], points[1], points[2]);
    surfaces[1]->AddTriangle(points[4], points[3], points[1]);
    surfaces[1]->AddTriangle(points[3], points[4], points[2]);
    using Ints = std::vector<std::int32_t>;
    std::vector<MMeshArray> const arrays = {
        {L"element", MMeshArray::OnElements, 1, L"int32", Ints{7, 8, 9}},
        {L"node", MMeshArray::OnNodes, 1, L"int32", Ints{10, 11, 12, 13, 14}}};

    std::filesystem::path const folder =
        std::filesystem::temp_directory_path() / ("MeshArraysTest-" + std::to_string(::getpid()));
    std::filesystem::create_directories(folder);
    OutputFile file(folder / "all.vtp");
    WriteSurfaceFile(stl, arrays, {}, file, nullptr);
    std::vector<MMeshArray> back;
    auto const read = ReadSurfaceFile(folder / "all.vtp", {}, nullptr, nullptr, back);
    EXPECT_EQ(read->NumberOfSurfaces(), 2);
    EXPECT_EQ(back, arrays);
    auto const files = WriteSurfaceFiles(stl, arrays, {}, folder / "one.vtp", nullptr);
    ASSERT_EQ(files.size(), 2u);
    ReadSurfaceFile(files[1], {}, nullptr, nullptr, back);
    ASSERT_EQ(back.size(), 2u);
    EXPECT_EQ(std::get<Ints>(back[0].values), (Ints{8, 9}));
    EXPECT_EQ(std::get<Ints>(back[1].values), (Ints{14, 13, 11, 12}));
    std::filesystem::remove_all(folder);
}

} // namespace
