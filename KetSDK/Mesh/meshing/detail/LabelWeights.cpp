// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/meshing/detail/LabelWeights.h>

#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <cmath>

namespace KetSDK::Mesh::Detail {

namespace {

// How many of the next `count` voxels have this label, until one has another.
std::size_t RunOf(std::int32_t label, std::int32_t const* voxels, std::int64_t count) noexcept {
    constexpr std::size_t Together = 16;
    std::size_t const end = static_cast<std::size_t>(count);
    std::size_t run = 0;
    for (std::int32_t others = 0; run + Together <= end; run += Together) {
        for (std::size_t i = 0; i < Together; ++i)
            others |= voxels[run + i] ^ label;
        if (others != 0)
            break;
    }
    while (run < end && voxels[run] == label)
        ++run;
    return run;
}

} // namespace

IndexedLabels::IndexedLabels(MLabelImage const& image, std::vector<std::int32_t> const& labels)
    : m_size(image.size)
    , m_indices(image.labels.size(), 0)
    , m_counts(labels.size() + 1, 0) {
    m_first = {m_size[0], m_size[1], m_size[2]};
    m_last = {-1, -1, -1};
    std::int32_t last_label = 0; // neighbours mostly agree
    LabelIndex last_index = 0;
    std::size_t voxel = 0;
    for (std::int64_t k = 0; k < m_size[2]; ++k)
        for (std::int64_t j = 0; j < m_size[1]; ++j) {
            std::int64_t first = m_size[0], last = -1; // in this row
            for (std::int64_t i = 0; i < m_size[0]; ++i, ++voxel) {
                std::int32_t const label = image.labels[voxel];
                if (last_index == 0 && label == last_label) {
                    std::size_t const run = RunOf(label, &image.labels[voxel], m_size[0] - i);
                    m_counts[0] += run;
                    voxel += run - 1;
                    i += static_cast<std::int64_t>(run) - 1;
                    continue;
                }
                if (label != last_label) {
                    auto const found = std::ranges::lower_bound(labels, label);
                    last_label = label;
                    last_index = found != labels.end() && *found == label
                                     ? static_cast<LabelIndex>(found - labels.begin() + 1)
                                     : LabelIndex{0};
                }
                m_indices[voxel] = last_index;
                ++m_counts[last_index];
                if (last_index != 0) {
                    first = std::min(first, i);
                    last = i;
                }
            }
            if (last < 0)
                continue;
            m_first = {std::min(m_first[0], first), std::min(m_first[1], j), std::min(m_first[2], k)};
            m_last = {std::max(m_last[0], last), std::max(m_last[1], j), k};
        }
}

void IndexedLabels::CopyRow(std::int64_t i, std::int64_t j, std::int64_t k, std::int64_t count,
                            LabelIndex* to) const {
    std::fill(to, to + count, LabelIndex{0});
    if (j < 0 || k < 0 || j >= m_size[1] || k >= m_size[2])
        return;
    std::int64_t const begin = std::max<std::int64_t>(i, 0), end = std::min(i + count, m_size[0]);
    LabelIndex const* const row = &m_indices[static_cast<std::size_t>((k * m_size[1] + j) * m_size[0])];
    if (begin < end)
        std::copy(row + begin, row + end, to + (begin - i));
}

namespace {

// The weights of one brick as they are computed.
struct BrickWork {
    std::vector<LabelIndex> labels; // one only: no weights
    std::vector<float> weights;
    // Scratch: the labels around the brick, one row of them, and the sums along the first and second axis.
    std::vector<LabelIndex> around;
    std::vector<float> row;
    std::vector<float> along_first;
    std::vector<float> along_second;
};

// Smooths the indicator functions of the labels within a brick, one axis after another.
class BrickSmoother {
public:
    BrickSmoother(IndexedLabels const& labels, SmoothingKernel const& kernel)
        : m_labels(labels) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            m_radius[axis] = static_cast<std::int64_t>(kernel.narrow[axis].size() / 2);
            m_narrow[axis].assign(kernel.narrow[axis].begin(), kernel.narrow[axis].end());
            m_wide[axis].assign(kernel.wide[axis].begin(), kernel.wide[axis].end());
        }
        // The share goes with the last axis.
        for (float& weight : m_narrow[2])
            weight *= static_cast<float>(kernel.share);
        for (float& weight : m_wide[2])
            weight *= static_cast<float>(1.0 - kernel.share);
    }

