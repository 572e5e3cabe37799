// SPDX-License-Identifier: BSD-3-Clause
#include "Meshes.h"

#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Mesh/mesh/MMeshElementDescriptor.h>

#include <vtkCellArray.h>
#include <vtkCellData.h>
#include <vtkDoubleArray.h>
#include <vtkIntArray.h>
#include <vtkPoints.h>
#include <vtkTypeInt32Array.h>
#include <vtkXMLUnstructuredGridReader.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <map>
#include <numeric>
#include <random>
#include <span>
#include <stdexcept>
#include <unordered_map>
#include <utility>

namespace Bench {
namespace {

using Point = std::array<MLong, 3>;
using Cell = std::array<MLong, 4>;

double const Scale = KetSDK::Common::MInternalUnits::Get();

MLong ToInternal(double millimetres) {
    return static_cast<MLong>(std::lround(Scale * millimetres));
}

// The six tetrahedra around the diagonal of a cell, as corner numbers with the bits x, y, z.
constexpr int CellTetrahedra[6][4] = {{0, 1, 3, 7}, {0, 3, 2, 7}, {0, 2, 6, 7},
                                      {0, 6, 4, 7}, {0, 4, 5, 7}, {0, 5, 1, 7}};

int LabelAt(double x, double y, double z) {
    if (x * x + y * y + z * z < 0.1)
        return 3;
    return x < 0.0 ? 1 : 2;
}

// The nodes in the middle of edges, added to a mesh as they are asked for.
class EdgeMiddles {
public:
    explicit EdgeMiddles(Tetrahedra& mesh)
        : m_mesh(mesh) {
        m_numbers.reserve(2 * mesh.cells.size());
    }

    // In the order of descr_tet4_tet10_point.
    std::array<MLong, 6> Of(Cell const& cell) {
        std::array<MLong, 6> numbers{};
        for (std::size_t e = 0; e < 6; ++e) {
            auto const& edge = MMeshElementDescriptor::descr_tet4_tet10_point[e];
            numbers[e] = Number(cell[edge[0]], cell[edge[1]]);
        }
        return numbers;
    }

private:
    MLong Number(MLong a, MLong b) {
        auto const [low, high] = std::minmax(a, b);
        std::uint64_t const key = static_cast<std::uint64_t>(low) << 32 | static_cast<std::uint64_t>(high);
        auto const [entry, is_new] = m_numbers.try_emplace(key, static_cast<MLong>(m_mesh.points.size()));
        if (is_new) {
            Point const& p = m_mesh.points[static_cast<std::size_t>(a)];
            Point const& q = m_mesh.points[static_cast<std::size_t>(b)];
            m_mesh.points.push_back(
                {std::midpoint(p[0], q[0]), std::midpoint(p[1], q[1]), std::midpoint(p[2], q[2])});
        }
        return entry->second;
    }

