// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/MMeshConformingCutOperator.h>

#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/Mesh/geometry/detail/MeshRebuild.h>
#include <KetSDK/Mesh/operators/MMeshOrientOperator.h>
#include <KetSDK/Mesh/operators/detail/ElementCut.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <array>
#include <bit>
#include <map>
#include <set>
#include <span>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

using namespace KetSDK::Mesh::Detail;
using KetSDK::Common::IncrementalProgressReporter;

namespace {

using Face = ElementToCut::Face;
using FaceKey = std::array<MLong, 4>;
using Edge = ElementToCut::Edge;

bool IsCut(MMeshElement const& e) noexcept {
    return e.GetNodeCount() == 6 || e.GetNodeCount() == 8;
}

// Whether all corners of what is to be cut are nodes of the mesh.
bool HasItsNodes(MMeshBase const& mesh) {
    auto const count = static_cast<std::uint32_t>(mesh.NumberOfPoints());
    return std::ranges::all_of(mesh.Elements(), [count](MMeshElement const& e) {
        bool all = true;
        for (unsigned int i = 0; IsCut(e) && i < e.GetNodeCount(); ++i)
            all &= static_cast<std::uint32_t>(e.GetNode(i)->GetIndex()) < count;
        return all;
    });
}

// False when the user cancelled.
bool Advance(IncrementalProgressReporter& progress, std::uint64_t elements) {
    for (; elements > 0; --elements)
        ++progress;
    return !progress.IsCancelled();
}

// Chooses the diagonals of all faces with four corners.
class Diagonals {
public:
    // `edges` are given ones of nodes, by index.
    Diagonals(MMeshBase const& mesh, std::vector<Edge> const& edges)
        : m_mesh(mesh) {
        NumberPositions();
        CollectEdges();
        auto const is_node = [this](MLong index) {
            return static_cast<std::size_t>(index) < m_number.size();
        };
        for (auto const& [a, b] : edges)
            if (is_node(a) && is_node(b))
                m_edges.insert(
                    Key(m_number[static_cast<std::size_t>(a)], m_number[static_cast<std::size_t>(b)]));
    }

    // Looks at all elements and chooses other diagonals where that saves one. False when the user cancelled.
    bool Choose(IncrementalProgressReporter& progress, bool parallel) {
        using Numbers = std::vector<std::uint64_t>;
        Numbers folded;
        auto const find = [this](std::uint64_t first, std::uint64_t last, Numbers& found) {
            found.clear();
            for (std::uint64_t i = first; i < last; ++i)
                if (MMeshElement const& e = *m_mesh.GetElement(i); IsCut(e) && !CutOf(e).positive)
                    found.push_back(i);
        };
        auto const note = [&](std::uint64_t first, std::uint64_t last, Numbers const& found) {
            folded.insert(folded.end(), found.begin(), found.end());
            return Advance(progress, last - first);
        };
        if (!KetSDK::Support::ComputeSteps<Numbers>(
                {.items = m_mesh.Elements().GetNumElements(), .step = 32, .parallel = parallel}, find, note))
            return false;
        FindElementsAt(folded);
        for (std::uint64_t const i : folded) {
            if (progress.IsCancelled())
                return false;
            TryOtherDiagonals(*m_mesh.GetElement(i));
        }
        return true;
    }

    ElementToCut ToCut(MMeshElement const& e) const {
        ElementToCut::Numbers numbers{};
        for (unsigned int k = 0; k < e.GetNodeCount(); ++k)
            numbers[k] = NumberOf(e, k);
        ElementToCut element(e, numbers);
        for (Face& face : element.GetFaces())
            face.flipped = IsFlipped(face);
        return element;
    }

private:
    ElementCut CutOf(MMeshElement const& e) const { return ToCut(e).Cut(); }
    ElementToCut::Faces FacesOf(MMeshElement const& e) const { return ToCut(e).GetFaces(); }

    // Whether the cut on the present diagonals is positive. Remembered for each choice of diagonals, because
    // those of folded elements and of their neighbours are tried many times, and each cut takes long.
    bool IsPositive(MMeshElement const& e) {
        ElementToCut const element = ToCut(e);
        unsigned int choice = 0;
        for (Face const& face : element.GetFaces())
            choice = choice << 1U | static_cast<unsigned int>(face.flipped);
        std::uint64_t const bit = std::uint64_t{1} << choice; // of at most six faces
        auto& [known, positive] = m_positive[&e];
        if ((known & bit) == 0) {
            known |= bit;
            positive |= element.Cut().positive ? bit : 0;
        }
        return (positive & bit) != 0;
    }

    bool IsFlipped(Face const& face) const {
        bool const beside_triangles =
            !m_edges.empty() && m_edges.contains(Key(face.other)) && !m_edges.contains(Key(face.diagonal));
        return beside_triangles != (!m_flipped.empty() && m_flipped.contains(face.key));
    }

