// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/MMeshProjectTetOnStlOperator.h>

#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/Mesh/geometry/Tetrahedron10Base.h>
#include <KetSDK/Mesh/geometry/detail/MidNodes.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Mesh/mesh/MMeshElementPrefetch.h>
#include <KetSDK/Mesh/mesh/detail/NearestCoordinate.h>
#include <KetSDK/Mesh/operators/detail/FaceMatcher.h>
#include <KetSDK/Mesh/operators/detail/SubVolumeIDs.h>
#include <KetSDK/Support/ParallelWork.h>
#include <KetSDK/Support/RecordBins.h>
#include <KetSDK/Triangles/Data/MStlBase.h>
#include <KetSDK/Triangles/DataQueries/MStlTriangleTree.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <utility>

using namespace KetSDK::Mesh::Detail;
using KetSDK::Common::IncrementalProgressReporter;
using KetSDK::Support::ComputeSteps;
using KetSDK::Support::Values;

namespace {

using Position = MMVector<MLong, 3>; // internal units
using Vector = MMVector<double, 3>;

constexpr double Unit = KetSDK::Common::MInternalUnits::Get();
// How far rounding takes a point of the surface away from it, in internal units: half the diagonal of a cell.
constexpr double RoundingDistance = 0.8660254037844387;

// How an element is shaped, in internal units.
struct Shape {
    double corners; // six times the volume of the tetrahedron of the corners
    double least;   // the smallest determinant of the curved shape; the same for a linear element
    bool good;
    double quality = 0.0; // the scaled Jacobian of the corners, where it counts

    Shape(MMeshElement const& e, bool with_quality) {
        // What rounding makes of the determinant of a flat element is smaller by far.
        constexpr double flat = 1e-12;
        Vector const origin(PositionOf(*e.GetNode(0)));
        Vector const a = Vector(PositionOf(*e.GetNode(1))) - origin;
        Vector const b = Vector(PositionOf(*e.GetNode(2))) - origin;
        Vector const c = Vector(PositionOf(*e.GetNode(3))) - origin;
        corners = a.Cross(b).Dot(c);
        least = IsQuadratic(e) ? Tetrahedron10Base<MLong>(&e, true).MinJacobianDeterminant() : corners;
        good = std::min(corners, least) >
               flat * std::sqrt(a.SquaredLength() * b.SquaredLength() * c.SquaredLength());
        if (with_quality) // in model units, as metrics have it: to the last bit
            quality = TetrahedronBase<double>(&e).QualityScaledJacobian();
    }

    // Whether the element may be changed to that of another shape.
    bool MayBecome(Shape const& other) const noexcept {
        return other.good || (!good && other.corners >= corners && other.least >= least);
    }
    // Whether that falls below a smallest quality, or further below it.
    bool IsTooPoor(Shape const& other, double least_quality) const noexcept {
        return other.quality < std::min(quality, least_quality);
    }
};

} // namespace

struct MMeshProjectTetOnStlOperator::Move {
    enum State : int { TooFar, OnSurface, Held, Shortened, Done };

    MMeshPoint* node;
    Position from;
    Position target;
    State state;
    bool limited = false; // the last time that it was tried, the smallest quality alone forbade the whole way

    // Where the node stands after a part of the way.
    Position At(double fraction) const noexcept {
        return NearestCoordinates(Vector(from) + fraction * (Vector(target) - Vector(from)));
    }
};

// Carries moves out, one after another. Elements that are good whatever becomes of the moves are not judged:
// where nodes come from near by, these are nearly all.
class MMeshProjectTetOnStlOperator::Mover {
public:
    Mover(MMeshBase& mesh, std::vector<Move>& moves, double min_quality, bool parallel)
        : m_mesh(mesh)
        , m_moves(moves)
        , m_min_quality(min_quality) {
        FindElements(parallel);
        if (m_has_quadratic) {
            m_mid_nodes.emplace(mesh);
            m_origins.reserve(static_cast<std::size_t>(mesh.NumberOfPoints()));
            for (MMeshPointConstIterator p = mesh.BeginPoint(); p != mesh.EndPoint(); ++p)
                m_origins.push_back(PositionOf(*p));
        }
    }

