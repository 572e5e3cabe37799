// SPDX-License-Identifier: BSD-3-Clause
// What must hold on real meshes: surfaces close, enclose the mesh's volume and count every face once.
#include "RealMeshes.h"

#include <KetSDK/Mesh/geometry/TetrahedronBase.h>
#include <KetSDK/Mesh/operators/MMeshExtractStlSurfaceOperator.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <vtkDataSetSurfaceFilter.h>
#include <vtkNew.h>
#include <vtkPolyData.h>
#include <vtkTriangleFilter.h>
#include <vtkUnstructuredGrid.h>

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <set>
#include <string>

namespace {

std::unique_ptr<MStlBase> Extract(MMeshBase& mesh, bool interfaces) {
    auto stl = std::make_unique<MStlBase>();
    MMeshExtractStlSurfaceOperator extract;
    extract.SetMesh(&mesh);
    extract.SetStl(stl.get());
    extract.SetExtractInterfacesBetweenSubVolumes(interfaces);
    EXPECT_TRUE(extract.Operate());
    return stl;
}

double EnclosedVolume(MStlBase const& stl) {
    double volume = 0.0;
    for (MStlTriangle const& t : stl.Triangles()) {
        auto const c = t.GetPositions();
        volume += c[0].Dot(c[1].Cross(c[2])) / 6.0;
    }
    return volume;
}

// How often each edge is used by the triangles, in either direction.
std::map<std::set<MStlPoint const*>, int> EdgeUses(MStlBase const& stl) {
    std::map<std::set<MStlPoint const*>, int> uses;
    for (MStlTriangle const& t : stl.Triangles())
        for (unsigned int i = 0; i < 3; ++i)
            ++uses[{t.GetPoint(i), t.GetPoint((i + 1) % 3)}];
    return uses;
}

struct RealMesh {
    char const* file;
    bool quadratic; // its volume is that of the curved elements, its surface that of the corners
};
constexpr RealMesh RealMeshes[] = {{"head_small_tet4.vtu", false},
                                   {"head_small_tet10.vtu", true},
                                   {"hex_matrix_fiber.vtu", false},
                                   {"wedge_beam14.vtu", false}};

// The sum over the linear tetrahedra of the corners.
double VolumeOfCorners(MMeshBase& mesh) {
    double volume = 0.0;
    for (MMeshElement& e : mesh.Elements())
        volume += TetrahedronBase<double>(&e).Volume();
    return volume;
}

} // namespace

TEST(RealMesh, ExteriorIsClosedAndEnclosesTheVolume) {
    for (RealMesh const& m : RealMeshes) {
        SCOPED_TRACE(m.file);
        auto const mesh = ReadMesh(m.file);
        auto const exterior = Extract(*mesh, false);
        double const volume = m.quadratic ? VolumeOfCorners(*mesh) : mesh->GetVolume();
        EXPECT_GT(volume, 0.0);
        EXPECT_NEAR(EnclosedVolume(*exterior), volume, 1e-12 * volume);
        for (auto const& [edge, uses] : EdgeUses(*exterior))
            ASSERT_EQ(uses % 2, 0) << "an open edge";

        vtkNew<vtkDataSetSurfaceFilter> surface;
        surface->SetInputData(ReadGrid(m.file));
        surface->SetNonlinearSubdivisionLevel(0);
        vtkNew<vtkTriangleFilter> triangles;
        triangles->SetInputConnection(surface->GetOutputPort());
        triangles->Update();
        EXPECT_EQ(exterior->NumberOfTriangles(),
                  static_cast<std::uint64_t>(triangles->GetOutput()->GetNumberOfPolys()));
    }
}

// The faces at which sub-volumes end are the outer ones and, from both sides, those between two.
TEST(RealMesh, InterfacesTwiceAndExteriorAreTheFacesOfAllSubVolumes) {
    for (RealMesh const& m : RealMeshes) {
        SCOPED_TRACE(m.file);
        auto const mesh = ReadMesh(m.file);
        std::uint64_t exterior = 0;
        std::uint64_t interfaces = 0;
        auto const surfaces = Extract(*mesh, true);
        for (MStlSurface const& surface : surfaces->Surfaces())
            (surface.GetName().starts_with(L"Exterior") ? exterior : interfaces) +=
                surface.NumberOfTriangles();
        EXPECT_EQ(exterior, Extract(*mesh, false)->NumberOfTriangles());

        std::uint64_t of_sub_volumes = 0;
        double volume = 0.0;
        for (auto it = mesh->BeginSubVolume(); it != mesh->EndSubVolume(); ++it) {
            std::unique_ptr<MMeshBase> const part(mesh->GetSubVolumeAsMMeshBase(**it));
            EXPECT_EQ(static_cast<std::uint64_t>(part->NumberOfElements()), (*it)->GetNbElements());
            of_sub_volumes += Extract(*part, false)->NumberOfTriangles();
            volume += (*it)->GetVolume();
        }
        EXPECT_EQ(2 * interfaces + exterior, of_sub_volumes);
        EXPECT_NEAR(volume, mesh->GetVolume(), 1e-12 * mesh->GetVolume());
    }
}