    // The brick whose first sample is voxel `first`.
    void Smooth(std::array<std::int64_t, 3> const& first, BrickWork& work) const {
        work.labels.clear();
        work.weights.clear();
        Gather(first, work);
        if (work.labels.size() < 2)
            return;
        std::ranges::sort(work.labels);
        work.weights.assign(work.labels.size() * Samples, 0.0F);
        // All weights add up to 1, so those of the last label are the rest.
        float* const rest = &work.weights[(work.labels.size() - 1) * Samples];
        std::fill(rest, rest + Samples, 1.0F);
        for (std::size_t i = 0; i + 1 < work.labels.size(); ++i) {
            float* const target = &work.weights[i * Samples];
            AddSmoothed(work.labels[i], m_narrow, work, target);
            if (m_radius[0] + m_radius[1] + m_radius[2] > 0)
                AddSmoothed(work.labels[i], m_wide, work, target);
            for (std::size_t k = 0; k < Samples; ++k)
                rest[k] -= target[k];
        }
    }

private:
    static constexpr std::int64_t Count = 9;
    static constexpr std::size_t Samples = 729;
    using Kernels = std::array<std::vector<float>, 3>;

    std::int64_t Wide(std::size_t axis) const noexcept { return Count + 2 * m_radius[axis]; }

    void Gather(std::array<std::int64_t, 3> const& first, BrickWork& work) const {
        work.around.resize(static_cast<std::size_t>(Wide(0) * Wide(1) * Wide(2)));
        LabelIndex* row = work.around.data();
        for (std::int64_t k = 0; k < Wide(2); ++k)
            for (std::int64_t j = 0; j < Wide(1); ++j, row += Wide(0)) {
                m_labels.CopyRow(first[0] - m_radius[0], first[1] + j - m_radius[1],
                                 first[2] + k - m_radius[2], Wide(0), row);
                for (std::int64_t i = 0; i < Wide(0); ++i)
                    if ((i == 0 || row[i] != row[i - 1]) &&
                        std::ranges::find(work.labels, row[i]) == work.labels.end())
                        work.labels.push_back(row[i]);
            }
    }

    void AddSmoothed(LabelIndex label, Kernels const& kernels, BrickWork& work, float* target) const {
        work.along_first.assign(static_cast<std::size_t>(Wide(1) * Wide(2) * Count), 0.0F);
        work.along_second.assign(static_cast<std::size_t>(Wide(2) * Count * Count), 0.0F);
        SmoothRows(label, kernels[0], work);
        AddAlong<Count>(work.along_first.data(), work.along_second.data(), kernels[1], Wide(2), Wide(1));
        AddAlong<Count * Count>(work.along_second.data(), target, kernels[2], 1, Wide(2));
    }

    void SmoothRows(LabelIndex label, std::vector<float> const& kernel, BrickWork& work) const {
        std::size_t const wide = static_cast<std::size_t>(Wide(0));
        work.row.resize(wide);
        float full = 0.0F; // what a row has that is all of the label
        for (float const weight : kernel)
            full += weight;
        for (std::size_t row = 0; row * wide < work.around.size(); ++row) {
            LabelIndex const* const source = &work.around[row * wide];
            float* const sums = &work.along_first[row * Count];
            std::size_t of_label = 0;
            for (std::size_t i = 0; i < wide; ++i) {
                of_label += source[i] == label;
                work.row[i] = source[i] == label ? 1.0F : 0.0F;
            }
            if (of_label == wide)
                std::fill(sums, sums + Count, full);
            else if (of_label > 0)
                AddAlong<1>(work.row.data(), sums, kernel, 1, Wide(0));
        }
    }

    // Of `blocks` blocks of `wide` rows of Length numbers each, smoothed across the rows.
    template <std::int64_t Length>
    static void AddAlong(float const* source, float* target, std::vector<float> const& kernel,
                         std::int64_t blocks, std::int64_t wide) {
        constexpr std::int64_t Numbers = Count * Length;
        for (std::int64_t block = 0; block < blocks; ++block) {
            float const* const from = source + block * wide * Length;
            float* const to = target + block * Numbers;
            for (std::int64_t i = 0; i < Numbers / Together; ++i)
                AddTaps<Together>(from + i * Together, Length, to + i * Together, kernel);
            constexpr std::int64_t Rest = Numbers % Together;
            AddTaps<Rest>(from + Numbers - Rest, Length, to + Numbers - Rest, kernel);
        }
    }
    // So many sums stay in registers while all taps are added.
    static constexpr std::int64_t Together = 16;
    template <std::int64_t Numbers>
    static void AddTaps(float const* from, std::int64_t stride, float* to, std::vector<float> const& kernel) {
        float sums[Numbers];
        std::copy(to, to + Numbers, sums);
        for (float const weight : kernel) {
            for (std::int64_t i = 0; i < Numbers; ++i)
                sums[i] += weight * from[i];
            from += stride;
        }
        std::copy(sums, sums + Numbers, to);
    }

