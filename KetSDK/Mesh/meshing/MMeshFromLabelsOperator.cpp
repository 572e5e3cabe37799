// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/meshing/MMeshFromLabelsOperator.h>

#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/meshing/detail/DihedralAngles.h>
#include <KetSDK/Mesh/meshing/detail/ImageSpace.h>
#include <KetSDK/Mesh/meshing/detail/InterfaceTargets.h>
#include <KetSDK/Mesh/meshing/detail/KeptVoxels.h>
#include <KetSDK/Mesh/meshing/detail/LabelWeights.h>
#include <KetSDK/Mesh/meshing/detail/LatticeLabels.h>
#include <KetSDK/Mesh/meshing/detail/ManifoldLabels.h>
#include <KetSDK/Mesh/meshing/detail/NodeMoves.h>
#include <KetSDK/Mesh/meshing/detail/SmoothingKernel.h>
#include <KetSDK/Mesh/meshing/detail/VoxelAreas.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <mutex>
#include <numbers>
#include <optional>
#include <span>

using KetSDK::Common::MInternalUnits;
using namespace KetSDK::Mesh::Detail;

namespace {

using Vector = MMVector<double, 3>;
using Number = std::uint32_t;

// With shorter edges rounding would be felt in the angles of the lattice.
constexpr double ShortestEdge = 128.0; // internal units
// The lattice's own angles are 45 degrees, before its nodes are rounded.
constexpr double LargestLimit = 30.0;
constexpr double LargestCoordinate = 2147483000.0; // internal units
constexpr double MostCubes = 1 << 19;              // along an axis
constexpr int MostVoxels = 1000;                   // along an edge: interfaces are searched voxel by voxel
constexpr std::size_t MostLabels = 65534;
// In voxels. A single voxel is still there after smoothing, and steps between slices are hardly seen.
constexpr double UsualSigma = 0.6;
// How far an interface may be moved to give labels the volume of their voxels, in voxels.
constexpr double LargestShift = 0.1;
// Rings of nodes around the interfaces that are moved for better angles.
constexpr std::uint8_t Rings = 3;

double SmallestSpacing(MLabelImage const& image) noexcept {
    return std::min({image.spacing[0], image.spacing[1], image.spacing[2]});
}

bool IsOrthonormal(MLabelImage const& image) noexcept {
    double largest = 0.0;
    for (std::size_t i = 0; i < 3; ++i)
        for (std::size_t j = 0; j < 3; ++j) {
            double product = i == j ? -1.0 : 0.0;
            for (std::size_t k = 0; k < 3; ++k)
                product += image.direction[k][i] * image.direction[k][j];
            largest = std::isfinite(product) ? std::max(largest, std::fabs(product)) : 1.0;
        }
    return largest < 1e-3;
}

// About how many tetrahedra a lattice has in labels of this volume and area. Cubes of a level end some cubes
// away from the interface; of the volume exp(-d area / volume) lies farther from it than d.
double NumberOfTetrahedra(double volume, double area, double size, int top_level) {
    constexpr double PerCube = 12.0;
    constexpr double Transitions = 1.3; // where cubes of two sizes meet there are more
    double number = 0.0, farther = 1.0;
    for (int level = 0; level <= top_level; ++level) {
        double const end = size * (std::ldexp(5.0, level) - 3.5);
        double const beyond = level < top_level ? std::exp(-end * area / volume) : 0.0;
        number += (farther - beyond) * std::ldexp(level == 0 ? 1.0 : Transitions, -3 * level);
        farther = beyond;
    }
    return 1.1 * PerCube * number * volume / (size * size * size);
}

} // namespace

struct MMeshFromLabelsOperator::Voxels {
    Voxels(MLabelImage const& image, std::vector<std::int32_t> labels, bool parallel)
        : values(std::move(labels))
        , indices(image, values, parallel)
        , areas(VoxelAreas(indices, image, parallel)) {}

    std::vector<std::int32_t> values; // that are meshed
    IndexedLabels indices;
    std::vector<double> areas; // of the faces between voxels of each index and others
};

