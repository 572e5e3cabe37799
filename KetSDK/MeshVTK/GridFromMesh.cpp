// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/GridFromMesh.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/detail/ArrayRoom.h>
#include <KetSDK/MeshVTK/detail/CellKinds.h>
#include <KetSDK/MeshVTK/detail/OwnArrays.h>
#include <KetSDK/Support/ParallelWork.h>

#include <vtkCellArray.h>
#include <vtkCellData.h>
#include <vtkDoubleArray.h>
#include <vtkFieldData.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkTypeInt32Array.h>
#include <vtkTypeInt64Array.h>
#include <vtkUnsignedCharArray.h>
#include <vtkUnstructuredGrid.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>

namespace KetSDK::MeshVTK {

namespace {

constexpr std::size_t BytesOfElement = 32; // in the arrays of a grid, at least

vtkNew<vtkPoints> MakePoints(MMeshBase const& mesh, LengthUnit unit, Detail::ArrayRoom& room, bool parallel) {
    vtkNew<vtkDoubleArray> coordinates;
    coordinates->SetNumberOfComponents(3);
    coordinates->SetNumberOfTuples(mesh.NumberOfPoints());
    room.Take(*coordinates);
    double* const values = coordinates->GetPointer(0);
    Support::ComputeSteps({.items = static_cast<std::uint64_t>(mesh.NumberOfPoints()),
                           .step = MMeshPointContainer::NodesPerBlock,
                           .parallel = parallel},
                          [&](std::uint64_t first, std::uint64_t last) {
                              for (std::uint64_t i = first; i < last; ++i) {
                                  MMVector<double, 3> const p =
                                      mesh.GetRandomPoint(i)->GetPosition() / unit.millimetres;
                                  for (std::size_t axis = 0; axis < 3; ++axis)
                                      values[3 * i + axis] = p[axis];
                              }
                          });
    vtkNew<vtkPoints> points;
    points->SetData(coordinates);
    return points;
}

// The cells of a mesh as VTK has them: types, where the points of each begin, points.
template <typename Array>
class Cells {
public:
    using Number = typename Array::ValueType;

    Cells(MMeshBase const& mesh, Detail::ArrayRoom& room, bool parallel)
        : m_mesh(mesh)
        , m_room(room)
        , m_count(mesh.Elements().GetNumElements())
        , m_parallel(parallel) {
        m_types->SetNumberOfValues(static_cast<vtkIdType>(m_count));
        m_offsets->SetNumberOfValues(static_cast<vtkIdType>(m_count + 1));
        m_room.Take(*m_types);
        m_room.Take(*m_offsets);
        // Mostly all elements have as many nodes as the first, which tells where the points of each begin.
        if (m_count == 0 || !FillAlike(mesh.GetElement(0)->GetNodeCount())) {
            FillOffsets();
            FillPoints();
        }
    }

    void GiveTo(vtkUnstructuredGrid& grid) const {
        vtkNew<vtkCellArray> cells;
        cells->SetData(m_offsets.GetPointer(), m_points.GetPointer());
        grid.SetCells(m_types, cells);
    }

private:
    Number* Room(std::uint64_t points) {
        m_points->SetNumberOfValues(static_cast<vtkIdType>(points));
        m_room.Take(*m_points);
        return m_points->GetPointer(0);
    }

    static void PutPoints(MMeshElement const& e, unsigned char nodes, Number* points) {
        for (unsigned int i = 0; i < nodes; ++i)
            points[i] = e.GetNode(i)->GetIndex();
        // VTK's wedge has the normal of its first triangle pointing outwards.
        if (nodes == 6)
            std::swap_ranges(points, points + 3, points + 3);
    }

    // False when not all elements have so many nodes, or there is no cell with so many.
    bool FillAlike(unsigned char nodes) {
        unsigned char const type = Detail::CellTypeOfNodes(nodes);
        if (type == VTK_EMPTY_CELL)
            return false;
        Number* const points = Room(nodes * m_count);
        Number* const offsets = m_offsets->GetPointer(0);
        unsigned char* const types = m_types->GetPointer(0);
        auto const fill = [&](std::uint64_t first, std::uint64_t last, int& others) {
            std::fill(types + first, types + last, type);
            for (std::uint64_t cell = first; cell < last; ++cell)
                offsets[cell] = static_cast<Number>(cell * nodes);
            int found = 0;
            m_mesh.Elements().ForEachWithNodes(first, last, [&](MMeshElement const& e, std::uint64_t cell) {
                if (e.GetNodeCount() == nodes)
                    PutPoints(e, nodes, points + cell * nodes);
                else
                    ++found;
            });
            others = found;
        };
        offsets[m_count] = static_cast<Number>(m_count * nodes);
        return Support::ComputeSteps<int>(
            {.items = m_count, .step = 8192, .parallel = m_parallel}, fill,
            [](std::uint64_t, std::uint64_t, int others) { return others == 0; });
    }

