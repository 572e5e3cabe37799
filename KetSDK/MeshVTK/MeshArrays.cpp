// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/MeshArrays.h>

#include <KetSDK/Mesh/persistence/MMeshArrayType.h>
#include <KetSDK/MeshVTK/ArrayNames.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/GridFromMesh.h>
#include <KetSDK/MeshVTK/Text.h>
#include <KetSDK/MeshVTK/detail/ArrayCoding.h>
#include <KetSDK/MeshVTK/detail/ArrayDescription.h>
#include <KetSDK/MeshVTK/detail/ArrayRoom.h>
#include <KetSDK/MeshVTK/detail/ArrayValues.h>
#include <KetSDK/MeshVTK/detail/OwnArrays.h>
#include <KetSDK/Support/ParallelWork.h>

#include <vtkAbstractArray.h>
#include <vtkCellData.h>
#include <vtkFieldData.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkPolyData.h>
#include <vtkUnstructuredGrid.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <utility>
#include <variant>

namespace KetSDK::MeshVTK {

namespace {

// The arrays that a data set has at a place.
vtkFieldData* ArraysAt(vtkDataSet& data, MMeshArray::Place place) {
    switch (place) {
    case MMeshArray::OnNodes:
        return data.GetPointData();
    case MMeshArray::OnElements:
        return data.GetCellData();
    case MMeshArray::OnMesh:
        break;
    }
    return data.GetFieldData();
}

constexpr MMeshArray::Place Places[] = {MMeshArray::OnElements, MMeshArray::OnNodes, MMeshArray::OnMesh};

// --- From VTK ----------------------------------------------------------------------------------------

// Which of VTK's active arrays an array is, as words: "Scalars" and the like.
void DescribeAttributes(vtkFieldData& arrays, int index, MMeshArray& array) {
    auto* const attributes = vtkDataSetAttributes::SafeDownCast(&arrays);
    if (!attributes)
        return;
    int active[vtkDataSetAttributes::NUM_ATTRIBUTES];
    attributes->GetAttributeIndices(active);
    for (int i = 0; i < vtkDataSetAttributes::NUM_ATTRIBUTES; ++i)
        if (active[i] == index)
            Detail::AddWord(array, FromUtf8(vtkDataSetAttributes::GetAttributeTypeAsString(i)));
}

// An array as it comes from VTK, or what is wrong with it.
struct TakenArray {
    MMeshArray array;
    std::exception_ptr fault;
};

// All arrays of a data set, which loses them one by one. Several threads take small ones, so that no more
// than some MB are there twice.
std::vector<MMeshArray> TakeArrays(vtkDataSet& data, bool parallel = false) {
    constexpr unsigned long small = 1UL << 14; // in KiB
    std::vector<MMeshArray> arrays;
    for (MMeshArray::Place const place : Places) {
        vtkFieldData& sources = *ArraysAt(data, place);
        std::vector<vtkAbstractArray*> source;
        bool are_small = true;
        for (int i = 0; i < sources.GetNumberOfArrays(); ++i) {
            source.push_back(sources.GetAbstractArray(i));
            are_small &= source.back()->GetActualMemorySize() <= small;
        }
        Support::WorkSteps const steps{
            .items = source.size(), .parallel = parallel && are_small, .window = 4};
        std::vector<TakenArray> taken(static_cast<std::size_t>(steps.NumberOfSlots()));
        Support::ComputeSteps(
            steps,
            [&](std::uint64_t i, std::uint64_t, std::size_t slot) {
                try {
                    taken[slot].array = Detail::ArrayFromVtk(*source[static_cast<std::size_t>(i)], place);
                } catch (...) { // of several the first counts
                    taken[slot].fault = std::current_exception();
                }
            },
            [&](std::uint64_t, std::uint64_t, std::size_t slot) {
                if (taken[slot].fault)
                    std::rethrow_exception(taken[slot].fault);
                arrays.push_back(std::move(taken[slot].array));
                DescribeAttributes(sources, 0, arrays.back());
                sources.RemoveArray(0);
                return true;
            });
    }
    return arrays;
}

// --- To VTK ------------------------------------------------------------------------------------------

void AddArray(vtkFieldData& arrays, vtkAbstractArray& made, MMeshArray const& array) {
    int const index = arrays.AddArray(&made);
    auto* const attributes = vtkDataSetAttributes::SafeDownCast(&arrays);
    for (int active = 0; attributes && active < vtkDataSetAttributes::NUM_ATTRIBUTES; ++active)
        if (HasTypeWord(array, FromUtf8(vtkDataSetAttributes::GetAttributeTypeAsString(active))))
            attributes->SetActiveAttribute(index, active);
}

// Adds the arrays, but for those whose names the other data set has at that place.
void AddArraysBut(vtkDataSet& data, std::vector<MMeshArray> const& arrays, vtkDataSet& without,
                  bool parallel = false) {
    std::size_t bytes = 0;
    for (MMeshArray const& array : arrays)
        bytes += std::visit([](auto const& v) { return v.size() * sizeof(v[0]); }, array.values);
    Detail::ArrayRoom room(bytes);
    for (MMeshArray const& array : arrays) {
        MMeshArray::Place const place = PlaceOfValues(array);
        std::string const name = ToUtf8(array.name);
        if (!name.empty() && ArraysAt(without, place)->HasArray(name.c_str()))
            continue;
        auto const made = Detail::ArrayToVtk(array, room, parallel);
        vtkIdType const tuples = place == MMeshArray::OnNodes      ? data.GetNumberOfPoints()
                                 : place == MMeshArray::OnElements ? data.GetNumberOfCells()
                                                                   : made->GetNumberOfTuples();
        if (made->GetNumberOfTuples() != tuples)
            throw Error("the array \"" + name + "\" holds " + std::to_string(made->GetNumberOfTuples()) +
                        " values instead of " + std::to_string(tuples));
        AddArray(*ArraysAt(data, place), *made, array);
    }
}

} // namespace

std::vector<MMeshArray> ArraysFromGrid(MMeshBase const& mesh, vtkUnstructuredGrid& grid) {
    return TakeArrays(*ArraysBesideMesh(mesh, grid));
}

std::vector<MMeshArray> TakeArraysFromGrid(MMeshBase const& mesh, vtkUnstructuredGrid& grid, bool parallel) {
    auto const arrays = ArraysBesideMesh(mesh, grid);
    grid.Initialize();
    return TakeArrays(*arrays, parallel);
}

void CheckArray(MMeshArray const& array) {
    std::string const name = ToUtf8(array.name);
    std::size_t const values = std::visit([](auto const& v) { return v.size(); }, array.values);
    Detail::CheckComponents(name, array.components, values);
    if (HoldsStrings(array))
        Detail::CheckComponents(name, ValuesPerRow(array), values);
    if (array.components < 1 || values % array.components != 0)
        throw Error("the array \"" + name + "\" holds " + std::to_string(values) + " values in rows of " +
                    std::to_string(array.components));
}

std::vector<MMeshArray> ArraysOfMesh(MMeshBase const& mesh) {
    vtkNew<vtkUnstructuredGrid> grid;
    Detail::ArrayRoom room(0);
    Detail::AddOwnArrays(*grid, mesh, room, false);
    return TakeArrays(*grid);
}

std::vector<MMeshArray> ArraysOfMesh(MMeshBase const& mesh, std::string const& name) {
    vtkNew<vtkUnstructuredGrid> grid;
    Detail::AddOwnArrays(*grid, mesh, name);
    return TakeArrays(*grid);
}

void AddArrays(vtkUnstructuredGrid& grid, std::vector<MMeshArray> const& arrays) {
    AddArraysBut(grid, arrays, grid);
}

vtkSmartPointer<vtkUnstructuredGrid> GridFromMesh(MMeshBase const& mesh, LengthUnit unit,
                                                  std::vector<MMeshArray> const& arrays, bool parallel) {
    auto grid = GridFromMesh(mesh, unit, nullptr, parallel);
    vtkNew<vtkUnstructuredGrid> own;
    for (MMeshArray::Place const place : Places) {
        ArraysAt(*own, place)->ShallowCopy(ArraysAt(*grid, place));
        ArraysAt(*grid, place)->Initialize();
    }
    AddArraysBut(*grid, arrays, *own, parallel);
    for (MMeshArray::Place const place : Places)
        for (int i = 0; i < ArraysAt(*own, place)->GetNumberOfArrays(); ++i)
            ArraysAt(*grid, place)->AddArray(ArraysAt(*own, place)->GetAbstractArray(i));
    return grid;
}

std::vector<MMeshArray> ArraysFromSurface(vtkPolyData& data) {
    vtkNew<vtkPolyData> arrays;
    for (MMeshArray::Place const place : Places)
        ArraysAt(*arrays, place)->ShallowCopy(ArraysAt(data, place));
    arrays->GetCellData()->RemoveArray(ArrayNames::Surface);
    arrays->GetFieldData()->RemoveArray(ArrayNames::SurfaceNames);
    return TakeArrays(*arrays);
}

void AddArrays(vtkPolyData& data, std::vector<MMeshArray> const& arrays) {
    AddArraysBut(data, arrays, data);
}

} // namespace KetSDK::MeshVTK