struct MMeshFromLabelsOperator::KeptVoxels {
    std::once_flag once;
    std::shared_ptr<Voxels const> voxels;
};

// One run: the steps from labels to a mesh, each of which leaves what the next one needs.
class MMeshFromLabelsOperator::Run {
public:
    Run(MMeshFromLabelsOperator& owner, Voxels const& voxels,
        KetSDK::Common::IncrementalProgressReporter& reporter)
        : m_owner(owner)
        , m_image(*owner.m_image)
        , m_settings(owner.m_settings)
        , m_reporter(reporter)
        , m_voxels(voxels)
        , m_labels(voxels.indices)
        , m_grid(m_labels, m_image.spacing, m_settings.size, m_settings.largest_size)
        , m_space(m_image) {}

    // False when the user cancelled.
    bool Do(MMeshBase& mesh) {
        m_weights.emplace(m_labels, Kernel(), m_owner.GetParallel(), Within(0, 80));
        if (!Advance(80) || !MakeLabelledLattice() || !Advance(200))
            return false;
        MakeMovingMesh();
        InterfaceTargets const targets(*m_weights, m_space, 0.5 * Units(SmallestSpacing(m_image)));
        NodeTetrahedra const around(m_moving.positions.size(), m_moving.tetrahedra, m_owner.GetParallel());
        if (m_settings.rounds > 0)
            MakeGroups(m_moving, around, FindMovingNodes());
        if (!Advance(300) || !MoveAll(targets, around))
            return false;
        Report(targets, around);
        if (!Advance(920))
            return false;
        Fill(mesh);
        m_owner.m_reports = std::move(m_reports);
        m_owner.m_smallest_dihedral = m_smallest_dihedral;
        m_owner.m_relabelled = m_relabelled;
        return true;
    }

private:
    static double Units(double length) noexcept { return length * MInternalUnits::Get(); }

    bool Advance(unsigned long long thousandths) {
        m_reporter = thousandths;
        return !m_reporter.IsCancelled();
    }

    SmoothingKernel Kernel() const {
        std::array<double, 3> sigmas = {UsualSigma, UsualSigma, UsualSigma};
        if (m_settings.smoothing >= 0.0)
            for (std::size_t axis = 0; axis < 3; ++axis)
                sigmas[axis] = m_settings.smoothing / m_image.spacing[axis];
        return SmoothingKernel(sigmas);
    }

    // Moves the progress from one number of thousandths to another.
    std::function<bool(double fraction)> Within(unsigned from, unsigned to) {
        return [this, from, to](double fraction) {
            return Advance(from + static_cast<unsigned long long>((to - from) * fraction));
        };
    }

    // The lattice with a label for each tetrahedron, all boundaries manifold. False when the user cancelled.
    bool MakeLabelledLattice() {
        m_lattice.emplace(MakeLattice(MakeTree(*m_weights, m_grid, m_owner.GetParallel()), m_grid, *m_weights,
                                      m_owner.GetParallel(), Within(80, 120)));
        if (!Advance(120))
            return false;
        m_tetrahedron_labels = LabelTetrahedra(*m_lattice, m_grid, *m_weights, m_owner.GetParallel());
        NodeTetrahedra const around(m_lattice->nodes.size(), m_lattice->tetrahedra, m_owner.GetParallel());
        m_relabelled = MakeManifold(*m_lattice, around, m_owner.GetParallel(), m_tetrahedron_labels);
        FindInterfaces(around);
        return true;
    }

    // Which labels meet at each node, as long as all tetrahedra outside are there.
    void FindInterfaces(NodeTetrahedra const& around) {
        using Found = std::vector<std::pair<Number, Junction>>;
        m_moving.interface.assign(m_lattice->nodes.size(), MovingMesh::NoInterface);
        KetSDK::Support::ComputeSteps<Found>(
            Steps(m_lattice->nodes.size(), 1024),
            [&](std::uint64_t first, std::uint64_t last, Found& found) {
                found.clear();
                for (std::uint64_t node = first; node < last; ++node) {
                    Junction labels;
                    for (std::uint64_t i = around.first[node]; i < around.first[node + 1]; ++i)
                        labels.Add(m_tetrahedron_labels[around.tetrahedra[static_cast<std::size_t>(i)]]);
                    if (labels.count >= 2)
                        found.emplace_back(static_cast<Number>(node), labels);
                }
            },
            [&](std::uint64_t, std::uint64_t, Found const& found) {
                for (auto const& [node, labels] : found) {
                    m_moving.interface[node] = static_cast<Number>(m_moving.junctions.size());
                    m_moving.junctions.push_back(labels);
                }
                return true;
            });
    }