    IndexedLabels const& m_labels;
    Kernels m_narrow;
    Kernels m_wide;
    std::array<std::int64_t, 3> m_radius{};
};

} // namespace

struct LabelWeights::Cell {
    std::size_t offset; // of the first of eight samples
    double f[3];        // where the place is between them
};

LabelWeights::LabelWeights(IndexedLabels const& labels, SmoothingKernel const& kernel, bool parallel,
                           std::function<bool(double fraction)> const& advance) {
    std::size_t const widest =
        std::max({kernel.narrow[0].size(), kernel.narrow[1].size(), kernel.narrow[2].size()}) / 2 + 1;
    m_padding = (static_cast<std::int64_t>(widest) / Side + 1) * Side;
    for (std::size_t axis = 0; axis < 3; ++axis)
        m_bricks[axis] = (labels.Size()[axis] + 2 * m_padding + Side - 1) / Side;
    BrickSmoother const smoother(labels, kernel);
    Support::WorkSteps steps;
    steps.items = static_cast<std::uint64_t>(m_bricks[0] * m_bricks[1] * m_bricks[2]);
    steps.parallel = parallel;
    steps.grain = 4;
    m_all.reserve(static_cast<std::size_t>(steps.items));
    Support::ComputeSteps<BrickWork>(
        steps,
        [&](std::uint64_t brick, std::uint64_t, BrickWork& work) {
            smoother.Smooth(FirstVoxelOf(static_cast<std::size_t>(brick)), work);
        },
        [&](std::uint64_t, std::uint64_t, BrickWork const& work) {
            Brick brick;
            brick.only = work.labels.front();
            if (work.labels.size() > 1) {
                brick.first = static_cast<std::uint32_t>(m_brick_labels.size());
                brick.count = static_cast<std::uint16_t>(work.labels.size());
                m_brick_labels.insert(m_brick_labels.end(), work.labels.begin(), work.labels.end());
                m_weights.insert(m_weights.end(), work.weights.begin(), work.weights.end());
            }
            m_all.push_back(brick);
            return m_all.size() % 256 != 0 ||
                   advance(static_cast<double>(m_all.size()) / static_cast<double>(steps.items));
        });
}

LabelWeights::Brick const* LabelWeights::Find(Place const& place, Cell& cell) const noexcept {
    std::uint64_t brick[3], sample[3];
    for (std::size_t axis = 0; axis < 3; ++axis) {
        double const from_first = place[axis] + static_cast<double>(m_padding);
        if (!(from_first >= 0.0) || from_first >= static_cast<double>(m_bricks[axis] * Side))
            return nullptr;
        std::int64_t const voxel = static_cast<std::int64_t>(from_first);
        brick[axis] = static_cast<std::uint64_t>(voxel) / Side;
        sample[axis] = static_cast<std::uint64_t>(voxel) % Side;
        cell.f[axis] = from_first - static_cast<double>(voxel);
    }
    cell.offset = static_cast<std::size_t>((sample[2] * 9 + sample[1]) * 9 + sample[0]);
    auto const count = [this](std::size_t axis) { return static_cast<std::uint64_t>(m_bricks[axis]); };
    return &m_all[static_cast<std::size_t>((brick[2] * count(1) + brick[1]) * count(0) + brick[0])];
}

