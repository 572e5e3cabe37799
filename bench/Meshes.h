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

struct Elements {
    std::vector<std::array<MLong, 3>> points; // internal units
    std::vector<MLong> nodes;                 // indices of points, those of one element after another
    std::size_t nodes_each = 4;               // 4 or 10 of a tetrahedron, 8 of a hexahedron
    std::vector<int> labels;                  // one per element
    std::vector<int> sub_volumes;             // for each element, the place of its label among all
    std::size_t different_labels = 0;

    std::size_t Count() const noexcept { return labels.size(); }
    MLong const* NodesOf(std::size_t element) const noexcept { return &nodes[nodes_each * element]; }
};

// A cube of n x n x n cells, each a hexahedron or cut into six tetrahedra. Inner nodes are moved at random by
// up to a tenth of a cell; a ball in the middle and the half around it have labels of their own.
Elements MakeCube(int n, bool hexahedra);

// The linear tetrahedra of a .vtu file in millimetres, with its cell array `label` when it has one.
// Throws std::runtime_error for a file that holds something else.
Elements ReadFile(std::string const& path);

// The same shape with every tetrahedron cut into eight.
Elements Refine(Elements const& coarse);

// Puts nodes and elements into a random order: the worst that a mesh generator may hand over.
void Shuffle(Elements& elements);

// Makes tetrahedra quadratic: gives every edge a node near its middle, off by up to an eighth of the edge's
// length, and by up to half of it for one edge in fifty: some elements fold.
void Curve(Elements& elements);

// Throws std::runtime_error when a tetrahedron is not positively oriented.
void CheckOrientation(Elements const& tetrahedra);

// One sub-volume for each label, built node by node and element by element.
std::unique_ptr<MMeshBase> MakeMesh(Elements const& elements);

// The same from arrays, all at once.
std::unique_ptr<MMeshBase> MakeMeshFromArrays(Elements const& elements, bool parallel);

// Coordinates in millimetres as doubles, the cell array `label`.
vtkSmartPointer<vtkUnstructuredGrid> MakeGrid(Elements const& elements);

// The same from arrays, which are copied as they lie.
vtkSmartPointer<vtkUnstructuredGrid> MakeGridFromArrays(Elements const& elements);

// How a mesh is made.
struct Recipe {
    std::string name; // for the reports
    int cube = 0;     // cells per side; 0 for a file
    std::string file = {};
    int refinements = 0;
    bool shuffled = false;
    bool curved = false;
    bool hexahedra = false;
    // Memory holds our mesh or VTK's grid only, whichever is measured.
    bool large = false;
    // The same, but nothing waits for the next round.
    bool frugal = false;

    bool IsOfLinearTetrahedra() const noexcept { return !curved && !hexahedra; }
};

// One mesh in its three forms, two of which are made when they are first asked for.
class Case {
public:
    Case() = default;
    explicit Case(Recipe const& recipe);

    std::string name;
    Elements elements;
    std::array<double, 3> middle{}; // of the box around it, millimetres

    MMeshBase& Mesh();
    vtkSmartPointer<vtkUnstructuredGrid> const& Grid();
    // Lets go of the mesh: the next one that is asked for is as new.
    void ForgetMesh() noexcept { m_mesh.reset(); }
    // Drops what mesh and grid know of their neighbours.
    void ForgetNeighbors();
    // Before our way of a job is measured, or VTK's: makes what it needs, and gives back memory that waits
    // for the next round of another job.
    void PrepareFor(std::string const& job, bool ours);
    // Our mesh or VTK's grid; if memory is short, the other is let go of.
    void MakeFor(bool ours);

private:
    bool m_large = false;
    bool m_frugal = false;
    std::string m_job; // that was prepared for last
    bool m_ours = false;
    std::unique_ptr<MMeshBase> m_mesh;
    vtkSmartPointer<vtkUnstructuredGrid> m_grid;
};

// The case of a recipe. Only the one asked for last is kept: the largest fill gigabytes.
Case& UseCase(Recipe const& recipe);

} // namespace Bench
