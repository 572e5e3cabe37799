// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/SurfaceFromPolyData.h>

#include <KetSDK/MeshVTK/ArrayNames.h>
#include <KetSDK/MeshVTK/Arrays.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/MeshArrays.h>
#include <KetSDK/MeshVTK/Text.h>
#include <KetSDK/MeshVTK/checks/GridCheck.h>
#include <KetSDK/MeshVTK/detail/ArrayValues.h>
#include <KetSDK/MeshVTK/detail/RowsOfArrays.h>
#include <KetSDK/MeshVTK/detail/VtkSession.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <vtkCellArray.h>
#include <vtkCellData.h>
#include <vtkDataArray.h>
#include <vtkFieldData.h>
#include <vtkIdList.h>
#include <vtkIdTypeArray.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkPolyData.h>
#include <vtkStringArray.h>
#include <vtkTriangleFilter.h>

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <set>
#include <string>
#include <vector>

namespace KetSDK::MeshVTK {

namespace {

// VTK's filter follows offsets and point numbers without a look.
void CheckCells(vtkCellArray* cells, vtkIdType points) {
    if (!cells)
        return;
    if (!Detail::AreOffsetsRising(*cells, cells->GetNumberOfCells()))
        throw Error("the offsets of the polygons do not fit the list of their points");
    for (vtkIdType i = 0; i < cells->GetNumberOfCells(); ++i) {
        vtkIdType count = 0;
        vtkIdType const* ids = nullptr;
        cells->GetCellAtId(i, count, ids);
        for (vtkIdType k = 0; k < count; ++k)
            if (ids[k] < 0 || ids[k] >= points)
                throw Error("polygon " + std::to_string(i) + " uses point " + std::to_string(ids[k]) +
                            ", but there are " + std::to_string(points) + " points (from 0)");
    }
}

// For each triangle the cell that it was cut from.
constexpr char const* CellOfTriangle = "KetSDK cell of triangle";

void NumberCells(vtkPolyData& data) {
    vtkNew<vtkIdTypeArray> numbers;
    numbers->SetName(CellOfTriangle);
    numbers->SetNumberOfTuples(data.GetNumberOfCells());
    std::iota(numbers->Begin(), numbers->End(), vtkIdType{0});
    data.GetCellData()->AddArray(numbers);
}

// A polygon gives two triangles less than it has different corners.
vtkIdType ExpectedTriangles(vtkIdType count, vtkIdType const* corners) {
    if (count <= 3)
        return 1;
    std::set<vtkIdType> const different(corners, corners + count);
    return std::max<vtkIdType>(static_cast<vtkIdType>(different.size()) - 2, 1);
}

// How many polygons VTK's filter could not cut, which it leaves out or cuts in part.
std::uint64_t CountUncut(vtkPolyData& data, vtkPolyData& triangles) {
    auto& cells = *vtkIdTypeArray::SafeDownCast(triangles.GetCellData()->GetAbstractArray(CellOfTriangle));
    vtkIdType const first = data.GetNumberOfVerts() + data.GetNumberOfLines(); // polygons come behind them
    std::vector<vtkIdType> found(static_cast<std::size_t>(data.GetNumberOfPolys()), 0);
    for (vtkIdType i = 0; i < cells.GetNumberOfValues(); ++i)
        if (vtkIdType const polygon = cells.GetValue(i) - first;
            polygon >= 0 && polygon < data.GetNumberOfPolys())
            ++found[static_cast<std::size_t>(polygon)];
    std::uint64_t uncut = 0;
    for (vtkIdType i = 0; i < data.GetNumberOfPolys(); ++i) {
        vtkIdType count = 0;
        vtkIdType const* corners = nullptr;
        data.GetPolys()->GetCellAtId(i, count, corners);
        uncut += found[static_cast<std::size_t>(i)] < ExpectedTriangles(count, corners);
    }
    return uncut;
}

vtkSmartPointer<vtkPolyData> Triangulate(vtkPolyData& data, std::uint64_t& uncut) {
    for (vtkCellArray* const cells : {data.GetVerts(), data.GetLines(), data.GetPolys(), data.GetStrips()})
        CheckCells(cells, data.GetNumberOfPoints());
    // A filter's input must not change; this one builds cell links in it.
    vtkNew<vtkPolyData> input;
    input->ShallowCopy(&data);
    bool const only_triangles = data.GetPolys() && data.GetPolys()->IsHomogeneous() == 3;
    if (!only_triangles)
        NumberCells(*input);
    Detail::VtkSession session(nullptr, "Triangulating");
    vtkNew<vtkTriangleFilter> filter;
    filter->PassVertsOff();
    filter->PassLinesOff();
    filter->SetInputData(input);
    session.Run(*filter, "it cannot be cut into triangles");
    if (filter->GetOutput()->GetNumberOfPolys() == 0)
        throw Error("there are no triangles");
    vtkSmartPointer<vtkPolyData> triangles = filter->GetOutput();
    uncut = only_triangles ? 0 : CountUncut(data, *triangles);
    triangles->GetCellData()->RemoveArray(CellOfTriangle);
    return triangles;
}

// The names of the surfaces, and for each triangle the index of its surface.
struct SurfaceIndices {
    std::vector<std::wstring> names{L""};
    std::vector<long long> of_triangle; // empty when there is one surface

