// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/meshing/detail/ManifoldLabels.h>

#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cassert>
#include <cstddef>
#include <span>
#include <utility>
#include <vector>

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
        m_first_at.fill(NoMember);
    }

    // False when all have one label: there is nothing to look at then.
    bool LookAt(Number node) {
        auto const first = static_cast<std::size_t>(m_around.first[node]);
        m_members = {&m_around.tetrahedra[first], static_cast<std::size_t>(m_around.first[node + 1]) - first};
        assert(m_members.size() <= Most);
        LabelIndex const label = m_labels[m_members.front()];
        if (std::ranges::all_of(m_members, [&](Number t) { return m_labels[t] == label; }))
            return false;
        Connect(node);
        m_distinct.clear();
        for (Number const t : m_members)
            if (std::ranges::find(m_distinct, m_labels[t]) == m_distinct.end())
                m_distinct.push_back(m_labels[t]);
        std::ranges::sort(m_distinct);
        return true;
    }

    std::span<Number const> Members() const noexcept { return m_members; }
    LabelIndex LowestLabel() const noexcept { return m_distinct.front(); }

    // The smallest piece that is too many, with the label that it should get; empty when all is well.
    struct Piece {
        std::vector<Number> tetrahedra;
        LabelIndex label = 0;
    };
    Piece SmallestPiece() const {
        Set smallest = 0;
        LabelIndex new_label = 0;
        ForEachSide([&](LabelIndex label, Set of_label, Set side) {
            Set piece = side;
            int pieces = 0;
            for (Set rest = side; rest != 0; ++pieces) {
                Set const next = FirstPiece(rest);
                rest &= ~next;
                if (std::popcount(next) < std::popcount(piece))
                    piece = next;
            }
            if (pieces >= 2 && (smallest == 0 || std::popcount(piece) < std::popcount(smallest))) {
                smallest = piece;
                new_label = side == of_label ? LabelAround(piece, label) : label;
            }
            return true;
        });
        Piece result{{}, new_label};
        ForEach(smallest, [&](std::size_t member) { result.tetrahedra.push_back(m_members[member]); });
        return result;
    }
    // Whether the tetrahedra of every label are connected, and so are those of all others.
    bool IsManifold() const {
        return ForEachSide([&](LabelIndex, Set, Set side) { return FirstPiece(side) == side; });
    }

