// SPDX-License-Identifier: BSD-3-Clause
// Conversion between kinds of elements on real meshes: nothing is lost, doubled or torn open.
#include "RealMeshes.h"

#include <KetSDK/Mesh/geometry/MMeshConvertHex8ToTet4Operator.h>
#include <KetSDK/Mesh/geometry/MMeshConvertTet10ToTet4Operator.h>
#include <KetSDK/Mesh/geometry/MMeshConvertTet4ToTet10Operator.h>
#include <KetSDK/Mesh/mesh/MMeshElementVolume.h>
#include <KetSDK/Mesh/operators/MMeshExtractStlSurfaceOperator.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <vtkLinearToQuadraticCellsFilter.h>
#include <vtkNew.h>
#include <vtkUnstructuredGrid.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <set>
#include <string>
#include <utility>

namespace {

std::unique_ptr<MMeshBase> ToQuadratic(MMeshBase& mesh) {
    MMeshConvertTet4ToTet10Operator convert;
    convert.SetMesh(&mesh);
    EXPECT_TRUE(convert.Operate());
    return std::unique_ptr<MMeshBase>(convert.GetTet10Mesh());
}

std::unique_ptr<MMeshBase> ToLinear(MMeshBase& mesh, bool multiple) {
    MMeshConvertTet10ToTet4Operator convert;
    convert.SetMesh(&mesh);
    convert.SetMultipleElements(multiple);
    EXPECT_TRUE(convert.Operate());
    return std::unique_ptr<MMeshBase>(convert.GetTet4Mesh());
}

std::array<MLong, 3> Place(MMeshPoint const& p) {
    return {p.x, p.y, p.z};
}

std::size_t CountPlaces(MMeshBase const& mesh) {
    std::set<std::array<MLong, 3>> places;
    for (auto p = mesh.BeginPoint(); p != mesh.EndPoint(); ++p)
        places.insert(Place(*p));
    return places.size();
}

// Corners in use and edges between them.
std::size_t CountCornersAndEdges(MMeshBase const& mesh) {
    std::set<MLong> corners;
    std::set<std::pair<MLong, MLong>> edges;
    for (MMeshElement const& e : mesh.Elements())
        for (unsigned int i = 0; i < 4; ++i) {
            MLong const a = e.GetNode(i)->GetIndex();
            corners.insert(a);
            for (unsigned int k = 0; k < i; ++k)
                edges.insert(std::minmax(a, e.GetNode(k)->GetIndex()));
        }
    return corners.size() + edges.size();
}

std::uint64_t ExteriorTriangles(MMeshBase& mesh) {
    MStlBase stl;
    MMeshExtractStlSurfaceOperator extract;
    extract.SetMesh(&mesh);
    extract.SetStl(&stl);
    EXPECT_TRUE(extract.Operate());
    return stl.NumberOfTriangles();
}

bool AllPositive(MMeshBase const& mesh) {
    return std::ranges::all_of(mesh.Elements(),
                               [](MMeshElement const& e) { return GetElementVolume(e) > 0.0; });
}

void ExpectVolumesOf(MMeshBase const& source, MMeshBase const& target) {
    ASSERT_EQ(source.NumberOfSubVolumes(), target.NumberOfSubVolumes());
    for (auto p = source.BeginSubVolume(), q = target.BeginSubVolume(); p != source.EndSubVolume();
         ++p, ++q) {
        EXPECT_EQ((*p)->GetName(), (*q)->GetName());
        EXPECT_NEAR((*p)->GetVolume(), (*q)->GetVolume(), 1e-5 * (*p)->GetVolume());
    }
}

} // namespace