    KetSDK::Support::WorkSteps Steps(std::size_t items, std::uint64_t step) const {
        return {.items = items, .step = step, .parallel = m_owner.GetParallel()};
    }

    bool IsOnInterface(Number node) const noexcept {
        return m_moving.interface[node] != MovingMesh::NoInterface;
    }

    // Keeps the tetrahedra that the moves need, and places the nodes.
    void MakeMovingMesh() {
        struct Kept {
            std::vector<Lattice::Tetrahedron> tetrahedra;
            std::vector<LabelIndex> labels;
        };
        m_moving.tetrahedra.reserve(m_tetrahedron_labels.size());
        m_moving.labels.reserve(m_tetrahedron_labels.size());
        KetSDK::Support::ComputeSteps<Kept>(
            Steps(m_tetrahedron_labels.size(), 4096),
            [&](std::uint64_t first, std::uint64_t last, Kept& kept) {
                kept.tetrahedra.clear();
                kept.labels.clear();
                for (std::uint64_t t = first; t < last; ++t) {
                    Lattice::Tetrahedron nodes = m_lattice->tetrahedra[t];
                    LabelIndex const label = m_tetrahedron_labels[t];
                    if (label == 0 && std::ranges::none_of(nodes, [&](Number n) { return IsOnInterface(n); }))
                        continue;
                    if (m_space.IsMirrored())
                        std::swap(nodes[2], nodes[3]);
                    kept.tetrahedra.push_back(nodes);
                    kept.labels.push_back(label);
                }
            },
            [&](std::uint64_t, std::uint64_t, Kept const& kept) {
                m_moving.tetrahedra.insert(m_moving.tetrahedra.end(), kept.tetrahedra.begin(),
                                           kept.tetrahedra.end());
                m_moving.labels.insert(m_moving.labels.end(), kept.labels.begin(), kept.labels.end());
                return true;
            });
        m_tetrahedron_labels = {};
        m_lattice->tetrahedra = {};
        m_moving.positions.resize(m_lattice->nodes.size());
        KetSDK::Support::ComputeSteps(
            Steps(m_moving.positions.size(), 4096), [&](std::uint64_t first, std::uint64_t last) {
                for (std::uint64_t i = first; i < last; ++i)
                    m_moving.positions[i] = m_space.PositionOf(m_grid.PositionOf(m_lattice->nodes[i]));
            });
        m_lattice.reset();
    }

    // Whether each node may be moved.
    std::vector<std::uint8_t> FindMovingNodes() const {
        std::vector<std::uint8_t> moves(m_moving.positions.size());
        for (std::size_t node = 0; node < moves.size(); ++node)
            moves[node] = IsOnInterface(static_cast<Number>(node));
        for (std::uint8_t ring = 1; ring < Rings; ++ring)
            for (Lattice::Tetrahedron const& nodes : m_moving.tetrahedra)
                if (std::ranges::any_of(nodes, [&](Number n) { return moves[n] == ring; }))
                    for (Number const n : nodes)
                        if (moves[n] == 0)
                            moves[n] = static_cast<std::uint8_t>(ring + 1);
        return moves;
    }

    bool MoveAll(InterfaceTargets const& targets, NodeTetrahedra const& around) {
        MoveLimits limits;
        limits.smallest_dihedral = m_settings.smallest_dihedral;
        limits.reach = Units(m_settings.size);
        limits.largest_bulge = Units(std::min(0.05 * m_settings.size, 0.25 * SmallestSpacing(m_image)));
        limits.rounds = m_settings.rounds;
        limits.parallel = m_owner.GetParallel();
        VolumeShifts shifts(VoxelVolumes(), Units(LargestShift * SmallestSpacing(m_image)));
        return MoveNodes(m_moving, around, targets, limits, shifts, Within(300, 900));
    }