private:
    // Some of the tetrahedra around the node, a bit for each.
    using Set = std::uint64_t;
    // Tetrahedra and corners around a node: one of this lattice has 48 and 26 at most.
    static constexpr std::size_t Most = 64;

    template <typename Visit>
    static void ForEach(Set set, Visit const& visit) {
        for (; set != 0; set &= set - 1)
            visit(static_cast<std::size_t>(std::countr_zero(set)));
    }

    // Calls visit(label, of_label, side) for each label, with those that have it and then with those that do
    // not, until it returns false; of two labels only for the first. False when it did so.
    template <typename Visit>
    bool ForEachSide(Visit const& visit) const {
        Set const all = ~Set{0} >> (Most - m_members.size());
        for (LabelIndex const label : m_distinct) {
            Set of_label = 0;
            for (std::size_t i = 0; i < m_members.size(); ++i)
                of_label |= Set{m_labels[m_members[i]] == label} << i;
            if (!visit(label, of_label, of_label) || !visit(label, of_label, all & ~of_label))
                return false;
            if (m_distinct.size() == 2)
                break; // the other label's are the others of this one
        }
        return true;
    }

    void Connect(Number node) {
        m_neighbours.fill(0);
        m_corners.fill(NoCorner);
        // Faces that have the node, by the slots of their other two corners.
        std::array<std::array<std::uint16_t, 3>, Most> faces;
        for (std::size_t i = 0; i < m_members.size(); ++i) {
            std::array<std::size_t, 3> slots{};
            std::size_t count = 0;
            for (Number const corner : m_lattice.tetrahedra[m_members[i]])
                if (corner != node && count < 3)
                    slots[count++] = SlotOf(corner);
            for (std::size_t k = 0; k < 3; ++k) {
                std::size_t const a = slots[k], b = slots[(k + 1) % 3];
                faces[i][k] = static_cast<std::uint16_t>(std::min(a, b) * Most + std::max(a, b));
                std::uint8_t& other = m_first_at[faces[i][k]];
                if (other == NoMember)
                    other = static_cast<std::uint8_t>(i);
                else {
                    m_neighbours[i] |= Set{1} << other;
                    m_neighbours[other] |= Set{1} << i;
                }
            }
        }
        for (std::size_t i = 0; i < m_members.size(); ++i)
            for (std::uint16_t const face : faces[i])
                m_first_at[face] = NoMember;
    }
    // Its slot among the corners around the node; it gets the next free one after that of its hash.
    std::size_t SlotOf(Number corner) noexcept {
        std::size_t slot = corner * 0x9E3779B9u >> (32 - std::bit_width(Most - 1));
        while (m_corners[slot] != corner && m_corners[slot] != NoCorner)
            slot = (slot + 1) % m_corners.size();
        m_corners[slot] = corner;
        return slot;
    }

    // Those of a set that are connected with its first.
    Set FirstPiece(Set set) const noexcept {
        Set piece = set & (~set + 1);
        for (Set next = piece; next != 0;) {
            Set const more = m_neighbours[static_cast<std::size_t>(std::countr_zero(next))] & set & ~piece;
            piece |= more;
            next = (next & (next - 1)) | more;
        }
        return piece;
    }

    // The label that most neighbours of a piece have, the lowest of equals.
    LabelIndex LabelAround(Set piece, LabelIndex label) const {
        LabelSums sums;
        ForEach(piece, [&](std::size_t member) {
            ForEach(m_neighbours[member], [&](std::size_t neighbour) {
                if (LabelIndex const other = m_labels[m_members[neighbour]]; other != label)
                    sums.Add(other, 1.0);
            });
        });
        return sums.IsEmpty() ? m_distinct.front() : sums.Largest();
    }

    Lattice const& m_lattice;
    NodeTetrahedra const& m_around;
    std::vector<LabelIndex> const& m_labels;
    std::span<Number const> m_members;
    std::vector<LabelIndex> m_distinct;
    static constexpr Number NoCorner = UINT32_MAX;
    std::array<Number, Most> m_corners;
    static constexpr std::uint8_t NoMember = 255;
    std::array<std::uint8_t, Most * Most> m_first_at; // by face: the first tetrahedron that has it
    std::array<Set, Most> m_neighbours{};
};

// Nodes around which something is wrong, each with the tetrahedra that are too many there.
class BadNodes {
public:
    struct Entry {
        Number node;
        LabelIndex label; // that they should get
        std::size_t end;  // behind them
    };

    void Clear() noexcept {
        m_entries.clear();
        m_tetrahedra.clear();
    }
    void Add(Number node, Star::Piece const& piece) {
        m_tetrahedra.insert(m_tetrahedra.end(), piece.tetrahedra.begin(), piece.tetrahedra.end());
        m_entries.push_back({node, piece.label, m_tetrahedra.size()});
    }
    void Append(BadNodes const& more) {
        std::size_t const before = m_tetrahedra.size();
        m_tetrahedra.insert(m_tetrahedra.end(), more.m_tetrahedra.begin(), more.m_tetrahedra.end());
        for (Entry const& entry : more.m_entries)
            m_entries.push_back({entry.node, entry.label, before + entry.end});
    }
    std::vector<Entry> const& Entries() const noexcept { return m_entries; }
    Star::Piece PieceOf(std::size_t entry) const {
        auto const end_of = [this](std::size_t i) {
            return m_tetrahedra.begin() + static_cast<std::ptrdiff_t>(m_entries[i].end);
        };
        return {{entry > 0 ? end_of(entry - 1) : m_tetrahedra.begin(), end_of(entry)},
                m_entries[entry].label};
    }

private:
    std::vector<Entry> m_entries;
    std::vector<Number> m_tetrahedra;
};

