// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/MeshFromGrid.h>

#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/Mesh/mesh/MMeshElementVolume.h>
#include <KetSDK/MeshVTK/ArrayNames.h>
#include <KetSDK/MeshVTK/Arrays.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/Text.h>
#include <KetSDK/MeshVTK/checks/GridCheck.h>
#include <KetSDK/MeshVTK/detail/ArrayValues.h>
#include <KetSDK/MeshVTK/detail/CellKinds.h>
#include <KetSDK/MeshVTK/detail/MaterialArrays.h>
#include <KetSDK/MeshVTK/detail/NamedArrays.h>

#include <vtkCellArray.h>
#include <vtkCellData.h>
#include <vtkFieldData.h>
#include <vtkPointData.h>
#include <vtkStringArray.h>
#include <vtkUnstructuredGrid.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <numeric>
#include <optional>
#include <utility>
#include <vector>

namespace KetSDK::MeshVTK {

namespace {

// The sub-volumes of a mesh to be: the index of each cell in a list of names, each of which is used.
struct Partition {
    std::vector<std::wstring> names; // empty: one sub-volume with the name that a new mesh gives it
    std::vector<int> subvolume_of;   // each cell; empty when there is one sub-volume
};

// Numbers the values that occur by ascending value.
std::vector<long long> ReplaceByRank(std::vector<long long>& values) {
    std::vector<long long> distinct = values;
    std::ranges::sort(distinct);
    distinct.erase(std::unique(distinct.begin(), distinct.end()), distinct.end());
    for (long long& value : values)
        value = std::ranges::lower_bound(distinct, value) - distinct.begin();
    return distinct;
}

Partition MakePartition(std::vector<long long> values, auto const& name_of_value) {
    Partition partition;
    for (long long const value : ReplaceByRank(values))
        partition.names.push_back(name_of_value(value));
    partition.subvolume_of.assign(values.begin(), values.end());
    return partition;
}

Partition PartitionByLabels(vtkDataArray& labels, vtkIdType cells) {
    return MakePartition(Detail::WholeNumbers(labels, cells),
                         [](long long label) { return L"Label " + std::to_wstring(label); });
}

Partition PartitionBySubvolumes(vtkDataArray& numbers, vtkStringArray& names, vtkIdType cells) {
    std::vector<long long> const values = Detail::WholeNumbers(numbers, cells);
    long long const count = names.GetNumberOfValues();
    for (std::size_t i = 0; i < values.size(); ++i)
        if (values[i] < 0 || values[i] >= count)
            throw Error("cell " + std::to_string(i) + " is in sub-volume " + std::to_string(values[i]) +
                        ", but " + ArrayNames::SubvolumeNames + " names " + std::to_string(count) +
                        " (from 0)");
    return MakePartition(values, [&names](long long number) { return FromUtf8(names.GetValue(number)); });
}

vtkDataArray& LabelArray(vtkUnstructuredGrid& grid, std::string const& name) {
    vtkDataArray* const array = FindArray(*grid.GetCellData(), name);
    if (!array)
        throw Error("there is no cell array \"" + name + "\"; " +
                    DescribeArrays(*grid.GetCellData(), "cell"));
    return *array;
}

Partition FindPartition(vtkUnstructuredGrid& grid, MeshFromGridOptions const& options) {
    std::string const& labels = options.labels;
    vtkCellData& arrays = *grid.GetCellData();
    vtkIdType const cells = grid.GetNumberOfCells();
    if (!labels.empty())
        return PartitionByLabels(LabelArray(grid, labels), cells);
    vtkDataArray* const numbers = FindArray(arrays, ArrayNames::Subvolume);
    vtkAbstractArray* const names = grid.GetFieldData()->GetAbstractArray(ArrayNames::SubvolumeNames);
    if (numbers && names) {
        vtkStringArray* const strings = vtkStringArray::SafeDownCast(names);
        if (!strings)
            throw Error(std::string("the field data ") + ArrayNames::SubvolumeNames + " must hold strings");
        return PartitionBySubvolumes(*numbers, *strings, cells);
    }
    vtkDataArray* const label = FindArray(arrays, ArrayNames::Label);
    if (!label)
        return {};
    std::optional<vtkIdType> const broken = Detail::FirstBrokenNumber(*label);
    if (!broken)
        return PartitionByLabels(*label, cells);
    if (options.warn)
        options.warn(Detail::Quoted(*label) + " holds values that are no whole numbers (the first at cell " +
                     std::to_string(*broken) + "), so it makes no sub-volumes");
    return {};
}

// Makes the nodes and elements of a mesh out of a grid that has been checked.
class MeshMaker {
public:
    MeshMaker(MMeshBase& mesh, vtkUnstructuredGrid& grid, Common::IncrementalProgressReporter& progress)
        : m_mesh(mesh)
        , m_grid(grid)
        , m_progress(progress) {}

