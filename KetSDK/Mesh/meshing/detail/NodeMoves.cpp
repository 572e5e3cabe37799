#include <KetSDK/Mesh/meshing/detail/NodeMoves.h>

#include <KetSDK/Mesh/meshing/detail/DihedralAngles.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <bitset>
#include <cmath>
#include <numbers>

namespace KetSDK::Mesh::Detail {

namespace {

using Number = std::uint32_t;
using Position = MovingMesh::Position;

// Tetrahedra outside are no part of the mesh; they only must not turn inside out.
constexpr double SmallestOutside = 1.0; // degrees

double Cosine(double degrees) noexcept {
    return std::cos(degrees * std::numbers::pi / 180.0);
}

Position Rounded(Position p) noexcept {
    for (std::size_t i = 0; i < 3; ++i)
        p[i] = std::nearbyint(p[i]);
    return p;
}

class Mover {
public:
    Mover(MovingMesh& mesh, NodeTetrahedra const& around, InterfaceTargets const& targets,
          MoveLimits const& limits)
        : m_mesh(mesh)
        , m_around(around)
        , m_targets(targets)
        , m_limits(limits)
        , m_outside(Cosine(SmallestOutside)) {}

    // What becomes worse than this is not done, unless it was worse before.
    void SetAim(double degrees) noexcept { m_aim = Cosine(degrees); }

    // Moves a node towards its interface.
    void Approach(Number node) {
        Junction const* const labels = LabelsOf(node);
        if (!labels)
            return;
        Position const from = m_mesh.positions[node];
        Position const normal = NormalAt(node);
        auto const target = m_targets.Find(from, *labels, normal, m_limits.reach);
        if (!target)
            return;
        Position const way = *target - from + Bulge(node, normal);
        if (way.Dot(way) < 1.0)
            return;
        double const allowed = std::max(m_aim, WorstAround(node, from, 2.0));
        for (double fraction = 1.0; fraction > 0.1; fraction *= 0.6) {
            Position const to = Rounded(from + way * fraction);
            if (WorstAround(node, to, allowed) <= allowed) {
                m_mesh.positions[node] = to;
                return;
            }
        }
    }

    // Moves a node to where the worst of its angles is better.
    void Improve(Number node, double step) {
        Position const from = m_mesh.positions[node];
        double worst = WorstAround(node, from, 2.0);
        if (worst < GoodEnough)
            return;
        Junction const* const labels = LabelsOf(node);
        Position offset{0.0, 0.0, 0.0}, normal{0.0, 0.0, 0.0};
        if (labels) {
            if (labels->count > 3)
                return;
            normal = NormalAt(node);
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
            double const there = WorstAround(node, to, worst);
            if (there < worst - 1e-4) {
                worst = there;
                best = to;
            }
        };
        attempt(MeanOfNeighbours(node, labels != nullptr));
        for (std::size_t axis = 0; axis < 3; ++axis)
            for (double const sign : {1.0, -1.0}) {
                Position to = best;
                to[axis] += sign * step;
                attempt(to);
            }
        m_mesh.positions[node] = best;
    }

    Position NormalAt(Number node) const noexcept {
        Junction const& labels = m_mesh.junctions[m_mesh.interface[node]];
        Position const p = m_mesh.positions[node];
        Position sum{0.0, 0.0, 0.0};
        ForEachAround(node, [&](Number t) {
            double const sign = m_mesh.labels[t] == labels.labels[0] ? 1.0 : -1.0;
            for (Number const corner : m_mesh.tetrahedra[t])
                sum += (m_mesh.positions[corner] - p) * sign;
            return true;
        });
        return sum.Normalize() ? sum : Position{0.0, 0.0, 1.0};
    }

private:
    // Angles of more than 40 degrees need no work.
    static constexpr double GoodEnough = 0.766;

    Junction const* LabelsOf(Number node) const noexcept {
        Number const place = m_mesh.interface[node];
        return place == MovingMesh::NoInterface ? nullptr : &m_mesh.junctions[place];
    }

    template <typename Visit>
    void ForEachAround(Number node, Visit const& visit) const {
        for (std::uint64_t i = m_around.first[node]; i < m_around.first[node + 1]; ++i)
            if (!visit(m_around.tetrahedra[static_cast<std::size_t>(i)]))
                return;
    }

