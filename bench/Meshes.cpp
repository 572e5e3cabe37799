// SPDX-License-Identifier: BSD-3-Clause
#include "Meshes.h"

#include "KeptMemory.h"

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
#include <iterator>
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

double const Scale = KetSDK::Common::MInternalUnits::Get();

MLong ToInternal(double millimetres) {
    return static_cast<MLong>(std::lround(Scale * millimetres));
}

// The six tetrahedra around the diagonal of a cell, as corner numbers with the bits x, y, z.
constexpr int CellTetrahedra[6][4] = {{0, 1, 3, 7}, {0, 3, 2, 7}, {0, 2, 6, 7},
                                      {0, 6, 4, 7}, {0, 4, 5, 7}, {0, 5, 1, 7}};

constexpr int CellHexahedron[8] = {0, 1, 3, 2, 4, 5, 7, 6};

int LabelAt(double x, double y, double z) {
    if (x * x + y * y + z * z < 0.1)
        return 3;
    return x < 0.0 ? 1 : 2;
}

// The nodes in the middle of edges, added to a mesh as they are asked for.
class EdgeMiddles {
public:
    EdgeMiddles(Elements& mesh, std::size_t tetrahedra)
        : m_mesh(mesh) {
        m_numbers.reserve(2 * tetrahedra);
    }

