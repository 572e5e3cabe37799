// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/materials/MHUList.h>

#include <KetSDK/Mesh/materials/MDensityExpression.h>
#include <KetSDK/Mesh/materials/detail/MaterialIndexTable.h>
#include <KetSDK/Mesh/materials/detail/SubVolumeElements.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>

using namespace KetSDK;
using namespace KetSDK::Mesh::Detail;

template class MIntervalsEx<MaterialInterval>;

namespace {

struct GreyRange {
    double min = DBL_MAX;
    double max = -DBL_MAX;
    bool IsEmpty() const noexcept { return min == DBL_MAX; }
    // Of zeros with different signs the first one counts.
    void Add(GreyRange const& other) noexcept {
        min = other.min < min ? other.min : min;
        max = other.max > max ? other.max : max;
    }
};

// The range over the elements with accept(mask index, grey value), which is asked on several threads when
// parallel.
template <typename Accept>
GreyRange FindGreyRange(MMeshBase& mesh, MHUList::SubVolumes const* sub_volumes, bool parallel,
                        Accept const& accept) {
    MDataMask<MMeshElement, double> const& grey_values = *mesh.GetElementMasks()->GetGreyValueMask();
    SubVolumeGroups const groups(mesh, sub_volumes);
    using Ranges = std::vector<GreyRange>; // by group
    Ranges ranges(groups.Count());
    std::uint64_t const items = groups.NumberOfElements();
    // So many elements that the ranges of a step are few beside them.
    std::uint64_t const step = parallel ? std::max<std::uint64_t>(8192, 8 * groups.Count()) : items + 1;
    Support::ComputeSteps<Ranges>(
        {.items = items, .step = step, .parallel = parallel, .window = 16},
        [&](std::uint64_t first, std::uint64_t last, Ranges& of_step) {
            of_step.assign(groups.Count(), {});
            groups.ForEachRun(first, last, [&](std::size_t group, std::span<std::uint64_t const> indices) {
                GreyRange range = of_step[group];
                for (std::uint64_t const index : indices)
                    if (double const grey = grey_values.GetValueAt(index); accept(index, grey))
                        range.Add({grey, grey});
                of_step[group] = range;
            });
        },
        [&](std::uint64_t, std::uint64_t, Ranges const& of_step) {
            for (std::size_t group = 0; group < ranges.size(); ++group)
                ranges[group].Add(of_step[group]);
            return true;
        });
    GreyRange range;
    for (std::size_t const group : groups.OfSubVolumes())
        range.Add(ranges[group]);
    return range;
}

// Appends n intervals that divide the range and carry value_at(centre).
template <typename ValueAt>
bool Divide(MHUList& list, GreyRange const& range, unsigned int n, MHUList::EMapUnit unit,
            ValueAt const& value_at) {
    if (range.IsEmpty())
        return false;
    double const step = (range.max - range.min) / n;
    for (unsigned int i = 0; i < n; ++i) {
        double const start = i * step + range.min;
        double centre = start + step * 0.5;
        if (unit == MHUList::OffsetBy1024)
            centre = centre - 1024.0;
        list.AddElementAtEnd(start, {start, value_at(centre), DBL_MAX, DBL_MAX, {}});
    }
    list.mapType = MHUList::Uniform;
    return true;
}

double Centre(double centre) {
    return centre;
}

bool HasGreyValues(MMeshBase const* mesh) {
    return mesh && mesh->HasGreyValues();
}

} // namespace

bool MHUList::CreateUniform(MMeshBase* mesh, unsigned int n, double a, double b, double c, double d, double e,
                            EMapUnit unit, SubVolumes const* sub_volumes, bool parallel) {
    if (!HasGreyValues(mesh))
        return false;
    Clear();
    MDensityExpression density;
    density.CreateFromExpression(a, b, c, d, e);
    GreyRange const range =
        FindGreyRange(*mesh, sub_volumes, parallel, [](std::uint64_t, double) { return true; });
    return Divide(*this, range, n, unit,
                  [&density](double centre) { return density.CalcRealExpression(centre); });
}

bool MHUList::DivideRange(unsigned int n, double min, double max, EMapUnit unit) {
    Clear();
    return Divide(*this, {min, max}, n, unit, Centre);
}

bool MHUList::CreateUniformFromRange(MMeshBase* mesh, unsigned int n, double low, double high, EMapUnit unit,
                                     SubVolumes const* sub_volumes, bool parallel) {
    if (!HasGreyValues(mesh))
        return false;
    Clear();
    GreyRange const range =
        FindGreyRange(*mesh, sub_volumes, parallel,
                      [low, high](std::uint64_t, double grey) { return low <= grey && grey < high; });
    return Divide(*this, range, n, unit, Centre);
}

bool MHUList::CreateUniformFromMask(MMeshBase* mesh, unsigned int n, unsigned short material_index,
                                    std::vector<bool> const& mask, EMapUnit unit,
                                    SubVolumes const* sub_volumes, bool parallel) {
    if (!HasGreyValues(mesh))
        return false;
    Clear();
    MaterialIndexTable const table(mask);
    MDataMask<MMeshElement, MMeshElementMaskContainer::VolumeList> const& lists =
        *mesh->GetElementMasks()->GetVolumeIndexMask();
    GreyRange const range = FindGreyRange(*mesh, sub_volumes, parallel, [&](std::uint64_t index, double) {
        return table.IndexOf(lists.GetValueAt(index)) == material_index;
    });
    return Divide(*this, range, n, unit, Centre);
}

bool MHUList::CreateFromMask(MMeshBase* mesh, std::vector<bool> const& mask, bool with_values,
                             SubVolumes const* sub_volumes, bool parallel) {
    if (!HasGreyValues(mesh))
        return false;
    Clear();
    struct RunningMean {
        double mean = 0.0;
        std::uint64_t count = 0;
    };
    std::vector<RunningMean> means(mask.size());
    MaterialIndexTable const table(mask);
    MMeshElementMaskContainer& masks = *mesh->GetElementMasks();
    MDataMask<MMeshElement, double> const& grey_values = *masks.GetGreyValueMask();
    auto const& lists = *masks.GetVolumeIndexMask();
    struct Grey {
        unsigned short material_index;
        double value;
    };
    SubVolumeElements(*mesh, sub_volumes, parallel)
        .ForEach(
            [&](std::uint64_t index) {
                return Grey{table.IndexOf(lists.GetValueAt(index)),
                            std::trunc(grey_values.GetValueAt(index))};
            },
            [&means](std::uint64_t, Grey const& grey) {
                if (grey.material_index < means.size() && !std::isnan(grey.value)) {
                    auto& [mean, count] = means[grey.material_index];
                    mean = (grey.value + static_cast<double>(count) * mean) / static_cast<double>(count + 1);
                    ++count;
                }
                return true;
            });

    for (std::size_t i = 0; i < means.size(); ++i) {
        bool const is_last = i + 1 == means.size();
        if (!mask[i] || (is_last && means[i].count == 0))
            continue;
        double const value = !with_values ? DBL_MAX : is_last ? 0.0 : means[i].mean;
        AddElementAtEnd(means[i].mean, {means[i].mean, value, DBL_MAX, DBL_MAX, {}});
    }
    mapType = OnePerMaterial;
    return true;
}
