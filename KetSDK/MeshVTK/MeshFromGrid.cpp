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
#include <KetSDK/MeshVTK/detail/CellNumbers.h>
#include <KetSDK/MeshVTK/detail/MaterialArrays.h>
#include <KetSDK/MeshVTK/detail/NamedArrays.h>
#include <KetSDK/Support/ParallelWork.h>

#include <vtkCellArray.h>
#include <vtkCellData.h>
#include <vtkFieldData.h>
#include <vtkPointData.h>
#include <vtkStringArray.h>
#include <vtkUnstructuredGrid.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

namespace KetSDK::MeshVTK {

namespace {

// The sub-volumes of a mesh to be: the index of each cell in a list of names, each of which is used.
struct Partition {
    std::vector<std::wstring> names; // empty: one sub-volume with the name that a new mesh gives it
    std::vector<int> subvolume_of;   // each cell; empty when there is one sub-volume
};

// The same for values between two that are not far apart.
std::vector<long long> ReplaceByRankFrom(long long least, long long largest, std::vector<long long>& values) {
    std::vector<int> rank_of(static_cast<std::size_t>(largest - least) + 1, 0);
    for (long long const value : values)
        rank_of[static_cast<std::size_t>(value - least)] = 1;
    std::vector<long long> distinct;
    for (std::size_t i = 0; i < rank_of.size(); ++i)
        if (rank_of[i] != 0) {
            rank_of[i] = static_cast<int>(distinct.size());
            distinct.push_back(least + static_cast<long long>(i));
        }
    for (long long& value : values)
        value = rank_of[static_cast<std::size_t>(value - least)];
    return distinct;
}

// Numbers the values that occur by ascending value.
std::vector<long long> ReplaceByRank(std::vector<long long>& values) {
    if (values.empty())
        return {};
    auto const [least, largest] = std::ranges::minmax(values);
    // Mostly there are few numbers that lie close to each other.
    if (static_cast<std::uint64_t>(largest) - static_cast<std::uint64_t>(least) < values.size())
        return ReplaceByRankFrom(least, largest, values);
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
    MeshMaker(MMeshBase& mesh, vtkUnstructuredGrid& grid, Common::IncrementalProgressReporter& progress,
              bool parallel)
        : m_mesh(mesh)
        , m_grid(grid)
        , m_progress(progress)
        , m_parallel(parallel) {}

    void AddNodes(std::span<std::array<MLong, 3> const> points) {
        for (std::size_t first = 0; first < points.size(); first += AtOnce) {
            std::size_t const count = std::min(AtOnce, points.size() - first);
            m_mesh.AddPoints(points.subspan(first, count), m_parallel);
            Step(count);
        }
    }

    void AddElements(Partition const& partition) {
        for (std::size_t i = 0; i < partition.names.size(); ++i) {
            MMeshSubVolume* const sub_volume = i == 0 ? m_mesh.GetMainSubVolume() : m_mesh.AddSubVolume();
            sub_volume->SetName(partition.names[i]);
        }
        Detail::WithNumbersOf(*m_grid.GetCells(), [&](auto const offsets, auto const points) {
            std::vector<unsigned char> counts;
            std::vector<MLong> nodes;
            for (std::size_t first = 0; first + 1 < offsets.size(); first += AtOnce) {
                std::size_t const count = std::min(AtOnce, offsets.size() - 1 - first);
                auto const begin = static_cast<std::size_t>(offsets[first]);
                auto const end = static_cast<std::size_t>(offsets[first + count]);
                Count(offsets.subspan(first, count + 1), counts);
                MMeshElementArrays elements;
                elements.node_counts = counts;
                elements.nodes = Nodes(points.subspan(begin, end - begin), nodes);
                if (!partition.subvolume_of.empty())
                    elements.sub_volumes = std::span(partition.subvolume_of).subspan(first, count);
                m_mesh.AddElements(elements, m_parallel);
                m_is_quadratic = m_is_quadratic || Has(counts, 10);
                if (Has(counts, 6))
                    TurnWedges(first);
                Step(count);
            }
        });
    }

    // Whether any element has ten nodes.
    bool IsQuadratic() const noexcept { return m_is_quadratic; }

private:
    // Elements at a time, between which the user can cancel.
    static constexpr std::size_t AtOnce = std::size_t{1} << 18;

    template <typename Offsets>
    void Count(Offsets const& offsets, std::vector<unsigned char>& counts) const {
        counts.resize(offsets.size() - 1);
        for (std::size_t i = 0; i < counts.size(); ++i)
            counts[i] = static_cast<unsigned char>(offsets[i + 1] - offsets[i]);
    }

    static bool Has(std::vector<unsigned char> const& counts, unsigned char count) noexcept {
        return std::memchr(counts.data(), count, counts.size()) != nullptr;
    }

    // Numbers of 32 bits are taken as they lie.
    template <typename Points>
    std::span<MLong const> Nodes(Points const& points, std::vector<MLong>& copy) const {
        if constexpr (std::is_convertible_v<Points, std::span<MLong const>>) {
            return points;
        } else {
            copy.resize(points.size());
            Support::ComputeSteps({.items = points.size(), .step = 65536, .parallel = m_parallel},
                                  [&](std::uint64_t first, std::uint64_t last) {
                                      for (std::uint64_t i = first; i < last; ++i)
                                          copy[i] = static_cast<MLong>(points[i]);
                                  });
            return copy;
        }
    }

    // Files hold wedges of either winding. Exchanging the triangles turns a wedge inside out.
    void TurnWedges(std::uint64_t first) {
        for (std::uint64_t i = first; i < m_mesh.Elements().GetNumElements(); ++i)
            if (MMeshElement& e = *m_mesh.GetElement(i); e.GetNodeCount() == 6 && GetElementVolume(e) < 0.0)
                for (unsigned int k = 0; k < 3; ++k)
                    e.SwapNodes(k, k + 3);
    }

    void Step(std::size_t count) {
        m_done += count;
        m_progress = m_done;
        if (m_progress.IsCancelled())
            throw Cancelled();
    }

    MMeshBase& m_mesh;
    vtkUnstructuredGrid& m_grid;
    Common::IncrementalProgressReporter& m_progress;
    bool m_parallel;
    bool m_is_quadratic = false;
    std::uint64_t m_done = 0;
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

// The identifiers of cells or points that the array `original_id` has; none without it.
std::vector<int> OriginalIds(vtkDataSetAttributes& arrays, vtkIdType count) {
    vtkDataArray* const array = FindArray(arrays, ArrayNames::OriginalId);
    if (!array)
        return {};
    std::vector<int> ids(static_cast<std::size_t>(count));
    std::vector<long long> const values = Detail::WholeNumbers(*array, count);
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (values[i] < std::numeric_limits<int>::min() || values[i] > std::numeric_limits<int>::max())
            throw Error(std::string("the array ") + ArrayNames::OriginalId + " holds " +
                        std::to_string(values[i]) + ", which does not fit into 32 bits");
        ids[i] = static_cast<int>(values[i]);
    }
    return ids;
}

// Objects without an identifier get 0, 1, 2, ...
void SetOriginalIds(MMeshBase& mesh, vtkUnstructuredGrid& grid, bool parallel) {
    auto const set = [parallel](auto& mask, vtkDataSetAttributes& arrays, vtkIdType count, auto const& at) {
        std::vector<int> const ids = OriginalIds(arrays, count);
        Support::ComputeSteps(
            {.items = static_cast<std::uint64_t>(count), .step = 8192, .parallel = parallel},
            [&](std::uint64_t first, std::uint64_t last) {
                for (std::uint64_t i = first; i < last; ++i)
                    mask.SetValue(at(i),
                                  ids.empty() ? static_cast<int>(i) : ids[static_cast<std::size_t>(i)]);
            });
    };
    set(*mesh.GetElementMasks()->GetOriginalIDs(), *grid.GetCellData(), grid.GetNumberOfCells(),
        [&mesh](std::uint64_t i) -> MMeshElement const& { return *mesh.GetElement(i); });
    set(*mesh.GetPointMasks()->GetOriginalIDs(), *grid.GetPointData(), grid.GetNumberOfPoints(),
        [&mesh](std::uint64_t i) -> MMeshPoint const& { return *mesh.GetRandomPoint(i); });
}

} // namespace

std::unique_ptr<MMeshBase> MeshFromGrid(vtkUnstructuredGrid& grid, MeshFromGridOptions const& options,
                                        RoundingReport* report) {
    Detail::CheckGrid(grid, options.parallel);
    Partition const partition = FindPartition(grid, options);
    RoundedPoints const rounded =
        RoundPoints(*grid.GetPoints(), options.unit, options.limits, options.parallel);

    auto const steps = static_cast<unsigned long long>(grid.GetNumberOfPoints() + grid.GetNumberOfCells());
    Common::IncrementalProgressReporter progress(options.progress, "Building mesh", steps, true);
    auto mesh = std::make_unique<MMeshBase>();
    MeshMaker maker(*mesh, grid, progress, options.parallel);
    maker.AddNodes(rounded.points);
    maker.AddElements(partition);
    SetGreyValues(*mesh, grid);
    Detail::SetMaterials(*mesh, grid, options.parallel);
    SetOriginalIds(*mesh, grid, options.parallel);
    mesh->SetMeshType(maker.IsQuadratic() ? MMeshBase::Quadratic : MMeshBase::Linear);
    if (report)
        *report = rounded.report;
    return mesh;
}

void SetSubvolumesByLabels(MMeshBase& mesh, vtkUnstructuredGrid& grid, std::string const& labels) {
    Partition const partition = PartitionByLabels(LabelArray(grid, labels), mesh.NumberOfElements());
    mesh.ClearSubVolumes();
    for (std::wstring const& name : partition.names)
        mesh.AddSubVolume()->SetName(name);
    mesh.IncludeElements(partition.subvolume_of);
}

void SetSubvolumesByLabels(MMeshBase& mesh, std::vector<MMeshArray> const& arrays,
                           std::string const& labels) {
    SetSubvolumesByLabels(mesh, *Detail::ArraysNamed(mesh, arrays, labels), labels);
}

} // namespace KetSDK::MeshVTK