    void AddNodes(std::vector<std::array<MLong, 3>> const& points) {
        for (std::array<MLong, 3> const& p : points) {
            m_mesh.AddPoint(p[0], p[1], p[2]);
            Step();
        }
    }

    void AddElements(Partition const& partition) {
        for (std::size_t i = 0; i < partition.names.size(); ++i) {
            MMeshSubVolume* const part = i == 0 ? m_mesh.GetMainSubVolume() : m_mesh.AddSubVolume();
            part->SetName(partition.names[i]);
        }
        m_subvolumes.clear();
        for (auto it = m_mesh.BeginSubVolume(); it != m_mesh.EndSubVolume(); ++it)
            m_subvolumes.push_back(it->get());
        for (vtkIdType cell = 0; cell < m_grid.GetNumberOfCells(); ++cell) {
            std::size_t const index =
                partition.subvolume_of.empty()
                    ? 0
                    : static_cast<std::size_t>(partition.subvolume_of[static_cast<std::size_t>(cell)]);
            TakeElement(cell, *m_subvolumes[index]);
            Step();
        }
    }

private:
    void TakeElement(vtkIdType cell, MMeshSubVolume& part) {
        vtkIdType count = 0;
        vtkIdType const* ids = nullptr;
        m_grid.GetCells()->GetCellAtId(cell, count, ids);
        std::array<MMeshPoint*, Detail::MaxCellNodes> nodes{};
        for (vtkIdType i = 0; i < count; ++i)
            nodes[static_cast<std::size_t>(i)] = m_mesh.GetRandomPoint(static_cast<std::uint64_t>(ids[i]));
        if (count == 6)
            TurnWedge(nodes.data());
        part.AddElement(static_cast<char>(count), nodes.data());
    }

    // Files hold wedges of either winding. Exchanging the triangles turns a wedge inside out.
    static void TurnWedge(MMeshPoint** nodes) {
        if (GetElementVolume(MMeshElement(6, nodes)) < 0.0)
            std::swap_ranges(nodes, nodes + 3, nodes + 3);
    }

    void Step() {
        ++m_progress;
        if (++m_steps % 10000 == 0 && m_progress.IsCancelled())
            throw Cancelled();
    }

