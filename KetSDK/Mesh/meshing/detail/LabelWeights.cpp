// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/meshing/detail/LabelWeights.h>

#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <cmath>

namespace KetSDK::Mesh::Detail {

namespace {

// How many of the next `count` voxels have the label of the first one, until one has another.
std::size_t RunOf(std::int32_t label, std::int32_t const* voxels, std::int64_t count) noexcept {
    constexpr std::size_t Together = 16;
    std::size_t const end = static_cast<std::size_t>(count);
    if (end > 1 && voxels[1] != label)
        return 1;
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

IndexedLabels::IndexedLabels(MLabelImage const& image, std::vector<std::int32_t> const& labels, bool parallel)
    : m_size(image.size)
    , m_indices(new LabelIndex[image.labels.size()]) // each is written below
    , m_counts(labels.size() + 1, 0)
    , m_first(m_size)
    , m_last{-1, -1, -1} {
    Support::ComputeSteps<Found>(
        {.items = static_cast<std::uint64_t>(m_size[2]), .parallel = parallel, .window = 16},
        [&](std::uint64_t k, std::uint64_t, Found& found) {
            FillSlice(static_cast<std::int64_t>(k), image, labels, found);
        },
        [&](std::uint64_t, std::uint64_t, Found const& found) {
            for (std::size_t i = 0; i < m_counts.size(); ++i)
                m_counts[i] += found.counts[i];
            for (std::size_t axis = 0; axis < 3; ++axis) {
                m_first[axis] = std::min(m_first[axis], found.first[axis]);
                m_last[axis] = std::max(m_last[axis], found.last[axis]);
            }
            return true;
        });
}

void IndexedLabels::FillSlice(std::int64_t k, MLabelImage const& image,
                              std::vector<std::int32_t> const& labels, Found& found) {
    found.counts.assign(m_counts.size(), 0);
    found.first = m_size;
    found.last = {-1, -1, -1};
    std::int32_t last_label = 0; // neighbours mostly agree
    LabelIndex last_index = 0;
    std::size_t voxel = static_cast<std::size_t>(k * m_size[1] * m_size[0]);
    for (std::int64_t j = 0; j < m_size[1]; ++j) {
        std::int64_t first = m_size[0], last = -1; // in this row
        for (std::int64_t i = 0; i < m_size[0];) {
            if (std::int32_t const label = image.labels[voxel]; label != last_label) {
                auto const entry = std::ranges::lower_bound(labels, label);
                last_label = label;
                last_index = entry != labels.end() && *entry == label
                                 ? static_cast<LabelIndex>(entry - labels.begin() + 1)
                                 : LabelIndex{0};
            }
            std::size_t const run = RunOf(last_label, &image.labels[voxel], m_size[0] - i);
            std::fill_n(&m_indices[voxel], run, last_index);
            found.counts[last_index] += run;
            if (last_index != 0)
                first = std::min(first, i);
            voxel += run;
            i += static_cast<std::int64_t>(run);
            if (last_index != 0)
                last = i - 1;
        }
        if (last < 0)
            continue;
        found.first = {std::min(found.first[0], first), std::min(found.first[1], j), k};
        found.last = {std::max(found.last[0], last), std::max(found.last[1], j), k};
    }
}

LabelIndex const* IndexedLabels::Row(std::int64_t i, std::int64_t j, std::int64_t k, std::int64_t count,
                                     LabelIndex* room) const {
    bool const exists = j >= 0 && k >= 0 && j < m_size[1] && k < m_size[2];
    LabelIndex const* const row =
        m_indices.get() + (exists ? static_cast<std::size_t>((k * m_size[1] + j) * m_size[0]) : 0u);
    if (exists && i >= 0 && i + count <= m_size[0])
        return row + i;
    std::fill(room, room + count, LabelIndex{0});
    std::int64_t const begin = std::max<std::int64_t>(i, 0), end = std::min(i + count, m_size[0]);
    if (exists && begin < end)
        std::copy(row + begin, row + end, room + (begin - i));
    return room;
}

namespace {

constexpr std::uint32_t Several = UINT32_MAX; // instead of a label

std::int64_t FloorOf(std::int64_t voxel, std::int64_t side) noexcept {
    return voxel >= 0 ? voxel / side : -((side - 1 - voxel) / side);
}

// The labels of an image in small blocks: tells at once that a large box has one label only.
class LabelBlocks {
public:
    LabelBlocks(IndexedLabels const& labels, bool parallel)
        : m_labels(labels) {
        for (std::size_t axis = 0; axis < 3; ++axis)
            m_count[axis] = (labels.Size()[axis] + Side - 1) / Side;
        m_all.resize(static_cast<std::size_t>(m_count[0] * m_count[1] * m_count[2]));
        Support::ComputeSteps({.items = static_cast<std::uint64_t>(m_count[2]), .parallel = parallel},
                              [this](std::uint64_t first, std::uint64_t last) {
                                  Rows rows;
                                  for (std::uint64_t k = first; k < last; ++k)
                                      for (std::int64_t j = 0; j < m_count[1]; ++j)
                                          Fill(j, static_cast<std::int64_t>(k), rows);
                              });
    }

    // The only label of the blocks that have voxels of a box, `last` included; Several when there are more.
    std::uint32_t OnlyLabelIn(std::array<std::int64_t, 3> const& first,
                              std::array<std::int64_t, 3> const& last) const noexcept {
        std::array<std::int64_t, 3> low, high;
        bool inside = true;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            low[axis] = std::max<std::int64_t>(FloorOf(first[axis], Side), 0);
            high[axis] = std::min(FloorOf(last[axis], Side), m_count[axis] - 1);
            inside &= first[axis] >= 0 && high[axis] == FloorOf(last[axis], Side);
            if (low[axis] > high[axis])
                return 0;
        }
        std::uint32_t const label = inside ? At(low[0], low[1], low[2]) : 0u;
        for (std::int64_t k = low[2]; k <= high[2]; ++k)
            for (std::int64_t j = low[1]; j <= high[1]; ++j)
                for (std::int64_t i = low[0]; i <= high[0]; ++i)
                    if (At(i, j, k) != label)
                        return Several;
        return label;
    }

private:
    static constexpr std::int64_t Side = 4;
    struct Rows {
        std::vector<LabelIndex> room;
        std::vector<LabelIndex> differences; // bits in which labels differ from the first one of their block
    };

    std::uint32_t At(std::int64_t i, std::int64_t j, std::int64_t k) const noexcept {
        return m_all[static_cast<std::size_t>((k * m_count[1] + j) * m_count[0] + i)];
    }

    // One row of blocks. Those that reach beyond the image have label 0 there.
    void Fill(std::int64_t j, std::int64_t k, Rows& rows) {
        std::size_t const voxels = static_cast<std::size_t>(m_count[0] * Side);
        rows.room.resize(voxels);
        rows.differences.assign(voxels, 0);
        std::uint32_t* const blocks = &m_all[static_cast<std::size_t>((k * m_count[1] + j) * m_count[0])];
        for (std::int64_t row = 0; row < Side * Side; ++row) {
            LabelIndex const* const labels = m_labels.Row(0, j * Side + row % Side, k * Side + row / Side,
                                                          m_count[0] * Side, rows.room.data());
            if (row == 0)
                for (std::size_t i = 0; i < voxels; i += Side)
                    blocks[i / Side] = labels[i];
            for (std::size_t i = 0; i < voxels; ++i)
                rows.differences[i] =
                    static_cast<LabelIndex>(rows.differences[i] | (labels[i] ^ blocks[i / Side]));
        }
        for (std::size_t i = 0; i < voxels; ++i)
            if (rows.differences[i] != 0)
                blocks[i / Side] = Several;
    }

    IndexedLabels const& m_labels;
    std::array<std::int64_t, 3> m_count{};
    std::vector<std::uint32_t> m_all;
};

// The weights of one brick as they are computed.
struct BrickWork {
    std::vector<LabelIndex> labels; // one only: no weights
    std::vector<float> weights;
    // Scratch: the rows of labels around the brick, those of them that reach beyond the image, and the label
    // of each row or Several. Then which voxels of each row have the label at hand, and the sums along the
    // first and second axis.
    std::vector<LabelIndex const*> rows;
    std::vector<LabelIndex> beyond;
    std::vector<std::uint32_t> row_labels;
    std::vector<std::uint32_t> windows;
    std::vector<float> row;
    std::vector<float> along_first;
    std::vector<float> along_second;
};

// Smooths the indicator functions of the labels within a brick, one axis after another.
class BrickSmoother {
public:
    BrickSmoother(IndexedLabels const& labels, SmoothingKernel const& kernel, bool parallel)
        : m_labels(labels)
        , m_blocks(labels, parallel) {
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
        m_narrow_sums = SumsOf(m_narrow[0]);
        m_wide_sums = SumsOf(m_wide[0]);
    }

    // The only label around the brick whose first sample is voxel `first`; Several unless that is clear.
    std::uint32_t OnlyLabel(std::array<std::int64_t, 3> const& first) const noexcept {
        std::array<std::int64_t, 3> low, high;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            low[axis] = first[axis] - m_radius[axis];
            high[axis] = low[axis] + Wide(axis) - 1;
        }
        return m_blocks.OnlyLabelIn(low, high);
    }

    // The brick whose first sample is voxel `first`.
    void Smooth(std::array<std::int64_t, 3> const& first, BrickWork& work) const {
        work.labels.clear();
        work.weights.clear();
        if (std::uint32_t const only = OnlyLabel(first); only != Several)
            work.labels.push_back(static_cast<LabelIndex>(only));
        else
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
            if (!m_narrow_sums.empty())
                FindWindows(work.labels[i], work);
            AddSmoothed(work.labels[i], m_narrow, m_narrow_sums, work, target);
            if (m_radius[0] + m_radius[1] + m_radius[2] > 0)
                AddSmoothed(work.labels[i], m_wide, m_wide_sums, work, target);
            for (std::size_t k = 0; k < Samples; ++k)
                rest[k] -= target[k];
        }
    }

private:
    static constexpr std::int64_t Count = LabelWeights::SamplesPerAxis;
    static constexpr std::size_t Samples = LabelWeights::Samples;
    // Wider kernels have no table of sums.
    static constexpr std::size_t MostTaps = 9;
    using Kernels = std::array<std::vector<float>, 3>;

