// SPDX-License-Identifier: BSD-3-Clause
// Sub-volumes split into their parts, and sections by a plane.
#include "Jobs.h"

#include <KetSDK/Mesh/operators/MMeshMergeVolumesOperator.h>
#include <KetSDK/Mesh/operators/MMeshOperatorCutPlane.h>
#include <KetSDK/Mesh/operators/MMeshSplitVolumesOperator.h>

#include <vtk3DLinearGridPlaneCutter.h>
#include <vtkAlgorithm.h>
#include <vtkCell.h>
#include <vtkCutter.h>
#include <vtkNew.h>
#include <vtkPlane.h>
#include <vtkPlaneCutter.h>
#include <vtkPoints.h>
#include <vtkPolyData.h>
#include <vtkTriangle.h>

#include <memory>
#include <optional>

namespace Bench {
namespace {

// Through the middle of the mesh, askew, so that no node lies on it.
constexpr double Normal[3] = {0.31, -0.47, 0.83};

vtkNew<vtkPlane> Plane(Case const& c) {
    vtkNew<vtkPlane> plane;
    plane->SetNormal(Normal[0], Normal[1], Normal[2]);
    plane->SetOrigin(c.middle.data());
    return plane;
}

auto const AreaIsAnswer = [](Case&, auto const& cutter) -> std::optional<double> {
    auto* const found = vtkPolyData::SafeDownCast(cutter->GetOutputDataObject(0));
    if (!found)
        return std::nullopt;
    vtkPolyData& section = *found;
    double area = 0.0;
    for (vtkIdType i = 0; i < section.GetNumberOfCells(); ++i) {
        vtkPoints& corners = *section.GetCell(i)->GetPoints();
        for (vtkIdType k = 2; k < corners.GetNumberOfPoints(); ++k) {
            double p[3][3];
            corners.GetPoint(0, p[0]);
            corners.GetPoint(k - 1, p[1]);
            corners.GetPoint(k, p[2]);
            area += vtkTriangle::TriangleArea(p[0], p[1], p[2]);
        }
    }
    return area;
};

void AddSections(Recipe const& recipe) {
    AddWay(
        recipe, "section", Ours, NothingToPrepare,
        [](Case& c) {
            auto cut = std::make_unique<MMeshOperatorCutPlane>();
            cut->SetMesh(&c.Mesh());
            cut->SetPlane({Normal[0], Normal[1], Normal[2]}, {c.middle[0], c.middle[1], c.middle[2]});
            cut->SetParallel(IsParallel());
            cut->Operate();
            return cut;
        },
        [](Case&, auto const& cut) { return std::optional(cut->GetSection().GetArea()); });
    AddWay(
        recipe, "section", "vtkCutter", NothingToPrepare,
        [](Case& c) {
            auto cutter = vtkSmartPointer<vtkCutter>::New();
            cutter->SetInputData(c.Grid());
            cutter->SetCutFunction(Plane(c));
            cutter->SetOutputPointsPrecision(vtkAlgorithm::DOUBLE_PRECISION); // as ours
            cutter->Update();
            return cutter;
        },
        AreaIsAnswer);
    // What vtkCutter uses for these meshes, asked to share points between triangles as ours do.
    AddWay(
        recipe, "section", "vtk3DLinearGridPlaneCutter, points merged", NothingToPrepare,
        [](Case& c) {
            auto cutter = vtkSmartPointer<vtk3DLinearGridPlaneCutter>::New();
            cutter->SetInputData(c.Grid());
            cutter->SetPlane(Plane(c));
            cutter->SetOutputPointsPrecision(vtkAlgorithm::DOUBLE_PRECISION);
            cutter->MergePointsOn();
            cutter->ComputeNormalsOff();
            cutter->Update();
            return cutter;
        },
        AreaIsAnswer);
    AddWay(
        recipe, "section", "vtkPlaneCutter", NothingToPrepare,
        [](Case& c) {
            auto cutter = vtkSmartPointer<vtkPlaneCutter>::New();
            cutter->SetInputData(c.Grid());
            cutter->SetPlane(Plane(c));
            cutter->BuildTreeOff(); // pays off for many sections only
            cutter->ComputeNormalsOff();
            cutter->Update();
            return cutter;
        },
        AreaIsAnswer);
}

// The mesh and a copy of it beside it, which shares the nodes of one side.
void AddMerge(Recipe const& recipe) {
    struct Meshes {
        std::unique_ptr<MMeshBase> first, second;
    };
    auto const meshes = std::make_shared<Meshes>();
    AddWay(
        recipe, "merge", Ours,
        [meshes](Case& c) {
            Elements moved = c.elements;
            MLong const width = static_cast<MLong>(c.Mesh().GetBoundingBox().GetMax()[0]) -
                                static_cast<MLong>(c.Mesh().GetBoundingBox().GetMin()[0]);
            for (auto& point : moved.points)
                point[0] += width;
            *meshes = {MakeMesh(c.elements), MakeMesh(moved)};
        },
        [meshes](Case&) {
            MMeshMergeVolumesOperator merge(meshes->first.get(), meshes->second.get());
            merge.SetParallel(IsParallel());
            merge.Operate();
            return meshes->first->NumberOfPoints();
        },
        [meshes](Case&, auto const& nodes) {
            *meshes = {};
            return std::optional(static_cast<double>(nodes));
        });
}

} // namespace

void AddSubVolumeJobs(Recipe const& recipe) {
    AddSections(recipe);
    AddMerge(recipe);
    AddWay(
        recipe, "split", Ours,
        [](Case& c) {
            if (c.Mesh().NumberOfSubVolumes() > 3)
                c.ForgetMesh();
            c.Mesh();
        },
        [](Case& c) {
            auto split = std::make_unique<MMeshSplitVolumesOperator>();
            split->SetMesh(&c.Mesh());
            split->SetParallel(IsParallel());
            split->Operate();
            return split;
        },
        NoAnswer);
}

} // namespace Bench
