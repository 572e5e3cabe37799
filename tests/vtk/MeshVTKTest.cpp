// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/persistence/MMeshDifference.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/GridFromMesh.h>
#include <KetSDK/MeshVTK/MeshFromGrid.h>
#include <KetSDK/MeshVTK/PolyDataFromSurface.h>
#include <KetSDK/MeshVTK/SurfaceFromPolyData.h>
#include <KetSDK/MeshVTK/Text.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <vtkCell.h>
#include <vtkCellArray.h>
#include <vtkCellData.h>
#include <vtkCompositeDataSet.h>
#include <vtkDoubleArray.h>
#include <vtkFieldData.h>
#include <vtkFloatArray.h>
#include <vtkInformation.h>
#include <vtkIntArray.h>
#include <vtkMath.h>
#include <vtkMultiBlockDataSet.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkPolyData.h>
#include <vtkStringArray.h>
#include <vtkUnsignedCharArray.h>
#include <vtkUnstructuredGrid.h>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <vector>

using namespace KetSDK::MeshVTK;

namespace {

using Points = std::vector<std::array<double, 3>>;

struct Cell {
    int type;
    Points points;
    double volume; // by hand
};

// One cell of each kind, the wedge in both windings.
std::vector<Cell> const& CellsOfEveryKind() {
    Points const corners = {{0, 0, 0}, {3, 0, 0}, {0, 4, 0}, {0, 0, 5}};
    Points quadratic = corners;
    for (auto const& [a, b] : {std::array{0u, 1u}, {1u, 2u}, {2u, 0u}, {0u, 3u}, {1u, 3u}, {2u, 3u}})
        quadratic.push_back({(corners[a][0] + corners[b][0]) / 2, (corners[a][1] + corners[b][1]) / 2,
                             (corners[a][2] + corners[b][2]) / 2});
    Points const box = {{0, 0, 0}, {2, 0, 0}, {2, 3, 0}, {0, 3, 0},
                        {0, 0, 4}, {2, 0, 4}, {2, 3, 4}, {0, 3, 4}};
    static std::vector<Cell> const cells = {
        {VTK_TETRA, corners, 10.0},
        {VTK_QUADRATIC_TETRA, quadratic, 10.0},
        {VTK_HEXAHEDRON, box, 24.0},
        {VTK_WEDGE, {box[0], box[1], box[3], box[4], box[5], box[7]}, 12.0},
        {VTK_WEDGE, {box[4], box[5], box[7], box[0], box[1], box[3]}, 12.0},
        {VTK_TETRA, {corners[0], corners[2], corners[1], corners[3]}, -10.0}, // wrong on purpose: kept
    };
    return cells;
}

void AddCell(vtkUnstructuredGrid& grid, int type, Points const& points, double shift) {
    std::vector<vtkIdType> ids;
    for (auto const& p : points)
        ids.push_back(grid.GetPoints()->InsertNextPoint(p[0] + shift, p[1], p[2]));
    grid.InsertNextCell(type, static_cast<vtkIdType>(ids.size()), ids.data());
}

vtkNew<vtkUnstructuredGrid> EmptyGrid() {
    vtkNew<vtkUnstructuredGrid> grid;
    vtkNew<vtkPoints> points;
    points->SetDataTypeToDouble();
    grid->SetPoints(points);
    grid->Allocate(8);
    return grid;
}

vtkNew<vtkUnstructuredGrid> GridOfEveryKind() {
    auto grid = EmptyGrid();
    double shift = 0.0;
    for (Cell const& cell : CellsOfEveryKind())
        AddCell(*grid, cell.type, cell.points, shift += 10.0);
    grid->GetPoints()->InsertNextPoint(-1.0, -2.0, -3.0); // used by no cell
    return grid;
}

template <typename Array, typename T>
vtkNew<Array> MakeArray(char const* name, std::vector<T> const& values, int components = 1) {
    vtkNew<Array> array;
    array->SetName(name);
    array->SetNumberOfComponents(components);
    for (T const& value : values)
        array->InsertNextValue(value);
    return array;
}

std::vector<vtkIdType> PointsOfCell(vtkUnstructuredGrid& grid, vtkIdType cell) {
    vtkIdList& ids = *grid.GetCell(cell)->GetPointIds();
    return {ids.begin(), ids.end()};
}

std::vector<MLong> NodesOfElement(MMeshBase const& mesh, std::uint64_t i) {
    std::vector<MLong> nodes;
    for (unsigned int k = 0; k < mesh.GetElement(i)->GetNodeCount(); ++k)
        nodes.push_back(mesh.GetElement(i)->GetNode(k)->GetIndex());
    return nodes;
}

std::vector<std::wstring> SubvolumeNames(MMeshBase const& mesh) {
    std::vector<std::wstring> names;
    for (auto it = mesh.BeginSubVolume(); it != mesh.EndSubVolume(); ++it)
        names.push_back((*it)->GetName());
    return names;
}

// Volume within the faces that VTK says a cell has, by the divergence theorem; positive when their
// normals point outwards. The faces are flat.
double VolumeInFaces(vtkCell& cell) {
    double volume = 0.0;
    for (int f = 0; f < cell.GetNumberOfFaces(); ++f) {
        vtkCell& face = *cell.GetFace(f);
        for (int last = 2; last < face.GetNumberOfEdges(); ++last) {
            std::array<std::array<double, 3>, 3> p{};
            face.GetPoints()->GetPoint(0, p[0].data());
            face.GetPoints()->GetPoint(last - 1, p[1].data());
            face.GetPoints()->GetPoint(last, p[2].data());
            volume += vtkMath::Determinant3x3(p[0].data(), p[1].data(), p[2].data()) / 6.0;
        }
    }
    return volume;
}

std::string MessageOf(std::function<void()> const& job) {
    try {
        job();
    } catch (Error const& e) {
        return e.what();
    }
    return "";
}

TEST(MeshVTK, EveryKindOfElementGoesThereAndBack) {
    auto const grid = GridOfEveryKind();
    auto const mesh = MeshFromGrid(*grid, {}, nullptr);
    auto const& cells = CellsOfEveryKind();
    ASSERT_EQ(mesh->NumberOfElements(), static_cast<MLong>(cells.size()));
    ASSERT_EQ(mesh->NumberOfPoints(), grid->GetNumberOfPoints());
    EXPECT_EQ(mesh->GetMeshType(), MMeshBase::Quadratic);

    auto const back = GridFromMesh(*mesh, {}, nullptr);
    auto const again = MeshFromGrid(*back, {}, nullptr);
    for (std::size_t i = 0; i < cells.size(); ++i) {
        SCOPED_TRACE("cell " + std::to_string(i));
        auto const id = static_cast<vtkIdType>(i);
        EXPECT_EQ(back->GetCellType(id), cells[i].type);
        EXPECT_EQ(NodesOfElement(*again, i), NodesOfElement(*mesh, i));
        if (cells[i].type != VTK_WEDGE) {
            EXPECT_EQ(PointsOfCell(*back, id), PointsOfCell(*grid, id));
        }

        // Each alone: its volume, and what VTK takes for its outside.
        auto const one = EmptyGrid();
        AddCell(*one, cells[i].type, cells[i].points, 0.0);
        auto const single = MeshFromGrid(*one, {}, nullptr);
        EXPECT_DOUBLE_EQ(single->GetVolume(), cells[i].volume);
        EXPECT_NEAR(VolumeInFaces(*GridFromMesh(*single, {}, nullptr)->GetCell(0)), cells[i].volume, 1e-9);
    }
    for (vtkIdType i = 0; i < grid->GetNumberOfPoints(); ++i)
        for (int c = 0; c < 3; ++c)
            EXPECT_DOUBLE_EQ(back->GetPoint(i)[c], grid->GetPoint(i)[c]);
}

TEST(MeshVTK, ValuesIdentifiersAndForeignArraysComeBack) {
    auto const grid = GridOfEveryKind();
    std::vector<double> const grey = {-1024.0, 0.5, 3071.25, 1e-9, 7.0, 8.0};
    grid->GetCellData()->AddArray(MakeArray<vtkDoubleArray>("grey", grey));
    grid->GetCellData()->AddArray(MakeArray<vtkIntArray, int>("original_id", {60, 50, 40, 30, 20, -1}));
    grid->GetCellData()->AddArray(MakeArray<vtkFloatArray>("velocity", std::vector<float>(18, 2.5f), 3));
    auto const points = static_cast<std::size_t>(grid->GetNumberOfPoints());
    grid->GetPointData()->AddArray(MakeArray<vtkDoubleArray>("heat", std::vector<double>(points, 1.25)));
    grid->GetFieldData()->AddArray(MakeArray<vtkIntArray, int>("patient", {42}));

    auto const mesh = MeshFromGrid(*grid, {}, nullptr);
    EXPECT_TRUE(mesh->HasGreyValues());
    auto const back = GridFromMesh(*mesh, {}, grid);
    for (vtkIdType i = 0; i < back->GetNumberOfCells(); ++i) {
        EXPECT_EQ(back->GetCellData()->GetArray("grey")->GetComponent(i, 0),
                  grey[static_cast<std::size_t>(i)]);
        EXPECT_EQ(back->GetCellData()->GetArray("original_id")->GetComponent(i, 0),
                  i == 5 ? -1 : 60 - 10 * i);
    }
    for (vtkIdType i = 0; i < back->GetNumberOfPoints(); ++i)
        EXPECT_EQ(back->GetPointData()->GetArray("original_id")->GetComponent(i, 0), i);
    ASSERT_TRUE(back->GetCellData()->HasArray("velocity"));
    EXPECT_EQ(back->GetCellData()->GetArray("velocity")->GetNumberOfComponents(), 3);
    EXPECT_TRUE(back->GetPointData()->HasArray("heat"));
    EXPECT_TRUE(back->GetFieldData()->HasArray("patient"));
    auto const other = EmptyGrid();
    EXPECT_THROW(GridFromMesh(*mesh, {}, other), Error);
}

TEST(MeshVTK, SubvolumesComeFromNumbersOrLabels) {
    using Numbers = std::vector<int>;
    using Names = std::vector<std::string>;
    using Expected = std::vector<std::wstring>;
    auto const check = [](Numbers const& subvolume, Names const& names, Numbers const& label,
                          std::string const& labels, Expected const& expected, Numbers const& numbers) {
        auto const grid = GridOfEveryKind();
        if (!subvolume.empty())
            grid->GetCellData()->AddArray(MakeArray<vtkIntArray>("subvolume", subvolume));
        if (!names.empty())
            grid->GetFieldData()->AddArray(MakeArray<vtkStringArray>("subvolume_names", names));
        if (!label.empty())
            grid->GetCellData()->AddArray(MakeArray<vtkIntArray>("label", label));
        MeshFromGridOptions options;
        options.labels = labels;
        auto const mesh = MeshFromGrid(*grid, options, nullptr);
        auto const again = MeshFromGrid(*GridFromMesh(*mesh, {}, grid), {}, nullptr);
        for (auto const* const m : {mesh.get(), again.get()}) {
            EXPECT_EQ(SubvolumeNames(*m), expected);
            for (std::size_t i = 0; i < numbers.size(); ++i)
                EXPECT_EQ(m->GetSubVolume(*m->GetElement(i))->GetID(), numbers[i]) << expected.front();
        }
    };
    check({}, {}, {}, "", {L"Volume 0"}, {0, 0, 0, 0, 0, 0});
    check({}, {}, {9, -4, 9, 2, 2, 9}, "", {L"Label -4", L"Label 2", L"Label 9"}, {2, 0, 2, 1, 1, 2});
    // Names without elements go, numbers without names do not count, nor do names beside a wanted label.
    check({3, 1, 1, 3, 3, 1}, {"a", "b\xC3\xB6", "c", "\xE9\xAA\xA8"}, {9, 9, 9, 9, 9, 8}, "",
          {L"b\u00F6", L"\u9AA8"}, {1, 0, 0, 1, 1, 0});
    check({0, 1, 0, 1, 0, 1}, {}, {7, 7, 7, 7, 7, 7}, "", {L"Label 7"}, {0, 0, 0, 0, 0, 0});
    check({0, 0, 0, 0, 0, 0}, {"a"}, {1, 2, 1, 2, 1, 2}, "label", {L"Label 1", L"Label 2"},
          {0, 1, 0, 1, 0, 1});
}

TEST(MeshVTK, GridsThatDoNotFitAreRefused) {
    auto const refuse = [](char const* part, std::vector<vtkAbstractArray*> const& arrays,
                           std::string const& labels = "", std::vector<vtkIdType> const& cell = {}) {
        auto const grid = GridOfEveryKind();
        for (vtkAbstractArray* const array : arrays)
            (array->IsNumeric() ? static_cast<vtkFieldData*>(grid->GetCellData()) : grid->GetFieldData())
                ->AddArray(array);
        if (!cell.empty())
            grid->InsertNextCell(VTK_TETRA, static_cast<vtkIdType>(cell.size()), cell.data());
        MeshFromGridOptions options;
        options.labels = labels;
        std::string const message = MessageOf([&] { MeshFromGrid(*grid, options, nullptr); });
        EXPECT_NE(message.find(part), std::string::npos) << part << " / " << message;
    };
    refuse("3 values instead of 6", {MakeArray<vtkIntArray, int>("label", {1, 2, 3})});
    refuse("2 components", {MakeArray<vtkIntArray>("label", std::vector<int>(12, 1), 2)});
    refuse("7 values instead of 6", {MakeArray<vtkFloatArray>("grey", std::vector<float>(7, 1.f))});
    refuse("whole numbers", {MakeArray<vtkFloatArray>("real", std::vector<float>(6, 1.5f))}, "real");
    refuse("sub-volume 2", {MakeArray<vtkIntArray, int>("subvolume", {0, 1, 2, 0, 0, 0}),
                            MakeArray<vtkStringArray, std::string>("subvolume_names", {"a", "b"})});
    refuse("lists 5 points instead of 4", {}, "", {0, 1, 2, 3, 4});
    refuse("uses point 99", {}, "", {0, 1, 2, 99});
}

TEST(MeshVTK, RoundingIsReportedAndRefused) {
    auto const grid = EmptyGrid();
    double const step = 1.0 / 65536.0;
    // In metres. Points 1 and 4 differ by less than a step; 5 is point 0 exactly.
    AddCell(*grid, VTK_TETRA, {{0, 0, 0}, {0.001, 0, 0}, {0, 0.001, 0}, {0, 0, 0.001}}, 0.0);
    grid->GetPoints()->InsertNextPoint(0.001 + 0.25e-3 * step, 0, 0);
    grid->GetPoints()->InsertNextPoint(0, 0, 0);
    MeshFromGridOptions options;
    options.unit = LengthUnit::FromName("m");
    EXPECT_NE(MessageOf([&] { MeshFromGrid(*grid, options, nullptr); }).find("1 of 6 points"),
              std::string::npos);
    options.limits.allow_merged = true;
    RoundingReport report;
    auto const mesh = MeshFromGrid(*grid, options, &report);
    EXPECT_EQ(mesh->NumberOfPoints(), 6);
    EXPECT_EQ(report.merged, 1u);
    EXPECT_NEAR(report.largest_error, 0.25 * step, 1e-6 * step);
    EXPECT_NEAR(mesh->GetVolume(), 1.0 / 6.0, 1e-12);

    grid->GetPoints()->InsertNextPoint(0, 32.768, 0);
    EXPECT_NE(MessageOf([&] { MeshFromGrid(*grid, options, nullptr); }).find("1 of 7 points"),
              std::string::npos);
    options.limits.allow_out_of_range = true;
    auto const clamped = MeshFromGrid(*grid, options, &report);
    EXPECT_EQ(report.out_of_range, 1u);
    EXPECT_EQ(clamped->GetRandomPoint(6)->y, std::numeric_limits<MLong>::max());
    EXPECT_THROW(LengthUnit::FromName("inch"), Error);
}

// Tetrahedra of points that follow each other. Every 16th point lies beside the one before it, closer than
// rounding tells; at the end there is an element of another kind, or none.
vtkNew<vtkUnstructuredGrid> LargeGrid(int real, vtkIdType step_of_labels, bool ends_mixed) {
    constexpr vtkIdType count = 150000;
    vtkNew<vtkUnstructuredGrid> grid;
    vtkNew<vtkPoints> points;
    points->SetDataType(real);
    vtkNew<vtkIntArray> labels;
    labels->SetName("label");
    grid->SetPoints(points);
    grid->Allocate(count);
    for (vtkIdType i = 0; i < count; ++i) {
        bool const beside = i % 16 == 15;
        vtkIdType const k = beside ? i - 1 : i;
        points->InsertNextPoint(static_cast<double>(k % 100), static_cast<double>(k / 100 % 100),
                                static_cast<double>(k / 10000) + (beside ? 0.000001 : 0.0));
    }
    for (vtkIdType i = 0; i + 4 < count; ++i) {
        vtkIdType const ids[] = {i, i + 1, i + 3, i + 4};
        grid->InsertNextCell(VTK_TETRA, 4, ids);
        labels->InsertNextValue(static_cast<int>((i * 7 / 1000 % 31) * step_of_labels));
    }
    if (ends_mixed) {
        vtkIdType const ids[] = {0, 1, 101, 100, 10000, 10001, 10101, 10100};
        grid->InsertNextCell(VTK_HEXAHEDRON, 8, ids);
        labels->InsertNextValue(static_cast<int>(5 * step_of_labels));
    }
    grid->GetCellData()->AddArray(labels);
    return grid;
}

TEST(MeshVTK, LargeGridsComeOutTheSameOnThreads) {
    struct {
        int real;
        vtkIdType step_of_labels;
        bool ends_mixed;
    } const grids[] = {{VTK_DOUBLE, 1, false}, {VTK_FLOAT, 500, true}, {VTK_DOUBLE, 1000003, true}};
    for (auto const& [real, step_of_labels, ends_mixed] : grids) {
        auto const source = LargeGrid(real, step_of_labels, ends_mixed);
        MeshFromGridOptions options;
        options.limits.allow_merged = true;
        RoundingReport report, same_report;
        auto const mesh = MeshFromGrid(*source, options, &report);
        options.parallel = true;
        auto const same = MeshFromGrid(*source, options, &same_report);
        EXPECT_EQ(FindMeshDifference(*mesh, *same), std::nullopt);
        EXPECT_EQ(mesh->NumberOfSubVolumes(), 31u);
        EXPECT_EQ(report.merged, same_report.merged);
        EXPECT_TRUE(real == VTK_FLOAT || report.merged == 150000u / 16) << report.merged;

        auto const grid = GridFromMesh(*mesh, {}, nullptr, false),
                   same_grid = GridFromMesh(*same, {}, nullptr, true);
        ASSERT_EQ(grid->GetNumberOfCells(), source->GetNumberOfCells());
        for (vtkIdType cell = 0; cell < grid->GetNumberOfCells(); cell += 997) {
            EXPECT_EQ(PointsOfCell(*grid, cell), PointsOfCell(*source, cell));
            EXPECT_EQ(grid->GetCellType(cell), source->GetCellType(cell));
        }
        for (vtkIdType i = 0; i < grid->GetNumberOfPoints(); i += 991)
            EXPECT_EQ(grid->GetPoint(i)[2], mesh->GetRandomPoint(static_cast<std::uint64_t>(i))->z / 65536.0);
        auto const same_again = MeshFromGrid(*same_grid, options, nullptr);
        EXPECT_EQ(FindMeshDifference(*mesh, *same_again), std::nullopt);

        source->GetCells()->GetConnectivityArray()->SetComponent(333333, 0, -1);
        std::string const message = MessageOf([&] { MeshFromGrid(*source, options, nullptr); });
        EXPECT_EQ(message, "cell 83333 uses point -1, but there are 150000 points (from 0)");
        source->GetCellTypesArray()->SetValue(77777, VTK_PYRAMID);
        EXPECT_NE(MessageOf([&] { MeshFromGrid(*source, options, nullptr); }).find("(1 pyramid)"),
                  std::string::npos);
    }
}

TEST(MeshVTK, SurfacesGoThereAndBack) {
    MStlBase stl;
    MLong const corners[][3] = {{0, 0, 0}, {65536, 0, 0}, {0, 65536, 0}, {0, 0, 65536}, {-65536, 0, 0}};
    char const* const names[] = {"Exterior Surface-0", "", "Gef\xC3\xA4\xC3\x9F-\xE9\xAA\xA8"};
    for (char const* const name : names)
        stl.AddSurface(nullptr)->SetName(FromUtf8(name).c_str());
    stl.GetSurface(0)->AddTriangle(corners[0], corners[1], corners[2]);
    stl.GetSurface(2)->AddTriangle(corners[0], corners[2], corners[3]);
    stl.GetSurface(0)->AddTriangle(corners[0], corners[3], corners[4]);

    LengthUnit const metres = LengthUnit::FromName("m");
    auto const data = PolyDataFromSurfaces(stl, metres);
    EXPECT_DOUBLE_EQ(data->GetPoint(1)[0], 0.001);
    auto const back = SurfaceFromPolyData(*data, {metres, {}}, nullptr);
    ASSERT_EQ(back->NumberOfSurfaces(), 3u);
    for (std::uint64_t s = 0; s < 3; ++s) {
        EXPECT_EQ(ToUtf8(back->GetSurface(s)->GetName()), names[s]);
        EXPECT_EQ(back->GetSurface(s)->NumberOfTriangles(), stl.GetSurface(s)->NumberOfTriangles());
        EXPECT_DOUBLE_EQ(back->GetSurface(s)->GetArea(), stl.GetSurface(s)->GetArea());
    }
    for (std::uint64_t i = 0; i < stl.NumberOfPoints(); ++i)
        EXPECT_EQ(back->GetPoint(i)->GetPosition(), stl.GetPoint(i)->GetPosition());

    auto const blocks = BlocksFromSurfaces(stl, {});
    ASSERT_EQ(blocks->GetNumberOfBlocks(), 3u);
    EXPECT_STREQ(blocks->GetMetaData(2u)->Get(vtkCompositeDataSet::NAME()), names[2]);
    EXPECT_EQ(vtkPolyData::SafeDownCast(blocks->GetBlock(2))->GetNumberOfPoints(), 3);
}

TEST(MeshVTK, PolygonsAndStripsBecomeTriangles) {
    vtkNew<vtkPoints> points;
    points->SetDataTypeToDouble();
    for (double const x : {0.0, 1.0, 2.0})
        for (double const y : {0.0, 1.0})
            points->InsertNextPoint(x, y, 0.0);
    points->InsertNextPoint(2.0, 1.0 + 1e-9, 0.0); // falls on point 5
    vtkNew<vtkPolyData> data;
    data->SetPoints(points);
    data->AllocateEstimate(4, 4);
    auto const add = [&data](int type, std::vector<vtkIdType> const& ids) {
        data->InsertNextCell(type, static_cast<int>(ids.size()), ids.data());
    };
    add(VTK_LINE, {0, 5});
    add(VTK_POLYGON, {0, 2, 3, 1});
    add(VTK_TRIANGLE, {4, 5, 6});
    add(VTK_TRIANGLE_STRIP, {2, 4, 3, 5});
    SurfaceFromPolyDataOptions options;
    options.limits.allow_merged = true;
    SurfaceReport report;
    auto const stl = SurfaceFromPolyData(*data, options, &report);
    EXPECT_EQ(stl->NumberOfTriangles(), 4u);
    EXPECT_DOUBLE_EQ(stl->GetSurface(0)->GetArea(), 2.0);
    EXPECT_EQ(stl->NumberOfPoints(), 6u);
    EXPECT_EQ(report.dropped_triangles, 1u);
}

TEST(MeshVTK, TextIsUtf8) {
    std::wstring const wide = L"a\u00E4\u9AA8\U0001F9B4";
    EXPECT_EQ(ToUtf8(wide), "a\xC3\xA4\xE9\xAA\xA8\xF0\x9F\xA6\xB4");
    EXPECT_EQ(FromUtf8(ToUtf8(wide)), wide);
    for (char const* const broken :
         {"\x80", "\xC0\x80", "\xE9\xAA", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xFF"})
        EXPECT_EQ(FromUtf8(broken).front(), L'\uFFFD');
}

} // namespace
