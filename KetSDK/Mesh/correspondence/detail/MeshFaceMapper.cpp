#include <KetSDK/Mesh/correspondence/detail/MeshFaceMapper.h>

#include <KetSDK/Common/Progress/IndeterminateProgressReporter.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/parallel_sort.h>
#include <tbb/task_arena.h>
#include <tbb/task_group.h>

#include <algorithm>
#include <functional>
#include <thread>

using Descriptor = MMeshElementDescriptor;

namespace KetSDK::Mesh::Detail {

namespace {

bool IsTetrahedron(MMeshElement const& e) {
    return e.GetNodeCount() == 4 || e.GetNodeCount() == 10;
}

// Calls visit(face of e) for the faces whose three nodes are corners of other as well, until it returns
// false. Whether there was one.
template <typename Visit>
bool ForEachSharedFace(MMeshElement const& e, MMeshElement const& other, Visit const& visit) {
    if (!IsTetrahedron(e) || !IsTetrahedron(other))
        return false;
    unsigned int common = 0; // a bit for each corner of e
    for (unsigned int i = 0; i < 4; ++i)
        for (unsigned int k = 0; k < 4; ++k)
            common |= static_cast<unsigned int>(e.GetNode(i) == other.GetNode(k)) << i;
    bool any = false;
    for (unsigned int face = 0; face < 4; ++face) {
        auto const& corner = Descriptor::descr_triangle_point_ORIENTED[face];
        unsigned int const needed = 1u << corner[0] | 1u << corner[1] | 1u << corner[2];
        if ((common & needed) != needed)
            continue;
        any = true;
        if (!visit(face))
            break;
    }
    return any;
}

// Sorts values of which no two are equal but the same, so that threads cannot change the result.
template <typename Value, typename Less>
void Sort(std::vector<Value>& values, Less const& less, MeshFaceMapper::Loop const& loop) {
    if (loop.IsParallel())
        tbb::parallel_sort(values.begin(), values.end(), less);
    else
        std::sort(values.begin(), values.end(), less);
}

} // namespace

// The faces that a triangle may lie on, by ascending corners; each has a side for every element.
struct MeshFaceMapper::Faces {
    struct Side {
        std::array<MLong, 3> key; // the indices of the corner nodes, ascending
        std::uint32_t element;
        std::uint32_t face;
        auto operator<=>(Side const&) const = default;
    };
    std::vector<Side> sides;
    std::vector<std::size_t> first_side; // of each face, and where the last one ends
    std::vector<Face> faces;