// Those among `count` nodes, of which node_at(i) is one.
template <typename NodeAt>
BadNodes FindBadNodes(Lattice const& lattice, NodeTetrahedra const& around, bool parallel,
                      std::vector<LabelIndex> const& labels, std::size_t count, NodeAt const& node_at) {
    BadNodes bad;
    Support::ComputeSteps<BadNodes>(
        {.items = count, .step = 512, .parallel = parallel},
        [&](std::uint64_t first, std::uint64_t last, BadNodes& found) {
            found.Clear();
            Star star(lattice, around, labels);
            for (std::uint64_t i = first; i < last; ++i)
                if (Number const node = node_at(i); star.LookAt(node) && !star.IsManifold())
                    found.Add(node, star.SmallestPiece());
        },
        [&](std::uint64_t, std::uint64_t, BadNodes const& found) {
            bad.Append(found);
            return true;
        });
    return bad;
}

constexpr std::uint8_t ChangesByNeighbours = 4;

// Changes labels around bad nodes.
class Mender {
public:
    Mender(Lattice const& lattice, NodeTetrahedra const& around, std::vector<LabelIndex>& labels)
        : m_lattice(lattice)
        , m_labels(labels)
        , m_star(lattice, around, labels)
        , m_changes(labels.size(), 0)
        , m_is_touched(lattice.nodes.size(), false) {}

    // Those of all bad nodes at once: what was found out about a node holds until labels around it change.
    // Then it is looked at anew, and so is any other of `nodes`, which are ascending as the bad ones are.
    void Mend(std::vector<Number> const& nodes, BadNodes const& bad) {
        std::size_t next = 0;
        for (Number const node : nodes) {
            bool const was_bad = next < bad.Entries().size() && bad.Entries()[next].node == node;
            next += was_bad;
            if (m_is_touched[node])
                Mend(node, m_star.LookAt(node) ? m_star.SmallestPiece() : Star::Piece{});
            else if (was_bad)
                Mend(node, bad.PieceOf(next - 1));
        }
    }
    // The nodes around which labels changed since it was asked last, ascending.
    std::vector<Number> TakeTouched() {
        for (Number const node : m_touched)
            m_is_touched[node] = false;
        std::ranges::sort(m_touched);
        return std::exchange(m_touched, {});
    }
    std::uint64_t NumberOfChanges() const noexcept { return m_count; }

private:
    void Mend(Number node, Star::Piece const& piece) {
        if (std::ranges::all_of(piece.tetrahedra,
                                [&](Number t) { return m_changes[t] < ChangesByNeighbours; })) {
            for (Number const t : piece.tetrahedra)
                Change(t, piece.label);
        } else if (m_star.LookAt(node)) {
            LabelIndex const lowest = m_star.LowestLabel();
            for (Number const t : m_star.Members())
                Change(t, lowest);
        }
    }
    void Change(Number t, LabelIndex label) {
        if (m_labels[t] == label)
            return;
        m_labels[t] = label;
        m_changes[t] = static_cast<std::uint8_t>(std::min(m_changes[t] + 1, 255));
        ++m_count;
        for (Number const node : m_lattice.tetrahedra[t])
            if (!m_is_touched[node]) {
                m_is_touched[node] = true;
                m_touched.push_back(node);
            }
    }

    Lattice const& m_lattice;
    std::vector<LabelIndex>& m_labels;
    Star m_star;
    std::vector<std::uint8_t> m_changes; // by tetrahedron
    std::vector<bool> m_is_touched;      // by node
    std::vector<Number> m_touched;
    std::uint64_t m_count = 0;
};

} // namespace

std::uint64_t MakeManifold(Lattice const& lattice, NodeTetrahedra const& around, bool parallel,
                           std::vector<LabelIndex>& labels) {
    BadNodes bad = FindBadNodes(lattice, around, parallel, labels, lattice.nodes.size(),
                                [](std::uint64_t i) { return static_cast<Number>(i); });
    std::vector<Number> nodes;
    for (BadNodes::Entry const& entry : bad.Entries())
        nodes.push_back(entry.node);
    Mender mender(lattice, around, labels);
    while (!nodes.empty()) {
        mender.Mend(nodes, bad);
        nodes = mender.TakeTouched();
        bad = FindBadNodes(lattice, around, parallel, labels, nodes.size(),
                           [&nodes](std::uint64_t i) { return nodes[static_cast<std::size_t>(i)]; });
    }
    return mender.NumberOfChanges();
}

} // namespace KetSDK::Mesh::Detail
