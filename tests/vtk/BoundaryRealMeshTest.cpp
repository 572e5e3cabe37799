// Exploded views, boundaries and graphs of the real meshes, beside the extraction's surfaces and VTK's edges.
#include "RealMeshes.h"

#include <KetSDK/Mesh/geometry/TetrahedronBase.h>
#include <KetSDK/Mesh/mesh/MMeshElementIterators.h>
#include <KetSDK/Mesh/operators/MMeshConvertTetToGraphOperator.h>
#include <KetSDK/Mesh/operators/MMeshConvertToStlOperator.h>
#include <KetSDK/Mesh/operators/MMeshExtractStlSurfaceOperator.h>
#include <KetSDK/Mesh/operators/MMeshOperatorSettingsSurface.h>
#include <KetSDK/Mesh/operators/MMeshOperatorSurface.h>
#include <KetSDK/MeshVTK/PolyDataFromGraphs.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <vtkExtractEdges.h>
#include <vtkNew.h>
#include <vtkPolyData.h>
#include <vtkThreshold.h>
#include <vtkUnstructuredGrid.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

namespace {

using Position = std::array<MLong, 3>;
using Triangle = std::array<Position, 3>;

// Beginning with the lowest corner, in the same direction.
Triangle Turned(Triangle t) {
    std::rotate(t.begin(), std::ranges::min_element(t), t.end());
    return t;
}

// The marked triangles in their order, and with interfaces those of two sub-volumes from both sides.
std::vector<Triangle> Marked(MMeshBase& mesh, bool interfaces) {
    MMeshOperatorSettingsSurface settings;
    settings.SetInterfacesAreBoundary(interfaces);
    MMeshOperatorSurface surface;
    surface.SetMesh(&mesh);
    surface.SetSettings(&settings);
    EXPECT_TRUE(surface.Operate());
    std::vector<Triangle> triangles;
    std::unique_ptr<KetSDK::Mesh::Detail::MeshElementsIterator<0>> it(mesh.CreateBeginElementIter());
    for (; !it->IsDone(); ++*it)
        for (auto const& face : mesh.GetElementMasks()->GetSurfaceMask()->GetValue(**it)) {
            MMeshTetrahedronIterator tetrahedron(it.get(), static_cast<char>(face.tetrahedron));
            MMeshTriangleIterator triangle(&tetrahedron, static_cast<char>(face.triangle));
            Triangle corners;
            for (char i = 0; i < 3; ++i) {
                MMeshPoint const& p = *triangle.GetPoint(i);
                corners[static_cast<std::size_t>(i)] = {p.x, p.y, p.z};
            }
            triangles.push_back(Turned(corners));
        }
    std::ranges::sort(triangles);
    return triangles;
}

// Those of the extraction, and how many of them are interfaces.
std::vector<Triangle> Extracted(MMeshBase& mesh, bool interfaces, std::size_t& interfaces_found) {
    MStlBase stl;
    MMeshExtractStlSurfaceOperator extract;
    extract.SetMesh(&mesh);
    extract.SetStl(&stl);
    extract.SetExtractInterfacesBetweenSubVolumes(interfaces);
    EXPECT_TRUE(extract.Operate());
    std::vector<Triangle> triangles;
    for (MStlSurface const& surface : stl.Surfaces())
        for (MStlTriangle const& t : surface.Triangles()) {
            Triangle corners;
            for (std::size_t i = 0; i < 3; ++i)
                corners[i] = {t.GetPoint(i)->GetX(), t.GetPoint(i)->GetY(), t.GetPoint(i)->GetZ()};
            triangles.push_back(Turned(corners));
            interfaces_found += surface.GetName().starts_with(L"Interface");
        }
    std::ranges::sort(triangles);
    return triangles;
}

} // namespace

TEST(BoundaryRealMesh, MarkedFacesAreTheExtractedOnes) {
    for (char const* file : {"head_small_tet4.vtu", "hex_matrix_fiber.vtu", "wedge_beam14.vtu"})
        for (bool const interfaces : {false, true}) {
            SCOPED_TRACE(testing::Message() << file << " " << interfaces);
            auto const mesh = ReadMesh(file);
            auto const marked = Marked(*mesh, interfaces);
            std::size_t between = 0;
            auto const extracted = Extracted(*mesh, interfaces, between);
            // Interfaces are marked on the other side as well, where hexahedra may be cut along the other
            // diagonal.
            EXPECT_TRUE(std::ranges::includes(marked, extracted));
            EXPECT_EQ(marked.size(), extracted.size() + between);
        }
    // Four triangles, with the mid-edge nodes as corners, for each face.
    auto const curved = ReadMesh("head_small_tet10.vtu");
    std::size_t none = 0;
    EXPECT_EQ(Marked(*curved, false).size(), 4 * Extracted(*curved, false, none).size());
}

