// The volume of the mesh, and every quality measure of every element.
#include "Jobs.h"

#include <KetSDK/Mesh/geometry/TetrahedronBase.h>

#include <vtkCellData.h>
#include <vtkCellSizeFilter.h>
#include <vtkDoubleArray.h>
#include <vtkFieldData.h>
#include <vtkMeshQuality.h>
#include <vtkNew.h>

namespace Bench {
namespace {

using Tetrahedron = TetrahedronBase<double>;
using Values = std::vector<double>;

// How VTK's filter does the same; `measure` is one of VTK_QUALITY_*.
struct InVtk {
    char const* name;
    int measure;
    // From VTK's figure to ours; null where the two are only of the same kind.
    double (*to_ours)(double);
};

struct Measure {
    char const* name;
    void (*of_all)(MMeshBase const&, Values&);
    std::optional<InVtk> vtk;
};

template <auto Function>
void OfAll(MMeshBase const& mesh, Values& values) {
    mesh.Elements().ForEachWithNodes([&](MMeshElement const& element, std::uint64_t number) {
        Tetrahedron tetrahedron(&element);
        values[number] = (tetrahedron.*Function)();
    });
}

double Same(double v) {
    return v;
}
double Inverse(double v) {
    return 1.0 / v;
}

// What VTK calls the minimum angle is a dihedral angle, the smallest of only four of the six in VTK 9.1:
// those at the edges 0-2 and 1-3 are left out, so its answers differ.
Measure const Measures[] = {
    {"Volume", OfAll<&Tetrahedron::Volume>, InVtk{"Volume", VTK_QUALITY_VOLUME, Same}},
    {"QualitySpheres", OfAll<&Tetrahedron::QualitySpheres>,
     InVtk{"RadiusRatio", VTK_QUALITY_RADIUS_RATIO, Inverse}},
    {"QualityInsphereEdge", OfAll<&Tetrahedron::QualityInsphereEdge>,
     InVtk{"AspectRatio", VTK_QUALITY_ASPECT_RATIO, Inverse}},
    {"QualityMeanRatio", OfAll<&Tetrahedron::QualityMeanRatio>, InVtk{"Shape", VTK_QUALITY_SHAPE, Same}},
    {"QualityAspectRatio", OfAll<&Tetrahedron::QualityAspectRatio>,
     InVtk{"CollapseRatio", VTK_QUALITY_COLLAPSE_RATIO, nullptr}},
    {"QualityAspectRatioTetgen", OfAll<&Tetrahedron::QualityAspectRatioTetgen>,
     InVtk{"CollapseRatio", VTK_QUALITY_COLLAPSE_RATIO, nullptr}},
    {"QualityRadiusEdgeTetgen", OfAll<&Tetrahedron::QualityRadiusEdgeTetgen>, {}},
    {"QualityEquiAngleSkew", OfAll<&Tetrahedron::QualityEquiAngleSkew>, {}},
    {"QualityEquiDihedralAngleSkew", OfAll<&Tetrahedron::QualityEquiDihedralAngleSkew>,
     InVtk{"MinAngle", VTK_QUALITY_MIN_ANGLE, nullptr}},
    {"QualityEdgeMinMax", OfAll<&Tetrahedron::QualityEdgeMinMax>,
     InVtk{"EdgeRatio", VTK_QUALITY_EDGE_RATIO, Inverse}},
    {"QualityEdgeMaxMin", OfAll<&Tetrahedron::QualityEdgeMaxMin>,
     InVtk{"EdgeRatio", VTK_QUALITY_EDGE_RATIO, Same}},
    {"QualityJacobian", OfAll<&Tetrahedron::QualityJacobian>, InVtk{"Jacobian", VTK_QUALITY_JACOBIAN, Same}},
    {"QualityScaledJacobian", OfAll<&Tetrahedron::QualityScaledJacobian>,
     InVtk{"ScaledJacobian", VTK_QUALITY_SCALED_JACOBIAN, Same}},
    {"QualityMinFacangle", OfAll<&Tetrahedron::QualityMinFacangle>, {}},
    {"QualityMaxFacangle", OfAll<&Tetrahedron::QualityMaxFacangle>, {}},
    {"QualityEquiSizeSkew", OfAll<&Tetrahedron::QualityEquiSizeSkew>, {}},
    {"QualityAbacusShapeFactor", OfAll<&Tetrahedron::QualityAbacusShapeFactor>, {}},
    {"QualityAnsysElementQuality", OfAll<&Tetrahedron::QualityAnsysElementQuality>,
     InVtk{"AspectGamma", VTK_QUALITY_ASPECT_GAMMA, Inverse}},
    {"QualityFluentOrthogonalQuality", OfAll<&Tetrahedron::QualityFluentOrthogonalQuality>, {}},
    {"QualityMinCornerAngle", OfAll<&Tetrahedron::QualityMinCornerAngle>, {}},
    {"QualityMaxCornerAngle", OfAll<&Tetrahedron::QualityMaxCornerAngle>, {}},
    {"RadiusCircumsphere", OfAll<&Tetrahedron::RadiusCircumsphere>, {}},
    {"RadiusInsphere", OfAll<&Tetrahedron::RadiusInsphere>, {}},
    {"GetMinHeight", OfAll<&Tetrahedron::GetMinHeight>, {}},
    {"GetMaxCosDihedralAngle", OfAll<&Tetrahedron::GetMaxCosDihedralAngle>,
     InVtk{"MinAngle", VTK_QUALITY_MIN_ANGLE, nullptr}},
};

void AddMeasure(Recipe const& recipe, Measure const& measure) {
    bool const comparable = measure.vtk && measure.vtk->to_ours;
    AddWay(
        recipe, measure.name, Ours, [](Case& c) { c.values.resize(c.tetrahedra.cells.size()); },
        [&measure](Case& c) {
            measure.of_all(*c.mesh, c.values);
            return &c.values;
        },
        [comparable](Case&, Values const* values) {
            double sum = 0.0;
            for (double const value : *values)
                sum += value;
            return comparable ? std::optional(sum) : std::nullopt;
        });
    if (!measure.vtk)
        return;
    InVtk const& vtk = *measure.vtk;
    AddWay(
        recipe, measure.name, vtk.name, NothingToPrepare,
        [&vtk](Case& c) {
            auto filter = vtkSmartPointer<vtkMeshQuality>::New();
            filter->SetInputData(c.grid);
            filter->SetTetQualityMeasure(vtk.measure);
            filter->Update();
            return filter;
        },
        [&vtk](Case& c, auto const& filter) {
            if (!vtk.to_ours)
                return std::optional<double>();
            auto* const values =
                vtkDoubleArray::SafeDownCast(filter->GetOutput()->GetCellData()->GetArray("Quality"));
            double sum = 0.0;
            for (vtkIdType i = 0; i < c.grid->GetNumberOfCells(); ++i)
                sum += vtk.to_ours(values->GetValue(i));
            return std::optional(sum);
        });
}

void AddVolume(Recipe const& recipe) {
    AddWay(
        recipe, "GetVolume", Ours, NothingToPrepare, [](Case& c) { return c.mesh->GetVolume(); },
        [](Case&, double volume) { return std::optional(volume); });
    AddWay(
        recipe, "GetVolume", "vtkCellSizeFilter", NothingToPrepare,
        [](Case& c) {
            auto filter = vtkSmartPointer<vtkCellSizeFilter>::New();
            filter->SetInputData(c.grid);
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

} // namespace

void AddQualityJobs(Recipe const& recipe) {
    AddVolume(recipe);
    for (Measure const& measure : Measures)
        AddMeasure(recipe, measure);
}

} // namespace Bench
