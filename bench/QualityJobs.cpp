// SPDX-License-Identifier: BSD-3-Clause
// The volume of the mesh, and every quality metric of all its elements.
#include "Jobs.h"

#include <KetSDK/Mesh/geometry/QualityMetric.h>

#include <vtkCellData.h>
#include <vtkCellSizeFilter.h>
#include <vtkDoubleArray.h>
#include <vtkFieldData.h>
#include <vtkMeshQuality.h>
#include <vtkNew.h>
#include <vtkTetra.h>

#include <algorithm>
#include <span>

namespace Bench {
namespace {

using QualityAnalysis = MMeshQualityAnalysisOperator;
using KetSDK::Mesh::QualityMetric;

// How VTK's filter does the same; `measure` is one of VTK_QUALITY_*.
struct InVtk {
    QualityAnalysis::QualityType metric;
    char const* name;
    int measure;
    // From VTK's figure to ours; null where the two are only of the same kind.
    double (*to_ours)(double);
};

double Same(double v) {
    return v;
}
double Inverse(double v) {
    return 1.0 / v;
}

// What VTK calls the minimum angle is a dihedral angle, the smallest of only four of the six in VTK 9.1:
// those at the edges 0-2 and 1-3 are left out, so its answers differ.
constexpr InVtk Vtk[] = {
    {QualityAnalysis::Spheres, "RadiusRatio", VTK_QUALITY_RADIUS_RATIO, Inverse},
    {QualityAnalysis::InsphereEdge, "AspectRatio", VTK_QUALITY_ASPECT_RATIO, Inverse},
    {QualityAnalysis::MeanRatio, "Shape", VTK_QUALITY_SHAPE, Same},
    {QualityAnalysis::Volume, "Volume", VTK_QUALITY_VOLUME, Same},
    {QualityAnalysis::AspectRatio, "CollapseRatio", VTK_QUALITY_COLLAPSE_RATIO, nullptr},
    {QualityAnalysis::AspectRatioTetgen, "CollapseRatio", VTK_QUALITY_COLLAPSE_RATIO, nullptr},
    {QualityAnalysis::EdgeMaxMin, "EdgeRatio", VTK_QUALITY_EDGE_RATIO, Same},
    {QualityAnalysis::EdgeMinMax, "EdgeRatio", VTK_QUALITY_EDGE_RATIO, Inverse},
    {QualityAnalysis::Jacobian, "Jacobian", VTK_QUALITY_JACOBIAN, Same},
    {QualityAnalysis::ScaledJacobian, "ScaledJacobian", VTK_QUALITY_SCALED_JACOBIAN, Same},
    {QualityAnalysis::MaxCosDihedralAngle, "MinAngle", VTK_QUALITY_MIN_ANGLE, nullptr},
    {QualityAnalysis::MinDihedralAngle, "MinAngle", VTK_QUALITY_MIN_ANGLE, nullptr},
    {QualityAnalysis::EquiDihedralAngleSkew, "MinAngle", VTK_QUALITY_MIN_ANGLE, nullptr},
    {QualityAnalysis::AnsysElementQuality, "AspectGamma", VTK_QUALITY_ASPECT_GAMMA, Inverse},
    // Of hexahedra alone.
    {QualityAnalysis::Condition, "Condition", VTK_QUALITY_CONDITION, nullptr},
    {QualityAnalysis::MeanAspectFrobenius, "MedAspectFrobenius", VTK_QUALITY_MED_ASPECT_FROBENIUS, nullptr},
    {QualityAnalysis::Shape, "Shape", VTK_QUALITY_SHAPE, nullptr},
    {QualityAnalysis::MaxEdgeRatio, "MaxEdgeRatio", VTK_QUALITY_MAX_EDGE_RATIO, nullptr},
    {QualityAnalysis::Skew, "Skew", VTK_QUALITY_SKEW, nullptr},
    {QualityAnalysis::Taper, "Taper", VTK_QUALITY_TAPER, nullptr},
    {QualityAnalysis::Stretch, "Stretch", VTK_QUALITY_STRETCH, nullptr},
    {QualityAnalysis::Diagonal, "Diagonal", VTK_QUALITY_DIAGONAL, nullptr},
    {QualityAnalysis::Oddy, "Oddy", VTK_QUALITY_ODDY, nullptr},
};

InVtk const* FindInVtk(QualityAnalysis::QualityType metric) {
    auto const* const found = std::ranges::find(Vtk, metric, &InVtk::metric);
    return found == std::end(Vtk) ? nullptr : found;
}

double Sum(std::span<double const> values) {
    double sum = 0.0;
    for (double const value : values)
        sum += value;
    return sum;
}

void AddOurs(Recipe const& recipe, QualityMetric const& metric) {
    InVtk const* const vtk = FindInVtk(metric.type);
    bool const comparable = recipe.curved || (vtk && vtk->to_ours);
    AddWay(
        recipe, std::string(metric.name), Ours, NothingToPrepare,
        [type = metric.type](Case& c) {
            auto analysis = std::make_unique<QualityAnalysis>();
            analysis->SetMesh(&c.Mesh());
            analysis->SetCurrentMetric(type);
            analysis->SetParallel(IsParallel());
            analysis->SetEveryKind(c.elements.nodes_each == 8);
            analysis->Operate();
            return analysis;
        },
        [comparable](Case&, auto const& analysis) {
            return comparable ? std::optional(Sum(analysis->GetQualityHistogram()->GetValues()))
                              : std::nullopt;
        });
}

void AddVtk(Recipe const& recipe, QualityMetric const& metric, InVtk const& vtk) {
    AddWay(
        recipe, std::string(metric.name), vtk.name, NothingToPrepare,
        [&vtk](Case& c) {
            auto filter = vtkSmartPointer<vtkMeshQuality>::New();
            filter->SetInputData(c.Grid());
            filter->SetTetQualityMeasure(vtk.measure);
            filter->SetHexQualityMeasure(vtk.measure);
            filter->Update();
            return filter;
        },
        [&vtk](Case&, auto const& filter) {
            if (!vtk.to_ours)
                return std::optional<double>();
            auto* const values =
                vtkDoubleArray::SafeDownCast(filter->GetOutput()->GetCellData()->GetArray("Quality"));
            double sum = 0.0;
            for (vtkIdType i = 0; i < values->GetNumberOfTuples(); ++i)
                sum += vtk.to_ours(values->GetValue(i));
            return std::optional(sum);
        });
}

void AddMetric(Recipe const& recipe, QualityMetric const& metric) {
    AddOurs(recipe, metric);
    InVtk const* const vtk = FindInVtk(metric.type);
    if (vtk && !recipe.curved)
        AddVtk(recipe, metric, *vtk);
}

void AddVolume(Recipe const& recipe) {
    AddWay(
        recipe, "GetVolume", Ours, NothingToPrepare, [](Case& c) { return c.Mesh().GetVolume(IsParallel()); },
        [](Case&, double volume) { return std::optional(volume); });
    AddWay(
        recipe, "GetVolume", "vtkCellSizeFilter", NothingToPrepare,
        [](Case& c) {
            auto filter = vtkSmartPointer<vtkCellSizeFilter>::New();
            filter->SetInputData(c.Grid());
            filter->ComputeVertexCountOff();
            filter->ComputeLengthOff();
            filter->ComputeAreaOff();
            filter->ComputeSumOn();
            filter->Update();
            return filter;
        },
        [](Case&, auto const& filter) {
            vtkFieldData* const sums = filter->GetOutput()->GetFieldData();
            return std::optional(sums->GetArray("Volume")->GetComponent(0, 0));
        });
}

// VTK's plain way to the volume, without a filter's output.
void AddPlainVolume(Recipe const& recipe) {
    AddWay(
        recipe, "GetVolume", "vtkTetra::ComputeVolume, summed", NothingToPrepare,
        [](Case& c) {
            double volume = 0.0;
            double p[4][3];
            for (vtkIdType cell = 0; cell < c.Grid()->GetNumberOfCells(); ++cell) {
                vtkIdType count = 0;
                vtkIdType const* ids = nullptr;
                c.Grid()->GetCellPoints(cell, count, ids);
                for (int i = 0; i < 4; ++i)
                    c.Grid()->GetPoint(ids[i], p[i]);
                volume += vtkTetra::ComputeVolume(p[0], p[1], p[2], p[3]);
            }
            return volume;
        },
        [](Case&, double volume) { return std::optional(volume); });
}

} // namespace

void AddQualityJobs(Recipe const& recipe) {
    AddVolume(recipe);
    if (recipe.IsOfLinearTetrahedra())
        AddPlainVolume(recipe);
    unsigned char const kind = recipe.hexahedra ? QualityMetric::Hexahedra : QualityMetric::Tetrahedra;
    for (QualityMetric const& metric : KetSDK::Mesh::QualityMetrics())
        if (metric.quadratic == recipe.curved && (metric.kinds & kind) != 0)
            AddMetric(recipe, metric);
}

} // namespace Bench