    // False, with all nodes back where they were, when the user cancels.
    bool Run(IncrementalProgressReporter& reporter) {
        for (std::size_t i = 0; i < m_moves.size() && !reporter.IsCancelled(); ++i, ++reporter)
            if (m_moves[i].state == Move::Held)
                MoveAsFarAsGoes(i);
        while (!reporter.IsCancelled() && GoTheRest(reporter)) {
        }
        bool const is_cancelled = reporter.IsCancelled(); // asked once: it may change at any moment
        if (is_cancelled)
            GoBack();
        return !is_cancelled;
    }

private:
    static constexpr std::uint32_t None = std::numeric_limits<std::uint32_t>::max();

    struct MidNode {
        MMeshPoint* mid;
        MMeshPoint const* a; // the ends of its edge
        MMeshPoint const* b;
    };

    // Elements that one thread looks through.
    struct Piece {
        bool has_quadratic = false;
        std::vector<std::uint32_t> elements; // those that are looked for
        std::vector<std::size_t> count;      // of these at each move; then where the next one goes
    };

    // By node, how far it may come from where it stands: 0 for one that has no way to go.
    std::vector<float> FindReach() const {
        constexpr double with_rounding = 2.0; // of the places on the way, and of the reach
        std::vector<float> reach(static_cast<std::size_t>(m_mesh.NumberOfPoints()), 0.0F);
        for (Move const& move : m_moves)
            if (move.state == Move::Held)
                reach[IndexOf(*move.node)] = static_cast<float>(
                    1.001 * (Vector(move.target) - Vector(move.from)).Length() + with_rounding);
        return reach;
    }

    // The elements at each node that has a way to go, by ascending number, as far as they may forbid a move.
    void FindElements(bool parallel) {
        std::vector<float> const reach = FindReach();
        KetSDK::Support::WorkSteps const pieces =
            KetSDK::Support::OneStepPerThread(m_mesh.Elements().GetNumElements(), 4096, 16, parallel);
        std::vector<Piece> found(static_cast<std::size_t>(pieces.NumberOfSteps()));
        ComputeSteps(pieces, [&](std::uint64_t first, std::uint64_t last) {
            found[static_cast<std::size_t>(first / pieces.step)] = LookThrough(first, last, reach);
        });
        ListElements(found, parallel);
        m_has_quadratic = std::ranges::any_of(found, &Piece::has_quadratic);
    }

    Piece LookThrough(std::uint64_t first, std::uint64_t last, std::vector<float> const& reach) const {
        Piece piece;
        m_mesh.Elements().ForEachWithNodes(first, last, [&](MMeshElement const& e, std::uint64_t number) {
            float farthest = 0.0F;
            for (unsigned int k = 0; k < e.GetNodeCount(); ++k)
                farthest = std::max(farthest, reach[IndexOf(*e.GetNode(k))]);
            piece.has_quadratic = piece.has_quadratic || IsQuadratic(e);
            if (farthest > 0.0F && !StaysGood(e, reach, m_min_quality))
                piece.elements.push_back(static_cast<std::uint32_t>(number));
        });
        return piece;
    }

    // Whether an element of four nodes is good, and not below a quality, wherever its nodes are in their
    // reach.
    static bool StaysGood(MMeshElement const& e, std::vector<float> const& reach, double least_quality) {
        if (IsQuadratic(e))
            return false;
        Vector p[4];
        double way[4];
        for (unsigned int i = 0; i < 4; ++i) {
            p[i] = Vector(PositionOf(*e.GetNode(i)));
            way[i] = reach[IndexOf(*e.GetNode(i))];
        }
        Vector const a = p[1] - p[0];
        Vector const b = p[2] - p[0];
        Vector const c = p[3] - p[0];
        // The determinant is a polynomial in what the nodes move, of degree 1 in each.
        Vector const slope[4] = {b.Cross(c) + c.Cross(a) + a.Cross(b), b.Cross(c), c.Cross(a), a.Cross(b)};
        double const length =
            std::sqrt(std::max({a.SquaredLength(), b.SquaredLength(), c.SquaredLength(),
                                (b - a).SquaredLength(), (c - a).SquaredLength(), (c - b).SquaredLength()}));
        double const both_ways = 2.0 * std::max({way[0], way[1], way[2], way[3]}); // of the ends of an edge
        double loss = both_ways * both_ways * (3.0 * length + both_ways);
        for (unsigned int i = 0; i < 4; ++i)
            loss += way[i] * slope[i].Length();
        // More than a flat element has, and by the definition of the scaled Jacobian.
        double const longest = length + both_ways;
        double const least =
            std::max(1e-9, 1.001 / std::sqrt(2.0) * least_quality) * longest * longest * longest;
        return slope[3].Dot(c) - loss > least;
    }