    // Of each label by index, in cubic internal units.
    std::vector<double> VoxelVolumes() const {
        std::vector<double> volumes;
        for (std::uint64_t const count : m_labels.Counts())
            volumes.push_back(static_cast<double>(count) * VoxelVolume(m_image) * Units(1.0) * Units(1.0) *
                              Units(1.0));
        return volumes;
    }

    // --- What is said about the result ---------------------------------------------------------------

    void Report(InterfaceTargets const& targets, NodeTetrahedra const& around) {
        m_reports.resize(m_voxels.values.size());
        std::vector<double> const& areas = m_voxels.areas;
        for (std::size_t i = 0; i < m_reports.size(); ++i) {
            MMeshLabelReport& report = m_reports[i];
            report.label = m_voxels.values[i];
            report.voxel_volume = static_cast<double>(m_labels.Counts()[i + 1]) * VoxelVolume(m_image);
            report.thickness = areas[i + 1] > 0.0 ? 3.0 * report.voxel_volume / areas[i + 1] : 0.0;
        }
        ReportElements();
        ReportDistances(DistancesToInterface(m_moving, around, targets, 2.0 * Units(m_settings.size),
                                             m_owner.GetParallel()));
        std::vector<std::uint64_t> const lost = CountLostVoxels(
            m_labels, m_moving, m_space, *m_weights, m_settings.size, m_image.spacing, m_owner.GetParallel());
        for (std::size_t i = 0; i < m_reports.size(); ++i)
            m_reports[i].lost_volume = static_cast<double>(lost[i + 1]) * VoxelVolume(m_image);
    }

    void ReportElements() {
        double const cubic = MInternalUnits::Get() * MInternalUnits::Get() * MInternalUnits::Get();
        struct Measures {
            double worst = -1.0;
            std::vector<double> volumes;
        };
        double worst = -1.0;
        KetSDK::Support::ComputeSteps<Measures>(
            Steps(m_moving.labels.size(), 4096),
            [&](std::uint64_t first, std::uint64_t last, Measures& measures) {
                measures.worst = -1.0;
                measures.volumes.clear();
                for (std::uint64_t t = first; t < last; ++t) {
                    if (m_moving.labels[t] == 0)
                        continue;
                    Vector p[4];
                    for (std::size_t k = 0; k < 4; ++k)
                        p[k] = m_moving.positions[m_moving.tetrahedra[t][k]];
                    measures.worst =
                        std::max(measures.worst, CosineOfSmallestDihedral(p[0], p[1], p[2], p[3]));
                    measures.volumes.push_back((p[1] - p[0]).Dot((p[2] - p[0]).Cross(p[3] - p[0])) / 6.0 /
                                               cubic);
                }
            },
            [&](std::uint64_t first, std::uint64_t last, Measures const& measures) {
                worst = std::max(worst, measures.worst);
                auto volume = measures.volumes.begin();
                for (std::uint64_t t = first; t < last; ++t) {
                    if (m_moving.labels[t] == 0)
                        continue;
                    MMeshLabelReport& report = m_reports[m_moving.labels[t] - 1u];
                    ++report.elements;
                    report.volume += *volume++;
                }
                return true;
            });
        m_smallest_dihedral = std::acos(std::clamp(worst, -1.0, 1.0)) * 180.0 / std::numbers::pi;
    }

    void ReportDistances(std::vector<double> const& distances) {
        for (std::size_t node = 0; node < distances.size(); ++node) {
            if (!IsOnInterface(static_cast<Number>(node)))
                continue;
            Junction const& labels = m_moving.junctions[m_moving.interface[node]];
            double const distance = distances[node] / MInternalUnits::Get();
            for (std::size_t k = 0; k < labels.count; ++k) {
                if (labels.labels[k] == 0)
                    continue;
                MMeshLabelReport& report = m_reports[labels.labels[k] - 1u];
                ++report.interface_nodes;
                report.not_found += distance < 0.0;
                if (distance >= 0.0) {
                    report.mean_distance += distance;
                    report.largest_distance = std::max(report.largest_distance, distance);
                }
            }
        }
        for (MMeshLabelReport& report : m_reports)
            if (report.interface_nodes > report.not_found)
                report.mean_distance /= static_cast<double>(report.interface_nodes - report.not_found);
    }