    Tetrahedra& m_mesh;
    std::unordered_map<std::uint64_t, MLong> m_numbers; // by edge
};

// In cubic internal units.
double SignedVolume(Tetrahedra const& tetrahedra, Cell const& cell) {
    auto const corner = [&](std::size_t i) {
        Point const& p = tetrahedra.points[static_cast<std::size_t>(cell[i])];
        return MMVector<double, 3>(p[0], p[1], p[2]);
    };
    MMVector<double, 3> const origin = corner(0);
    return (corner(1) - origin).Cross(corner(2) - origin).Dot(corner(3) - origin) / 6.0;
}

Tetrahedra Make(Recipe const& recipe) {
    Tetrahedra tetrahedra = recipe.cube > 0 ? MakeCube(recipe.cube) : ReadFile(recipe.file);
    for (int i = 0; i < recipe.refinements; ++i)
        tetrahedra = Refine(tetrahedra);
    if (recipe.shuffled)
        Shuffle(tetrahedra);
    CheckOrientation(tetrahedra);
    if (recipe.curved)
        Curve(tetrahedra);
    return tetrahedra;
}

} // namespace

Tetrahedra MakeCube(int n) {
    std::mt19937 random(20240611);
    std::uniform_real_distribution<double> jitter(-0.1, 0.1);
    Tetrahedra result;
    auto const index = [n](int x, int y, int z) { return (z * (n + 1) + y) * (n + 1) + x; };
    auto const is_inner = [n](int i) { return i > 0 && i < n; };
    for (int z = 0; z <= n; ++z)
        for (int y = 0; y <= n; ++y)
            for (int x = 0; x <= n; ++x) {
                bool const inner = is_inner(x) && is_inner(y) && is_inner(z);
                auto const place = [&](int i) { return ToInternal(i + (inner ? jitter(random) : 0.0)); };
                MLong const px = place(x), py = place(y), pz = place(z);
                result.points.push_back({px, py, pz});
            }
    for (int z = 0; z < n; ++z)
        for (int y = 0; y < n; ++y)
            for (int x = 0; x < n; ++x)
                for (auto const& corners : CellTetrahedra) {
                    Cell cell{};
                    for (std::size_t i = 0; i < 4; ++i) {
                        int const c = corners[i];
                        cell[i] = index(x + (c & 1), y + (c >> 1 & 1), z + (c >> 2));
                    }
                    result.cells.push_back(cell);
                    auto const centred = [n](int i) { return (i + 0.5) / n - 0.5; };
                    result.labels.push_back(LabelAt(centred(x), centred(y), centred(z)));
                }
    return result;
}

Tetrahedra ReadFile(std::string const& path) {
    if (!std::filesystem::is_regular_file(path))
        throw std::runtime_error(path + ": no such file");
    vtkNew<vtkXMLUnstructuredGridReader> reader;
    reader->SetFileName(path.c_str());
    reader->Update();
    vtkUnstructuredGrid* const grid = reader->GetOutput();
    if (grid->GetNumberOfCells() == 0 || !grid->IsHomogeneous() || grid->GetCellType(0) != VTK_TETRA)
        throw std::runtime_error(path + ": not a mesh of linear tetrahedra");

    Tetrahedra result;
    for (vtkIdType i = 0; i < grid->GetNumberOfPoints(); ++i) {
        double const* const p = grid->GetPoint(i);
        result.points.push_back({ToInternal(p[0]), ToInternal(p[1]), ToInternal(p[2])});
    }
    vtkDataArray* const labels = grid->GetCellData()->GetArray("label");
    for (vtkIdType i = 0; i < grid->GetNumberOfCells(); ++i) {
        vtkIdType count = 0;
        vtkIdType const* ids = nullptr;
        grid->GetCellPoints(i, count, ids);
        result.cells.push_back({static_cast<MLong>(ids[0]), static_cast<MLong>(ids[1]),
                                static_cast<MLong>(ids[2]), static_cast<MLong>(ids[3])});
        result.labels.push_back(labels ? static_cast<int>(labels->GetComponent(i, 0)) : 1);
    }
    return result;
}

Tetrahedra Refine(Tetrahedra const& coarse) {
    Tetrahedra fine;
    fine.points = coarse.points;
    EdgeMiddles middles(fine);
    fine.cells.reserve(8 * coarse.cells.size());
    for (std::size_t c = 0; c < coarse.cells.size(); ++c) {
        std::array<MLong, 10> nodes{};
        std::copy(coarse.cells[c].begin(), coarse.cells[c].end(), nodes.begin());
        std::ranges::copy(middles.Of(coarse.cells[c]), nodes.begin() + 4);
        for (auto const& part : MMeshElementDescriptor::descr_tet10_to_tet4) {
            fine.cells.push_back({nodes[part[0]], nodes[part[1]], nodes[part[2]], nodes[part[3]]});
            fine.labels.push_back(coarse.labels[c]);
        }
    }
    return fine;
}

void Shuffle(Tetrahedra& tetrahedra) {
    std::mt19937 random(19991231);
    std::vector<std::size_t> place(tetrahedra.points.size());
    std::iota(place.begin(), place.end(), std::size_t{0});
    std::shuffle(place.begin(), place.end(), random);
    std::vector<Point> points(place.size());
    for (std::size_t i = 0; i < place.size(); ++i)
        points[place[i]] = tetrahedra.points[i];
    tetrahedra.points = std::move(points);

    std::vector<std::size_t> order(tetrahedra.cells.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::shuffle(order.begin(), order.end(), random);
    std::vector<Cell> cells;
    std::vector<int> labels;
    for (std::size_t const c : order) {
        Cell cell = tetrahedra.cells[c];
        for (MLong& node : cell)
            node = static_cast<MLong>(place[static_cast<std::size_t>(node)]);
        cells.push_back(cell);
        labels.push_back(tetrahedra.labels[c]);
    }
    tetrahedra.cells = std::move(cells);
    tetrahedra.labels = std::move(labels);
}

void Curve(Tetrahedra& tetrahedra) {
    std::size_t const corners = tetrahedra.points.size();
    EdgeMiddles middles(tetrahedra);
    for (Cell const& cell : tetrahedra.cells)
        tetrahedra.middles.push_back(middles.Of(cell));
    std::mt19937 random(20261121);
    std::uniform_real_distribution<double> offset(-1.0, 1.0);
    for (std::size_t i = corners; i < tetrahedra.points.size(); ++i) {
        double const largest = Scale * (random() % 50 == 0 ? 0.5 : 0.125); // edges are about 1 mm long
        for (MLong& coordinate : tetrahedra.points[i])
            coordinate += static_cast<MLong>(std::lround(largest * offset(random)));
    }
}

void CheckOrientation(Tetrahedra const& tetrahedra) {
    for (Cell const& cell : tetrahedra.cells)
        if (!(SignedVolume(tetrahedra, cell) > 0.0))
            throw std::runtime_error("a tetrahedron is flat or inverted");
}

std::unique_ptr<MMeshBase> MakeMesh(Tetrahedra const& tetrahedra) {
    auto mesh = std::make_unique<MMeshBase>();
    std::vector<MMeshPoint*> nodes;
    nodes.reserve(tetrahedra.points.size());
    for (Point const& p : tetrahedra.points)
        nodes.push_back(mesh->AddPoint(p[0], p[1], p[2]));

    std::map<int, MMeshSubVolume*> sub_volumes;
    for (int const label : tetrahedra.labels)
        sub_volumes[label] = nullptr;
    for (auto& [label, sub_volume] : sub_volumes)
        sub_volume = label == sub_volumes.begin()->first ? mesh->GetMainSubVolume() : mesh->AddSubVolume();

    for (std::size_t c = 0; c < tetrahedra.cells.size(); ++c) {
        MMeshPoint* of_element[10];
        MMeshPoint** next = of_element;
        for (MLong const corner : tetrahedra.cells[c])
            *next++ = nodes[static_cast<std::size_t>(corner)];
        if (!tetrahedra.middles.empty())
            for (MLong const middle : tetrahedra.middles[c])
                *next++ = nodes[static_cast<std::size_t>(middle)];
        sub_volumes[tetrahedra.labels[c]]->AddElement(static_cast<char>(next - of_element), of_element);
    }
    if (!tetrahedra.middles.empty())
        mesh->SetMeshType(MMeshBase::Quadratic);
    return mesh;
}

std::unique_ptr<MMeshBase> MakeMeshFromArrays(Tetrahedra const& tetrahedra, bool parallel) {
    auto mesh = std::make_unique<MMeshBase>();
    mesh->AddPoints(tetrahedra.points, parallel);
    std::map<int, int> place_of;
    for (int const label : tetrahedra.labels)
        place_of[label] = 0;
    int places = 0;
    for (auto& [label, place] : place_of)
        place = places++;
    while (static_cast<int>(mesh->NumberOfSubVolumes()) < places)
        mesh->AddSubVolume();
    std::vector<int> sub_volumes;
    sub_volumes.reserve(tetrahedra.labels.size());
    for (int const label : tetrahedra.labels)
        sub_volumes.push_back(place_of[label]);
    unsigned char const count = 4;
    MMeshElementArrays elements;
    elements.node_counts = std::span(&count, 1);
    elements.nodes = std::span(tetrahedra.cells.front().data(), 4 * tetrahedra.cells.size());
    elements.sub_volumes = sub_volumes;
    mesh->AddElements(elements, parallel);
    return mesh;
}

vtkSmartPointer<vtkUnstructuredGrid> MakeGridFromArrays(Tetrahedra const& tetrahedra) {
    auto const cell_count = static_cast<vtkIdType>(tetrahedra.cells.size());
    vtkNew<vtkDoubleArray> coordinates;
    coordinates->SetNumberOfComponents(3);
    coordinates->SetNumberOfTuples(static_cast<vtkIdType>(tetrahedra.points.size()));
    double* value = coordinates->GetPointer(0);
    for (Point const& p : tetrahedra.points)
        for (MLong const coordinate : p)
            *value++ = coordinate / Scale;
    vtkNew<vtkPoints> points;
    points->SetData(coordinates);
    vtkNew<vtkTypeInt32Array> corners;
    corners->SetNumberOfValues(4 * cell_count);
    std::copy_n(tetrahedra.cells.front().data(), 4 * tetrahedra.cells.size(), corners->GetPointer(0));
    vtkNew<vtkTypeInt32Array> offsets;
    offsets->SetNumberOfValues(cell_count + 1);
    for (vtkIdType i = 0; i <= cell_count; ++i)
        offsets->SetValue(i, static_cast<vtkTypeInt32>(4 * i));
    vtkNew<vtkCellArray> cells;
    cells->SetData(offsets.GetPointer(), corners.GetPointer());
    vtkNew<vtkIntArray> labels;
    labels->SetName("label");
    labels->SetNumberOfValues(cell_count);
    std::ranges::copy(tetrahedra.labels, labels->GetPointer(0));
    auto grid = vtkSmartPointer<vtkUnstructuredGrid>::New();
    grid->SetPoints(points);
    grid->SetCells(VTK_TETRA, cells);
    grid->GetCellData()->AddArray(labels);
    return grid;
}

vtkSmartPointer<vtkUnstructuredGrid> MakeGrid(Tetrahedra const& tetrahedra) {
    vtkNew<vtkPoints> points;
    points->SetDataTypeToDouble();
    points->Allocate(static_cast<vtkIdType>(tetrahedra.points.size()));
    for (Point const& p : tetrahedra.points)
        points->InsertNextPoint(p[0] / Scale, p[1] / Scale, p[2] / Scale);

    auto const cell_count = static_cast<vtkIdType>(tetrahedra.cells.size());
    auto grid = vtkSmartPointer<vtkUnstructuredGrid>::New();
    grid->SetPoints(points);
    grid->AllocateExact(cell_count, 4 * cell_count);
    vtkNew<vtkIntArray> labels;
    labels->SetName("label");
    labels->Allocate(cell_count);
    for (std::size_t c = 0; c < tetrahedra.cells.size(); ++c) {
        Cell const& cell = tetrahedra.cells[c];
        vtkIdType const ids[4] = {cell[0], cell[1], cell[2], cell[3]};
        grid->InsertNextCell(VTK_TETRA, 4, ids);
        labels->InsertNextValue(tetrahedra.labels[c]);
    }
    grid->GetCellData()->AddArray(labels);
    return grid;
}

void Case::ForgetNeighbors() {
    mesh->GetNeighborsInfo()->Disable();
    auto fresh = vtkSmartPointer<vtkUnstructuredGrid>::New();
    fresh->SetPoints(grid->GetPoints());
    fresh->SetCells(grid->GetCellTypesArray(), grid->GetCells());
    fresh->GetCellData()->ShallowCopy(grid->GetCellData());
    grid = fresh;
}

Case& UseCase(Recipe const& recipe) {
    static Case current;
    if (current.name != recipe.name) {
        current = Case();
        current.tetrahedra = Make(recipe);
        current.mesh = MakeMesh(current.tetrahedra);
        current.grid = MakeGrid(current.tetrahedra);
        current.name = recipe.name;
    }
    return current;
}

} // namespace Bench