TEST(ConversionRealMesh, EveryEdgeGetsOneNodeAndTheCornersComeBack) {
    auto const linear = ReadMesh("head_small_tet4.vtu");
    auto const quadratic = ToQuadratic(*linear);
    auto const nodes = static_cast<std::size_t>(quadratic->NumberOfPoints());
    EXPECT_EQ(nodes, CountCornersAndEdges(*linear));
    EXPECT_EQ(nodes, CountPlaces(*quadratic));
    vtkNew<vtkLinearToQuadraticCellsFilter> filter;
    filter->SetInputData(ReadGrid("head_small_tet4.vtu"));
    filter->Update();
    EXPECT_EQ(static_cast<vtkIdType>(nodes), filter->GetOutput()->GetNumberOfPoints());
    ExpectVolumesOf(*linear, *quadratic);
    EXPECT_EQ(ExteriorTriangles(*quadratic), ExteriorTriangles(*linear));

    auto const again = ToLinear(*quadratic, false);
    ExpectVolumesOf(*linear, *again);
    ASSERT_EQ(again->NumberOfElements(), linear->NumberOfElements());
    std::uint64_t i = 0;
    for (auto it = linear->BeginSubVolume(); it != linear->EndSubVolume(); ++it)
        for (MMeshElement const& e : **it) {
            for (unsigned int k = 0; k < 4; ++k)
                ASSERT_EQ(Place(*e.GetNode(k)), Place(*again->GetElement(i)->GetNode(k))) << i;
            ++i;
        }
}

TEST(ConversionRealMesh, EightPartsFillTheCurvedElement) {
    auto const quadratic = ReadMesh("head_small_tet10.vtu");
    auto const parts = ToLinear(*quadratic, true);
    ASSERT_EQ(parts->NumberOfElements(), 8 * quadratic->NumberOfElements());
    EXPECT_EQ(parts->NumberOfPoints(), quadratic->NumberOfPoints());
    EXPECT_EQ(static_cast<std::size_t>(parts->NumberOfPoints()), CountPlaces(*parts));
    EXPECT_EQ(ExteriorTriangles(*parts), 4 * ExteriorTriangles(*quadratic));
    // Without turned parts the volume is that of the curved element, however it is cut.
    int whole = 0;
    std::uint64_t i = 0;
    for (auto it = quadratic->BeginSubVolume(); it != quadratic->EndSubVolume(); ++it)
        for (MMeshElement const& e : **it) {
            double sum = 0.0;
            for (int part = 0; part < 8; ++part) {
                double const volume = GetElementVolume(*parts->GetElement(i++));
                ASSERT_GE(volume, 0.0);
                sum += volume;
            }
            double const volume = GetElementVolume(e);
            ASSERT_GE(sum, volume * (1 - 1e-9));
            whole += std::fabs(sum - volume) <= 1e-9 * volume;
        }
    EXPECT_GT(whole, quadratic->NumberOfElements() * 9 / 10);
    EXPECT_EQ(CountPlaces(*ToLinear(*quadratic, false)), CountPlaces(*ReadMesh("head_small_tet4.vtu")));
}

TEST(ConversionRealMesh, HexahedraLeaveGapsJustWhereTheirDiagonalsDiffer) {
    auto const hexahedra = ReadMesh("hex_matrix_fiber.vtu");
    MMeshBase linear;
    MMeshConvertHex8ToTet4Operator cut;
    cut.SetMesh(hexahedra.get());
    cut.SetTet4Mesh(&linear);
    ASSERT_TRUE(cut.Operate());
    EXPECT_EQ(linear.NumberOfElements(), 5 * hexahedra->NumberOfElements());
    EXPECT_EQ(static_cast<std::size_t>(linear.NumberOfPoints()), CountPlaces(*hexahedra));
    EXPECT_TRUE(AllPositive(linear));
    ExpectVolumesOf(*hexahedra, linear);
    auto const diagonals = MMeshConvertHex8ToTet4Operator::CompareDiagonals(*hexahedra);
    std::uint64_t const boundary = ExteriorTriangles(*hexahedra) / 2;
    EXPECT_EQ(2 * diagonals.interior + boundary, 6 * hexahedra->Elements().GetNumElements());
    EXPECT_GT(diagonals.different, 0u);
    EXPECT_EQ(ExteriorTriangles(linear), 2 * boundary + 4 * diagonals.different);
}
