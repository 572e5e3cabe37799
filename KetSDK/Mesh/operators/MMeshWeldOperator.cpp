// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/MMeshWeldOperator.h>

#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/operators/detail/DisjointSets.h>
#include <KetSDK/Mesh/operators/detail/MeshCopy.h>
#include <KetSDK/Support/MHash.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <tuple>
#include <vector>

using namespace KetSDK::Mesh::Detail;

namespace {

using Number = DisjointSets::Number;

Number NumberOf(MMeshPoint const& node) {
    return static_cast<Number>(node.GetIndex());
}

// Whether nodes lie within a tolerance of each other, in internal units.
class Nearness {
public:
    explicit Nearness(double tolerance)
        : m_square(tolerance * tolerance) {}
    bool operator()(MMeshPoint const& a, MMeshPoint const& b) const {
        double const x = static_cast<double>(a.x) - b.x;
        double const y = static_cast<double>(a.y) - b.y;
        double const z = static_cast<double>(a.z) - b.z;
        return x * x + y * y + z * z <= m_square;
    }

private:
    double m_square;
};

// The first element with two nodes that satisfy a predicate and are not one node already.
template <typename Pair>
std::optional<std::uint64_t> FindCollapsing(MMeshBase const& mesh, Pair const& pair) {
    std::optional<std::uint64_t> found;
    mesh.Elements().ForEachWithNodes([&](MMeshElement const& e, std::uint64_t number) {
        for (unsigned int i = 0; !found && i < e.GetNodeCount(); ++i)
            for (unsigned int k = 0; k < i; ++k)
                if (e.GetNode(i) != e.GetNode(k) && pair(*e.GetNode(i), *e.GetNode(k)))
                    found = number;
    });
    return found;
}

// Positions by the cells of a lattice, in which those that are near are in the same cell or beside it. Of
// nodes at one position, which may be many, the first stands for all.
class NodeLattice {
public:
    using Cell = std::array<std::int32_t, 3>;

    NodeLattice(MMeshBase const& mesh, double tolerance, DisjointSets& sets)
        : m_step(std::max(std::ceil(tolerance), 1.0)) {
        m_entries.reserve(static_cast<std::size_t>(mesh.NumberOfPoints()));
        for (MMeshPointConstIterator p = mesh.BeginPoint(); p != mesh.EndPoint(); ++p)
            m_entries.push_back({HashOf(CellOf(*p)), p});
        std::ranges::sort(m_entries, [](Entry const& a, Entry const& b) { return a.Key() < b.Key(); });
        auto const is_repeated = [&sets](Entry const& a, Entry const& b) {
            bool const equal = PositionOf(*a.node) == PositionOf(*b.node);
            if (equal)
                sets.Join(NumberOf(*a.node), NumberOf(*b.node));
            return equal;
        };
        m_entries.erase(std::unique(m_entries.begin(), m_entries.end(), is_repeated), m_entries.end());
    }

    // Calls visit(node) for the nodes in the cells around one, and perhaps for others.
    template <typename Visit>
    void ForEachAround(MMeshPoint const& node, Visit const& visit) const {
        Cell const centre = CellOf(node);
        for (int offset = 0; offset < 27; ++offset) {
            Cell const cell = {centre[0] + offset % 3 - 1, centre[1] + offset / 3 % 3 - 1,
                               centre[2] + offset / 9 - 1};
            std::uint64_t const hash = HashOf(cell);
            for (auto entry = std::ranges::lower_bound(m_entries, hash, {}, &Entry::hash);
                 entry != m_entries.end() && entry->hash == hash; ++entry)
                visit(*entry->node);
        }
    }

private:
    using Position = std::array<MLong, 3>;

    static Position PositionOf(MMeshPoint const& p) { return {p.x, p.y, p.z}; }

    struct Entry {
        std::uint64_t hash;
        MMeshPoint const* node;

        std::tuple<std::uint64_t, Position, Number> Key() const {
            return {hash, PositionOf(*node), NumberOf(*node)};
        }
    };

