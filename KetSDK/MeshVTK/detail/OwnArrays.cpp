// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/detail/OwnArrays.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/MeshVTK/ArrayNames.h>
#include <KetSDK/MeshVTK/Text.h>
#include <KetSDK/MeshVTK/detail/MaterialArrays.h>
#include <KetSDK/MeshVTK/detail/PointFieldArrays.h>
#include <KetSDK/Support/ParallelWork.h>

#include <vtkCellData.h>
#include <vtkDoubleArray.h>
#include <vtkFieldData.h>
#include <vtkIntArray.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkStringArray.h>
#include <vtkUnstructuredGrid.h>

#include <algorithm>
#include <cstdint>
#include <span>

namespace KetSDK::MeshVTK::Detail {

namespace {

// How arrays are made.
struct How {
    ArrayRoom& room;
    bool parallel;
};

// Adds an array of that name with the mask's value of each object.
template <typename Array, typename Mask>
void AddValues(vtkDataSetAttributes& arrays, char const* name, vtkIdType count, Mask const& mask,
               How const& how, auto const& object_at) {
    vtkNew<Array> array;
    array->SetName(name);
    array->SetNumberOfValues(count);
    how.room.Take(*array);
    auto* const values = array->GetPointer(0);
    Support::ComputeSteps(
        {.items = static_cast<std::uint64_t>(count), .step = 8192, .parallel = how.parallel},
        [&](std::uint64_t first, std::uint64_t last) {
            for (std::uint64_t i = first; i < last; ++i)
                values[i] = mask.GetValue(object_at(i));
        });
    arrays.AddArray(array);
}

template <typename Array, typename Mask>
void AddElementValues(vtkUnstructuredGrid& grid, char const* name, MMeshBase const& mesh, Mask const& mask,
                      How const& how) {
    AddValues<Array>(*grid.GetCellData(), name, mesh.NumberOfElements(), mask, how,
                     [&mesh](std::uint64_t i) -> MMeshElement const& { return *mesh.GetElement(i); });
}

MMeshElementMaskContainer const& ElementMasks(MMeshBase const& mesh) {
    return *mesh.GetElementMasks();
}

void AddSubvolumes(vtkUnstructuredGrid& grid, MMeshBase const& mesh, How const& how) {
    auto const* const mask = ElementMasks(mesh).GetSubvolumeMask();
    if (!mask)
        return;
    AddElementValues<vtkIntArray>(grid, ArrayNames::Subvolume, mesh, *mask, how);
    vtkNew<vtkStringArray> names;
    names->SetName(ArrayNames::SubvolumeNames);
    for (auto it = mesh.BeginSubVolume(); it != mesh.EndSubVolume(); ++it)
        names->InsertNextValue(ToUtf8((*it)->GetName()));
    grid.GetFieldData()->AddArray(names);
}

void AddGreyValues(vtkUnstructuredGrid& grid, MMeshBase const& mesh, How const& how) {
    if (auto const* const mask = ElementMasks(mesh).GetGreyValueMask(); mask && mesh.HasGreyValues())
        AddElementValues<vtkDoubleArray>(grid, ArrayNames::Grey, mesh, *mask, how);
}

void AddOriginalIds(vtkUnstructuredGrid& grid, MMeshBase const& mesh, How const& how) {
    if (auto const* const mask = ElementMasks(mesh).GetOriginalIDs())
        AddElementValues<vtkIntArray>(grid, ArrayNames::OriginalId, mesh, *mask, how);
    MMeshPointMaskContainer const& nodes = *mesh.GetPointMasks();
    if (auto const* const mask = nodes.GetOriginalIDs())
        AddValues<vtkIntArray>(
            *grid.GetPointData(), ArrayNames::OriginalId, mesh.NumberOfPoints(), *mask, how,
            [&mesh](std::uint64_t i) -> MMeshPoint const& { return *mesh.GetRandomPoint(i); });
}

// Some arrays, by their names; without names, arrays of whatever names the mesh gives them.
struct OwnArrays {
    std::span<char const* const> names;
    void (*add)(vtkUnstructuredGrid& grid, MMeshBase const& mesh, How const& how);
};
constexpr char const* Subvolumes[] = {ArrayNames::Subvolume};
constexpr char const* GreyValues[] = {ArrayNames::Grey};
constexpr char const* Materials[] = {ArrayNames::Material, ArrayNames::Density, ArrayNames::Emodulus,
                                     ArrayNames::Poisson, ArrayNames::Color};
constexpr char const* OriginalIds[] = {ArrayNames::OriginalId};

void AddMaterials(vtkUnstructuredGrid& grid, MMeshBase const& mesh, How const&) {
    AddMaterialArrays(grid, mesh);
}
void AddFields(vtkUnstructuredGrid& grid, MMeshBase const& mesh, How const&) {
    AddPointFields(grid, mesh);
}

constexpr OwnArrays AllOwnArrays[] = {{Subvolumes, AddSubvolumes},
                                      {GreyValues, AddGreyValues},
                                      {Materials, AddMaterials},
                                      {{}, AddFields},
                                      {OriginalIds, AddOriginalIds}};

} // namespace

void AddOwnArrays(vtkUnstructuredGrid& grid, MMeshBase const& mesh, ArrayRoom& room, bool parallel) {
    for (OwnArrays const& arrays : AllOwnArrays)
        arrays.add(grid, mesh, {room, parallel});
}

void AddOwnArrays(vtkUnstructuredGrid& grid, MMeshBase const& mesh, std::string const& name) {
    ArrayRoom room(0);
    for (OwnArrays const& arrays : AllOwnArrays)
        if (arrays.names.empty() || std::ranges::find(arrays.names, name) != arrays.names.end())
            arrays.add(grid, mesh, {room, false});
}

void RemoveOwnArrays(vtkUnstructuredGrid& grid, MMeshBase const& mesh) {
    for (char const* const name : {ArrayNames::Subvolume, ArrayNames::Grey, ArrayNames::OriginalId})
        grid.GetCellData()->RemoveArray(name);
    RemoveKnownMaterialArrays(grid, mesh);
    grid.GetPointData()->RemoveArray(ArrayNames::OriginalId);
    RemovePointFields(grid, mesh);
    grid.GetFieldData()->RemoveArray(ArrayNames::SubvolumeNames);
}

} // namespace KetSDK::MeshVTK::Detail
