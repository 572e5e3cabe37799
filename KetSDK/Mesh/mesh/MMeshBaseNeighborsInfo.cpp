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
    auto lists = std::make_unique<MDataMask<MMeshPoint, ElementList>>();
    m_parent->GetPointMasks()->AddMask(lists.get());

    // Lists are allocated once, at their final size.
    std::vector<std::uint32_t> uses(static_cast<std::size_t>(lists->GetSize()), 0);
    for (MMeshElement const& e : m_parent->Elements())
        for (unsigned int i = 0; i < CornersInUse(e); ++i)
            ++uses[static_cast<std::size_t>(e.GetNode(i)->GetMaskIndex())];
    for (std::size_t slot = 0; slot < uses.size(); ++slot)
        if (uses[slot] != 0)
            lists->GetSlot(slot).reserve(uses[slot]);

    for (MMeshElement& e : m_parent->Elements())
        for (unsigned int i = 0; i < CornersInUse(e); ++i)
            lists->GetSlot(e.GetNode(i)->GetMaskIndex()).push_back(&e);

    // Elements are stored block by block, so most lists are in order of address already.
    for (std::size_t slot = 0; slot < uses.size(); ++slot) {
        ElementList& list = lists->GetSlot(slot);
        if (!std::is_sorted(list.begin(), list.end(), std::less<>()))
            std::sort(list.begin(), list.end(), std::less<>());
    }
    m_incident = std::move(lists);
    m_enabled = true;
}

void MMeshBaseNeighborsInfo::Disable() {
    m_incident.reset();
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
    // The three lists are sorted, so one merge finds what they have in common.
    MMeshElement* const* it[3];
    MMeshElement* const* end[3];
    for (unsigned int i = 0; i < 3; ++i) {
        ElementList const& list = GetElements(*e->GetNode(Descriptor::descr_triangle_point[f][i]));
        it[i] = list.data();
        end[i] = it[i] + list.size();
    }
    while (it[0] != end[0] && it[1] != end[1] && it[2] != end[2]) {
        MMeshElement const* const largest = Max3(*it[0], *it[1], *it[2]);
        if (*it[0] == largest && *it[1] == largest && *it[2] == largest) {
            if (largest != e)
                return *it[0];
            for (auto& cursor : it)
                ++cursor;
        } else {
            for (unsigned int i = 0; i < 3; ++i)
                while (it[i] != end[i] && std::less<>()(*it[i], largest))
                    ++it[i];
        }
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