TEST(BoundaryRealMesh, ExplodedElementsKeepTheirShapeAndOrientation) {
    auto const mesh = ReadMesh("head_small_tet4.vtu");
    double const epsilon = 0.3;
    MStlBase stl;
    MMeshConvertToStlOperator convert;
    convert.SetMesh(mesh.get());
    convert.SetStl(&stl);
    convert.SetEpsilon(epsilon);
    ASSERT_TRUE(convert.Operate());
    ASSERT_EQ(stl.NumberOfTriangles(), 4u * static_cast<unsigned>(mesh->NumberOfElements()));
    double const factor = std::pow(1.0 - epsilon, 3.0);
    auto triangle = stl.Triangles().begin();
    for (MMeshElement const& e : mesh->Elements()) {
        TetrahedronBase<double> whole(&e);
        auto const centre = whole.GetCentroid();
        double volume = 0.0;
        double area = 0.0;
        for (int f = 0; f < 4; ++f, ++triangle) {
            auto const p = triangle->GetPositions();
            volume += (p[0] - centre).Dot((p[1] - centre).Cross(p[2] - centre)) / 6.0;
            area += p.Area();
            ASSERT_GT((MMVector<double, 3>(triangle->GetNormalFloat()).Dot(p[0] - centre)), 0.0);
        }
        // Corners are off by half a unit along each axis at most.
        ASSERT_NEAR(volume, factor * whole.Volume(), area / 65536.0);
    }
}

TEST(BoundaryRealMesh, GraphsHaveTheEdgesThatVtkExtracts) {
    auto const grid = ReadGrid("head_small_tet4.vtu");
    auto const mesh = KetSDK::MeshVTK::MeshFromGrid(*grid, {}, nullptr);
    MStlFeature all, interior;
    MMeshConvertTetToGraphOperator convert(*mesh, all);
    convert.SetOnlyInteriorEdges(false);
    ASSERT_TRUE(convert.Operate());
    ASSERT_TRUE(MMeshConvertTetToGraphOperator(*mesh, interior).Operate());
    ASSERT_EQ(all.NumberOfGraphs(), mesh->NumberOfSubVolumes());
    vtkIdType lines = 0;
    for (std::uint64_t i = 0; i < all.NumberOfGraphs(); ++i) {
        SCOPED_TRACE(i);
        MMeshSubVolume const& part = **(mesh->BeginSubVolume() + static_cast<std::ptrdiff_t>(i));
        MStlGraph const& graph = *all.GetGraph(i);
        EXPECT_EQ(graph.GetName(), part.GetName());
        EXPECT_EQ(graph.NumberOfVertices(), part.GetNbPoints());
        vtkNew<vtkThreshold> cells; // label i + 1
        cells->SetInputData(grid);
        cells->SetInputArrayToProcess(0, 0, 0, vtkDataObject::FIELD_ASSOCIATION_CELLS, "label");
        cells->SetThresholdFunction(vtkThreshold::THRESHOLD_BETWEEN);
        cells->SetLowerThreshold(static_cast<double>(i) + 0.5);
        cells->SetUpperThreshold(static_cast<double>(i) + 1.5);
        vtkNew<vtkExtractEdges> edges;
        edges->SetInputConnection(cells->GetOutputPort());
        edges->Update();
        EXPECT_EQ(graph.NumberOfEdges(), static_cast<std::uint64_t>(edges->GetOutput()->GetNumberOfCells()));
        EXPECT_LT(interior.GetGraph(i)->NumberOfEdges(), graph.NumberOfEdges());
        lines += static_cast<vtkIdType>(graph.NumberOfEdges());
    }
    EXPECT_EQ(KetSDK::MeshVTK::PolyDataFromGraphs(all, {})->GetNumberOfLines(), lines);
}
