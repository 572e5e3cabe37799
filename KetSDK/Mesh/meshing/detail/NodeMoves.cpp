// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/meshing/detail/NodeMoves.h>

#include <KetSDK/Mesh/meshing/detail/NodeStar.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <bitset>
#include <cmath>
#include <numbers>

namespace KetSDK::Mesh::Detail {

namespace {

using Number = std::uint32_t;
using Position = MovingMesh::Position;

double Cosine(double degrees) noexcept {
    return std::cos(degrees * std::numbers::pi / 180.0);
}

Position Rounded(Position p) noexcept {
    for (std::size_t i = 0; i < 3; ++i)
        p[i] = std::nearbyint(p[i]);
    return p;
}

// Moves nodes one at a time; each thread has its own.
class Mover {
public:
    Mover(MovingMesh& mesh, NodeTetrahedra const& around, InterfaceTargets const& targets,
          MoveLimits const& limits, VolumeShifts const& shifts, double aim)
        : m_mesh(mesh)
        , m_around(around)
        , m_targets(targets)
        , m_limits(limits)
        , m_shifts(shifts)
        , m_aim(NodeStar::SignedSquare(Cosine(aim))) {}

    // Moves a node towards its interface.
    void Approach(Number node) {
        Junction const* const labels = LabelsOf(node);
        if (!labels)
            return;
        m_star.Gather(m_mesh, m_around, node);
        Position const from = m_star.Centre();
        Position const normal = m_star.Normal();
        auto const target = m_targets.Find(from, *labels, normal, m_limits.reach);
        if (!target)
            return;
        Position const way = *target - from + normal * (Bulge(*labels, normal) - Shift(*labels));
        if (way.Dot(way) < 1.0)
            return;
        double const allowed = std::max(m_aim, m_star.WorstAt(from, NodeStar::Worst));
        for (double fraction = 1.0; fraction > 0.1; fraction *= 0.6) {
            Position const to = Rounded(from + way * fraction);
            if (m_star.WorstAt(to, allowed) <= allowed) {
                m_mesh.positions[node] = to;
                return;
            }
        }
    }

    // Moves a node to where the worst of its angles is better.
    void Improve(Number node, double step) {
        m_star.Gather(m_mesh, m_around, node);
        Position const from = m_star.Centre();
        double worst = m_star.WorstAt(from, NodeStar::Worst);
        if (worst < GoodEnough)
            return;
        Junction const* const labels = LabelsOf(node);
        Position offset{0.0, 0.0, 0.0}, normal{0.0, 0.0, 0.0};
        if (labels) {
            if (labels->count > 3)
                return;
            normal = m_star.Normal();
            auto const target = m_targets.Find(from, *labels, normal, m_limits.reach);
            if (!target)
                return;
            offset = from - *target;
        }
        Position best = from;
        auto const attempt = [&](Position to) {
            if (labels) {
                auto const target = m_targets.Find(to, *labels, normal, m_limits.reach);
                if (!target)
                    return;
                to = *target + offset;
            }
            to = Rounded(to);
            double const there = m_star.WorstAt(to, worst);
            if (there < worst - SmallestGain) {
                worst = there;
                best = to;
            }
        };
        attempt(m_star.MeanOfNeighbours(labels != nullptr));
        for (std::size_t axis = 0; axis < 3; ++axis)
            for (double const sign : {1.0, -1.0}) {
                Position to = best;
                to[axis] += sign * step;
                attempt(to);
            }
        m_mesh.positions[node] = best;
    }

private:
    // Squares of cosines. Angles of more than 40 degrees need no work.
    static constexpr double GoodEnough = 0.587;
    static constexpr double SmallestGain = 1.5e-4;

    Junction const* LabelsOf(Number node) const noexcept {
        Number const place = m_mesh.interface[node];
        return place == MovingMesh::NoInterface ? nullptr : &m_mesh.junctions[place];
    }

    // Flat triangles cut off what bulges out between nodes that lie on a curved surface. On a sphere of
    // radius R with edges of length e the triangles lie e^2 / 8R below it in the mean, a quarter of how far
    // the neighbours of a node lie below it.
    double Bulge(Junction const& labels, Position const& normal) const noexcept {
        if (labels.count > 2)
            return 0.0;
        double const below = (m_star.Centre() - m_star.MeanOfNeighbours(true)).Dot(normal);
        return std::clamp(0.25 * below, -m_limits.largest_bulge, m_limits.largest_bulge);
    }
    // Out of the first label, against the normal.
    double Shift(Junction const& labels) const noexcept {
        return labels.count > 2 ? 0.0 : m_shifts.Between(labels.labels[0], labels.labels[1]);
    }

