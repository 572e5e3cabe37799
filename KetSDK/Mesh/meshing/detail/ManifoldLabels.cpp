// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/meshing/detail/ManifoldLabels.h>

#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <array>
#include <cstddef>

namespace KetSDK::Mesh::Detail {

namespace {

using Number = std::uint32_t;

// The tetrahedra around a node and which of them share a face that has it.
class Star {
public:
    Star(Lattice const& lattice, NodeTetrahedra const& around, std::vector<LabelIndex> const& labels)
        : m_lattice(lattice)
        , m_around(around)
        , m_labels(labels) {
        m_corners.fill(NoCorner);
    }

    // False when all have one label: there is nothing to look at then.
    bool LookAt(Number node) {
        m_members.assign(m_around.tetrahedra.begin() + static_cast<std::ptrdiff_t>(m_around.first[node]),
                         m_around.tetrahedra.begin() + static_cast<std::ptrdiff_t>(m_around.first[node + 1]));
        LabelIndex const first = m_labels[m_members.front()];
        if (std::ranges::all_of(m_members, [&](Number t) { return m_labels[t] == first; }))
            return false;
        Connect(node);
        m_distinct.clear();
        for (Number const t : m_members)
            if (std::ranges::find(m_distinct, m_labels[t]) == m_distinct.end())
                m_distinct.push_back(m_labels[t]);
        std::ranges::sort(m_distinct);
        return true;
    }

    std::vector<Number> const& Members() const noexcept { return m_members; }
    LabelIndex LowestLabel() const noexcept { return m_distinct.front(); }

    // The smallest piece that is too many, with the label that it should get; empty when all is well.
    struct Piece {
        std::vector<Number> tetrahedra;
        LabelIndex label = 0;
    };
    Piece SmallestPiece() {
        Piece smallest;
        for (LabelIndex const label : m_distinct)
            for (bool const of_label : {true, false}) {
                if (!of_label && m_distinct.size() == 2 && label != m_distinct.front())
                    continue; // the others of one label are the other label
                FindPieces([&](Number t) { return (m_labels[t] == label) == of_label; });
                if (m_pieces.size() < 2)
                    continue;
                auto const piece = std::ranges::min_element(
                    m_pieces, [](auto const& a, auto const& b) { return a.size() < b.size(); });
                if (!smallest.tetrahedra.empty() && piece->size() >= smallest.tetrahedra.size())
                    continue;
                smallest.label = of_label ? LabelAround(*piece, label) : label;
                smallest.tetrahedra.clear();
                for (std::size_t const member : *piece)
                    smallest.tetrahedra.push_back(m_members[member]);
            }
        return smallest;
    }
    // Whether the tetrahedra of every label are connected, and so are those of all others.
    bool IsManifold() {
        for (LabelIndex const label : m_distinct)
            for (bool const of_label : {true, false}) {
                if (!HangTogether([&](Number t) { return (m_labels[t] == label) == of_label; }))
                    return false;
            }
        return true;
    }

private:
    void Connect(Number node) {
        std::size_t const count = m_members.size();
        m_neighbours.assign(count, {});
        m_degree.assign(count, 0);
        // The other corners of each tetrahedron, a bit for each.
        m_corners.fill(NoCorner);
        m_others.assign(count, 0);
        for (std::size_t i = 0; i < count; ++i)
            for (Number const corner : m_lattice.tetrahedra[m_members[i]])
                if (corner != node)
                    m_others[i] |= std::uint64_t{1} << PlaceOf(corner);
        for (std::size_t i = 0; i < count; ++i)
            for (std::size_t j = i + 1; j < count && m_degree[i] < 3; ++j) {
                std::uint64_t const shared = m_others[i] & m_others[j];
                if ((shared & (shared - 1)) != 0) { // two bits, since no two tetrahedra have the same corners
                    m_neighbours[i][m_degree[i]++] = j;
                    m_neighbours[j][m_degree[j]++] = i;
                }
            }
    }
    // Its place among the corners around the node; it gets the next free one after that of its hash.
    std::size_t PlaceOf(Number corner) noexcept {
        std::size_t place = corner * 0x9E3779B9u >> 26;
        while (m_corners[place] != corner && m_corners[place] != NoCorner)
            place = (place + 1) % m_corners.size();
        m_corners[place] = corner;
        return place;
    }

    template <typename Predicate>
    bool HangTogether(Predicate const& belongs) {
        m_seen.assign(m_members.size(), 0);
        m_piece.clear();
        std::size_t all = 0;
        for (std::size_t i = 0; i < m_members.size(); ++i)
            if (belongs(m_members[i])) {
                if (all++ == 0) {
                    m_piece.push_back(i);
                    m_seen[i] = 1;
                }
            } else
                m_seen[i] = 1;
        for (std::size_t next = 0; next < m_piece.size(); ++next)
            for (std::size_t k = 0; k < m_degree[m_piece[next]]; ++k) {
                std::size_t const other = m_neighbours[m_piece[next]][k];
                if (!m_seen[other]) {
                    m_seen[other] = 1;
                    m_piece.push_back(other);
                }
            }
        return m_piece.size() == all;
    }

