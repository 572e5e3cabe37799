// SPDX-License-Identifier: BSD-3-Clause
// Quality metrics on real meshes, against VTK's and direct evaluation.
#include "../geometry/QualityRun.h"
#include "RealMeshes.h"

#include <KetSDK/Mesh/geometry/QualityMetric.h>
#include <KetSDK/Mesh/geometry/TetrahedronBase.h>
#include <KetSDK/MeshVTK/GridFromMesh.h>

#include <vtkCellData.h>
#include <vtkDoubleArray.h>
#include <vtkMeshQuality.h>
#include <vtkNew.h>
#include <vtkUnstructuredGrid.h>

#include <numbers>
#include <numeric>
#include <string>

namespace {

using Analysis = MMeshQualityAnalysisOperator;
using Vector = MMVector<double, 3>;

// The angle between the faces a b c and a b d, by the components of c and d across the edge.
double DihedralAngle(Vector const& a, Vector const& b, Vector const& c, Vector const& d) {
    Vector const edge = b - a;
    Vector const m = edge.Cross(c - a);
    Vector const n = edge.Cross(d - a);
    return std::atan2(m.Cross(n).Length(), m.Dot(n)) * 180.0 / std::numbers::pi;
}

} // namespace

TEST(QualityOfRealMesh, AgreesWithVtkOnEveryElement) {
    auto const same = [](double v) { return v; };
    auto const inverse = [](double v) { return 1.0 / v; };
    struct {
        Analysis::QualityType metric;
        int in_vtk;
        double (*to_ours)(double);
    } const measures[] = {
        {Analysis::Spheres, VTK_QUALITY_RADIUS_RATIO, inverse},
        {Analysis::InsphereEdge, VTK_QUALITY_ASPECT_RATIO, inverse},
        {Analysis::MeanRatio, VTK_QUALITY_SHAPE, same},
        {Analysis::Volume, VTK_QUALITY_VOLUME, same},
        {Analysis::EdgeMaxMin, VTK_QUALITY_EDGE_RATIO, same},
        {Analysis::EdgeMinMax, VTK_QUALITY_EDGE_RATIO, inverse},
        {Analysis::Jacobian, VTK_QUALITY_JACOBIAN, same},
        {Analysis::ScaledJacobian, VTK_QUALITY_SCALED_JACOBIAN, same},
        {Analysis::AnsysElementQuality, VTK_QUALITY_ASPECT_GAMMA,
         [](double v) { return 124.70765802 / std::sqrt(15552.0) / v; }},
    };
    auto const mesh = ReadMesh("head_small_tet4.vtu");
    auto const grid = KetSDK::MeshVTK::GridFromMesh(*mesh, {}, nullptr);
    for (auto const& measure : measures) {
        SCOPED_TRACE(KetSDK::Mesh::FindQualityMetric(measure.metric)->name);
        std::vector<double> const ours = RunAnalysis(*mesh, measure.metric, true).values;
        vtkNew<vtkMeshQuality> filter;
        filter->SetInputData(grid);
        filter->SetTetQualityMeasure(measure.in_vtk);
        filter->Update();
        vtkDataArray& values = *filter->GetOutput()->GetCellData()->GetArray("Quality");
        ASSERT_EQ(ours.size(), static_cast<std::size_t>(values.GetNumberOfTuples()));
        for (std::size_t i = 0; i < ours.size(); ++i) {
            double const expected = measure.to_ours(values.GetTuple1(static_cast<vtkIdType>(i)));
            ASSERT_NEAR(ours[i], expected, 1e-12 * std::fabs(expected)) << "element " << i;
        }
    }
}

// VTK 9.1 leaves two of the six edges out.
TEST(QualityOfRealMesh, DihedralAnglesAreThoseOfAllSixEdges) {
    auto const mesh = ReadMesh("head_small_tet4.vtu");
    std::vector<double> const smallest = RunAnalysis(*mesh, Analysis::MinDihedralAngle, true).values;
    std::vector<double> const largest = RunAnalysis(*mesh, Analysis::MaxDihedralAngle, true).values;
    for (std::size_t i = 0; i < smallest.size(); ++i) {
        TetrahedronBase<double> const t(mesh->GetElement(i));
        double low = 180.0, high = 0.0;
        for (unsigned int a = 0; a < 4; ++a)
            for (unsigned int b = a + 1; b < 4; ++b) {
                unsigned int const c = a != 0 && b != 0 ? 0 : (a != 1 && b != 1 ? 1 : 2);
                unsigned int const d = 6 - a - b - c;
                double const angle =
                    DihedralAngle(t.GetVertex(a), t.GetVertex(b), t.GetVertex(c), t.GetVertex(d));
                low = std::min(low, angle);
                high = std::max(high, angle);
            }
        ASSERT_NEAR(smallest[i], low, 1e-11) << "element " << i;
        ASSERT_NEAR(largest[i], high, 1e-11) << "element " << i;
    }
}