    std::size_t OfTriangle(std::size_t triangle) const {
        return of_triangle.empty() ? 0 : static_cast<std::size_t>(of_triangle[triangle]);
    }
};

SurfaceIndices FindSurfaces(vtkPolyData& triangles, vtkFieldData& fields) {
    SurfaceIndices surfaces;
    vtkDataArray* const numbers = FindArray(*triangles.GetCellData(), ArrayNames::Surface);
    auto* const names = vtkStringArray::SafeDownCast(fields.GetAbstractArray(ArrayNames::SurfaceNames));
    if (!numbers || !names)
        return surfaces;
    surfaces.names.clear();
    for (vtkIdType i = 0; i < names->GetNumberOfValues(); ++i)
        surfaces.names.push_back(FromUtf8(names->GetValue(i)));
    surfaces.of_triangle = Detail::WholeNumbers(*numbers, triangles.GetNumberOfCells());
    for (long long const number : surfaces.of_triangle)
        if (number < 0 || number >= names->GetNumberOfValues())
            throw Error("a triangle is in surface " + std::to_string(number) + ", but " +
                        ArrayNames::SurfaceNames + " names " + std::to_string(names->GetNumberOfValues()) +
                        " (from 0)");
    return surfaces;
}

// Where triangles and points of a container came from.
struct Sources {
    std::vector<std::vector<vtkIdType>> triangles; // by surface: the triangle in VTK's
    std::vector<vtkIdType> points;                 // the first of VTK's points there
};

std::unique_ptr<MStlBase> MakeSurfaces(vtkPolyData& triangles, RoundedPoints const& rounded,
                                       SurfaceIndices const& indices, Sources& sources) {
    auto stl = std::make_unique<MStlBase>();
    std::vector<MStlSurface*> surfaces;
    for (std::wstring const& name : indices.names) {
        surfaces.push_back(stl->AddSurface(nullptr));
        surfaces.back()->SetName(name.c_str());
    }
    std::vector<MStlPoint*> points;
    for (auto const& p : rounded.points) {
        points.push_back(stl->AddPoint(p.data(), false));
        if (sources.points.size() < stl->NumberOfPoints())
            sources.points.push_back(static_cast<vtkIdType>(points.size()) - 1);
    }
    sources.triangles.resize(surfaces.size());
    vtkNew<vtkIdList> corners;
    for (vtkIdType i = 0; i < triangles.GetNumberOfPolys(); ++i) {
        triangles.GetPolys()->GetCellAtId(i, corners);
        auto const corner = [&](vtkIdType k) { return points[static_cast<std::size_t>(corners->GetId(k))]; };
        std::size_t const surface = indices.OfTriangle(static_cast<std::size_t>(i));
        if (surfaces[surface]->AddTriangle(corner(0), corner(1), corner(2)))
            sources.triangles[surface].push_back(i);
    }
    return stl;
}

std::vector<MMeshArray> ArraysOf(vtkPolyData& data, vtkPolyData& triangles, Sources const& sources) {
    std::vector<vtkIdType> cells;
    for (std::vector<vtkIdType> const& of_surface : sources.triangles)
        cells.insert(cells.end(), of_surface.begin(), of_surface.end());
    vtkNew<vtkPolyData> arrays;
    Detail::AddRows(*triangles.GetCellData(), cells, *arrays->GetCellData());
    Detail::AddRows(*data.GetPointData(), sources.points, *arrays->GetPointData());
    arrays->GetFieldData()->ShallowCopy(data.GetFieldData());
    return ArraysFromSurface(*arrays);
}

std::unique_ptr<MStlBase> MakeSurfaces(vtkPolyData& data, SurfaceFromPolyDataOptions const& options,
                                       SurfaceReport* report, std::vector<MMeshArray>* arrays) {
    if (!data.GetPoints())
        throw Error("there are no triangles");
    RoundedPoints const rounded = RoundPoints(*data.GetPoints(), options.unit, options.limits);
    std::uint64_t uncut = 0;
    vtkSmartPointer<vtkPolyData> const triangles = Triangulate(data, uncut);
    Sources sources;
    auto stl = MakeSurfaces(*triangles, rounded, FindSurfaces(*triangles, *data.GetFieldData()), sources);
    if (report)
        *report = {rounded.report,
                   static_cast<std::uint64_t>(triangles->GetNumberOfPolys()) - stl->NumberOfTriangles(),
                   uncut};
    if (arrays)
        *arrays = ArraysOf(data, *triangles, sources);
    return stl;
}

} // namespace

std::unique_ptr<MStlBase> SurfaceFromPolyData(vtkPolyData& data, SurfaceFromPolyDataOptions const& options,
                                              SurfaceReport* report) {
    return MakeSurfaces(data, options, report, nullptr);
}

std::unique_ptr<MStlBase> SurfaceFromPolyData(vtkPolyData& data, SurfaceFromPolyDataOptions const& options,
                                              SurfaceReport* report, std::vector<MMeshArray>& arrays) {
    return MakeSurfaces(data, options, report, &arrays);
}

} // namespace KetSDK::MeshVTK