    // In the order of descr_tet4_tet10_point.
    std::array<MLong, 6> Of(MLong const* corners) {
        std::array<MLong, 6> numbers{};
        for (std::size_t e = 0; e < 6; ++e) {
            auto const& edge = MMeshElementDescriptor::descr_tet4_tet10_point[e];
            numbers[e] = Number(corners[edge[0]], corners[edge[1]]);
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

    Elements& m_mesh;
    std::unordered_map<std::uint64_t, MLong> m_numbers; // by edge
};

// In cubic internal units.
double SignedVolume(Elements const& tetrahedra, MLong const* corners) {
    auto const corner = [&](std::size_t i) {
        Point const& p = tetrahedra.points[static_cast<std::size_t>(corners[i])];
        return MMVector<double, 3>(p[0], p[1], p[2]);
    };
    MMVector<double, 3> const origin = corner(0);
    return (corner(1) - origin).Cross(corner(2) - origin).Dot(corner(3) - origin) / 6.0;
}

// The labels by their order, for sub-volumes.
void NumberLabels(Elements& elements) {
    std::map<int, int> place_of;
    for (int const label : elements.labels)
        place_of[label] = 0;
    int places = 0;
    for (auto& [label, place] : place_of)
        place = places++;
    elements.sub_volumes.reserve(elements.Count());
    for (int const label : elements.labels)
        elements.sub_volumes.push_back(place_of[label]);
    elements.different_labels = place_of.size();
}

Elements Make(Recipe const& recipe) {
    Elements elements = recipe.cube > 0 ? MakeCube(recipe.cube, recipe.hexahedra) : ReadFile(recipe.file);
    for (int i = 0; i < recipe.refinements; ++i)
        elements = Refine(elements);
    if (recipe.shuffled)
        Shuffle(elements);
    if (!recipe.hexahedra)
        CheckOrientation(elements);
    if (recipe.curved)
        Curve(elements);
    NumberLabels(elements);
    return elements;
}

VTKCellType KindOf(Elements const& elements) {
    return elements.nodes_each == 4   ? VTK_TETRA
           : elements.nodes_each == 8 ? VTK_HEXAHEDRON
                                      : VTK_QUADRATIC_TETRA;
}

} // namespace

Elements MakeCube(int n, bool hexahedra) {
    std::mt19937 random(20240611);
    std::uniform_real_distribution<double> jitter(-0.1, 0.1);
    Elements result;
    result.nodes_each = hexahedra ? 8 : 4;
    std::size_t const side = static_cast<std::size_t>(n), elements = side * side * side * (hexahedra ? 1 : 6);
    result.points.reserve((side + 1) * (side + 1) * (side + 1));
    result.nodes.reserve(result.nodes_each * elements);
    result.labels.reserve(elements);
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
    auto const centred = [n](int i) { return (i + 0.5) / n - 0.5; };
    for (int z = 0; z < n; ++z)
        for (int y = 0; y < n; ++y)
            for (int x = 0; x < n; ++x) {
                auto const add = [&](std::span<int const> corners) {
                    for (int const c : corners)
                        result.nodes.push_back(index(x + (c & 1), y + (c >> 1 & 1), z + (c >> 2)));
                    result.labels.push_back(LabelAt(centred(x), centred(y), centred(z)));
                };
                if (hexahedra)
                    add(CellHexahedron);
                else
                    for (auto const& corners : CellTetrahedra)
                        add(corners);
            }
    return result;
}

Elements ReadFile(std::string const& path) {
    if (!std::filesystem::is_regular_file(path))
        throw std::runtime_error(path + ": no such file");
    vtkNew<vtkXMLUnstructuredGridReader> reader;
    reader->SetFileName(path.c_str());
    reader->Update();
    vtkUnstructuredGrid* const grid = reader->GetOutput();
    if (grid->GetNumberOfCells() == 0 || !grid->IsHomogeneous() || grid->GetCellType(0) != VTK_TETRA)
        throw std::runtime_error(path + ": not a mesh of linear tetrahedra");

    Elements result;
    for (vtkIdType i = 0; i < grid->GetNumberOfPoints(); ++i) {
        double const* const p = grid->GetPoint(i);
        result.points.push_back({ToInternal(p[0]), ToInternal(p[1]), ToInternal(p[2])});
    }
    vtkDataArray* const labels = grid->GetCellData()->GetArray("label");
    for (vtkIdType i = 0; i < grid->GetNumberOfCells(); ++i) {
        vtkIdType count = 0;
        vtkIdType const* ids = nullptr;
        grid->GetCellPoints(i, count, ids);
        for (int k = 0; k < 4; ++k)
            result.nodes.push_back(static_cast<MLong>(ids[k]));
        result.labels.push_back(labels ? static_cast<int>(labels->GetComponent(i, 0)) : 1);
    }
    return result;
}

Elements Refine(Elements const& coarse) {
    Elements fine;
    fine.points = coarse.points;
    EdgeMiddles middles(fine, coarse.Count());
    fine.nodes.reserve(8 * coarse.nodes.size());
    for (std::size_t e = 0; e < coarse.Count(); ++e) {
        std::array<MLong, 10> nodes{};
        std::copy_n(coarse.NodesOf(e), 4, nodes.begin());
        std::ranges::copy(middles.Of(coarse.NodesOf(e)), nodes.begin() + 4);
        for (auto const& piece : MMeshElementDescriptor::descr_tet10_to_tet4) {
            for (unsigned char const node : piece)
                fine.nodes.push_back(nodes[node]);
            fine.labels.push_back(coarse.labels[e]);
        }
    }
    return fine;
}

void Shuffle(Elements& elements) {
    std::mt19937 random(19991231);
    std::vector<std::size_t> place(elements.points.size());
    std::iota(place.begin(), place.end(), std::size_t{0});
    std::shuffle(place.begin(), place.end(), random);
    std::vector<Point> points(place.size());
    for (std::size_t i = 0; i < place.size(); ++i)
        points[place[i]] = elements.points[i];
    elements.points = std::move(points);

    std::vector<std::size_t> order(elements.Count());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::shuffle(order.begin(), order.end(), random);
    std::vector<MLong> nodes;
    std::vector<int> labels;
    for (std::size_t const e : order) {
        for (std::size_t i = 0; i < elements.nodes_each; ++i)
            nodes.push_back(static_cast<MLong>(place[static_cast<std::size_t>(elements.NodesOf(e)[i])]));
        labels.push_back(elements.labels[e]);
    }
    elements.nodes = std::move(nodes);
    elements.labels = std::move(labels);
}

void Curve(Elements& elements) {
    std::size_t const corners = elements.points.size();
    EdgeMiddles middles(elements, elements.Count());
    std::vector<MLong> nodes;
    nodes.reserve(10 * elements.Count());
    for (std::size_t e = 0; e < elements.Count(); ++e) {
        nodes.insert(nodes.end(), elements.NodesOf(e), elements.NodesOf(e) + 4);
        std::ranges::copy(middles.Of(elements.NodesOf(e)), std::back_inserter(nodes));
    }
    elements.nodes = std::move(nodes);
    elements.nodes_each = 10;
    std::mt19937 random(20261121);
    std::uniform_real_distribution<double> offset(-1.0, 1.0);
    for (std::size_t i = corners; i < elements.points.size(); ++i) {
        double const largest = Scale * (random() % 50 == 0 ? 0.5 : 0.125); // edges are about 1 mm long
        for (MLong& coordinate : elements.points[i])
            coordinate += static_cast<MLong>(std::lround(largest * offset(random)));
    }
}

void CheckOrientation(Elements const& tetrahedra) {
    for (std::size_t e = 0; e < tetrahedra.Count(); ++e)
        if (!(SignedVolume(tetrahedra, tetrahedra.NodesOf(e)) > 0.0))
            throw std::runtime_error("a tetrahedron is flat or inverted");
}

std::unique_ptr<MMeshBase> MakeMesh(Elements const& elements) {
    auto mesh = std::make_unique<MMeshBase>();
    std::vector<MMeshPoint*> nodes;
    nodes.reserve(elements.points.size());
    for (Point const& p : elements.points)
        nodes.push_back(mesh->AddPoint(p[0], p[1], p[2]));

    std::vector<MMeshSubVolume*> sub_volumes = {mesh->GetMainSubVolume()};
    while (sub_volumes.size() < elements.different_labels)
        sub_volumes.push_back(mesh->AddSubVolume());

    MMeshPoint* of_element[10];
    for (std::size_t e = 0; e < elements.Count(); ++e) {
        MLong const* const indices = elements.NodesOf(e);
        for (std::size_t i = 0; i < elements.nodes_each; ++i)
            of_element[i] = nodes[static_cast<std::size_t>(indices[i])];
        sub_volumes[static_cast<std::size_t>(elements.sub_volumes[e])]->AddElement(
            static_cast<char>(elements.nodes_each), of_element);
    }
    if (elements.nodes_each == 10)
        mesh->SetMeshType(MMeshBase::Quadratic);
    return mesh;
}

std::unique_ptr<MMeshBase> MakeMeshFromArrays(Elements const& elements, bool parallel) {
    auto mesh = std::make_unique<MMeshBase>();
    mesh->AddPoints(elements.points, parallel);
    while (mesh->NumberOfSubVolumes() < elements.different_labels)
        mesh->AddSubVolume();
    auto const count = static_cast<unsigned char>(elements.nodes_each);
    mesh->AddElements({std::span(&count, 1), elements.nodes, elements.sub_volumes}, parallel);
    if (elements.nodes_each == 10)
        mesh->SetMeshType(MMeshBase::Quadratic);
    return mesh;
}

vtkSmartPointer<vtkUnstructuredGrid> MakeGridFromArrays(Elements const& elements) {
    auto const count = static_cast<vtkIdType>(elements.Count());
    vtkNew<vtkDoubleArray> coordinates;
    coordinates->SetNumberOfComponents(3);
    coordinates->SetNumberOfTuples(static_cast<vtkIdType>(elements.points.size()));
    double* value = coordinates->GetPointer(0);
    for (Point const& p : elements.points)
        for (MLong const coordinate : p)
            *value++ = coordinate / Scale;
    vtkNew<vtkPoints> points;
    points->SetData(coordinates);
    vtkNew<vtkTypeInt32Array> nodes;
    nodes->SetNumberOfValues(static_cast<vtkIdType>(elements.nodes.size()));
    std::ranges::copy(elements.nodes, nodes->GetPointer(0));
    vtkNew<vtkTypeInt32Array> offsets;
    offsets->SetNumberOfValues(count + 1);
    for (vtkIdType i = 0; i <= count; ++i)
        offsets->SetValue(i, static_cast<vtkTypeInt32>(elements.nodes_each * static_cast<std::size_t>(i)));
    vtkNew<vtkCellArray> cells;
    cells->SetData(offsets.GetPointer(), nodes.GetPointer());
    vtkNew<vtkIntArray> labels;
    labels->SetName("label");
    labels->SetNumberOfValues(count);
    std::ranges::copy(elements.labels, labels->GetPointer(0));
    auto grid = vtkSmartPointer<vtkUnstructuredGrid>::New();
    grid->SetPoints(points);
    grid->SetCells(KindOf(elements), cells);
    grid->GetCellData()->AddArray(labels);
    return grid;
}

vtkSmartPointer<vtkUnstructuredGrid> MakeGrid(Elements const& elements) {
    vtkNew<vtkPoints> points;
    points->SetDataTypeToDouble();
    points->Allocate(static_cast<vtkIdType>(elements.points.size()));
    for (Point const& p : elements.points)
        points->InsertNextPoint(p[0] / Scale, p[1] / Scale, p[2] / Scale);

    auto const count = static_cast<vtkIdType>(elements.Count());
    auto const nodes_each = static_cast<vtkIdType>(elements.nodes_each);
    auto grid = vtkSmartPointer<vtkUnstructuredGrid>::New();
    grid->SetPoints(points);
    grid->AllocateExact(count, nodes_each * count);
    vtkNew<vtkIntArray> labels;
    labels->SetName("label");
    labels->Allocate(count);
    vtkIdType ids[10];
    for (std::size_t e = 0; e < elements.Count(); ++e) {
        std::copy_n(elements.NodesOf(e), elements.nodes_each, ids);
        grid->InsertNextCell(KindOf(elements), nodes_each, ids);
        labels->InsertNextValue(elements.labels[e]);
    }
    grid->GetCellData()->AddArray(labels);
    return grid;
}

Case::Case(Recipe const& recipe)
    : name(recipe.name)
    , elements(Make(recipe))
    , m_large(recipe.large)
    , m_frugal(recipe.frugal) {
    for (std::size_t k = 0; k < 3; ++k) {
        auto const [low, high] =
            std::ranges::minmax_element(elements.points, {}, [k](Point const& p) { return p[k]; });
        middle[k] = 0.5 * ((*low)[k] / Scale + (*high)[k] / Scale);
    }
}

MMeshBase& Case::Mesh() {
    if (!m_mesh)
        m_mesh = MakeMesh(elements);
    return *m_mesh;
}

vtkSmartPointer<vtkUnstructuredGrid> const& Case::Grid() {
    if (!m_grid)
        m_grid = MakeGrid(elements);
    return m_grid;
}

void Case::ForgetNeighbors() {
    if (m_mesh)
        m_mesh->GetNeighborsInfo()->Disable();
    if (!m_grid)
        return;
    auto fresh = vtkSmartPointer<vtkUnstructuredGrid>::New();
    fresh->SetPoints(m_grid->GetPoints());
    fresh->SetCells(m_grid->GetCellTypesArray(), m_grid->GetCells());
    fresh->GetCellData()->ShallowCopy(m_grid->GetCellData());
    m_grid = fresh;
}

void Case::PrepareFor(std::string const& job, bool ours) {
    bool const is_next = job != m_job || (m_large && ours != m_ours);
    m_job = job;
    m_ours = ours;
    MakeFor(ours);
    if (m_frugal || is_next)
        ReleaseFreedMemory();
}

void Case::MakeFor(bool ours) {
    bool const one_at_a_time = m_large || m_frugal;
    if (one_at_a_time && ours)
        m_grid = nullptr;
    if (one_at_a_time && !ours)
        m_mesh.reset();
    if (ours || !one_at_a_time)
        Mesh();
    if (!ours || !one_at_a_time)
        Grid();
}

Case& UseCase(Recipe const& recipe) {
    static Case current;
    if (current.name != recipe.name) {
        current = Case();
        current = Case(recipe);
    }
    return current;
}

} // namespace Bench