    // Numbers the positions of nodes in the order of the first node at each.
    void NumberPositions() {
        MMeshPointContainer positions;
        positions.CreateCoordinateIndex();
        m_number.reserve(static_cast<std::size_t>(m_mesh.NumberOfPoints()));
        for (MMeshPointConstIterator p = m_mesh.BeginPoint(); p != m_mesh.EndPoint(); ++p)
            m_number.push_back(positions.AddPoint(p->x, p->y, p->z).GetIndex());
    }

    // The edges of faces with three corners, where there may be some beside faces with four.
    void CollectEdges() {
        std::array<std::uint64_t, 256> kinds{};
        for (MMeshElement const& e : m_mesh.Elements())
            ++kinds[e.GetNodeCount()];
        bool const has_quadrilaterals = kinds[6] + kinds[8] > 0;
        for (MMeshElement const& e : m_mesh.Elements()) {
            unsigned char const n = e.GetNodeCount();
            if (n == 8 || (n == 6 && kinds[8] > 0))
                for (Edge const& edge : ToCut(e).GetEdgesOfTriangles())
                    m_edges.insert(Key(edge));
            if (has_quadrilaterals && (n == 4 || n == 10))
                for (auto const& edge : MMeshElementDescriptor::descr_tet4_tet10_point)
                    m_edges.insert(Key(NumberOf(e, edge[0]), NumberOf(e, edge[1])));
        }
    }

    // -1 for a node of another mesh.
    MLong NumberOf(MMeshElement const& e, unsigned int k) const {
        auto const index = static_cast<std::size_t>(e.GetNode(k)->GetIndex());
        return index < m_number.size() ? m_number[index] : -1;
    }
    static std::uint64_t Key(MLong a, MLong b) noexcept {
        return std::uint64_t{static_cast<std::uint32_t>(std::min(a, b))} << 32 |
               static_cast<std::uint32_t>(std::max(a, b));
    }
    static std::uint64_t Key(Edge const& edge) noexcept { return Key(edge[0], edge[1]); }

    // Notes the elements at the faces of these.
    void FindElementsAt(std::vector<std::uint64_t> const& elements) {
        for (std::uint64_t const i : elements)
            for (Face const& face : FacesOf(*m_mesh.GetElement(i)))
                m_elements_at[face.key];
        if (m_elements_at.empty())
            return;
        for (MMeshElement const& e : m_mesh.Elements())
            if (IsCut(e))
                for (Face const& face : FacesOf(e))
                    if (auto const found = m_elements_at.find(face.key); found != m_elements_at.end())
                        found->second.push_back(&e);
    }

    // Flips the fewest faces of an element with which it is positive and no neighbour becomes worse.
    // Diagonals of tetrahedra stay.
    void TryOtherDiagonals(MMeshElement const& e) {
        if (IsPositive(e)) // since a neighbour was
            return;
        std::vector<FaceKey> faces;
        for (Face const& face : FacesOf(e))
            if (!m_edges.contains(Key(face.diagonal)) && !m_edges.contains(Key(face.other)))
                faces.push_back(face.key);
        unsigned int const all = 1U << faces.size();
        for (int flips = 1; flips <= static_cast<int>(faces.size()); ++flips)
            for (unsigned int chosen = 1; chosen < all; ++chosen)
                if (std::popcount(chosen) == flips && TryFlips(e, faces, chosen))
                    return;
    }

    bool TryFlips(MMeshElement const& e, std::vector<FaceKey> const& faces, unsigned int chosen) {
        auto const flip = [&] {
            for (std::size_t f = 0; f < faces.size(); ++f)
                if ((chosen >> f & 1U) != 0 && m_flipped.erase(faces[f]) == 0)
                    m_flipped.insert(faces[f]);
        };
        flip();
        bool const helps = IsPositive(e);
        flip();
        if (!helps)
            return false;
        std::set<MMeshElement const*> positive_neighbours;
        for (std::size_t f = 0; f < faces.size(); ++f)
            for (MMeshElement const* const other : m_elements_at[faces[f]])
                if ((chosen >> f & 1U) != 0 && other != &e && IsPositive(*other))
                    positive_neighbours.insert(other);
        flip();
        bool const harmless = std::ranges::all_of(
            positive_neighbours, [this](MMeshElement const* neighbour) { return IsPositive(*neighbour); });
        if (!harmless)
            flip();
        return harmless;
    }

    MMeshBase const& m_mesh;
    std::vector<MLong> m_number;               // by node
    std::unordered_set<std::uint64_t> m_edges; // of triangles, and given ones
    std::set<FaceKey> m_flipped;
    std::map<FaceKey, std::vector<MMeshElement const*>> m_elements_at; // of elements without a positive cut
    // By element, for each choice of diagonals a bit: whether its cut is known, and whether it is positive.
    std::unordered_map<MMeshElement const*, std::pair<std::uint64_t, std::uint64_t>> m_positive;
};

// A face with four corners, and how an element halves it.
struct HalvedFace {
    FaceKey key;
    Edge diagonal;