    std::int64_t Wide(std::size_t axis) const noexcept { return Count + 2 * m_radius[axis]; }

    // The sum of the weights of a kernel for each choice of its taps, by their bits.
    static std::vector<float> SumsOf(std::vector<float> const& kernel) {
        std::vector<float> sums;
        if (kernel.size() > MostTaps)
            return sums;
        for (std::uint32_t taps = 0; taps < 1u << kernel.size(); ++taps) {
            sums.push_back(0.0F);
            for (std::size_t i = 0; i < kernel.size(); ++i)
                sums.back() += (taps >> i & 1u) != 0 ? kernel[i] : 0.0F;
        }
        return sums;
    }

    void Gather(std::array<std::int64_t, 3> const& first, BrickWork& work) const {
        work.rows.clear();
        work.row_labels.clear();
        work.beyond.resize(static_cast<std::size_t>(Wide(0) * Wide(1) * Wide(2)));
        LabelIndex* room = work.beyond.data();
        for (std::int64_t k = 0; k < Wide(2); ++k)
            for (std::int64_t j = 0; j < Wide(1); ++j, room += Wide(0)) {
                LabelIndex const* const row = m_labels.Row(first[0] - m_radius[0], first[1] + j - m_radius[1],
                                                           first[2] + k - m_radius[2], Wide(0), room);
                bool const is_one = std::equal(row + 1, row + Wide(0), row);
                work.rows.push_back(row);
                work.row_labels.push_back(is_one ? *row : Several);
                for (std::int64_t i = 0; i < (is_one ? 1 : Wide(0)); ++i)
                    if ((i == 0 || row[i] != row[i - 1]) &&
                        std::ranges::find(work.labels, row[i]) == work.labels.end())
                        work.labels.push_back(row[i]);
            }
    }