namespace {

// The samples around a place: corners of a cell, the first axis fastest.
using Corners = std::array<double, 8>;
constexpr std::size_t CornerOffsets[8] = {0, 1, 9, 10, 81, 82, 90, 91};

double Interpolate(Corners const& c, double const (&f)[3], MMVector<double, 3>* gradient) noexcept {
    double const x00 = c[0] + f[0] * (c[1] - c[0]), x10 = c[2] + f[0] * (c[3] - c[2]);
    double const x01 = c[4] + f[0] * (c[5] - c[4]), x11 = c[6] + f[0] * (c[7] - c[6]);
    double const y0 = x00 + f[1] * (x10 - x00), y1 = x01 + f[1] * (x11 - x01);
    if (gradient) {
        double const a = (c[1] - c[0]) + f[1] * ((c[3] - c[2]) - (c[1] - c[0]));
        double const b = (c[5] - c[4]) + f[1] * ((c[7] - c[6]) - (c[5] - c[4]));
        *gradient = {a + f[2] * (b - a), (x10 - x00) + f[2] * ((x11 - x01) - (x10 - x00)), y1 - y0};
    }
    return y0 + f[2] * (y1 - y0);
}

double Interpolate(float const* weights, double const (&f)[3]) noexcept {
    Corners corners;
    for (std::size_t i = 0; i < 8; ++i)
        corners[i] = weights[CornerOffsets[i]];
    return Interpolate(corners, f, nullptr);
}

} // namespace

float const* LabelWeights::WeightsOf(Brick const& brick, LabelIndex label) const noexcept {
    std::size_t const slot = SlotOf(brick, label);
    return slot == NoSlot ? nullptr : &m_weights[slot * Samples];
}

LabelIndex LabelWeights::LargestAt(Place const& place) const noexcept {
    Cell cell;
    Brick const* const brick = Find(place, cell);
    if (!brick)
        return 0;
    LabelIndex best = brick->only;
    double largest = -1e300;
    for (std::size_t i = brick->first; i < std::size_t{brick->first} + brick->count; ++i) {
        double const weight = Interpolate(&m_weights[i * Samples + cell.offset], cell.f);
        if (weight > largest) {
            largest = weight;
            best = m_brick_labels[i];
        }
    }
    return best;
}

LabelIndex LabelWeights::LargestAtAll(std::span<Place const> places, LabelSums& sums) const {
    sums.Clear();
    for (Place const& place : places) {
        Cell cell;
        Brick const* const brick = Find(place, cell);
        if (!brick || brick->count == 0)
            sums.Add(brick ? brick->only : LabelIndex{0}, 1.0);
        else
            for (std::size_t i = brick->first; i < std::size_t{brick->first} + brick->count; ++i)
                sums.Add(m_brick_labels[i], Interpolate(&m_weights[i * Samples + cell.offset], cell.f));
    }
    return sums.Largest();
}

double LabelWeights::WeightAt(Place const& place, LabelIndex label) const noexcept {
    Cell cell;
    Brick const* const brick = Find(place, cell);
    if (!brick || brick->count == 0)
        return (brick ? brick->only : LabelIndex{0}) == label ? 1.0 : 0.0;
    float const* const weights = WeightsOf(*brick, label);
    return weights ? Interpolate(weights + cell.offset, cell.f) : 0.0;
}

bool LabelWeights::IsPureAt(Place const& place) const noexcept {
    Cell cell;
    Brick const* const brick = Find(place, cell);
    return !brick || brick->count == 0;
}

// Where the labels change that have the largest weights at the centres of voxels, within one brick.
class LabelWeights::BrickCrossings {
public:
    BrickCrossings(float const* weights, std::size_t labels)
        : m_weights(weights) {
        std::array<float, Samples> most;
        std::copy(weights, weights + Samples, most.begin());
        for (std::size_t label = 1; label < labels; ++label)
            for (std::size_t sample = 0; sample < Samples; ++sample) {
                float const weight = Weight(label, sample);
                bool const is_larger = weight > most[sample];
                most[sample] = is_larger ? weight : most[sample];
                m_largest[sample] = is_larger ? static_cast<std::uint32_t>(label) : m_largest[sample];
            }
    }

    // Whether there is none at all.
    bool IsEmpty() const noexcept {
        return std::ranges::all_of(m_largest, [&](std::uint32_t label) { return label == m_largest[0]; });
    }
    // Whether there is any in the cell that begins with a sample; the box around them, from that sample.
    bool FindIn(std::size_t first, Box& box) const {
        if (std::ranges::all_of(CornerOffsets, [&](std::size_t offset) {
                return m_largest[first + offset] == m_largest[first];
            }))
            return false;
        box = {{1.0, 1.0, 1.0}, {0.0, 0.0, 0.0}};
        for (std::size_t axis = 0; axis < 3; ++axis)
            for (std::size_t edge = 0; edge < 4; ++edge) {
                std::array<std::size_t, 3> at{};
                at[(axis + 1) % 3] = edge & 1;
                at[(axis + 2) % 3] = edge >> 1;
                std::size_t const from = first + at[0] + 9 * at[1] + 81 * at[2];
                std::size_t const to = from + Strides[axis];
                if (m_largest[from] == m_largest[to])
                    continue;
                Place place{double(at[0]), double(at[1]), double(at[2])};
                place[axis] = Change(from, to);
                for (std::size_t k = 0; k < 3; ++k) {
                    box.low[k] = std::min(box.low[k], place[k]);
                    box.high[k] = std::max(box.high[k], place[k]);
                }
            }
        return true;
    }

private:
    static constexpr std::size_t Strides[3] = {1, 9, 81};