    friend auto operator<=>(HalvedFace const&, HalvedFace const&) = default;
};

// What cutting some elements met.
struct CutNotes {
    MMeshConformingCutOperator::Counts counts;
    std::vector<HalvedFace> faces;
};

// Sketches the pieces of the elements.
class Cutter {
public:
    Cutter(Diagonals const& diagonals, MeshSketch& sketch, CutNotes& notes)
        : m_diagonals(diagonals)
        , m_sketch(sketch)
        , m_notes(notes) {}

    void Add(MMeshElement const& e) {
        if (IsCut(e))
            AddPieces(e);
        else
            AddCopy(e);
    }

private:
    void AddPieces(MMeshElement const& e) {
        ElementToCut const element = m_diagonals.ToCut(e);
        ElementCut const cut = element.Cut();
        MeshSketch::Mark inside{};
        if (cut.inside)
            inside = m_sketch.NodeInside(e, *cut.inside);
        for (ElementCut::Tetrahedron const& t : cut.tetrahedra) {
            MeshSketch::Mark nodes[4];
            for (unsigned int i = 0; i < 4; ++i)
                nodes[i] = t[i] == ElementCut::Inside ? inside : m_sketch.NodeFor(*e.GetNode(t[i]));
            m_sketch.AddElement(nodes);
        }
        m_notes.counts.nodes_inside += cut.inside.has_value();
        m_notes.counts.turned += cut.turned;
        m_notes.counts.folded += !cut.positive;
        for (Face const& face : element.GetFaces())
            AddFace(face, cut);
    }

    // Notes the diagonal that the pieces really have.
    void AddFace(Face const& face, ElementCut const& cut) {
        auto const has_edge = [&](unsigned char a, unsigned char b) {
            return std::ranges::any_of(cut.tetrahedra, [&](ElementCut::Tetrahedron const& t) {
                return std::ranges::count(t, a) + std::ranges::count(t, b) == 2;
            });
        };
        bool const first = has_edge(face.corners[0], face.corners[2]);
        m_notes.faces.push_back({face.key, first ? face.diagonal : face.other});
    }

    void AddCopy(MMeshElement const& e) {
        MeshSketch::Mark nodes[255] = {};
        for (unsigned int i = 0; i < e.GetNodeCount(); ++i)
            nodes[i] = m_sketch.NodeFor(*e.GetNode(i));
        m_notes.counts.turned += MMeshOrientOperator::TurnIfInverted(
            e, [&nodes](unsigned int i, unsigned int k) { std::swap(nodes[i], nodes[k]); });
        m_sketch.AddElement(std::span(nodes).first(e.GetNodeCount()));
    }

    Diagonals const& m_diagonals;
    MeshSketch& m_sketch;
    CutNotes& m_notes;
};

// Counts the faces that two elements share, and compares how they halve them.
void CompareFaces(std::vector<HalvedFace>& faces, MMeshConformingCutOperator::Counts& counts) {
    std::ranges::sort(faces);
    for (std::size_t i = 0; i < faces.size(); ++i)
        if (i == 0 || faces[i].key != faces[i - 1].key) {
            counts.other_diagonals += faces[i].diagonal[0] != faces[i].key[0];
        } else {
            ++counts.shared_faces;
            counts.mismatches += faces[i].diagonal != faces[i - 1].diagonal;
        }
}

} // namespace

MMeshConformingCutOperator::~MMeshConformingCutOperator() = default;

bool MMeshConformingCutOperator::Operate() {
    m_counts = {};
    MMeshBase const* const mesh = GetMesh();
    if (!mesh || !m_target || mesh == m_target || !HasItsNodes(*mesh))
        return false;
    auto const elements = static_cast<unsigned long long>(mesh->NumberOfElements());
    IncrementalProgressReporter progress(m_delegate, "Cutting elements", 2 * elements, true);
    Diagonals diagonals(*mesh, m_given_edges);
    if (!diagonals.Choose(progress, GetParallel()))
        return false;
    m_target->SetMeshType(MMeshBase::Linear);
    MeshRebuild rebuild(*mesh, *m_target, m_origins, GetParallel());
    rebuild.SetElementsPerStep(50); // one that is badly folded takes a millisecond
    rebuild.SetJoinNodes(m_join_nodes);
    std::vector<HalvedFace> faces;
    auto const sketch = [&diagonals](MMeshElement const& e, MeshSketch& pieces, CutNotes& notes) {
        Cutter(diagonals, pieces, notes).Add(e);
    };
    auto const go_on = [&](std::uint64_t cut, CutNotes const& notes) {
        m_counts.turned += notes.counts.turned;
        m_counts.nodes_inside += notes.counts.nodes_inside;
        m_counts.folded += notes.counts.folded;
        faces.insert(faces.end(), notes.faces.begin(), notes.faces.end());
        return Advance(progress, cut);
    };
    bool const done = rebuild.ForEachSubVolume([&](MMeshSubVolume const& source) {
        return rebuild.ForEachElement<CutNotes>(source, sketch, go_on);
    });
    if (done)
        CompareFaces(faces, m_counts);
    return done;
}
