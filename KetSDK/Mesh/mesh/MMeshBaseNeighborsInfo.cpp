#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>

#include <algorithm>
#include <functional>
#include <utility>

using Descriptor = MMeshElementDescriptor;

namespace {

unsigned int CornersInUse(MMeshElement const& e) {
    return std::min<unsigned int>(e.GetNodeCount(), 4);
}

// Calls use(element, mask index of the node) for the first four nodes of every element.
template <typename Use>
void ForEachCorner(MMeshBase& mesh, Use&& use) {
    for (MMeshElement& e : mesh.Elements())
        for (unsigned int i = 0; i < CornersInUse(e); ++i)
            use(e, static_cast<std::size_t>(e.GetNode(i)->GetMaskIndex()));
}

} // namespace

MMeshBaseNeighborsInfo& MMeshBaseNeighborsInfo::operator=(MMeshBaseNeighborsInfo const& other) {
    if (this != &other) {
        Disable();
        if (other.IsEnabled())
            Enable();
    }
    return *this;
}

MMeshBaseNeighborsInfo::~MMeshBaseNeighborsInfo() {
    Disable();
}

void MMeshBaseNeighborsInfo::Enable() {
    if (m_enabled)
        return;
    auto incident = std::make_unique<MDataMask<MMeshPoint, ElementList>>();
    m_parent->GetPointMasks()->AddMask(incident.get());

    // A counting sort by node. end[slot] first counts the uses of a node, then is the place at which
    // its next element goes, and so ends where its list ends.
    std::vector<std::size_t> end(static_cast<std::size_t>(incident->GetSize()), 0);
    ForEachCorner(*m_parent, [&end](MMeshElement&, std::size_t slot) { ++end[slot]; });
    std::size_t corners = 0;
    for (std::size_t& place : end)
        place = std::exchange(corners, corners + place);
    m_lists = std::make_unique_for_overwrite<MMeshElement*[]>(corners);
    ForEachCorner(*m_parent, [&end, this](MMeshElement& e, std::size_t slot) { m_lists[end[slot]++] = &e; });

    std::size_t begin = 0;
    for (std::size_t slot = 0; slot < end.size(); ++slot) {
        ElementList const list(m_lists.get() + begin, end[slot] - begin);
        // Elements are stored block by block, so most lists are in order of address already.
        if (!std::is_sorted(list.begin(), list.end(), std::less<>()))
            std::sort(list.begin(), list.end(), std::less<>());
        incident->GetSlot(slot) = list;
        begin = end[slot];
    }
    m_incident = std::move(incident);
    m_enabled = true;
}

void MMeshBaseNeighborsInfo::Disable() {
    m_incident.reset();
    m_lists.reset();
    m_enabled = false;
}

MMeshElement const* MMeshBaseNeighborsInfo::Max3(MMeshElement const* a, MMeshElement const* b,
                                                 MMeshElement const* c) noexcept {
    std::less<> const less;
    MMeshElement const* const ab = less(a, b) ? b : a;
    return less(ab, c) ? c : ab;
}

MMeshElement* MMeshBaseNeighborsInfo::GetNeighbor(MMeshElement* e, unsigned int f) {
    if (f > 3)
        return nullptr;
    std::span<MMeshElement* const> list[3];
    for (unsigned int i = 0; i < 3; ++i)
        list[i] = GetElements(*e->GetNode(Descriptor::descr_triangle_point[f][i]));
    // The two shortest are merged; the few elements that they share are looked up in the third.
    for (unsigned int i = 0; i < 2; ++i)
        if (list[i].size() > list[2].size())
            std::swap(list[i], list[2]);
    MMeshElement* const* a = list[0].data();
    MMeshElement* const* b = list[1].data();
    MMeshElement* const* const a_end = a + list[0].size();
    MMeshElement* const* const b_end = b + list[1].size();
    while (a != a_end && b != b_end) {
        auto const at_a = reinterpret_cast<std::uintptr_t>(*a);
        auto const at_b = reinterpret_cast<std::uintptr_t>(*b);
        if (at_a == at_b && *a != e && std::find(list[2].begin(), list[2].end(), *a) != list[2].end())
            return *a;
        // Without branches: which list is behind cannot be foreseen.
        a += at_a <= at_b;
        b += at_b <= at_a;
    }
    return nullptr;
}

char MMeshBaseNeighborsInfo::GetEdgeIndex(MMeshElement* e, MMeshPoint* p, MMeshPoint* q) {
    unsigned int a = 0;
    unsigned int b = 0;
    for (unsigned int i = 0; i < CornersInUse(*e); ++i) {
        if (e->GetNode(i) == p)
            a = i;
        if (e->GetNode(i) == q)
            b = i;
    }
    for (char edge = 0; edge < 6; ++edge) {
        auto const& ends = Descriptor::descr_tet4_tet10_point[static_cast<unsigned char>(edge)];
        if ((ends[0] == a && ends[1] == b) || (ends[0] == b && ends[1] == a))
            return edge;
    }
    return 0;
}

void MMeshBaseNeighborsInfo::GetEdgeNeighbors(MMeshElement* e, char edge, std::vector<MMeshElement*>& out) {
    auto const number = static_cast<unsigned char>(edge);
    if (number > 5)
        return;
    std::size_t const first = out.size();
    out.push_back(e);
    MMeshPoint* const p = e->GetNode(Descriptor::descr_tet4_tet10_point[number][0]);
    MMeshPoint* const q = e->GetNode(Descriptor::descr_tet4_tet10_point[number][1]);
    auto const& faces = Descriptor::descr_tet4_edge_faces[number];
    if (!_WalkAroundEdge(e, faces[0], p, q, out, first))
        _WalkAroundEdge(e, faces[1], p, q, out, first);
}

bool MMeshBaseNeighborsInfo::_WalkAroundEdge(MMeshElement* e, unsigned int f, MMeshPoint* p, MMeshPoint* q,
                                             std::vector<MMeshElement*>& out, std::size_t first) {
    MMeshElement* before = e;
    MMeshElement* current = GetNeighbor(e, f);
    while (current) {
        if (current == out[first])
            return true;
        // Only a face with more than two elements leads back into the middle of the walk.
        if (std::find(out.begin() + static_cast<std::ptrdiff_t>(first), out.end(), current) != out.end())
            return false;
        out.push_back(current);
        auto const edge = static_cast<unsigned char>(GetEdgeIndex(current, p, q));
        auto const& faces = Descriptor::descr_tet4_edge_faces[edge];
        MMeshElement* next = GetNeighbor(current, faces[0]);
        if (next == before || !next)
            next = GetNeighbor(current, faces[1]);
        if (next == before)
            return false;
        before = std::exchange(current, next);
    }
    return false;
}