    // Flat triangles cut off what bulges out between nodes that lie on a curved surface. On a sphere of
    // radius R with edges of length e the triangles lie e^2 / 8R below it in the mean, a quarter of how far
    // the neighbours of a node lie below it.
    Position Bulge(Number node, Position const& normal) const noexcept {
        if (LabelsOf(node)->count > 2)
            return {0.0, 0.0, 0.0};
        double const below = (m_mesh.positions[node] - MeanOfNeighbours(node, true)).Dot(normal);
        return normal * std::clamp(0.25 * below, -m_limits.largest_bulge, m_limits.largest_bulge);
    }

    // The cosine of the smallest angle of the tetrahedra around a node when it is at p; any number above
    // `limit` as soon as that is clear.
    double WorstAround(Number node, Position const& p, double limit) const noexcept {
        double worst = -1.0;
        ForEachAround(node, [&](Number t) {
            Lattice::Tetrahedron const& nodes = m_mesh.tetrahedra[t];
            auto const at = [&](std::size_t i) { return nodes[i] == node ? p : m_mesh.positions[nodes[i]]; };
            double cosine = CosineOfSmallestDihedral(at(0), at(1), at(2), at(3));
            if (m_mesh.labels[t] == 0)
                cosine = cosine <= m_outside ? -1.0 : 2.0;
            worst = std::max(worst, cosine);
            return worst <= limit;
        });
        return worst;
    }

    // Of all neighbours, or of those that lie on interfaces.
    Position MeanOfNeighbours(Number node, bool on_interfaces) const noexcept {
        Position sum{0.0, 0.0, 0.0};
        double count = 0.0;
        ForEachAround(node, [&](Number t) {
            for (Number const corner : m_mesh.tetrahedra[t])
                if (corner != node && (!on_interfaces || LabelsOf(corner))) {
                    sum += m_mesh.positions[corner];
                    count += 1.0;
                }
            return true;
        });
        return count > 0.0 ? sum * (1.0 / count) : m_mesh.positions[node];
    }

    MovingMesh& m_mesh;
    NodeTetrahedra const& m_around;
    InterfaceTargets const& m_targets;
    MoveLimits const& m_limits;
    double m_outside;
    double m_aim = 0.0;
};

// Degrees above the limit that the first rounds keep, so that no node takes the room of its neighbours.
constexpr double FirstAim = 18.0;

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
               MoveLimits const& limits, std::function<bool(double fraction)> const& advance) {
    Mover mover(mesh, around, targets, limits);
    double const passes = 2.0 * static_cast<double>(mesh.groups.size()) * limits.rounds;
    double done = 0.0;
    auto const for_all = [&](auto const& move) {
        for (std::vector<Number> const& group : mesh.groups) {
            Support::WorkSteps steps;
            steps.items = group.size();
            steps.step = 64;
            steps.parallel = limits.parallel;
            Support::ComputeSteps(steps, [&](std::uint64_t first, std::uint64_t last) {
                for (std::uint64_t i = first; i < last; ++i)
                    move(group[static_cast<std::size_t>(i)]);
            });
            done += 1.0;
            if (!advance(done / passes))
                return false;
        }
        return true;
    };
    // A little above the limit, which others compute in their own way.
    double const limit = limits.smallest_dihedral + 1e-7;
    for (int round = 0; round < limits.rounds; ++round) {
        double const rest = 1.0 - (round + 1.0) / std::max(1.0, limits.rounds - 1.0);
        mover.SetAim(limit + FirstAim * std::max(0.0, rest));
        double const step = limits.reach * 0.12 * std::pow(0.8, round);
        if (!for_all([&](Number node) { mover.Approach(node); }) ||
            !for_all([&](Number node) { mover.Improve(node, step); }))
            return false;
    }
    return true;
}

std::vector<double> DistancesToInterface(MovingMesh const& mesh, NodeTetrahedra const& around,
                                         InterfaceTargets const& targets, double reach, bool parallel) {
    std::vector<double> distances(mesh.positions.size(), -1.0);
    MoveLimits const limits{0.0, reach, 0.0, 0, parallel};
    Mover const mover(const_cast<MovingMesh&>(mesh), around, targets, limits);
    Support::WorkSteps steps;
    steps.items = mesh.positions.size();
    steps.step = 1024;
    steps.parallel = parallel;
    Support::ComputeSteps(steps, [&](std::uint64_t first, std::uint64_t last) {
        for (std::uint64_t i = first; i < last; ++i) {
            Number const node = static_cast<Number>(i);
            if (mesh.interface[node] == MovingMesh::NoInterface)
                continue;
            auto const target = targets.Find(mesh.positions[node], mesh.junctions[mesh.interface[node]],
                                             mover.NormalAt(node), reach);
            if (target)
                distances[i] = (*target - mesh.positions[node]).Length();
        }
    });
    return distances;
}

} // namespace KetSDK::Mesh::Detail