    void ListElements(std::vector<Piece>& found, bool parallel) {
        std::vector<std::uint32_t> move_of;
        if (std::ranges::any_of(found, [](Piece const& piece) { return !piece.elements.empty(); }))
            move_of = MovesOfNodes();
        auto const for_each_move = [&](MMeshElement const& e, auto const& use) {
            for (unsigned int k = 0; k < e.GetNodeCount(); ++k)
                if (std::uint32_t const move = move_of[IndexOf(*e.GetNode(k))]; move != None)
                    use(move);
        };
        auto const for_each_piece = [&](auto const& visit) {
            ComputeSteps({.items = found.size(), .parallel = parallel}, [&](std::uint64_t i, std::uint64_t) {
                Piece& piece = found[static_cast<std::size_t>(i)];
                auto const element_at = [&](std::size_t k) { return m_mesh.GetElement(piece.elements[k]); };
                for (std::size_t k = 0; k < piece.elements.size(); ++k) {
                    KetSDK::Mesh::PrefetchWithNodes<12>(k, piece.elements.size(), element_at);
                    for_each_move(*element_at(k), [&](std::uint32_t move) { visit(piece, k, move); });
                }
            });
        };
        for (Piece& piece : found)
            if (!piece.elements.empty())
                piece.count.resize(m_moves.size());
        for_each_piece([](Piece& piece, std::size_t, std::uint32_t move) { ++piece.count[move]; });
        m_first.reserve(m_moves.size() + 1);
        m_first.push_back(0);
        for (std::size_t i = 0; i < m_moves.size(); ++i) {
            std::size_t sum = m_first.back();
            for (Piece& piece : found)
                if (!piece.count.empty())
                    sum += std::exchange(piece.count[i], sum);
            m_first.push_back(sum);
        }
        m_elements.resize(m_first.back());
        for_each_piece([this](Piece& piece, std::size_t k, std::uint32_t move) {
            m_elements[piece.count[move]++] = piece.elements[k];
        });
    }

    std::vector<std::uint32_t> MovesOfNodes() const {
        std::vector<std::uint32_t> move_of(static_cast<std::size_t>(m_mesh.NumberOfPoints()), None);
        for (std::size_t i = 0; i < m_moves.size(); ++i)
            if (m_moves[i].state == Move::Held)
                move_of[IndexOf(*m_moves[i].node)] = static_cast<std::uint32_t>(i);
        return move_of;
    }

    // By number.
    std::span<std::uint32_t const> ElementsOf(std::size_t move) const noexcept {
        return {m_elements.data() + m_first[move], m_first[move + 1] - m_first[move]};
    }

    void MoveAsFarAsGoes(std::size_t i) {
        Move& move = m_moves[i];
        if (GoesAtOnce(i))
            return;
        LookAt(i);
        for (double fraction = 1.0;; fraction /= 2.0) {
            Position const to = move.At(fraction);
            if (to == move.from)
                return;
            Verdict const verdict = Try(i, to);
            if (fraction == 1.0)
                move.limited = verdict == Verdict::TooPoor;
            if (verdict == Verdict::Fine) {
                move.state = to == move.target ? Move::Done : Move::Shortened;
                return;
            }
        }
    }

    // Goes the whole way where all elements are good afterwards, whatever they were before: what nearly all
    // nodes can do. Otherwise nothing changes.
    bool GoesAtOnce(std::size_t i) {
        Move& move = m_moves[i];
        if (m_has_quadratic || move.target == move.from)
            return false;
        MoveTo(*move.node, move.target);
        auto const element_at = [this](std::size_t k) { return m_mesh.GetElement(m_elements[k]); };
        for (std::size_t k = m_first[i]; k < m_first[i + 1]; ++k) {
            KetSDK::Mesh::PrefetchWithNodes<12>(k, m_elements.size(), element_at);
            if (Shape const shape(*element_at(k), m_min_quality > 0.0);
                !shape.good || shape.quality < m_min_quality) {
                MoveTo(*move.node, move.from);
                return false;
            }
        }
        move.state = Move::Done;
        return true;
    }

    // The rest of the way for nodes that were held up. Whether some node went it: others may be free then.
    bool GoTheRest(IncrementalProgressReporter const& reporter) {
        bool any = false;
        for (std::size_t i = 0; i < m_moves.size() && !reporter.IsCancelled(); ++i) {
            if (m_moves[i].state != Move::Held && m_moves[i].state != Move::Shortened)
                continue;
            LookAt(i);
            Verdict const verdict = Try(i, m_moves[i].target);
            m_moves[i].limited = verdict == Verdict::TooPoor;
            if (verdict == Verdict::Fine) {
                m_moves[i].state = Move::Done;
                any = true;
            }
        }
        return any;
    }

