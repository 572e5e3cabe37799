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
#include <KetSDK/MeshVTK/detail/CellNumbers.h>
#include <KetSDK/MeshVTK/detail/MaterialArrays.h>
#include <KetSDK/MeshVTK/detail/NamedArrays.h>
#include <KetSDK/Support/MArenaAllocator.h>
#include <KetSDK/Support/ParallelWork.h>

#include <vtkCellArray.h>
#include <vtkCellData.h>
#include <vtkFieldData.h>
#include <vtkPointData.h>
#include <vtkStringArray.h>
#include <vtkUnsignedCharArray.h>
#include <vtkUnstructuredGrid.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <optional>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

namespace KetSDK::MeshVTK {

namespace {

using IntegerList = std::vector<int, Support::MUninitializedAllocator<int>>;

// The sub-volumes of a mesh to be: the index of each cell in a list of names, each of which is used.
struct Partition {
    std::vector<std::wstring> names; // empty: one sub-volume with the name that a new mesh gives it
    IntegerList subvolume_of;        // each cell; empty when there is one sub-volume
};

// Whole numbers, and the rank of each among those that occur.
struct Ranks {
    std::vector<long long> distinct; // ascending
    IntegerList rank_of;             // each
};

constexpr std::uint64_t ValuesAtOnce = 65536;

// Which of so many numbers from the least one on occur.
template <typename T>
std::vector<char> FindUsed(std::span<T const> values, long long least, std::size_t width, bool parallel) {
    std::vector<char> used(width, 0);
    auto const mark = [&](std::uint64_t first, std::uint64_t last, std::vector<char>& marks) {
        for (std::uint64_t i = first; i < last; ++i)
            marks[static_cast<std::size_t>(static_cast<long long>(values[i]) - least)] = 1;
    };
    constexpr std::size_t few = 4096; // so many that each step may have a table of its own
    if (!parallel || width > few) {
        mark(0, values.size(), used);
        return used;
    }
    Support::ComputeSteps<std::vector<char>>(
        {.items = values.size(), .step = ValuesAtOnce, .parallel = true},
        [&](std::uint64_t first, std::uint64_t last, std::vector<char>& found) {
            found.assign(width, 0);
            mark(first, last, found);
        },
        [&](std::uint64_t, std::uint64_t, std::vector<char> const& found) {
            for (std::size_t i = 0; i < width; ++i)
                used[i] = std::max(used[i], found[i]);
            return true;
        });
    return used;
}

template <typename T>
std::pair<long long, long long> LeastAndLargest(std::span<T const> values, bool parallel) {
    std::pair<long long, long long> all(values[0], values[0]);
    Support::ComputeSteps<std::pair<T, T>>(
        {.items = values.size(), .step = ValuesAtOnce, .parallel = parallel},
        [&](std::uint64_t first, std::uint64_t last, std::pair<T, T>& found) {
            T least = values[first], largest = least; // in registers, which the pair may not have
            for (std::uint64_t i = first; i < last; ++i) {
                least = std::min(least, values[i]);
                largest = std::max(largest, values[i]);
            }
            found = {least, largest};
        },
        [&](std::uint64_t, std::uint64_t, std::pair<T, T> const& found) {
            all = {std::min(all.first, static_cast<long long>(found.first)),
                   std::max(all.second, static_cast<long long>(found.second))};
            return true;
        });
    return all;
}

template <typename T>
Ranks RankValues(std::span<T const> values, bool parallel) {
    Ranks ranks;
    if (values.empty())
        return ranks;
    ranks.rank_of.resize(values.size());
    auto const set_ranks = [&](auto const& rank_of_value) {
        Support::ComputeSteps({.items = values.size(), .step = ValuesAtOnce, .parallel = parallel},
                              [&](std::uint64_t first, std::uint64_t last) {
                                  for (std::uint64_t i = first; i < last; ++i)
                                      ranks.rank_of[i] = rank_of_value(static_cast<long long>(values[i]));
                              });
    };
    auto const [least, largest] = LeastAndLargest(values, parallel);
    std::uint64_t const distance = static_cast<std::uint64_t>(largest) - static_cast<std::uint64_t>(least);
    if (distance >= values.size()) {
        std::transform(values.begin(), values.end(), std::back_inserter(ranks.distinct),
                       [](T value) { return static_cast<long long>(value); });
        std::ranges::sort(ranks.distinct);
        ranks.distinct.erase(std::unique(ranks.distinct.begin(), ranks.distinct.end()), ranks.distinct.end());
        set_ranks([&ranks](long long value) {
            return static_cast<int>(std::ranges::lower_bound(ranks.distinct, value) - ranks.distinct.begin());
        });
        return ranks;
    }
    // Mostly there are few numbers that lie close to each other.
    std::vector<char> const used = FindUsed(values, least, static_cast<std::size_t>(distance) + 1, parallel);
    std::vector<int> rank_of(used.size(), 0);
    for (std::size_t i = 0; i < used.size(); ++i)
        if (used[i] != 0) {
            rank_of[i] = static_cast<int>(ranks.distinct.size());
            ranks.distinct.push_back(least + static_cast<long long>(i));
        }
    set_ranks([&, from = least](long long value) { return rank_of[static_cast<std::size_t>(value - from)]; });
    return ranks;
}

// Of an array with one whole number for each cell; throws Error for another one.
Ranks RankNumbers(vtkDataArray& array, vtkIdType cells, bool parallel) {
    Detail::CheckWholeNumbers(array, cells);
    auto const count = static_cast<std::size_t>(cells);
    switch (array.GetDataType()) {
        vtkTemplateMacro(return RankValues(
            std::span(static_cast<VTK_TT const*>(array.GetVoidPointer(0)), count), parallel));
    default: // bits
        return RankValues(std::span<long long const>(Detail::WholeNumbers(array, cells)), parallel);
    }
}

Partition MakePartition(Ranks ranks, auto const& name_of_value) {
    Partition partition;
    for (long long const value : ranks.distinct)
        partition.names.push_back(name_of_value(value));
    partition.subvolume_of = std::move(ranks.rank_of);
    return partition;
}

Partition PartitionByLabels(vtkDataArray& labels, vtkIdType cells, bool parallel) {
    return MakePartition(RankNumbers(labels, cells, parallel),
                         [](long long label) { return L"Label " + std::to_wstring(label); });
}

Partition PartitionBySubvolumes(vtkDataArray& numbers, vtkStringArray& names, vtkIdType cells,
                                bool parallel) {
    Ranks ranks = RankNumbers(numbers, cells, parallel);
    long long const count = names.GetNumberOfValues();
    auto const is_named = [count](long long number) { return number >= 0 && number < count; };
    if (!std::ranges::all_of(ranks.distinct, is_named))
        for (std::size_t i = 0; i < ranks.rank_of.size(); ++i)
            if (long long const number = ranks.distinct[static_cast<std::size_t>(ranks.rank_of[i])];
                !is_named(number))
                throw Error("cell " + std::to_string(i) + " is in sub-volume " + std::to_string(number) +
                            ", but " + ArrayNames::SubvolumeNames + " names " + std::to_string(count) +
                            " (from 0)");
    return MakePartition(std::move(ranks),
                         [&names](long long number) { return FromUtf8(names.GetValue(number)); });
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
        return PartitionByLabels(LabelArray(grid, labels), cells, options.parallel);
    vtkDataArray* const numbers = FindArray(arrays, ArrayNames::Subvolume);
    vtkAbstractArray* const names = grid.GetFieldData()->GetAbstractArray(ArrayNames::SubvolumeNames);
    if (numbers && names) {
        vtkStringArray* const strings = vtkStringArray::SafeDownCast(names);
        if (!strings)
            throw Error(std::string("the field data ") + ArrayNames::SubvolumeNames + " must hold strings");
        return PartitionBySubvolumes(*numbers, *strings, cells, options.parallel);
    }
    vtkDataArray* const label = FindArray(arrays, ArrayNames::Label);
    if (!label)
        return {};
    std::optional<vtkIdType> const broken = Detail::FirstBrokenNumber(*label);
    if (!broken)
        return PartitionByLabels(*label, cells, options.parallel);
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
            NodeNumbers nodes;
            for (std::size_t first = 0; first + 1 < offsets.size(); first += AtOnce) {
                std::size_t const count = std::min(AtOnce, offsets.size() - 1 - first);
                auto const begin = static_cast<std::size_t>(offsets[first]);
                auto const end = static_cast<std::size_t>(offsets[first + count]);
                MMeshElementArrays elements;
                elements.node_counts = Counts(first, count, counts);
                elements.nodes = Nodes(points.subspan(begin, end - begin), nodes);
                if (!partition.subvolume_of.empty())
                    elements.sub_volumes = std::span(partition.subvolume_of).subspan(first, count);
                m_mesh.AddElements(elements, m_parallel);
                m_is_quadratic = m_is_quadratic || Has(elements.node_counts, 10);
                if (Has(elements.node_counts, 6))
                    TurnWedges(first);
                Step(count);
            }
        });
    }

    // Whether any element has ten nodes.
    bool IsQuadratic() const noexcept { return m_is_quadratic; }

