// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/checks/GridCheck.h>

#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/detail/CellKinds.h>

#include <vtkCellArray.h>
#include <vtkCellTypes.h>
#include <vtkDataArray.h>
#include <vtkUnsignedCharArray.h>
#include <vtkUnstructuredGrid.h>

#include <cstddef>
#include <limits>
#include <map>
#include <string>

namespace KetSDK::MeshVTK::Detail {

namespace {

void CheckKinds(vtkUnsignedCharArray& types) {
    std::map<unsigned char, vtkIdType> refused;
    for (vtkIdType i = 0; i < types.GetNumberOfValues(); ++i)
        if (NodesOfCellType(types.GetValue(i)) == 0)
            ++refused[types.GetValue(i)];
    if (refused.empty())
        return;
    std::string list;
    for (auto const& [type, count] : refused)
        list += (list.empty() ? "" : ", ") + std::to_string(count) + " " + NameOfCellType(type);
    throw Error("there are cells of other kinds (" + list +
                "); meshes are made of tetrahedra with 4 or 10 nodes, hexahedra with 8 and wedges with 6");
}

// The offsets must rise from 0 to the length of the connectivity by the node count of each cell's kind.
void CheckOffsets(vtkCellArray& cells, vtkUnsignedCharArray& types) {
    vtkDataArray& offsets = *cells.GetOffsetsArray();
    vtkIdType const count = types.GetNumberOfValues();
    if (offsets.GetNumberOfTuples() != count + 1)
        throw Error("there are " + std::to_string(count) + " cell types but " +
                    std::to_string(offsets.GetNumberOfTuples() - 1) + " cells");
    double end = 0.0; // exact up to 2^53
    if (offsets.GetComponent(0, 0) != end)
        throw Error("the cell offsets do not begin at 0");
    for (vtkIdType i = 0; i < count; ++i) {
        unsigned char const nodes = NodesOfCellType(types.GetValue(i));
        double const length = offsets.GetComponent(i + 1, 0) - end;
        if (length != nodes)
            throw Error("cell " + std::to_string(i) + " lists " +
                        std::to_string(static_cast<long long>(length)) + " points instead of " +
                        std::to_string(nodes));
        end += length;
    }
    if (end != static_cast<double>(cells.GetConnectivityArray()->GetNumberOfTuples()))
        throw Error("the cell offsets do not end with the list of points");
}

void CheckPointNumbers(vtkCellArray& cells, vtkIdType points) {
    for (vtkIdType i = 0; i < cells.GetNumberOfCells(); ++i) {
        vtkIdType count = 0;
        vtkIdType const* ids = nullptr;
        cells.GetCellAtId(i, count, ids);
        for (vtkIdType k = 0; k < count; ++k)
            if (ids[k] < 0 || ids[k] >= points)
                throw Error("cell " + std::to_string(i) + " uses point " + std::to_string(ids[k]) +
                            ", but there are " + std::to_string(points) + " points (from 0)");
    }
}

} // namespace

bool AreOffsetsRising(vtkCellArray& cells, vtkIdType count) {
    vtkDataArray& offsets = *cells.GetOffsetsArray();
    if (offsets.GetNumberOfTuples() != count + 1)
        return false;
    double last = 0.0; // exact up to 2^53
    for (vtkIdType i = 0; i <= count; ++i) {
        double const offset = offsets.GetComponent(i, 0);
        if (i == 0 ? offset != 0.0 : !(offset >= last))
            return false;
        last = offset;
    }
    return last == static_cast<double>(cells.GetConnectivityArray()->GetNumberOfTuples());
}

std::string NameOfCellType(unsigned char type) {
    static std::map<unsigned char, char const*> const names = {
        {VTK_EMPTY_CELL, "empty"},
        {VTK_VERTEX, "vertex"},
        {VTK_POLY_VERTEX, "vertices"},
        {VTK_LINE, "line"},
        {VTK_POLY_LINE, "polyline"},
        {VTK_TRIANGLE, "triangle"},
        {VTK_TRIANGLE_STRIP, "strip"},
        {VTK_POLYGON, "polygon"},
        {VTK_PIXEL, "pixel"},
        {VTK_QUAD, "quadrilateral"},
        {VTK_VOXEL, "voxel"},
        {VTK_PYRAMID, "pyramid"},
        {VTK_POLYHEDRON, "polyhedron"},
        {VTK_QUADRATIC_TRIANGLE, "quadratic triangle"},
        {VTK_QUADRATIC_HEXAHEDRON, "quadratic hexahedron"}};
    if (auto const found = names.find(type); found != names.end())
        return found->second;
    char const* const name = vtkCellTypes::GetClassNameFromTypeId(type);
    return name && std::string(name) != "UnknownClass" ? name : "type " + std::to_string(type);
}

void CheckGrid(vtkUnstructuredGrid& grid) {
    vtkUnsignedCharArray* const types = grid.GetCellTypesArray();
    vtkCellArray* const cells = grid.GetCells();
    if (!types || !cells || types->GetNumberOfValues() == 0)
        throw Error("there are no cells; a mesh needs tetrahedra, hexahedra or wedges");
    if (types->GetNumberOfValues() > std::numeric_limits<int>::max())
        throw Error("more than 2147483647 cells");
    CheckKinds(*types);
    CheckOffsets(*cells, *types);
    CheckPointNumbers(*cells, grid.GetPoints() ? grid.GetNumberOfPoints() : 0);
}

} // namespace KetSDK::MeshVTK::Detail
