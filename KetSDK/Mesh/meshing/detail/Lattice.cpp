// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/meshing/detail/Lattice.h>

#include <KetSDK/Support/ParallelWork.h>

#include <tsl/robin_map.h>

#include <algorithm>
#include <cstddef>
#include <utility>

namespace KetSDK::Mesh::Detail {

namespace {

using Cube = LatticeTree::Cube;
using Node = Lattice::Node;
using Number = std::uint32_t;

struct NodeHash {
    std::size_t operator()(std::uint64_t key) const noexcept {
        key *= 0x9E3779B97F4A7C15u;
        return static_cast<std::size_t>(key ^ (key >> 32));
    }
};

// Numbers nodes in the order in which they come.
class NodeNumbers {
public:
    void Clear() {
        m_nodes.clear();
        m_numbers.clear();
    }
    std::vector<Node> const& Nodes() const noexcept { return m_nodes; }
    std::vector<Node> Take() noexcept { return std::move(m_nodes); }

    Number operator()(Node const& node) {
        std::uint64_t key = 0;
        for (std::int32_t const coordinate : node)
            key = key << 21 | static_cast<std::uint64_t>(coordinate);
        auto const [entry, is_new] = m_numbers.try_emplace(key, static_cast<Number>(m_nodes.size()));
        if (is_new)
            m_nodes.push_back(node);
        return entry->second;
    }

private:
    std::vector<Node> m_nodes;
    tsl::robin_map<std::uint64_t, Number, NodeHash> m_numbers;
};

// Some of the lattice, with numbers of its own for the nodes.
struct Piece {
    NodeNumbers nodes;
    std::vector<Lattice::Tetrahedron> tetrahedra;
};

class PieceBuilder {
public:
    PieceBuilder(LatticeTree const& tree, std::function<bool(int, Cube const&)> is_wanted, Piece& piece)
        : m_tree(tree)
        , m_is_wanted(std::move(is_wanted))
        , m_piece(piece) {}

    // All cubes in the blocks of the tree from `first` to `last` - 1.
    void Build(std::uint64_t first, std::uint64_t last) {
        m_tree.ForEach(first, last, [this](int level, Cube const& cube) {
            if (m_is_wanted(level, cube))
                AddCube(level, cube);
        });
    }

private:
    void AddCube(int level, Cube const& cube) {
        for (std::size_t axis = 0; axis < 3; ++axis)
            for (int const side : {0, 1}) {
                Cube neighbour = cube;
                neighbour[axis] += 2 * side - 1;
                if (!m_tree.Contains(level, neighbour))
                    continue;
                if (m_tree.IsRefined(level, neighbour))
                    AddBesideSmaller(level, cube, axis, side);
                else if (!m_tree.Exists(level, neighbour))
                    AddBesideLarger(level, cube, axis, side);
                else if (side == 1 && m_is_wanted(level, neighbour))
                    AddBetween(level, cube, neighbour, axis);
            }
    }

    // The corners of a face of a cube, one after another around it.
    static std::array<Node, 4> Face(int level, Cube const& cube, std::size_t axis, int side) {
        std::array<Node, 4> face;
        for (std::size_t i = 0; i < 4; ++i) {
            int const along[2] = {i == 1 || i == 2, i >= 2};
            Cube corner = cube;
            corner[axis] += side;
            corner[(axis + 1) % 3] += along[0];
            corner[(axis + 2) % 3] += along[1];
            for (std::size_t k = 0; k < 3; ++k)
                face[i][k] = corner[k] << (level + 1);
        }
        return face;
    }
    static Node Centre(int level, Cube const& cube) {
        Node centre;
        for (std::size_t k = 0; k < 3; ++k)
            centre[k] = (2 * cube[k] + 1) << level;
        return centre;
    }
    static Node Middle(Node const& a, Node const& b) {
        return {(a[0] + b[0]) / 2, (a[1] + b[1]) / 2, (a[2] + b[2]) / 2};
    }

    // The cubes on the other side of edge i of the face between two cubes.
    bool HasMiddle(int level, Cube const& cube, Cube const& neighbour, std::size_t axis,
                   std::size_t i) const {
        // Edges 0 and 2 run along the first axis of the face, at the lower and upper end of the second.
        std::size_t const across = i % 2 == 0 ? (axis + 2) % 3 : (axis + 1) % 3;
        int const step = i == 0 || i == 3 ? -1 : 1;
        Cube a = cube, b = neighbour;
        a[across] += step;
        b[across] += step;
        return m_tree.IsRefined(level, a) || m_tree.IsRefined(level, b);
    }

    void AddBetween(int level, Cube const& cube, Cube const& neighbour, std::size_t axis) {
        auto const face = Face(level, cube, axis, 1);
        Node const centre = Centre(level, cube), other = Centre(level, neighbour);
        for (std::size_t i = 0; i < 4; ++i) {
            Node const &a = face[i], &b = face[(i + 1) % 4];
            if (HasMiddle(level, cube, neighbour, axis, i)) {
                Add(centre, other, a, Middle(a, b));
                Add(centre, other, Middle(a, b), b);
            } else
                Add(centre, other, a, b);
        }
    }