    MovingMesh& m_mesh;
    NodeTetrahedra const& m_around;
    InterfaceTargets const& m_targets;
    MoveLimits const& m_limits;
    VolumeShifts const& m_shifts;
    double m_aim; // what becomes worse than this is not done, unless it was worse before
    NodeStar m_star;
};

// Degrees above the limit that the first rounds keep, so that no node takes the room of its neighbours.
constexpr double FirstAim = 18.0;
// So many rounds in the end begin with a look at the volumes.
constexpr int RoundsForVolumes = 2;

} // namespace

void MakeGroups(MovingMesh& mesh, NodeTetrahedra const& around, std::vector<std::uint8_t> const& moves) {
    constexpr std::uint8_t None = 255;
    std::vector<std::uint8_t> group_of(mesh.positions.size(), None);
    for (Number node = 0; node < moves.size(); ++node) {
        if (!moves[node])
            continue;
        std::bitset<None> taken; // a node of this lattice has fewer neighbours than there are groups
        for (std::uint64_t i = around.first[node]; i < around.first[node + 1]; ++i)
            for (Number const corner : mesh.tetrahedra[around.tetrahedra[static_cast<std::size_t>(i)]])
                if (group_of[corner] != None)
                    taken.set(group_of[corner]);
        std::uint8_t group = 0;
        while (taken.test(group))
            ++group;
        group_of[node] = group;
        if (group >= mesh.groups.size())
            mesh.groups.resize(group + 1u);
        mesh.groups[group].push_back(node);
    }
}

bool MoveNodes(MovingMesh& mesh, NodeTetrahedra const& around, InterfaceTargets const& targets,
               MoveLimits const& limits, VolumeShifts& shifts,
               std::function<bool(double fraction)> const& advance) {
    double const passes = static_cast<double>(mesh.groups.size()) * 2.0 * limits.rounds;
    double done = 0.0;
    auto const for_all = [&](double aim, auto const& move) {
        for (std::vector<Number> const& group : mesh.groups) {
            Support::ComputeSteps({.items = group.size(), .step = 256, .parallel = limits.parallel},
                                  [&](std::uint64_t first, std::uint64_t last) {
                                      Mover mover(mesh, around, targets, limits, shifts, aim);
                                      for (std::uint64_t i = first; i < last; ++i)
                                          move(mover, group[static_cast<std::size_t>(i)]);
                                  });
            done += 1.0;
            if (!advance(done / passes))
                return false;
        }
        return true;
    };
    // A little above the limit, which others compute in their own way.
    double const limit = limits.smallest_dihedral + 1e-7;
    auto const approach = [](Mover& mover, Number node) { mover.Approach(node); };
    for (int round = 0; round < limits.rounds; ++round) {
        if (round + RoundsForVolumes >= limits.rounds)
            shifts.Correct(mesh);
        double const rest = 1.0 - (round + 1.0) / std::max(1.0, limits.rounds - 1.0);
        double const aim = limit + FirstAim * std::max(0.0, rest);
        double const step = limits.reach * 0.12 * std::pow(0.8, round);
        if (!for_all(aim, approach) ||
            !for_all(aim, [=](Mover& mover, Number node) { mover.Improve(node, step); }))
            return false;
    }
    return true;
}

std::vector<double> DistancesToInterface(MovingMesh const& mesh, NodeTetrahedra const& around,
                                         InterfaceTargets const& targets, double reach, bool parallel) {
    std::vector<double> distances(mesh.positions.size(), -1.0);
    Support::WorkSteps const steps{.items = mesh.positions.size(), .step = 1024, .parallel = parallel};
    Support::ComputeSteps(steps, [&](std::uint64_t first, std::uint64_t last) {
        NodeStar star;
        for (std::uint64_t i = first; i < last; ++i) {
            Number const node = static_cast<Number>(i);
            if (mesh.interface[node] == MovingMesh::NoInterface)
                continue;
            star.GatherNormal(mesh, around, node);
            auto const target =
                targets.Find(star.Centre(), mesh.junctions[mesh.interface[node]], star.Normal(), reach);
            if (target)
                distances[i] = (*target - star.Centre()).Length();
        }
    });
    return distances;
}

} // namespace KetSDK::Mesh::Detail