    float Weight(std::size_t label, std::size_t sample) const noexcept {
        return m_weights[label * Samples + sample];
    }
    double Change(std::size_t from, std::size_t to) const noexcept {
        double const before = Weight(m_largest[from], from) - Weight(m_largest[to], from);
        double const after = Weight(m_largest[from], to) - Weight(m_largest[to], to);
        return before > after ? before / (before - after) : 0.5;
    }

    float const* m_weights;
    std::array<std::uint32_t, Samples> m_largest{}; // by sample, among the labels of the brick
};

LabelWeights::Voxel LabelWeights::FirstVoxelOf(std::size_t brick) const noexcept {
    std::int64_t const n = static_cast<std::int64_t>(brick);
    return {n % m_bricks[0] * Side - m_padding, n / m_bricks[0] % m_bricks[1] * Side - m_padding,
            n / (m_bricks[0] * m_bricks[1]) * Side - m_padding};
}

void LabelWeights::AddCrossedCells(std::size_t number, std::vector<Box>& boxes) const {
    Brick const& brick = m_all[number];
    if (brick.count == 0)
        return;
    BrickCrossings const crossings(&m_weights[brick.first * Samples], brick.count);
    if (crossings.IsEmpty())
        return;
    Voxel const at = FirstVoxelOf(number);
    Box box;
    for (std::int64_t k = 0; k < Side; ++k)
        for (std::int64_t j = 0; j < Side; ++j)
            for (std::int64_t i = 0; i < Side; ++i) {
                if (!crossings.FindIn(static_cast<std::size_t>((k * 9 + j) * 9 + i), box))
                    continue;
                Place const first{double(at[0] + i), double(at[1] + j), double(at[2] + k)};
                boxes.push_back({first + box.low, first + box.high});
            }
}

void LabelWeights::ForEachCrossedCell(bool parallel, std::function<void(Box const& box)> const& visit) const {
    Support::WorkSteps steps;
    steps.items = m_all.size();
    steps.step = 32;
    steps.parallel = parallel;
    Support::ComputeSteps<std::vector<Box>>(
        steps,
        [&](std::uint64_t first, std::uint64_t last, std::vector<Box>& boxes) {
            boxes.clear();
            for (std::uint64_t brick = first; brick < last; ++brick)
                AddCrossedCells(static_cast<std::size_t>(brick), boxes);
        },
        [&](std::uint64_t, std::uint64_t, std::vector<Box> const& boxes) {
            std::ranges::for_each(boxes, visit);
            return true;
        });
}

double LabelWeights::DifferenceIn(Brick const& brick, Cell const& cell, LabelIndex a, LabelIndex b,
                                  Place* gradient) const noexcept {
    float const* const of_a = WeightsOf(brick, a);
    float const* const of_b = WeightsOf(brick, b);
    Corners corners{};
    if (of_a)
        for (std::size_t i = 0; i < 8; ++i)
            corners[i] = of_a[cell.offset + CornerOffsets[i]];
    if (of_b)
        for (std::size_t i = 0; i < 8; ++i)
            corners[i] -= of_b[cell.offset + CornerOffsets[i]];
    return Interpolate(corners, cell.f, gradient);
}

double LabelWeights::Difference(Place const& place, LabelIndex a, LabelIndex b,
                                Place* gradient) const noexcept {
    Cell cell;
    Brick const* const brick = Find(place, cell);
    if (brick && brick->count > 0)
        return DifferenceIn(*brick, cell, a, b, gradient);
    if (gradient)
        *gradient = {0.0, 0.0, 0.0};
    LabelIndex const only = brick ? brick->only : LabelIndex{0};
    return (only == a ? 1.0 : 0.0) - (only == b ? 1.0 : 0.0);
}

} // namespace KetSDK::Mesh::Detail