    void GoBack() {
        for (Move const& move : m_moves)
            MoveTo(*move.node, move.from);
        for (std::size_t i = 0; i < m_origins.size(); ++i)
            MoveTo(*m_mesh.GetRandomPoint(i), m_origins[i]);
    }

    // Notes the shapes of the elements at a node, and the mid nodes that follow it.
    void LookAt(std::size_t i) {
        m_shapes.clear();
        m_following.clear();
        for (std::uint32_t const number : ElementsOf(i)) {
            MMeshElement const& e = *m_mesh.GetElement(number);
            m_shapes.emplace_back(e, m_min_quality > 0.0);
            if (IsQuadratic(e))
                AddFollowing(e, m_moves[i].node);
        }
        std::ranges::sort(m_following, {}, [](MidNode const& m) { return IndexOf(*m.mid); });
        auto const is_again = [](MidNode const& m, MidNode const& o) { return m.mid == o.mid; };
        m_following.erase(std::unique(m_following.begin(), m_following.end(), is_again), m_following.end());
    }

    void AddFollowing(MMeshElement const& e, MMeshPoint const* node) {
        for (unsigned int m = 0; m < MidNodes::OfElement; ++m) {
            auto const& ends = MMeshElementDescriptor::descr_tet4_tet10_point[m];
            MMeshPoint const* const a = e.GetNode(ends[0]);
            MMeshPoint const* const b = e.GetNode(ends[1]);
            if ((a == node || b == node) && m_mid_nodes->IsProper(*e.GetNode(4 + m)))
                m_following.push_back({e.GetNode(4 + m), a, b});
        }
    }

    // What a move does to the elements around: worst last.
    enum class Verdict { Fine, TooPoor, Spoiled };

    // Puts the node there unless an element forbids it; then nothing changes.
    Verdict Try(std::size_t i, Position const& to) {
        m_undo.clear();
        MoveWithUndo(*m_moves[i].node, to);
        for (MidNode const& m : m_following)
            // Its offset may lead it out of the range of coordinates, in which it stays.
            MoveWithUndo(*m.mid, NearestCoordinates(Origin(*m.mid) + (Way(*m.a) + Way(*m.b)) / 2.0));
        Verdict const verdict = Judge(ElementsOf(i));
        if (verdict != Verdict::Fine)
            for (auto const& [node, position] : m_undo)
                MoveTo(*node, position);
        return verdict;
    }

    // Holds the elements against what they were.
    Verdict Judge(std::span<std::uint32_t const> elements) const {
        Verdict verdict = Verdict::Fine;
        for (std::size_t k = 0; k < elements.size(); ++k) {
            Shape const shape(*m_mesh.GetElement(elements[k]), m_min_quality > 0.0);
            if (!m_shapes[k].MayBecome(shape))
                return Verdict::Spoiled;
            if (m_shapes[k].IsTooPoor(shape, m_min_quality))
                verdict = Verdict::TooPoor;
        }
        return verdict;
    }

    void MoveWithUndo(MMeshPoint& node, Position const& to) {
        m_undo.emplace_back(&node, PositionOf(node));
        MoveTo(node, to);
    }
    Vector Origin(MMeshPoint const& p) const { return Vector(m_origins[IndexOf(p)]); }
    Vector Way(MMeshPoint const& p) const { return Vector(PositionOf(p)) - Origin(p); }

    MMeshBase& m_mesh;
    std::vector<Move>& m_moves;
    double m_min_quality;
    bool m_has_quadratic = false;
    std::vector<std::size_t> m_first; // by move: the first of its elements, and where the last one's end
    Values<std::uint32_t> m_elements;
    // With quadratic elements: their mid nodes, and where every node stood at first.
    std::optional<MidNodes> m_mid_nodes;
    std::vector<Position> m_origins;
    // Of the node that was looked at last.
    std::vector<Shape> m_shapes;
    std::vector<MidNode> m_following;
    std::vector<std::pair<MMeshPoint*, Position>> m_undo;
};

MMeshProjectTetOnStlOperator::~MMeshProjectTetOnStlOperator() = default;