    // --- The mesh ------------------------------------------------------------------------------------

    // The nodes that elements use, in the order of their first use.
    void Fill(MMeshBase& mesh) {
        mesh.ClearMesh();
        mesh.AllowDuplicatePoints();
        std::vector<int> sub_volumes(m_reports.size() + 1, -1);
        for (std::size_t i = 0; i < m_reports.size(); ++i)
            if (m_reports[i].elements > 0) {
                sub_volumes[i + 1] = static_cast<int>(mesh.NumberOfSubVolumes());
                mesh.AddSubVolume()->SetName(L"Label " + std::to_wstring(m_reports[i].label));
            }
        std::vector<Number> const index_of = AddNodes(mesh);
        // Arrays of so many elements are small beside the mesh.
        constexpr std::size_t Together = 1 << 17;
        ElementArrays arrays;
        for (std::size_t t = 0; t < m_moving.labels.size(); t += Together)
            AddElements(mesh, t, std::min(t + Together, m_moving.labels.size()), sub_volumes, index_of,
                        arrays);
        mesh.CalcBoundingBox();
    }

    // Adds the nodes and returns the new number of each.
    std::vector<Number> AddNodes(MMeshBase& mesh) const {
        constexpr Number Unused = UINT32_MAX;
        std::vector<Number> index_of(m_moving.positions.size(), Unused), used;
        for (std::size_t t = 0; t < m_moving.labels.size(); ++t)
            if (m_moving.labels[t] != 0)
                for (Number const node : m_moving.tetrahedra[t])
                    if (index_of[node] == Unused) {
                        index_of[node] = static_cast<Number>(used.size());
                        used.push_back(node);
                    }
        std::vector<std::array<MLong, 3>> positions(used.size());
        KetSDK::Support::ComputeSteps(Steps(used.size(), 4096), [&](std::uint64_t first, std::uint64_t last) {
            for (std::uint64_t i = first; i < last; ++i) {
                Vector const& p = m_moving.positions[used[static_cast<std::size_t>(i)]];
                positions[static_cast<std::size_t>(i)] = {static_cast<MLong>(p[0]), static_cast<MLong>(p[1]),
                                                          static_cast<MLong>(p[2])};
            }
        });
        mesh.AddPoints(positions, m_owner.GetParallel());
        return index_of;
    }

    struct ElementArrays {
        std::vector<MLong> nodes;
        std::vector<int> sub_volumes;

        void Clear() noexcept {
            nodes.clear();
            sub_volumes.clear();
        }
        void Append(ElementArrays const& more) {
            nodes.insert(nodes.end(), more.nodes.begin(), more.nodes.end());
            sub_volumes.insert(sub_volumes.end(), more.sub_volumes.begin(), more.sub_volumes.end());
        }
    };

    // Those of the tetrahedra from `first` to `last` - 1 that have a label; `arrays` is room for the work.
    void AddElements(MMeshBase& mesh, std::size_t first, std::size_t last,
                     std::vector<int> const& sub_volume_of, std::vector<Number> const& index_of,
                     ElementArrays& arrays) const {
        arrays.Clear();
        KetSDK::Support::ComputeSteps<ElementArrays>(
            Steps(last - first, 2048),
            [&](std::uint64_t begin, std::uint64_t end, ElementArrays& some) {
                some.Clear();
                for (std::size_t t = first + static_cast<std::size_t>(begin);
                     t < first + static_cast<std::size_t>(end); ++t) {
                    if (m_moving.labels[t] == 0)
                        continue;
                    for (Number const node : m_moving.tetrahedra[t])
                        some.nodes.push_back(static_cast<MLong>(index_of[node]));
                    some.sub_volumes.push_back(sub_volume_of[m_moving.labels[t]]);
                }
            },
            [&](std::uint64_t, std::uint64_t, ElementArrays const& some) {
                arrays.Append(some);
                return true;
            });
        constexpr unsigned char Corners = 4;
        mesh.AddElements(
            {.node_counts = {&Corners, 1}, .nodes = arrays.nodes, .sub_volumes = arrays.sub_volumes},
            m_owner.GetParallel());
    }