    void AddBesideSmaller(int level, Cube const& cube, std::size_t axis, int side) {
        auto const face = Face(level, cube, axis, side);
        Node const centre = Centre(level, cube), middle = Middle(face[0], face[2]);
        for (std::size_t i = 0; i < 4; ++i) {
            Node const &a = face[i], &b = face[(i + 1) % 4];
            Add(centre, middle, a, Middle(a, b));
            Add(centre, middle, Middle(a, b), b);
        }
    }

    // The face is a quarter of the larger cube's: cut where that one cuts it, from its corner to its middle.
    void AddBesideLarger(int level, Cube const& cube, std::size_t axis, int side) {
        auto const face = Face(level, cube, axis, side);
        Node const centre = Centre(level, cube);
        bool const upper[2] = {(cube[(axis + 1) % 3] & 1) != 0, (cube[(axis + 2) % 3] & 1) != 0};
        std::size_t const corner = upper[1] ? (upper[0] ? 2u : 3u) : (upper[0] ? 1u : 0u);
        Node const &a = face[corner], &middle = face[(corner + 2) % 4];
        Add(centre, a, face[(corner + 1) % 4], middle);
        Add(centre, a, face[(corner + 3) % 4], middle);
    }

    void Add(Node const& a, Node const& b, Node const& c, Node const& d) {
        std::int64_t u[3], v[3], w[3];
        for (std::size_t k = 0; k < 3; ++k) {
            u[k] = b[k] - a[k];
            v[k] = c[k] - a[k];
            w[k] = d[k] - a[k];
        }
        std::int64_t const volume = u[0] * (v[1] * w[2] - v[2] * w[1]) + u[1] * (v[2] * w[0] - v[0] * w[2]) +
                                    u[2] * (v[0] * w[1] - v[1] * w[0]);
        Lattice::Tetrahedron t = {m_piece.nodes(a), m_piece.nodes(b), m_piece.nodes(c), m_piece.nodes(d)};
        if (volume < 0)
            std::swap(t[2], t[3]);
        m_piece.tetrahedra.push_back(t);
    }

    LatticeTree const& m_tree;
    std::function<bool(int, Cube const&)> m_is_wanted;
    Piece& m_piece;
};

} // namespace

Lattice::Lattice(LatticeTree const& tree,
                 std::function<bool(int level, LatticeTree::Cube const&)> const& is_wanted, bool parallel,
                 std::function<bool(double fraction)> const& advance) {
    NodeNumbers numbers;
    std::vector<Number> number_of;
    Support::WorkSteps const steps{
        .items = tree.NumberOfBlocks(), .step = 16, .parallel = parallel, .window = 16};
    Support::ComputeSteps<Piece>(
        steps,
        [&](std::uint64_t first, std::uint64_t last, Piece& piece) {
            piece.nodes.Clear();
            piece.tetrahedra.clear();
            PieceBuilder(tree, is_wanted, piece).Build(first, last);
        },
        [&](std::uint64_t, std::uint64_t last, Piece const& piece) {
            number_of.clear();
            for (Node const& node : piece.nodes.Nodes())
                number_of.push_back(numbers(node));
            for (Tetrahedron const& t : piece.tetrahedra)
                tetrahedra.push_back({number_of[t[0]], number_of[t[1]], number_of[t[2]], number_of[t[3]]});
            return advance(static_cast<double>(last) / static_cast<double>(steps.items));
        });
    nodes = numbers.Take();
}

NodeTetrahedra::NodeTetrahedra(std::size_t nodes, std::vector<Lattice::Tetrahedron> const& all, bool parallel)
    : first(nodes + 1, 0)
    , tetrahedra(4 * all.size()) {
    // Each of a few threads looks at some of the tetrahedra, one after another. Of each node it counts how
    // many it has; so it knows where among the node's tetrahedra its own begin.
    Support::WorkSteps const steps = Support::OneStepPerThread(all.size(), 4096, 8, parallel);
    std::vector<std::vector<std::uint32_t>> numbers(static_cast<std::size_t>(steps.NumberOfSteps()));
    Support::ComputeSteps(steps, [&](std::uint64_t begin, std::uint64_t end) {
        std::vector<std::uint32_t>& counts = numbers[static_cast<std::size_t>(begin / steps.step)];
        counts.assign(nodes, 0);
        for (std::uint64_t i = begin; i < end; ++i)
            for (std::uint32_t const node : all[static_cast<std::size_t>(i)])
                ++counts[node];
    });
    for (std::size_t node = 0; node < nodes; ++node) {
        std::uint32_t sum = 0;
        for (std::vector<std::uint32_t>& counts : numbers)
            sum += std::exchange(counts[node], sum);
        first[node + 1] = first[node] + sum;
    }
    Support::ComputeSteps(steps, [&](std::uint64_t begin, std::uint64_t end) {
        std::vector<std::uint32_t>& next = numbers[static_cast<std::size_t>(begin / steps.step)];
        for (std::uint64_t i = begin; i < end; ++i)
            for (std::uint32_t const node : all[static_cast<std::size_t>(i)])
                tetrahedra[static_cast<std::size_t>(first[node] + next[node]++)] =
                    static_cast<std::uint32_t>(i);
    });
}

} // namespace KetSDK::Mesh::Detail
