// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/ModelArrays.h>

#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/Mesh/persistence/MMeshArrayType.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/detail/ForFile.h>
#include <KetSDK/MeshJobs/detail/GridModel.h>
#include <KetSDK/MeshJobs/detail/SurfaceArrays.h>
#include <KetSDK/MeshVTK/ArrayNames.h>
#include <KetSDK/MeshVTK/MeshArrays.h>
#include <KetSDK/MeshVTK/SurfaceFromPolyData.h>
#include <KetSDK/MeshVTK/Text.h>

#include <vtkCellArray.h>
#include <vtkCellData.h>
#include <vtkCellType.h>
#include <vtkDoubleArray.h>
#include <vtkFieldData.h>
#include <vtkNew.h>
#include <vtkPoints.h>
#include <vtkPolyData.h>
#include <vtkStringArray.h>
#include <vtkTypeInt64Array.h>
#include <vtkUnsignedCharArray.h>
#include <vtkUnstructuredGrid.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <utility>

namespace KetSDK::MeshJobs {

namespace {

struct CellKind {
    unsigned int nodes;
    unsigned char type; // VTK's number
};
constexpr std::array<CellKind, 4> CellKinds = {
    {{4, VTK_TETRA}, {10, VTK_QUADRATIC_TETRA}, {8, VTK_HEXAHEDRON}, {6, VTK_WEDGE}}};

unsigned char CellTypeOf(unsigned int nodes) {
    for (CellKind const& kind : CellKinds)
        if (kind.nodes == nodes)
            return kind.type;
    throw Error("there are no elements of " + std::to_string(nodes) +
                " nodes; those of 4, 10, 8 and 6 are known");
}

// Points that VTK reads where the caller has them.
vtkNew<vtkPoints> SharePoints(std::span<double const> points) {
    if (points.size() % 3 != 0)
        throw Error("points have three coordinates each");
    vtkNew<vtkDoubleArray> coordinates;
    coordinates->SetNumberOfComponents(3);
    coordinates->SetArray(const_cast<double*>(points.data()), static_cast<vtkIdType>(points.size()), 1);
    vtkNew<vtkPoints> shared;
    shared->SetData(coordinates);
    return shared;
}

// The indices of all blocks: where the caller has them when there is one block, else one after the other.
vtkNew<vtkTypeInt64Array> JoinIndices(std::vector<CellBlock> const& blocks) {
    vtkNew<vtkTypeInt64Array> joined;
    if (blocks.size() == 1) {
        auto const& only = blocks.front().connectivity;
        // VTK has another name for the type of 64 bits.
        joined->SetArray(reinterpret_cast<vtkTypeInt64*>(const_cast<std::int64_t*>(only.data())),
                         static_cast<vtkIdType>(only.size()), 1);
        return joined;
    }
    for (CellBlock const& block : blocks)
        std::ranges::copy(block.connectivity,
                          joined->WritePointer(joined->GetNumberOfValues(),
                                               static_cast<vtkIdType>(block.connectivity.size())));
    return joined;
}

void SetCells(vtkUnstructuredGrid& grid, std::vector<CellBlock> const& blocks) {
    vtkNew<vtkTypeInt64Array> offsets;
    vtkNew<vtkUnsignedCharArray> types;
    vtkIdType at = 0;
    offsets->InsertNextValue(at);
    for (CellBlock const& block : blocks) {
        unsigned char const type = CellTypeOf(block.nodes);
        if (block.connectivity.size() % block.nodes != 0)
            throw Error("elements of " + std::to_string(block.nodes) + " nodes need as many indices each");
        for (std::size_t i = 0; i < block.connectivity.size(); i += block.nodes) {
            offsets->InsertNextValue(at += block.nodes);
            types->InsertNextValue(type);
        }
    }
    vtkNew<vtkCellArray> cells;
    cells->SetData(offsets, JoinIndices(blocks));
    grid.SetCells(types, cells);
}

vtkNew<vtkStringArray> NamesArray(std::vector<std::string> const& names) {
    vtkNew<vtkStringArray> array;
    array->SetName(MeshVTK::ArrayNames::SubvolumeNames);
    for (std::string const& name : names)
        array->InsertNextValue(name);
    return array;
}

// Coordinates that came from integers, which they become again.
MLong InternalUnits(double millimetres) {
    return static_cast<MLong>(std::llround(millimetres * Common::MInternalUnits::Get()));
}

void CopyPosition(MMVector<double, 3> const& position, double* out) {
    for (unsigned int i = 0; i < 3; ++i)
        out[i] = position[i];
}

void SetGreyValues(MMeshBase& mesh, std::vector<double> const& values) {
    auto& mask = *mesh.GetElementMasks()->GetGreyValueMask();
    auto value = values.begin();
    for (MMeshElement const& e : mesh.Elements())
        mask.SetValue(e, *value++);
    mesh.SetGreyValuesFlag(true);
}

} // namespace

Model MakeModel(ModelArrays const& arrays, ReadOptions const& options, Context const& context) {
    return Detail::ForFile("", [&] {
        vtkNew<vtkUnstructuredGrid> grid;
        grid->SetPoints(SharePoints(arrays.points));
        SetCells(*grid, arrays.cells);
        MeshVTK::AddArrays(*grid, arrays.arrays);
        if (!arrays.subvolume_names.empty())
            grid->GetFieldData()->AddArray(NamesArray(arrays.subvolume_names));
        Model model = Detail::ModelFromGrid(*grid, options, context);
        model.frame = options.frame;
        model.frame_is_given = options.frame.has_value();
        context.ThrowIfCancelled();
        return model;
    });
}

void CopyPoints(Model const& model, std::span<double> points) {
    std::size_t const count = static_cast<std::size_t>(model.mesh->NumberOfPoints());
    for (std::size_t i = 0; i < count; ++i)
        CopyPosition(model.mesh->GetRandomPoint(i)->GetPosition(), &points[3 * i]);
}

void CopyCells(Model const& model, unsigned int nodes, std::span<std::int64_t> connectivity) {
    auto out = connectivity.begin();
    model.mesh->Elements().ForEachWithNodes([&](MMeshElement const& e, std::uint64_t) {
        if (e.GetNodeCount() != nodes)
            return;
        auto const first = out;
        for (unsigned int i = 0; i < nodes; ++i)
            *out++ = e.GetNode(i)->GetIndex();
        // VTK's wedge has the normal of its first triangle pointing outwards.
        if (nodes == 6)
            std::swap_ranges(first, first + 3, first + 3);
    });
}

void CopyCellIndices(Model const& model, unsigned int nodes, std::span<std::int64_t> indices) {
    auto out = indices.begin();
    std::int64_t index = 0;
    for (MMeshElement const& e : model.mesh->Elements()) {
        if (e.GetNodeCount() == nodes)
            *out++ = index;
        ++index;
    }
}

void CopySubVolumeNumbers(Model const& model, std::span<std::int32_t> numbers) {
    auto const* const mask = std::as_const(*model.mesh->GetElementMasks()).GetSubvolumeMask();
    auto out = numbers.begin();
    for (MMeshElement const& e : model.mesh->Elements())
        *out++ = mask ? mask->GetValue(e) : -1;
}

std::vector<std::string> ArrayNamesOf(Model const& model, MMeshArray::Place place) {
    std::vector<std::string> names;
    for (auto const& arrays : {MeshVTK::ArraysOfMesh(*model.mesh), model.arrays})
        for (MMeshArray const& array : arrays)
            if (std::string name = MeshVTK::ToUtf8(array.name);
                array.place == place && std::ranges::find(names, name) == names.end())
                names.push_back(std::move(name));
    return names;
}

std::optional<MMeshArray> CopyArray(Model const& model, MMeshArray::Place place, std::string const& name) {
    std::wstring const wide = MeshVTK::FromUtf8(name);
    std::vector<MMeshArray> const own = MeshVTK::ArraysOfMesh(*model.mesh, name);
    MMeshArray const* const array = FindArray(own, wide, place);
    MMeshArray const* const found = array ? array : FindArray(model.arrays, wide, place);
    return found ? std::optional(*found) : std::nullopt;
}

void SetModelArray(Model& model, MMeshArray array) {
    std::string const name = MeshVTK::ToUtf8(array.name);
    auto const rows = static_cast<std::size_t>(
        array.place == MMeshArray::OnNodes ? model.mesh->NumberOfPoints() : model.mesh->NumberOfElements());
    if (array.place != MMeshArray::OnMesh && NumberOfRows(array) != rows)
        throw Error("the array \"" + name + "\" has " + std::to_string(NumberOfRows(array)) +
                    " rows and needs " + std::to_string(rows));
    if (array.place == MMeshArray::OnElements && name == MeshVTK::ArrayNames::Grey) {
        SetGreyValues(*model.mesh, ColumnOf(array, 0));
        return;
    }
    if (FindArray(MeshVTK::ArraysOfMesh(*model.mesh, name), array.name, array.place))
        throw Error("the array \"" + name +
                    "\" is made by the mesh itself and cannot be set; another name would be right");
    SetArray(model.arrays, std::move(array));
}

SurfaceArrays CopySurface(SurfaceModel const& surface) {
    SurfaceArrays arrays;
    MStlBase const& stl = *surface.surfaces;
    arrays.points.resize(3 * static_cast<std::size_t>(stl.NumberOfPoints()));
    for (MStlPoint const& p : stl.Points())
        CopyPosition(p.GetPosition(), &arrays.points[3 * static_cast<std::size_t>(p.GetIndex())]);
    auto const triangles = static_cast<std::size_t>(stl.NumberOfTriangles());
    arrays.triangles.reserve(3 * triangles);
    arrays.surface_of.reserve(triangles);
    for (MStlSurface const& s : stl.Surfaces()) {
        for (MStlTriangle const& t : s.Triangles()) {
            for (std::size_t i = 0; i < 3; ++i)
                arrays.triangles.push_back(t.GetPoint(i)->GetIndex());
            arrays.surface_of.push_back(static_cast<std::int32_t>(arrays.names.size()));
        }
        arrays.names.push_back(MeshVTK::ToUtf8(s.GetName()));
    }
    return arrays;
}

SurfaceModel MakeSurface(std::span<double const> points, std::span<std::int64_t const> triangles,
                         std::string const& name, ReadOptions const& options) {
    return Detail::ForFile("", [&] {
        if (triangles.size() % 3 != 0)
            throw Error("triangles have three indices each");
        vtkNew<vtkCellArray> polygons;
        for (std::size_t i = 0; i < triangles.size(); i += 3)
            polygons->InsertNextCell({triangles[i], triangles[i + 1], triangles[i + 2]});
        vtkNew<vtkPolyData> data;
        data->SetPoints(SharePoints(points));
        data->SetPolys(polygons);
        SurfaceModel model;
        model.frame = options.frame;
        model.surfaces =
            MeshVTK::SurfaceFromPolyData(*data, {options.unit, options.limits}, nullptr, model.arrays);
        model.surfaces->GetSurface(0)->SetName(MeshVTK::FromUtf8(name).c_str());
        return model;
    });
}

SurfaceModel MakeSurfaces(SurfaceArrays const& arrays) {
    SurfaceModel model;
    model.surfaces = std::make_unique<MStlBase>();
    MStlBase& stl = *model.surfaces;
    stl.SetKeepNeighbourInfo(false);
    auto const points = arrays.points.size() / 3;
    for (std::size_t i = 0; i < points; ++i)
        stl.AddPoint(InternalUnits(arrays.points[3 * i]), InternalUnits(arrays.points[3 * i + 1]),
                     InternalUnits(arrays.points[3 * i + 2]), true);
    for (std::string const& name : arrays.names)
        stl.AddSurface(nullptr)->SetName(MeshVTK::FromUtf8(name).c_str());
    auto const point_at = [&](std::size_t i) {
        if (i >= arrays.triangles.size() || !std::in_range<std::size_t>(arrays.triangles[i]) ||
            static_cast<std::size_t>(arrays.triangles[i]) >= points)
            throw Error("the triangles of the surface name points that there are not");
        return stl.GetPoint(static_cast<std::uint64_t>(arrays.triangles[i]));
    };
    for (std::size_t t = 0; t < arrays.surface_of.size(); ++t) {
        if (!std::in_range<std::size_t>(arrays.surface_of[t]) ||
            static_cast<std::size_t>(arrays.surface_of[t]) >= arrays.names.size())
            throw Error("a triangle is of a surface that there is not");
        stl.AddTriangle(point_at(3 * t), point_at(3 * t + 1), point_at(3 * t + 2),
                        stl.GetSurface(static_cast<std::uint64_t>(arrays.surface_of[t])));
    }
    stl.SetKeepNeighbourInfo(true);
    return model;
}

} // namespace KetSDK::MeshJobs
