// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/MMeshBase.h>

#include <vtkSmartPointer.h>
#include <vtkUnstructuredGrid.h>

#include <array>
#include <memory>
#include <string>
#include <vector>

// The meshes that are measured, each as plain numbers, from which our mesh and VTK's grid are built
// with the same coordinates, bit for bit, in the same order.
namespace Bench {

struct Tetrahedra {
    std::vector<std::array<MLong, 3>> points;  // internal units
    std::vector<std::array<MLong, 4>> cells;   // indices of points, positively oriented
    std::vector<int> labels;                   // one per cell
    std::vector<std::array<MLong, 6>> middles; // of curved meshes: the mid-edge nodes of each cell
};

// A cube of n x n x n cells, each cut into six tetrahedra. Inner nodes are moved at random by up to a
// tenth of a cell; a ball in the middle and the half around it have labels of their own.
Tetrahedra MakeCube(int n);

// The linear tetrahedra of a .vtu file in millimetres, with its cell array `label` when it has one.
// Throws std::runtime_error for a file that holds something else.
Tetrahedra ReadFile(std::string const& path);

// The same shape with every tetrahedron cut into eight.
Tetrahedra Refine(Tetrahedra const& coarse);

// Puts nodes and cells into a random order: the worst that a mesh generator may hand over.
void Shuffle(Tetrahedra& tetrahedra);

// Gives every edge a node near its middle, off by up to an eighth of the edge's length, and by up to
// half of it for one edge in fifty: some elements fold. Elements become quadratic; grids do not.
void Curve(Tetrahedra& tetrahedra);

// Throws std::runtime_error when a tetrahedron is not positively oriented.
void CheckOrientation(Tetrahedra const& tetrahedra);

// One sub-volume for each label, built node by node and element by element.
std::unique_ptr<MMeshBase> MakeMesh(Tetrahedra const& tetrahedra);

// The same of linear tetrahedra from arrays, all at once.
std::unique_ptr<MMeshBase> MakeMeshFromArrays(Tetrahedra const& tetrahedra, bool parallel);

// Coordinates in millimetres as doubles, the cell array `label`.
vtkSmartPointer<vtkUnstructuredGrid> MakeGrid(Tetrahedra const& tetrahedra);

// The same from arrays, which are copied as they lie.
vtkSmartPointer<vtkUnstructuredGrid> MakeGridFromArrays(Tetrahedra const& tetrahedra);

// One mesh in its three forms.
struct Case {
    std::string name;
    Tetrahedra tetrahedra;
    std::unique_ptr<MMeshBase> mesh;
    vtkSmartPointer<vtkUnstructuredGrid> grid;
    std::vector<double> values; // room for one per element, where a job needs it

    // Drops what mesh and grid know of their neighbours.
    void ForgetNeighbors();
};

// How a mesh is made.
struct Recipe {
    std::string name; // for the reports
    int cube = 0;     // cells per side; 0 for a file
    std::string file = {};
    int refinements = 0;
    bool shuffled = false;
    bool curved = false;
};

// The mesh in all forms. Only the one asked for last is kept: the largest fill gigabytes.
Case& UseCase(Recipe const& recipe);

} // namespace Bench
