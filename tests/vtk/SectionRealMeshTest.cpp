// SPDX-License-Identifier: BSD-3-Clause
// Sections of the real meshes: beside VTK's cutter, through nodes, and stacked up to the volume.
#include "RealMeshes.h"

#include <KetSDK/Mesh/operators/MMeshOperatorCutPlane.h>
#include <KetSDK/MeshVTK/GridFromMesh.h>

#include <vtkCell.h>
#include <vtkCutter.h>
#include <vtkNew.h>
#include <vtkPlane.h>
#include <vtkPolyData.h>
#include <vtkTriangle.h>
#include <vtkUnstructuredGrid.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

namespace {

using PlanePoint = MMeshOperatorCutPlane::Point;

double AreaByVtk(MMeshBase const& mesh, PlanePoint const& normal, PlanePoint const& point) {
    vtkNew<vtkPlane> plane;
    plane->SetNormal(normal[0], normal[1], normal[2]);
    plane->SetOrigin(point[0], point[1], point[2]);
    vtkNew<vtkCutter> cutter;
    cutter->SetInputData(KetSDK::MeshVTK::GridFromMesh(mesh, {}, nullptr));
    cutter->SetCutFunction(plane);
    cutter->Update();
    vtkPolyData& section = *cutter->GetOutput();
    double area = 0.0;
    for (vtkIdType i = 0; i < section.GetNumberOfCells(); ++i) {
        vtkPoints& corners = *section.GetCell(i)->GetPoints();
        for (vtkIdType k = 2; k < corners.GetNumberOfPoints(); ++k) {
            double a[3], b[3], c[3];
            corners.GetPoint(0, a);
            corners.GetPoint(k - 1, b);
            corners.GetPoint(k, c);
            area += vtkTriangle::TriangleArea(a, b, c);
        }
    }
    return area;
}

void ExpectClosedContours(MMeshOperatorCutPlane const& cut) {
    double const area = cut.GetSection().GetArea();
    MSection const contours = cut.GetContours();
    EXPECT_NEAR(contours.GetArea(), area, 1e-9 * area);
    for (auto const& contour : contours.Contours())
        EXPECT_TRUE(contour.closed);
}

} // namespace

TEST(SectionRealMesh, StacksUpToTheVolumeAndAgreesWithVtk) {
    PlanePoint const normal(0.3, -0.5, 1.0);
    for (char const* file :
         {"head_small_tet4.vtu", "head_small_tet10.vtu", "hex_matrix_fiber.vtu", "wedge_beam14.vtu"}) {
        SCOPED_TRACE(file);
        auto const mesh = ReadMesh(file);
        std::unique_ptr<MMeshBase::BoundingBoxDouble> const box(mesh->GetBoundingBoxDouble());
        PlanePoint const middle = (box->GetMin() + box->GetMax()) * 0.5;
        double const half = 0.5 * (box->GetMax() - box->GetMin()).Length();
        MMeshOperatorCutPlane cut;
        cut.SetMesh(mesh.get());
        int const steps = 60;
        double const distance = half / steps;
        double volume = 0.0;
        for (int i = -steps; i <= steps; ++i) {
            PlanePoint const point = middle + normal * (i * distance / normal.Length());
            cut.SetPlane(normal, point);
            ASSERT_TRUE(cut.Operate());
            EXPECT_EQ(cut.GetNbAbove() + cut.GetNbBelow() + cut.GetNbCut(),
                      static_cast<std::uint64_t>(mesh->NumberOfElements()));
            volume += cut.GetSection().GetArea() * distance;
            if (i % 20 != 0)
                continue;
            ExpectClosedContours(cut);
            // VTK cuts curved elements elsewhere, and rounds points to floats.
            double const area = cut.GetSection().GetArea();
            EXPECT_NEAR(AreaByVtk(*mesh, normal, point), area,
                        mesh->GetMeshType() == MMeshBase::Quadratic ? 1e-3 * area : 1e-6 * area);
        }
        EXPECT_NEAR(volume, mesh->GetVolume(), 0.01 * volume);
    }
}

// Nothing comes twice and nothing is left out when nodes lie in the plane: the area lies between those just
// above and just below.
TEST(SectionRealMesh, ThroughNodesIsWhatItIsBesideThem) {
    auto const mesh = ReadMesh("head_small_tet4.vtu");
    MMeshOperatorCutPlane cut;
    cut.SetMesh(mesh.get());
    double const nudge = 1e-9;
    for (std::uint64_t i = 0; i < static_cast<std::uint64_t>(mesh->NumberOfPoints()); i += 501) {
        MMeshPoint const& p = *mesh->GetRandomPoint(i);
        PlanePoint const node(p.x / 65536.0, p.y / 65536.0, p.z / 65536.0);
        for (PlanePoint const& normal : {PlanePoint(0, 0, 1), PlanePoint(1, 1, 0)}) {
            double area[3];
            for (int k = 0; k < 3; ++k) {
                cut.SetPlane(normal, node + normal * (nudge * (k - 1)));
                ASSERT_TRUE(cut.Operate());
                area[k] = cut.GetSection().GetArea();
                ExpectClosedContours(cut);
            }
            EXPECT_GE(area[1], std::min(area[0], area[2]) - 1e-3) << i;
            EXPECT_LE(area[1], std::max(area[0], area[2]) + 1e-3) << i;
        }
    }
}