    void AddSmoothed(LabelIndex label, Kernels const& kernels, std::vector<float> const& sums,
                     BrickWork& work, float* target) const {
        work.along_first.assign(static_cast<std::size_t>(Wide(1) * Wide(2) * Count), 0.0F);
        work.along_second.assign(static_cast<std::size_t>(Wide(2) * Count * Count), 0.0F);
        if (sums.empty())
            SmoothRows(label, kernels[0], work);
        else
            LookUpRows(sums, work);
        AddAlong<Count>(work.along_first.data(), work.along_second.data(), kernels[1], Wide(2), Wide(1));
        AddAlong<Count * Count>(work.along_second.data(), target, kernels[2], 1, Wide(2));
    }

    // Which voxels of each row have the label, a bit for each.
    void FindWindows(LabelIndex label, BrickWork& work) const {
        std::size_t const wide = static_cast<std::size_t>(Wide(0));
        work.windows.assign(work.rows.size(), 0u);
        for (std::size_t row = 0; row < work.rows.size(); ++row)
            if (work.row_labels[row] == label)
                work.windows[row] = (1u << wide) - 1u;
            else if (work.row_labels[row] == Several)
                for (std::size_t i = 0; i < wide; ++i)
                    work.windows[row] |= std::uint32_t{work.rows[row][i] == label} << i;
    }
    void LookUpRows(std::vector<float> const& table, BrickWork& work) const {
        std::uint32_t const taps = static_cast<std::uint32_t>(table.size()) - 1u;
        float* sums = work.along_first.data();
        for (std::uint32_t const window : work.windows) {
            if (window != 0)
                for (std::size_t i = 0; i < Count; ++i)
                    sums[i] = table[window >> i & taps];
            sums += Count;
        }
    }