    MMeshFromLabelsOperator& m_owner;
    MLabelImage const& m_image;
    MMeshFromLabelsSettings const& m_settings;
    KetSDK::Common::IncrementalProgressReporter& m_reporter;
    Voxels const& m_voxels;
    IndexedLabels const& m_labels;
    LatticeGrid const m_grid;
    ImageSpace const m_space;
    std::optional<LabelWeights> m_weights;
    std::optional<Lattice> m_lattice;
    std::vector<LabelIndex> m_tetrahedron_labels;
    MovingMesh m_moving;
    std::uint64_t m_relabelled = 0;
    std::vector<MMeshLabelReport> m_reports;
    double m_smallest_dihedral = 0.0;
};

namespace {

// Adds a label to an ascending list, unless it is outside or there.
void AddLabel(std::int32_t label, std::vector<std::int32_t>& labels) {
    auto const place = std::ranges::lower_bound(labels, label);
    if (label != 0 && (place == labels.end() || *place != label))
        labels.insert(place, label);
}

void AddLabelsOf(std::span<std::int32_t const> voxels, std::vector<std::int32_t>& labels) {
    std::int32_t last = 0;
    auto const add = [&](std::int32_t label) {
        if (std::exchange(last, label) != label)
            AddLabel(label, labels);
    };
    constexpr std::size_t Together = 16;
    std::size_t begin = 0;
    for (; begin + Together <= voxels.size(); begin += Together) {
        std::int32_t others = 0; // not 0 when any label is not the last one
        for (std::size_t i = begin; i < begin + Together; ++i)
            others |= voxels[i] ^ last;
        for (std::size_t i = begin; others != 0 && i < begin + Together; ++i)
            add(voxels[i]);
    }
    for (; begin < voxels.size(); ++begin)
        add(voxels[begin]);
}

} // namespace

std::vector<std::int32_t> MMeshFromLabelsOperator::LabelsToMesh() const {
    if (!m_settings.labels.empty())
        return m_settings.labels;
    std::vector<std::int32_t> labels;
    std::vector<std::int32_t> const& voxels = m_image->labels;
    KetSDK::Support::ComputeSteps<std::vector<std::int32_t>>(
        {.items = voxels.size(), .step = 1 << 12, .parallel = GetParallel()},
        [&](std::uint64_t first, std::uint64_t last, std::vector<std::int32_t>& found) {
            found.clear();
            AddLabelsOf(std::span(voxels).subspan(static_cast<std::size_t>(first),
                                                  static_cast<std::size_t>(last - first)),
                        found);
        },
        [&](std::uint64_t, std::uint64_t, std::vector<std::int32_t> const& found) {
            for (std::int32_t const label : found)
                AddLabel(label, labels);
            return true;
        });
    return labels;
}

void MMeshFromLabelsOperator::SetImage(MLabelImage const* image) {
    m_image = image;
    m_voxels = std::make_shared<KeptVoxels>();
}

void MMeshFromLabelsOperator::SetMeshingSettings(MMeshFromLabelsSettings settings) {
    m_settings = std::move(settings);
    m_voxels = std::make_shared<KeptVoxels>();
}

std::shared_ptr<MMeshFromLabelsOperator::Voxels const> MMeshFromLabelsOperator::FindVoxels() const {
    std::call_once(m_voxels->once, [this] {
        m_voxels->voxels = std::make_shared<Voxels const>(*m_image, LabelsToMesh(), GetParallel());
    });
    return m_voxels->voxels;
}

std::string MMeshFromLabelsOperator::FindFault() const {
    std::string fault = FindFaultOfSettings();
    return fault.empty() ? FindFaultOfLabels(LabelsToMesh()) : fault;
}