    template <typename Predicate>
    void FindPieces(Predicate const& belongs) {
        m_pieces.clear();
        m_seen.assign(m_members.size(), 0);
        for (std::size_t i = 0; i < m_members.size(); ++i) {
            if (m_seen[i] || !belongs(m_members[i]))
                continue;
            std::vector<std::size_t> piece = {i};
            m_seen[i] = 1;
            for (std::size_t next = 0; next < piece.size(); ++next)
                for (std::size_t k = 0; k < m_degree[piece[next]]; ++k) {
                    std::size_t const other = m_neighbours[piece[next]][k];
                    if (!m_seen[other] && belongs(m_members[other])) {
                        m_seen[other] = 1;
                        piece.push_back(other);
                    }
                }
            m_pieces.push_back(std::move(piece));
        }
    }

    // The label that most neighbours of a piece have, the lowest of equals.
    LabelIndex LabelAround(std::vector<std::size_t> const& piece, LabelIndex label) const {
        LabelSums sums;
        for (std::size_t const member : piece)
            for (std::size_t k = 0; k < m_degree[member]; ++k)
                if (LabelIndex const other = m_labels[m_members[m_neighbours[member][k]]]; other != label)
                    sums.Add(other, 1.0);
        return sums.IsEmpty() ? m_distinct.front() : sums.Largest();
    }

    Lattice const& m_lattice;
    NodeTetrahedra const& m_around;
    std::vector<LabelIndex> const& m_labels;
    std::vector<Number> m_members;
    std::vector<LabelIndex> m_distinct;
    static constexpr Number NoCorner = UINT32_MAX;
    std::array<Number, 64> m_corners; // a node of this lattice has 26 neighbours at most
    std::vector<std::uint64_t> m_others;
    std::vector<std::array<std::size_t, 3>> m_neighbours;
    std::vector<std::size_t> m_degree;
    std::vector<std::uint8_t> m_seen;
    std::vector<std::size_t> m_piece;
    std::vector<std::vector<std::size_t>> m_pieces;
};

// The nodes around which something is wrong.
std::vector<Number> BadNodes(Lattice const& lattice, NodeTetrahedra const& around, bool parallel,
                             std::vector<LabelIndex> const& labels) {
    std::vector<Number> bad;
    Support::WorkSteps steps;
    steps.items = lattice.nodes.size();
    steps.step = 4096;
    steps.parallel = parallel;
    Support::ComputeSteps<std::vector<Number>>(
        steps,
        [&](std::uint64_t first, std::uint64_t last, std::vector<Number>& found) {
            found.clear();
            Star star(lattice, around, labels);
            for (std::uint64_t node = first; node < last; ++node)
                if (star.LookAt(static_cast<Number>(node)) && !star.IsManifold())
                    found.push_back(static_cast<Number>(node));
        },
        [&](std::uint64_t, std::uint64_t, std::vector<Number> const& found) {
            bad.insert(bad.end(), found.begin(), found.end());
            return true;
        });
    return bad;
}

constexpr std::uint8_t ChangesByNeighbours = 4;

} // namespace

std::uint64_t MakeManifold(Lattice const& lattice, NodeTetrahedra const& around, bool parallel,
                           std::vector<LabelIndex>& labels) {
    std::vector<Number> nodes = BadNodes(lattice, around, parallel, labels);
    std::vector<std::uint8_t> changes(labels.size(), 0);
    std::vector<Number> touched;
    std::uint64_t count = 0;
    Star star(lattice, around, labels);
    auto const change = [&](Number t, LabelIndex label) {
        if (labels[t] == label)
            return;
        labels[t] = label;
        changes[t] = static_cast<std::uint8_t>(std::min(changes[t] + 1, 255));
        touched.insert(touched.end(), lattice.tetrahedra[t].begin(), lattice.tetrahedra[t].end());
        ++count;
    };
    while (!nodes.empty()) {
        touched.clear();
        for (Number const node : nodes) {
            if (!star.LookAt(node))
                continue;
            auto const piece = star.SmallestPiece();
            if (piece.tetrahedra.empty())
                continue;
            if (std::ranges::all_of(piece.tetrahedra,
                                    [&](Number t) { return changes[t] < ChangesByNeighbours; }))
                for (Number const t : piece.tetrahedra)
                    change(t, piece.label);
            else
                for (Number const t : star.Members())
                    change(t, star.LowestLabel());
        }
        std::ranges::sort(touched);
        touched.erase(std::unique(touched.begin(), touched.end()), touched.end());
        nodes = touched;
    }
    return count;
}

} // namespace KetSDK::Mesh::Detail