    MMeshBase& m_mesh;
    vtkUnstructuredGrid& m_grid;
    Common::IncrementalProgressReporter& m_progress;
    std::vector<MMeshSubVolume*> m_subvolumes;
    std::uint64_t m_steps = 0;
};

void SetGreyValues(MMeshBase& mesh, vtkUnstructuredGrid& grid) {
    vtkDataArray* const grey = FindArray(*grid.GetCellData(), ArrayNames::Grey);
    if (!grey)
        return;
    CheckShape(*grey, grid.GetNumberOfCells());
    auto& mask = *mesh.GetElementMasks()->GetGreyValueMask();
    vtkIdType cell = 0;
    for (MMeshElement const& e : mesh.Elements())
        mask.SetValue(e, grey->GetComponent(cell++, 0));
    mesh.SetGreyValuesFlag(true);
}

// The identifiers of cells or points: those of the array `original_id`, or else 0, 1, 2, ...
std::vector<int> OriginalIds(vtkDataSetAttributes& arrays, vtkIdType count) {
    std::vector<int> ids(static_cast<std::size_t>(count));
    vtkDataArray* const array = FindArray(arrays, ArrayNames::OriginalId);
    if (!array) {
        std::iota(ids.begin(), ids.end(), 0);
        return ids;
    }
    std::vector<long long> const values = Detail::WholeNumbers(*array, count);
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (values[i] < std::numeric_limits<int>::min() || values[i] > std::numeric_limits<int>::max())
            throw Error(std::string("the array ") + ArrayNames::OriginalId + " holds " +
                        std::to_string(values[i]) + ", which does not fit into 32 bits");
        ids[i] = static_cast<int>(values[i]);
    }
    return ids;
}

void SetOriginalIds(MMeshBase& mesh, vtkUnstructuredGrid& grid) {
    auto& elements = *mesh.GetElementMasks()->GetOriginalIDs();
    auto& nodes = *mesh.GetPointMasks()->GetOriginalIDs();
    std::vector<int> ids = OriginalIds(*grid.GetCellData(), grid.GetNumberOfCells());
    auto id = ids.begin();
    for (MMeshElement const& e : mesh.Elements())
        elements.SetValue(e, *id++);
    ids = OriginalIds(*grid.GetPointData(), grid.GetNumberOfPoints());
    for (std::size_t i = 0; i < ids.size(); ++i)
        nodes.SetValue(*mesh.GetRandomPoint(i), ids[i]);
}

} // namespace

std::unique_ptr<MMeshBase> MeshFromGrid(vtkUnstructuredGrid& grid, MeshFromGridOptions const& options,
                                        RoundingReport* report) {
    Detail::CheckGrid(grid);
    Partition const partition = FindPartition(grid, options);
    RoundedPoints const rounded = RoundPoints(*grid.GetPoints(), options.unit, options.limits);

    auto const steps = static_cast<unsigned long long>(grid.GetNumberOfPoints() + grid.GetNumberOfCells());
    Common::IncrementalProgressReporter progress(options.progress, "Building mesh", steps, true);
    auto mesh = std::make_unique<MMeshBase>();
    MeshMaker maker(*mesh, grid, progress);
    maker.AddNodes(rounded.points);
    maker.AddElements(partition);
    SetGreyValues(*mesh, grid);
    Detail::SetMaterials(*mesh, grid);
    SetOriginalIds(*mesh, grid);
    bool const quadratic =
        std::ranges::any_of(mesh->Elements(), [](MMeshElement const& e) { return e.GetNodeCount() == 10; });
    mesh->SetMeshType(quadratic ? MMeshBase::Quadratic : MMeshBase::Linear);
    if (report)
        *report = rounded.report;
    return mesh;
}

void SetSubvolumesByLabels(MMeshBase& mesh, vtkUnstructuredGrid& grid, std::string const& labels) {
    Partition const partition = PartitionByLabels(LabelArray(grid, labels), mesh.NumberOfElements());
    mesh.ClearSubVolumes();
    std::vector<MMeshSubVolume*> parts;
    for (std::wstring const& name : partition.names) {
        parts.push_back(mesh.AddSubVolume());
        parts.back()->SetName(name);
    }
    auto index = partition.subvolume_of.begin();
    for (MMeshElement& e : mesh.Elements())
        parts[static_cast<std::size_t>(*index++)]->IncludeElement(e);
}

void SetSubvolumesByLabels(MMeshBase& mesh, std::vector<MMeshArray> const& arrays,
                           std::string const& labels) {
    SetSubvolumesByLabels(mesh, *Detail::ArraysNamed(mesh, arrays, labels), labels);
}

} // namespace KetSDK::MeshVTK