std::string MMeshFromLabelsOperator::FindFaultOfSettings() const {
    if (!m_image)
        return "there is no image";
    MLabelImage const& image = *m_image;
    double voxels = 1.0, farthest = 0.0;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        if (image.size[axis] < 1)
            return "the image has no voxels";
        if (!(image.spacing[axis] > 0.0) || !std::isfinite(image.spacing[axis]))
            return "the voxels of the image have no size";
        double const length = image.spacing[axis] * static_cast<double>(image.size[axis]);
        voxels *= static_cast<double>(image.size[axis]);
        farthest += std::fabs(image.origin[axis]) + length + 16.0 * std::fabs(m_settings.size);
        if (length / m_settings.size > MostCubes)
            return "the size is too small for an image of this length";
    }
    if (voxels != static_cast<double>(image.labels.size()))
        return "the image has another number of labels than of voxels";
    if (!IsOrthonormal(image))
        return "the axes of the image are not perpendicular";
    if (!(m_settings.size * MInternalUnits::Get() >= ShortestEdge))
        return "the size must be " + std::to_string(ShortestEdge / MInternalUnits::Get()) + " at least";
    if (!(m_settings.size <= MostVoxels * SmallestSpacing(image)))
        return "the size must not exceed " + std::to_string(MostVoxels) +
               " times the shortest edge of the voxels";
    if (!(m_settings.largest_size >= m_settings.size))
        return "the largest size must not be smaller than the size";
    if (!(farthest * MInternalUnits::Get() < LargestCoordinate))
        return "the image lies too far away for integer coordinates";
    if (!(m_settings.smallest_dihedral >= 0.0 && m_settings.smallest_dihedral <= LargestLimit))
        return "the smallest dihedral angle must lie between 0 and 30 degrees";
    if (std::isnan(m_settings.smoothing) || m_settings.smoothing > 20.0 * SmallestSpacing(image))
        return "the smoothing must not exceed 20 voxels";
    return {};
}

std::string MMeshFromLabelsOperator::FindFaultOfLabels(std::vector<std::int32_t> const& labels) const {
    if (labels.empty())
        return "there are no labels: every voxel is 0";
    if (labels.size() > MostLabels)
        return "there are " + std::to_string(labels.size()) + " labels; " + std::to_string(MostLabels) +
               " can be meshed";
    for (std::size_t i = 0; i < m_settings.labels.size(); ++i) {
        if (labels[i] == 0 || (i > 0 && labels[i] <= labels[i - 1]))
            return "the labels to mesh must be ascending and not 0";
        if (std::ranges::find(m_image->labels, labels[i]) == m_image->labels.end())
            return "there is no label " + std::to_string(labels[i]);
    }
    return {};
}

MMeshFromLabelsOperator::Forecast MMeshFromLabelsOperator::Predict(double size) const {
    auto const voxels = FindVoxels();
    double volume = 0.0, area = 0.0;
    for (std::size_t i = 1; i < voxels->areas.size(); ++i) {
        volume += static_cast<double>(voxels->indices.Counts()[i]) * VoxelVolume(*m_image);
        area += voxels->areas[i] * 2.0 / 3.0;
    }
    double const largest = m_settings.largest_size / m_settings.size * size;
    LatticeGrid const grid(voxels->indices, m_image->spacing, size, largest);
    Forecast forecast;
    forecast.elements = NumberOfTetrahedra(volume, area, size, grid.is_graded ? grid.top_level : 0);
    forecast.bytes = 300.0 * forecast.elements + grid.NumberOfSmallest() / 4.0 +
                     20.0 * static_cast<double>(m_image->labels.size());
    return forecast;
}

bool MMeshFromLabelsOperator::Operate() {
    MMeshBase* const mesh = GetMesh();
    if (!mesh || !FindFaultOfSettings().empty())
        return false;
    auto const voxels = FindVoxels();
    m_voxels = std::make_shared<KeptVoxels>(); // the image may change from here on
    if (!FindFaultOfLabels(voxels->values).empty())
        return false;
    KetSDK::Common::IncrementalProgressReporter reporter(m_progress, "Meshing", 1000, true);
    bool const done = Run(*this, *voxels, reporter).Do(*mesh);
    if (done)
        reporter = 1000;
    return done;
}
