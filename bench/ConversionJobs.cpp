// SPDX-License-Identifier: BSD-3-Clause
// Conversion between kinds of elements, and their orientation.
#include "Jobs.h"

#include <KetSDK/Mesh/geometry/MMeshConvertTet10ToTet4Operator.h>
#include <KetSDK/Mesh/geometry/MMeshConvertTet4ToTet10Operator.h>
#include <KetSDK/Mesh/operators/MMeshOrientOperator.h>

#include <vtkLinearToQuadraticCellsFilter.h>
#include <vtkNew.h>

#include <memory>

namespace Bench {
namespace {

std::unique_ptr<MMeshBase> ToQuadratic(Case& c) {
    MMeshConvertTet4ToTet10Operator convert;
    convert.SetMesh(&c.Mesh());
    convert.SetParallel(IsParallel());
    convert.Operate();
    return std::unique_ptr<MMeshBase>(convert.GetTet10Mesh());
}

template <bool Multiple>
std::unique_ptr<MMeshBase> ToLinear(Case& c) {
    MMeshConvertTet10ToTet4Operator convert;
    convert.SetMesh(&c.Mesh());
    convert.SetMultipleElements(Multiple);
    convert.SetParallel(IsParallel());
    convert.Operate();
    return std::unique_ptr<MMeshBase>(convert.GetTet4Mesh());
}

} // namespace

void AddConversionJobs(Recipe const& recipe) {
    if (recipe.curved) {
        AddWay(recipe, "tet10_to_tet4", Ours, NothingToPrepare, ToLinear<false>, NoAnswer);
        AddWay(recipe, "tet10_to_8_tet4", Ours, NothingToPrepare, ToLinear<true>, NoAnswer);
        return;
    }
    AddWay(recipe, "tet4_to_tet10", Ours, NothingToPrepare, ToQuadratic,
           [](Case&, auto const& mesh) { return std::optional<double>(mesh->NumberOfPoints()); });
    AddWay(
        recipe, "tet4_to_tet10", "vtkLinearToQuadraticCellsFilter", NothingToPrepare,
        [](Case& c) {
            vtkNew<vtkLinearToQuadraticCellsFilter> filter;
            filter->SetInputData(c.Grid());
            filter->Update();
            return vtkSmartPointer<vtkUnstructuredGrid>(filter->GetOutput());
        },
        [](Case&, auto const& grid) { return std::optional<double>(grid->GetNumberOfPoints()); });
    AddWay(
        recipe, "orient", Ours, NothingToPrepare,
        [](Case& c) {
            MMeshOrientOperator orient;
            orient.SetMesh(&c.Mesh());
            orient.SetParallel(IsParallel());
            orient.Operate();
            return orient;
        },
        NoAnswer);
}

} // namespace Bench