    // Types are checked.
    void FillOffsets() {
        Number* const offsets = m_offsets->GetPointer(0);
        unsigned char* const types = m_types->GetPointer(0);
        std::uint64_t cell = 0;
        Number end = 0;
        for (MMeshElement const& e : m_mesh.Elements()) {
            unsigned char const nodes = e.GetNodeCount();
            types[cell] = Detail::CellTypeOfNodes(nodes);
            if (types[cell] == VTK_EMPTY_CELL)
                throw Error("element " + std::to_string(cell) + " has " + std::to_string(nodes) +
                            " nodes, for which there is no kind of cell");
            offsets[cell++] = end;
            end += nodes;
        }
        offsets[cell] = end;
    }

    void FillPoints() {
        Number const* const offsets = m_offsets->GetPointer(0);
        Number* const points = Room(static_cast<std::uint64_t>(offsets[m_count]));
        Support::ComputeSteps({.items = m_count, .step = 8192, .parallel = m_parallel},
                              [&](std::uint64_t first, std::uint64_t last) {
                                  m_mesh.Elements().ForEachWithNodes(
                                      first, last, [&](MMeshElement const& e, std::uint64_t cell) {
                                          PutPoints(e, e.GetNodeCount(), points + offsets[cell]);
                                      });
                              });
    }

    MMeshBase const& m_mesh;
    Detail::ArrayRoom& m_room;
    std::uint64_t m_count;
    bool m_parallel;
    vtkNew<vtkUnsignedCharArray> m_types;
    vtkNew<Array> m_offsets;
    vtkNew<Array> m_points;
};

void SetCells(vtkUnstructuredGrid& grid, MMeshBase const& mesh, Detail::ArrayRoom& room, bool parallel) {
    // Meshes number nodes in 32 bits, which is half the memory and half the file; the list of points of
    // ten-node tetrahedra alone can need more.
    if (mesh.NumberOfElements() <= std::numeric_limits<std::int32_t>::max() / int{Detail::MaxCellNodes})
        Cells<vtkTypeInt32Array>(mesh, room, parallel).GiveTo(grid);
    else
        Cells<vtkTypeInt64Array>(mesh, room, parallel).GiveTo(grid);
}

// Takes over the source's arrays. What the mesh itself carries is left out: the mesh knows better.
void ShareArrays(vtkUnstructuredGrid& grid, MMeshBase const& mesh, vtkUnstructuredGrid& source) {
    if (source.GetNumberOfCells() != mesh.NumberOfElements() ||
        source.GetNumberOfPoints() != mesh.NumberOfPoints())
        throw Error("the grid whose arrays should be kept has " + std::to_string(source.GetNumberOfCells()) +
                    " cells and " + std::to_string(source.GetNumberOfPoints()) + " points, the mesh " +
                    std::to_string(mesh.NumberOfElements()) + " elements and " +
                    std::to_string(mesh.NumberOfPoints()) + " nodes");
    auto const arrays = ArraysBesideMesh(mesh, source);
    grid.GetCellData()->ShallowCopy(arrays->GetCellData());
    grid.GetPointData()->ShallowCopy(arrays->GetPointData());
    grid.GetFieldData()->ShallowCopy(arrays->GetFieldData());
}

} // namespace

vtkSmartPointer<vtkUnstructuredGrid> ArraysBesideMesh(MMeshBase const& mesh, vtkUnstructuredGrid& grid) {
    auto arrays = vtkSmartPointer<vtkUnstructuredGrid>::New();
    arrays->GetCellData()->ShallowCopy(grid.GetCellData());
    arrays->GetPointData()->ShallowCopy(grid.GetPointData());
    arrays->GetFieldData()->ShallowCopy(grid.GetFieldData());
    Detail::RemoveOwnArrays(*arrays, mesh);
    return arrays;
}

vtkSmartPointer<vtkUnstructuredGrid> GridFromMesh(MMeshBase const& mesh, LengthUnit unit,
                                                  vtkUnstructuredGrid* source, bool parallel) {
    auto grid = vtkSmartPointer<vtkUnstructuredGrid>::New();
    auto const elements = static_cast<std::size_t>(mesh.NumberOfElements());
    Detail::ArrayRoom room(elements * BytesOfElement);
    grid->SetPoints(MakePoints(mesh, unit, room, parallel));
    SetCells(*grid, mesh, room, parallel);
    if (source)
        ShareArrays(*grid, mesh, *source);
    Detail::AddOwnArrays(*grid, mesh, room, parallel);
    return grid;
}

} // namespace KetSDK::MeshVTK