    void SmoothRows(LabelIndex label, std::vector<float> const& kernel, BrickWork& work) const {
        std::size_t const wide = static_cast<std::size_t>(Wide(0));
        work.row.resize(wide);
        float full = 0.0F; // what a row has that is all of the label
        for (float const weight : kernel)
            full += weight;
        for (std::size_t row = 0; row < work.rows.size(); ++row) {
            float* const sums = &work.along_first[row * Count];
            if (work.row_labels[row] == label)
                std::fill(sums, sums + Count, full);
            if (work.row_labels[row] != Several)
                continue;
            for (std::size_t i = 0; i < wide; ++i)
                work.row[i] = work.rows[row][i] == label ? 1.0F : 0.0F;
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
    LabelBlocks m_blocks;
    Kernels m_narrow;
    Kernels m_wide;
    std::vector<float> m_narrow_sums; // of taps along the first axis
    std::vector<float> m_wide_sums;
    std::array<std::int64_t, 3> m_radius{};
};

} // namespace

struct LabelWeights::Cell {
    std::size_t offset; // of the first of eight samples
    double f[3];        // where the position is between them
};

LabelWeights::LabelWeights(IndexedLabels const& labels, SmoothingKernel const& kernel, bool parallel,
                           std::function<bool(double fraction)> const& advance) {
    std::size_t const widest =
        std::max({kernel.narrow[0].size(), kernel.narrow[1].size(), kernel.narrow[2].size()}) / 2 + 1;
    m_padding = (static_cast<std::int64_t>(widest) / Side + 1) * Side;
    for (std::size_t axis = 0; axis < 3; ++axis)
        m_bricks[axis] = (labels.Size()[axis] + 2 * m_padding + Side - 1) / Side;
    BrickSmoother const smoother(labels, kernel, parallel);
    // Bricks differ a lot: with fewer slots threads would have to leave while one works on a hard brick.
    Support::WorkSteps const steps{.items =
                                       static_cast<std::uint64_t>(m_bricks[0] * m_bricks[1] * m_bricks[2]),
                                   .parallel = parallel,
                                   .grain = 2,
                                   .window = 128};
    m_all.reserve(static_cast<std::size_t>(steps.items));
    std::size_t mixed = 0;
    for (std::size_t brick = 0; brick < steps.items; ++brick)
        mixed += smoother.OnlyLabel(FirstVoxelOf(brick)) == Several;
    m_weights.reserve(2 * Samples * mixed); // hardly any have more than two labels
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

LabelWeights::Brick const* LabelWeights::Find(VoxelPosition const& position, Cell& cell) const noexcept {
    std::uint64_t brick[3], sample[3];
    for (std::size_t axis = 0; axis < 3; ++axis) {
        double const from_first = position[axis] + static_cast<double>(m_padding);
        if (!(from_first >= 0.0) || from_first >= static_cast<double>(m_bricks[axis] * Side))
            return nullptr;
        std::int64_t const voxel = static_cast<std::int64_t>(from_first);
        brick[axis] = static_cast<std::uint64_t>(voxel) / Side;
        sample[axis] = static_cast<std::uint64_t>(voxel) % Side;
        cell.f[axis] = from_first - static_cast<double>(voxel);
    }
    constexpr std::uint64_t samples = SamplesPerAxis;
    cell.offset = static_cast<std::size_t>((sample[2] * samples + sample[1]) * samples + sample[0]);
    auto const count = [this](std::size_t axis) { return static_cast<std::uint64_t>(m_bricks[axis]); };
    return &m_all[static_cast<std::size_t>((brick[2] * count(1) + brick[1]) * count(0) + brick[0])];
}

namespace {

// The samples around a position: corners of a cell, the first axis fastest.
using Corners = std::array<double, 8>;

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
        corners[i] = weights[LabelWeights::CornerOffsets[i]];
    return Interpolate(corners, f, nullptr);
}

} // namespace

float const* LabelWeights::WeightsOf(Brick const& brick, LabelIndex label) const noexcept {
    std::size_t const slot = SlotOf(brick, label);
    return slot == NoSlot ? nullptr : &m_weights[slot * Samples];
}

LabelIndex LabelWeights::LargestAt(VoxelPosition const& position) const noexcept {
    Cell cell;
    Brick const* const brick = Find(position, cell);
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

LabelIndex LabelWeights::LargestAtAll(std::span<VoxelPosition const> positions, LabelSums& sums) const {
    sums.Clear();
    for (VoxelPosition const& position : positions) {
        Cell cell;
        Brick const* const brick = Find(position, cell);
        if (!brick || brick->count == 0)
            sums.Add(brick ? brick->only : LabelIndex{0}, 1.0);
        else
            for (std::size_t i = brick->first; i < std::size_t{brick->first} + brick->count; ++i)
                sums.Add(m_brick_labels[i], Interpolate(&m_weights[i * Samples + cell.offset], cell.f));
    }
    return sums.Largest();
}

double LabelWeights::WeightAt(VoxelPosition const& position, LabelIndex label) const noexcept {
    Cell cell;
    Brick const* const brick = Find(position, cell);
    if (!brick || brick->count == 0)
        return (brick ? brick->only : LabelIndex{0}) == label ? 1.0 : 0.0;
    float const* const weights = WeightsOf(*brick, label);
    return weights ? Interpolate(weights + cell.offset, cell.f) : 0.0;
}

// Where the labels change that have the largest weights at the centres of voxels, within one brick.
class LabelWeights::BrickCrossings {
public:
    BrickCrossings(float const* weights, std::size_t labels)
        : m_weights(weights) {
        // Plain loops, which the compiler turns into several samples at a time.
        float most[Samples];
        std::uint32_t* const largest = m_largest.data();
        std::copy(weights, weights + Samples, most);
        for (std::uint32_t label = 1; label < labels; ++label) {
            float const* const of_label = weights + label * Samples;
            for (std::size_t sample = 0; sample < Samples; ++sample) {
                std::uint32_t const is_larger = 0u - std::uint32_t{of_label[sample] > most[sample]};
                largest[sample] = (label & is_larger) | (largest[sample] & ~is_larger);
                most[sample] = of_label[sample] > most[sample] ? of_label[sample] : most[sample];
            }
        }
        std::uint32_t* const crossed = m_crossed.data();
        for (std::size_t sample = 0; sample < Cells; ++sample)
            for (std::size_t i = 1; i < 8; ++i)
                crossed[sample] |= largest[sample] ^ largest[sample + CornerOffsets[i]];
    }

    // Whether there is any in the cell that begins with a sample.
    bool IsCrossed(std::size_t first) const noexcept { return m_crossed[first] != 0; }
    // The box around them, from that sample.
    Box FindIn(std::size_t first) const {
        Box box = {{1.0, 1.0, 1.0}, {0.0, 0.0, 0.0}};
        for (std::size_t axis = 0; axis < 3; ++axis)
            for (std::size_t edge = 0; edge < 4; ++edge) {
                std::array<std::size_t, 3> at{};
                at[(axis + 1) % 3] = edge & 1;
                at[(axis + 2) % 3] = edge >> 1;
                std::size_t const from = first + at[0] + Strides[1] * at[1] + Strides[2] * at[2];
                std::size_t const to = from + Strides[axis];
                if (m_largest[from] == m_largest[to])
                    continue;
                VoxelPosition position{double(at[0]), double(at[1]), double(at[2])};
                position[axis] = Change(from, to);
                for (std::size_t k = 0; k < 3; ++k) {
                    box.low[k] = std::min(box.low[k], position[k]);
                    box.high[k] = std::max(box.high[k], position[k]);
                }
            }
        return box;
    }

private:
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
    static constexpr std::size_t Cells = Samples - CornerOffsets[7];
    std::array<std::uint32_t, Cells> m_crossed{}; // by first sample of a cell: 0 where its corners agree
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
    Voxel const at = FirstVoxelOf(number);
    for (std::int64_t k = 0; k < Side; ++k)
        for (std::int64_t j = 0; j < Side; ++j)
            for (std::int64_t i = 0; i < Side; ++i) {
                std::size_t const cell =
                    static_cast<std::size_t>((k * SamplesPerAxis + j) * SamplesPerAxis + i);
                if (!crossings.IsCrossed(cell))
                    continue;
                Box const box = crossings.FindIn(cell);
                VoxelPosition const first{double(at[0] + i), double(at[1] + j), double(at[2] + k)};
                boxes.push_back({first + box.low, first + box.high});
            }
}

void LabelWeights::ForEachCrossedCell(bool parallel, std::function<void(Box const& box)> const& visit) const {
    Support::ComputeSteps<std::vector<Box>>(
        {.items = m_all.size(), .step = 32, .parallel = parallel},
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
                                  VoxelPosition* gradient) const noexcept {
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

double LabelWeights::Difference(VoxelPosition const& position, LabelIndex a, LabelIndex b,
                                VoxelPosition* gradient) const noexcept {
    Cell cell;
    Brick const* const brick = Find(position, cell);
    if (brick && brick->count > 0)
        return DifferenceIn(*brick, cell, a, b, gradient);
    if (gradient)
        *gradient = {0.0, 0.0, 0.0};
    LabelIndex const only = brick ? brick->only : LabelIndex{0};
    return (only == a ? 1.0 : 0.0) - (only == b ? 1.0 : 0.0);
}

} // namespace KetSDK::Mesh::Detail