std::vector<MMeshPoint*> MMeshProjectTetOnStlOperator::FindNodes() {
    MMeshBase* const mesh = GetMesh();
    return mesh && HasTetrahedraOnly(mesh->Elements(), GetParallel()) ? FindNodesOfTetrahedra(*mesh)
                                                                      : std::vector<MMeshPoint*>();
}

std::vector<MMeshPoint*> MMeshProjectTetOnStlOperator::FindNodesOfTetrahedra(MMeshBase& mesh) const {
    std::vector<char> on_face(static_cast<std::size_t>(mesh.NumberOfPoints()), 0);
    SubVolumeIDs const ids(mesh);
    FaceMatcher<false> matcher(mesh, GetParallel(),
                               [&](MMeshElement const& e) { return m_interfaces ? ids(e) : 0; });
    matcher.ForEachBoundaryFaceAtOnce([&](std::uint32_t element, std::uint32_t face, int, int, bool) {
        MMeshElement const& e = *mesh.GetElement(element);
        for (unsigned int i = 0; i < TetrahedronFaces[face].corners; ++i)
            std::atomic_ref(on_face[IndexOf(*e.GetNode(TetrahedronFaces[face].node[i]))])
                .store(1, std::memory_order_relaxed);
    });
    std::vector<MMeshPoint*> nodes;
    for (std::size_t i = 0; i < on_face.size(); ++i)
        if (on_face[i])
            nodes.push_back(mesh.GetRandomPoint(i));
    return nodes;
}

bool MMeshProjectTetOnStlOperator::Operate() {
    m_counts = {};
    if (!CanRun())
        return false;
    GetMesh()->GetNeighborsInfo()->Enable(GetParallel()); // for callers, who count on it
    std::vector<MMeshPoint*> const nodes = FindNodesOfTetrahedra(*GetMesh());
    IncrementalProgressReporter reporter(m_delegate, "Moving boundary", 2 * nodes.size(), true);
    std::vector<Move> moves = FindMoves(nodes, reporter);
    if (moves.size() < nodes.size() || !Mover(*GetMesh(), moves, m_min_quality, GetParallel()).Run(reporter))
        return false;
    Count(moves);
    if (m_counts.moved + m_counts.shortened > 0)
        GetMesh()->NodesMoved();
    return true;
}

bool MMeshProjectTetOnStlOperator::CanRun() {
    return GetMesh() && m_stl && m_stl->NumberOfTriangles() > 0 && std::isfinite(m_distance) &&
           m_distance >= 0.0 && m_min_quality >= 0.0 && m_min_quality <= 1.0 &&
           HasTetrahedraOnly(GetMesh()->Elements(), GetParallel());
}

std::vector<MMeshProjectTetOnStlOperator::Move>
MMeshProjectTetOnStlOperator::FindMoves(std::vector<MMeshPoint*> const& nodes,
                                        IncrementalProgressReporter& reporter) {
    MStlTriangleTree const tree(*m_stl, GetParallel());
    auto const find = [&](MMeshPoint& node) -> Move {
        Position const from = PositionOf(node);
        MStlTriangleTree::Hit const hit = tree.FindNearest(Vector(from) / Unit, m_distance);
        if (!hit.triangle)
            return {&node, from, from, Move::TooFar};
        bool const there = hit.distance * Unit <= RoundingDistance;
        return {&node, from, NearestCoordinates(hit.point * Unit), there ? Move::OnSurface : Move::Held};
    };
    std::vector<Move> moves(nodes.size());
    auto const compute = [&](std::uint64_t first, std::uint64_t last, std::size_t) {
        for (auto i = static_cast<std::size_t>(first); i < last; ++i)
            moves[i] = find(*nodes[i]);
    };
    auto const commit = [&](std::uint64_t, std::uint64_t last, std::size_t) {
        reporter = last;
        return !reporter.IsCancelled();
    };
    if (!KetSDK::Support::ComputeSteps({.items = nodes.size(), .step = 256, .parallel = GetParallel()},
                                       compute, commit))
        moves.clear();
    return moves;
}

void MMeshProjectTetOnStlOperator::Count(std::vector<Move> const& moves) {
    std::uint64_t* const counter[] = {&m_counts.far, &m_counts.on_surface, &m_counts.held,
                                      &m_counts.shortened, &m_counts.moved};
    for (Move const& move : moves) {
        ++*counter[move.state];
        m_counts.limited += move.limited;
        double const length = (Vector(PositionOf(*move.node)) - Vector(move.from)).Length() / Unit;
        m_counts.largest_move = std::max(m_counts.largest_move, length);
    }
}