private:
    using NodeNumbers = std::vector<MLong, Support::MUninitializedAllocator<MLong>>;

    // Elements at a time, between which the user can cancel.
    static constexpr std::size_t AtOnce = std::size_t{1} << 20;

    // How many points cells list, which have been checked to be those of their types; a single number where
    // all list as many.
    std::span<unsigned char const> Counts(std::size_t first, std::size_t count,
                                          std::vector<unsigned char>& counts) const {
        unsigned char const* const types = m_grid.GetCellTypesArray()->GetPointer(0) + first;
        counts.resize(std::memcmp(types, types + 1, count - 1) == 0 ? 1 : count);
        std::transform(types, types + counts.size(), counts.begin(), &Detail::NodesOfCellType);
        return counts;
    }

    static bool Has(std::span<unsigned char const> counts, unsigned char count) noexcept {
        return std::memchr(counts.data(), count, counts.size()) != nullptr;
    }

    // Numbers of 32 bits are taken as they lie.
    template <typename Points>
    std::span<MLong const> Nodes(Points const& points, NodeNumbers& copy) const {
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

// Those of a new mesh have their own numbers as mask indices.
void SetGreyValues(MMeshBase& mesh, vtkUnstructuredGrid& grid, bool parallel) {
    vtkDataArray* const grey = FindArray(*grid.GetCellData(), ArrayNames::Grey);
    if (!grey)
        return;
    CheckShape(*grey, grid.GetNumberOfCells());
    auto& mask = *mesh.GetElementMasks()->GetGreyValueMask();
    auto const set = [&](auto const& value_of) {
        Support::ComputeSteps({.items = static_cast<std::uint64_t>(grid.GetNumberOfCells()),
                               .step = 8192,
                               .parallel = parallel},
                              [&](std::uint64_t first, std::uint64_t last) {
                                  for (std::uint64_t i = first; i < last; ++i)
                                      mask.SetValueAt(i, value_of(i));
                              });
    };
    if (grey->GetDataType() == VTK_DOUBLE) {
        auto const* const values = static_cast<double const*>(grey->GetVoidPointer(0));
        set([values](std::uint64_t i) { return values[i]; });
    } else {
        set([grey](std::uint64_t i) { return grey->GetComponent(static_cast<vtkIdType>(i), 0); });
    }
    mesh.SetGreyValuesFlag(true);
}

// The identifiers of cells or points where an array holds them as the mesh does; null elsewhere.
int const* ReadyIds(vtkDataSetAttributes& arrays, vtkIdType count) {
    vtkDataArray* const array = FindArray(arrays, ArrayNames::OriginalId);
    if (!array || array->GetDataType() != VTK_INT)
        return nullptr;
    CheckShape(*array, count);
    return static_cast<int const*>(array->GetVoidPointer(0));
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
    auto const set = [parallel](auto& mask, vtkDataSetAttributes& arrays, vtkIdType count) {
        std::vector<int> checked;
        int const* ids = ReadyIds(arrays, count);
        if (!ids) {
            checked = OriginalIds(arrays, count);
            ids = checked.empty() ? nullptr : checked.data();
        }
        Support::ComputeSteps(
            {.items = static_cast<std::uint64_t>(count), .step = 8192, .parallel = parallel},
            [&](std::uint64_t first, std::uint64_t last) {
                for (std::uint64_t i = first; i < last; ++i)
                    mask.SetValueAt(i, ids ? ids[i] : static_cast<int>(i));
            });
    };
    set(*mesh.GetElementMasks()->GetOriginalIDs(), *grid.GetCellData(), grid.GetNumberOfCells());
    set(*mesh.GetPointMasks()->GetOriginalIDs(), *grid.GetPointData(), grid.GetNumberOfPoints());
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
    SetGreyValues(*mesh, grid, options.parallel);
    Detail::SetMaterials(*mesh, grid, options.parallel);
    SetOriginalIds(*mesh, grid, options.parallel);
    mesh->SetMeshType(maker.IsQuadratic() ? MMeshBase::Quadratic : MMeshBase::Linear);
    if (report)
        *report = rounded.report;
    return mesh;
}

void SetSubvolumesByLabels(MMeshBase& mesh, vtkUnstructuredGrid& grid, std::string const& labels) {
    Partition const partition = PartitionByLabels(LabelArray(grid, labels), mesh.NumberOfElements(), false);
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