    Faces(MMeshBase const& mesh, Matcher const& matcher, Loop const& loop);

private:
    void _FindSides(MMeshBase const& mesh, std::vector<char> const& near, Loop const& loop);
    void _JoinSides(MMeshBase const& mesh);
};

MeshFaceMapper::Faces::Faces(MMeshBase const& mesh, Matcher const& matcher, Loop const& loop) {
    std::vector<char> near(static_cast<std::size_t>(mesh.NumberOfPoints()));
    loop(near.size(), 1024, [&](std::size_t first, std::size_t last) {
        for (std::size_t i = first; i < last; ++i)
            near[i] = matcher.IsNear(*mesh.GetRandomPoint(i));
    });
    _FindSides(mesh, near, loop);
    // By corners and then by element: the order does not tell who found them.
    Sort(sides, std::less<>(), loop);
    _JoinSides(mesh);
}

void MeshFaceMapper::Faces::_FindSides(MMeshBase const& mesh, std::vector<char> const& near,
                                       Loop const& loop) {
    constexpr std::size_t block = 4096;
    auto const count = static_cast<std::size_t>(mesh.Elements().GetNumElements());
    std::vector<std::vector<Side>> found((count + block - 1) / block);
    loop(count, block, [&](std::size_t first, std::size_t last) {
        std::vector<Side>& mine = found[first / block];
        mesh.Elements().ForEachWithNodes(first, last, [&](MMeshElement const& e, std::uint64_t number) {
            if (!IsTetrahedron(e))
                return;
            MLong node[4];
            unsigned int near_nodes = 0;
            for (unsigned int i = 0; i < 4; ++i) {
                node[i] = e.GetNode(i)->GetIndex();
                near_nodes += near[static_cast<std::size_t>(node[i])] != 0;
            }
            for (unsigned int face = 0; near_nodes >= 3 && face < 4; ++face) {
                auto const& at = Descriptor::descr_triangle_point_ORIENTED[face];
                std::array<MLong, 3> key = {node[at[0]], node[at[1]], node[at[2]]};
                if (std::ranges::all_of(key, [&](MLong n) { return near[static_cast<std::size_t>(n)]; })) {
                    std::ranges::sort(key);
                    mine.push_back({key, static_cast<std::uint32_t>(number), face});
                }
            }
        });
    });
    for (std::vector<Side> const& some : found)
        sides.insert(sides.end(), some.begin(), some.end());
}

void MeshFaceMapper::Faces::_JoinSides(MMeshBase const& mesh) {
    // By corners, the elements come in any order: each is fetched ahead, and then its array of nodes.
    constexpr std::size_t ahead = 12;
    for (std::size_t i = 0; i < sides.size(); ++i) {
        if (i + 2 * ahead < sides.size())
            __builtin_prefetch(mesh.GetElement(sides[i + 2 * ahead].element));
        if (i + ahead < sides.size())
            __builtin_prefetch(mesh.GetElement(sides[i + ahead].element)->GetNodes());
        Side const& side = sides[i];
        if (i > 0 && sides[i - 1].key == side.key) {
            faces.back().exterior = false;
            continue;
        }
        MMeshElement const& e = *mesh.GetElement(side.element);
        auto const& at = Descriptor::descr_triangle_point_ORIENTED[side.face];
        first_side.push_back(i);
        faces.push_back({{e.GetNode(at[0]), e.GetNode(at[1]), e.GetNode(at[2])}, true});
    }
    first_side.push_back(sides.size());
}

MeshFaceMapper::Matcher::~Matcher() = default;

namespace {

// The user has cancelled.
struct Cancelled {};

} // namespace

void MeshFaceMapper::Loop::operator()(std::size_t count, std::size_t block,
                                      std::function<void(std::size_t, std::size_t)> const& work) const {
    auto const do_block = [&, owner = std::this_thread::get_id()](std::size_t i) {
        work(i * block, std::min((i + 1) * block, count));
        if (std::this_thread::get_id() == owner && m_reporter && m_reporter->IsCancelled())
            throw Cancelled();
    };
    std::size_t const blocks = (count + block - 1) / block;
    if (!m_parallel) {
        for (std::size_t i = 0; i < blocks; ++i)
            do_block(i);
        return;
    }
    // An exception of one block stops the others.
    tbb::task_group_context context(tbb::task_group_context::isolated);
    tbb::parallel_for(
        tbb::blocked_range<std::size_t>(0, blocks),
        [&do_block](tbb::blocked_range<std::size_t> const& range) {
            for (std::size_t i = range.begin(); i < range.end(); ++i)
                do_block(i);
        },
        tbb::simple_partitioner(), context);
}

void MeshFaceMapper::Map() {
    _Forget();
    if (m_stl && m_mesh && m_stl->NumberOfTriangles() > 0) {
        try {
            // While this thread waits it takes up nothing else of the caller's.
            if (m_parallel)
                tbb::this_task_arena::isolate([this] { _Run(); });
            else
                _Run();
        } catch (Cancelled const&) {
            _Forget();
            return;
        }
    }
    m_mapped = true;
}

void MeshFaceMapper::_Forget() noexcept {
    m_mapped = false;
    m_place.clear();
    m_faces.clear();
    m_element_of.clear();
}

void MeshFaceMapper::_Run() {
    Common::IndeterminateProgressReporter const reporter(m_delegate, "Mapping surface", true);
    Loop const loop(m_parallel, &reporter);
    std::unique_ptr<Matcher> const matcher = _MakeMatcher(*m_stl);
    Faces const faces(*m_mesh, *matcher, loop);
    _Commit(faces, matcher->FindMatches(faces.faces, loop), loop);
}

void MeshFaceMapper::_Commit(Faces const& faces, std::vector<Match> const& matches, Loop const& loop) {
    for (std::size_t i = 0; i < matches.size(); ++i) {
        Match const& match = matches[i];
        if (match.same == None && match.opposite == None)
            continue;
        std::size_t const first = faces.first_side[i];
        std::size_t const last = faces.first_side[i + 1];
        if (constexpr std::size_t ahead = 16; last + ahead < faces.sides.size())
            __builtin_prefetch(m_mesh->GetElement(faces.sides[last + ahead].element));
        for (std::size_t k = first; k < last; ++k) {
            // The other elements lie on the other side of the face.
            Match const seen = k == first ? match : Match{match.opposite, match.same};
            _Enter(faces.sides[k].element, faces.sides[k].face, seen, last - first == 1);
        }
    }
    // The first element of each triangle.
    auto const comes_before = [](auto const& a, auto const& b) {
        return a.first != b.first ? std::less<>()(a.first, b.first) : a.second < b.second;
    };
    Sort(m_element_of, comes_before, loop);
    m_element_of.erase(std::unique(m_element_of.begin(), m_element_of.end(),
                                   [](auto const& a, auto const& b) { return a.first == b.first; }),
                       m_element_of.end());
}

void MeshFaceMapper::_Enter(std::uint32_t element, unsigned int face, Match const& match, bool alone) {
    std::uint64_t const slot = m_mesh->GetElement(element)->GetMaskIndex();
    if (slot == MDataMaskIndex::NotRegistered)
        return;
    if (slot >= m_place.size())
        m_place.resize(static_cast<std::size_t>(slot) + 1, None);
    std::uint32_t& place = m_place[static_cast<std::size_t>(slot)];
    if (place == None) {
        place = static_cast<std::uint32_t>(m_faces.size());
        m_faces.emplace_back();
    }
    MStlTriangle* const triangle = m_stl->GetTriangle(match.same != None ? match.same : match.opposite);
    bool const assigned = match.same != None || alone;
    m_faces[place].triangle[face] = triangle;
    m_faces[place].assigned[face] = assigned;
    if (assigned)
        m_element_of.emplace_back(triangle, element);
}

MeshFaceMapper::ElementFaces const* MeshFaceMapper::_FacesOf(MMeshElement const& e) const noexcept {
    std::uint64_t const slot = e.GetMaskIndex();
    std::uint32_t const place = slot < m_place.size() ? m_place[static_cast<std::size_t>(slot)] : None;
    return place != None ? &m_faces[place] : nullptr;
}

MStlTriangle* MeshFaceMapper::GetTriangle(MMeshElement* e, unsigned int face) {
    _MapOnce();
    ElementFaces const* const faces = e && face < 4 ? _FacesOf(*e) : nullptr;
    return faces ? faces->triangle[face] : nullptr;
}

MStlTriangle* MeshFaceMapper::GetSharedTriangle(MMeshElement* e1, MMeshElement* e2) {
    _MapOnce();
    if (!e1 || !e2)
        return nullptr;
    MStlTriangle* triangle = nullptr;
    if (ElementFaces const* const faces = _FacesOf(*e1))
        ForEachSharedFace(*e1, *e2, [&](unsigned int face) {
            triangle = faces->triangle[face];
            return triangle == nullptr;
        });
    return triangle;
}

MMeshElement* MeshFaceMapper::GetElement(MStlTriangle const* triangle) {
    _MapOnce();
    auto const found = std::ranges::lower_bound(m_element_of, triangle, std::less<>(),
                                                [](auto const& entry) { return entry.first; });
    bool const is_there = found != m_element_of.end() && found->first == triangle;
    return is_there ? m_mesh->GetElement(found->second) : nullptr;
}

bool MeshFaceMapper::IsAssignedTo(MStlTriangle const* triangle, MMeshElement* e) {
    _MapOnce();
    ElementFaces const* const faces = triangle && e ? _FacesOf(*e) : nullptr;
    bool assigned = false;
    for (unsigned int face = 0; faces && face < 4; ++face)
        assigned = assigned || (faces->assigned[face] && faces->triangle[face] == triangle);
    return assigned;
}

int MeshFaceMapper::IsBoundaryCrossing(MMeshElement* e1, MMeshElement* e2) {
    _MapOnce();
    if (!e1 || !e2)
        return -1;
    ElementFaces const* const faces = _FacesOf(*e1);
    bool crossing = false;
    bool const shared = ForEachSharedFace(*e1, *e2, [&](unsigned int face) {
        crossing = faces && faces->triangle[face];
        return faces && !crossing;
    });
    return shared ? crossing : -1;
}

} // namespace KetSDK::Mesh::Detail