    static std::uint64_t HashOf(Cell const& cell) {
        return KetSDK::Support::HashOfPosition(cell[0], cell[1], cell[2]);
    }
    Cell CellOf(MMeshPoint const& p) const {
        auto const cell = [this](MLong c) {
            return static_cast<std::int32_t>(std::floor(c / (m_step + 1.0)));
        };
        return {cell(p.x), cell(p.y), cell(p.z)};
    }

    double m_step;
    std::vector<Entry> m_entries;
};

void JoinEqual(MMeshBase const& mesh, DisjointSets& sets) {
    MMeshPointContainer positions;
    positions.CreateCoordinateIndex();
    std::vector<Number> firsts; // by position the first node
    for (MMeshPointConstIterator p = mesh.BeginPoint(); p != mesh.EndPoint(); ++p) {
        Number const position = NumberOf(positions.AddPoint(p->x, p->y, p->z));
        if (position == firsts.size())
            firsts.push_back(NumberOf(*p));
        else
            sets.Join(firsts[position], NumberOf(*p));
    }
}

void JoinNear(MMeshBase const& mesh, double tolerance, DisjointSets& sets) {
    Nearness const is_near(tolerance);
    NodeLattice const lattice(mesh, tolerance, sets);
    for (MMeshPointConstIterator p = mesh.BeginPoint(); p != mesh.EndPoint(); ++p)
        lattice.ForEachAround(*p, [&](MMeshPoint const& other) {
            if (other.GetIndex() < p->GetIndex() && is_near(*p, other))
                sets.Join(NumberOf(*p), NumberOf(other));
        });
}

// A copy of a mesh in which the first node of each set stands for all.
void CopyWelded(MMeshBase const& mesh, DisjointSets& sets, MMeshBase& target, MMeshOrigins* origins) {
    target.ClearSubVolumes();
    MeshCopy copy(mesh, target, origins);
    for (std::size_t i = 0; i < mesh.NumberOfSubVolumes(); ++i)
        copy.AddSubVolumeLike(i);
    std::vector<MLong> firsts;
    for (MLong i = 0; i < mesh.NumberOfPoints(); ++i)
        if (sets.FirstOf(static_cast<Number>(i)) == static_cast<Number>(i))
            firsts.push_back(i);
    copy.AddNodes(firsts);
    for (MLong i = 0; i < mesh.NumberOfPoints(); ++i)
        if (Number const first = sets.FirstOf(static_cast<Number>(i)); first != static_cast<Number>(i))
            copy.JoinNode(i, copy.StandIns()[first]);
    std::vector<MLong> elements(static_cast<std::size_t>(mesh.NumberOfElements()));
    std::iota(elements.begin(), elements.end(), 0);
    copy.AddElements(elements);
    target.GetMaterialCatalog() = mesh.GetMaterialCatalog();
    target.SetGreyValuesFlag(mesh.HasGreyValues());
    target.SetVolumeIndexFlag(mesh.HasVolumeIndexValues());
    target.SetMeshType(mesh.GetMeshType());
}

} // namespace

MMeshWeldOperator::~MMeshWeldOperator() = default;

bool MMeshWeldOperator::Operate() {
    m_collapsing.reset();
    MMeshBase const* const mesh = GetMesh();
    if (!mesh || !m_target || m_target == mesh || m_target->NumberOfPoints() > 0)
        return false;
    double const tolerance = std::max(m_tolerance, 0.0) * KetSDK::Common::MInternalUnits::Get();
    // First, because it also says that the nodes of elements have few positions in a cell of the lattice.
    m_collapsing = FindCollapsing(*mesh, Nearness(tolerance));
    if (m_collapsing)
        return false;
    DisjointSets sets(static_cast<std::size_t>(mesh->NumberOfPoints()));
    if (tolerance == 0.0)
        JoinEqual(*mesh, sets);
    else
        JoinNear(*mesh, tolerance, sets);
    m_collapsing = FindCollapsing(*mesh, [&sets](MMeshPoint const& a, MMeshPoint const& b) {
        return sets.FirstOf(NumberOf(a)) == sets.FirstOf(NumberOf(b));
    });
    if (m_collapsing)
        return false;
    CopyWelded(*mesh, sets, *m_target, m_origins);
    return true;
}
