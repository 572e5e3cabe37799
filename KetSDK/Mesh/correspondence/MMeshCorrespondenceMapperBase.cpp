// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapperBase.h>

#include <KetSDK/Common/Progress/IndeterminateProgressReporter.h>
#include <KetSDK/Mesh/correspondence/detail/SurfaceFaces.h>
#include <KetSDK/Mesh/correspondence/detail/SurfaceMatcher.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Support/MPrefetch.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <span>
#include <utility>

using namespace KetSDK::Mesh::Detail;
using KetSDK::Support::Values;
using Descriptor = MMeshElementDescriptor;

namespace {

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

constexpr std::size_t TriangleSize = sizeof(DLIST_ELEMENT<MStlTriangle>);

// In bytes.
std::size_t OffsetFrom(MStlTriangle const* first, MStlTriangle const* triangle) noexcept {
    return static_cast<std::size_t>(reinterpret_cast<std::uintptr_t>(triangle) -
                                    reinterpret_cast<std::uintptr_t>(first));
}

template <typename Value>
void Fill(Values<Value>& values, Value value, MappingLoop const& loop) {
    loop(values.size(), 65536, [&](std::size_t first, std::size_t last) {
        std::fill(values.data() + first, values.data() + last, value);
    });
}

// On several threads at once.
void LowerTo(std::uint32_t& number, std::uint32_t other) noexcept {
    std::atomic_ref const shared(number);
    std::uint32_t least = shared.load(std::memory_order_relaxed);
    while (other < least && !shared.compare_exchange_weak(least, other, std::memory_order_relaxed)) {
    }
}

// 0 for the elements that have a triangle, another value for all others.
Values<std::uint32_t> MarkElements(std::uint64_t count, std::uint32_t other, SurfaceFaces const& faces,
                                   std::vector<FaceMatch> const& matches, MappingLoop const& loop) {
    Values<std::uint32_t> marks(static_cast<std::size_t>(count));
    Fill(marks, other, loop);
    loop(matches.size(), 4096, [&](std::size_t first, std::size_t last) {
        for (std::size_t i = first; i < last; ++i)
            if (!matches[i].IsEmpty())
                for (SurfaceFaces::Side const& side : faces.SidesOf(i))
                    std::atomic_ref(marks[side.element]).store(0u, std::memory_order_relaxed);
    });
    return marks;
}

} // namespace

MMeshCorrespondenceMapperBase::~MMeshCorrespondenceMapperBase() = default;

void MMeshCorrespondenceMapperBase::Map() {
    Forget();
    if (m_stl && m_mesh && m_stl->NumberOfTriangles() > 0) {
        try {
            Run();
        } catch (MappingCancelled const&) {
            Forget();
            return;
        }
    }
    m_mapped = true;
}

void MMeshCorrespondenceMapperBase::Forget() noexcept {
    m_mapped = false;
    m_entry_of_slot = {};
    m_faces = {};
    m_element_of = {};
    m_runs.clear();
}

void MMeshCorrespondenceMapperBase::Run() {
    KetSDK::Common::IndeterminateProgressReporter const reporter(m_delegate, "Mapping surface", true);
    MappingLoop const loop(m_parallel, reporter);
    std::unique_ptr<SurfaceMatcher> const matcher = MakeMatcher(*m_stl, *m_mesh, loop);
    auto const near = matcher->FindNearNodes(loop);
    SurfaceFaces const faces(*m_mesh, near, loop);
    auto const matches = matcher->FindMatches(faces.Faces(), loop);
    Enter(faces, matches, loop);
    FindRuns();
}

Values<std::uint32_t> MMeshCorrespondenceMapperBase::NumberElements(SurfaceFaces const& faces,
                                                                    std::vector<FaceMatch> const& matches,
                                                                    MappingLoop const& loop) {
    Values<std::uint32_t> entry_of =
        MarkElements(m_mesh->Elements().GetNumElements(), None, faces, matches, loop);
    // Elements without a mask index have no entry.
    struct Block {
        std::uint32_t count;
        std::uint64_t slots;
    };
    constexpr std::size_t block = 4096;
    auto const prefetch = [&](std::size_t i) {
        if (constexpr std::size_t ahead = 128; i + ahead < entry_of.size() && entry_of[i + ahead] != None)
            KetSDK::Support::Prefetch(m_mesh->GetElement(i + ahead));
    };
    std::vector<std::uint32_t> first_entries; // of the blocks
    std::uint32_t entries = 0;
    std::uint64_t slots = 0;
    loop.Collect<Block>(
        entry_of.size(), block,
        [&](std::size_t first, std::size_t last, Block& found) {
            found = {0, 0};
            for (std::size_t i = first; i < last; ++i) {
                prefetch(i);
                if (entry_of[i] == None)
                    continue;
                std::uint64_t const slot = m_mesh->GetElement(i)->GetMaskIndex();
                if (slot == MDataMaskIndex::NotRegistered) {
                    entry_of[i] = None;
                    continue;
                }
                entry_of[i] = found.count++;
                found.slots = std::max(found.slots, slot + 1);
            }
        },
        [&](std::size_t, Block const& found) {
            first_entries.push_back(std::exchange(entries, entries + found.count));
            slots = std::max(slots, found.slots);
        });
    m_entry_of_slot.resize(static_cast<std::size_t>(slots));
    Fill(m_entry_of_slot, None, loop);
    m_faces.resize(entries);
    loop(entry_of.size(), block, [&](std::size_t first, std::size_t last) {
        for (std::size_t i = first; i < last; ++i) {
            prefetch(i);
            if (entry_of[i] != None) {
                entry_of[i] += first_entries[first / block];
                m_entry_of_slot[static_cast<std::size_t>(m_mesh->GetElement(i)->GetMaskIndex())] =
                    entry_of[i];
                m_faces[entry_of[i]] = ElementFaces{};
            }
        }
    });
    return entry_of;
}

void MMeshCorrespondenceMapperBase::Enter(SurfaceFaces const& faces, std::vector<FaceMatch> const& matches,
                                          MappingLoop const& loop) {
    Values<std::uint32_t> const entry_of = NumberElements(faces, matches, loop);
    m_element_of.resize(static_cast<std::size_t>(m_stl->NumberOfTriangles()));
    Fill(m_element_of, None, loop);
    auto const enter = [&](SurfaceFaces::Side const& side, FaceMatch const& match, bool alone) {
        std::uint32_t const entry = entry_of[side.element];
        if (entry == None)
            return;
        std::uint32_t const triangle = match.same != FaceMatch::None ? match.same : match.opposite;
        bool const assigned = match.same != FaceMatch::None || alone;
        m_faces[entry].triangle[side.Face()] = m_stl->GetTriangle(triangle);
        m_faces[entry].assigned[side.Face()] = assigned;
        if (assigned)
            LowerTo(m_element_of[triangle], side.element);
    };
    loop(matches.size(), 1024, [&](std::size_t first, std::size_t last) {
        for (std::size_t i = first; i < last; ++i) {
            FaceMatch const& match = matches[i];
            if (match.IsEmpty())
                continue;
            std::span<SurfaceFaces::Side const> const sides = faces.SidesOf(i);
            enter(sides[0], match, sides.size() == 1);
            // The other elements lie on the other side of the face.
            for (SurfaceFaces::Side const& side : sides.subspan(1))
                enter(side, {match.opposite, match.same}, false);
        }
    });
}

void MMeshCorrespondenceMapperBase::FindRuns() {
    for (std::size_t i = 0; i < m_element_of.size(); ++i) {
        MStlTriangle const* const triangle = m_stl->GetTriangle(i);
        if (m_runs.empty() || OffsetFrom(m_runs.back().first, triangle) != m_runs.back().count * TriangleSize)
            m_runs.push_back({triangle, i, 0});
        ++m_runs.back().count;
    }
    std::ranges::sort(m_runs, std::less<>(), &TriangleRun::first);
}

MMeshCorrespondenceMapperBase::ElementFaces const*
MMeshCorrespondenceMapperBase::FacesOf(MMeshElement const& e) const noexcept {
    std::uint64_t const slot = e.GetMaskIndex();
    std::uint32_t const entry =
        slot < m_entry_of_slot.size() ? m_entry_of_slot[static_cast<std::size_t>(slot)] : None;
    return entry != None ? &m_faces[entry] : nullptr;
}

MStlTriangle* MMeshCorrespondenceMapperBase::GetTriangle(MMeshElement* e, unsigned int face) {
    MapOnce();
    ElementFaces const* const faces = e && face < 4 ? FacesOf(*e) : nullptr;
    return faces ? faces->triangle[face] : nullptr;
}

MStlTriangle* MMeshCorrespondenceMapperBase::GetSharedTriangle(MMeshElement* e1, MMeshElement* e2) {
    MapOnce();
    if (!e1 || !e2)
        return nullptr;
    MStlTriangle* triangle = nullptr;
    if (ElementFaces const* const faces = FacesOf(*e1))
        ForEachSharedFace(*e1, *e2, [&](unsigned int face) {
            triangle = faces->triangle[face];
            return triangle == nullptr;
        });
    return triangle;
}

MMeshElement* MMeshCorrespondenceMapperBase::GetElement(MStlTriangle const* triangle) {
    MapOnce();
    auto const next = std::ranges::upper_bound(m_runs, triangle, std::less<>(), &TriangleRun::first);
    if (next == m_runs.begin())
        return nullptr;
    TriangleRun const& run = *(next - 1);
    std::size_t const in_run = OffsetFrom(run.first, triangle) / TriangleSize;
    std::uint32_t const element = in_run < run.count ? m_element_of[run.number + in_run] : None;
    return element != None ? m_mesh->GetElement(element) : nullptr;
}

bool MMeshCorrespondenceMapperBase::IsAssignedTo(MStlTriangle const* triangle, MMeshElement* e) {
    MapOnce();
    ElementFaces const* const faces = triangle && e ? FacesOf(*e) : nullptr;
    bool assigned = false;
    for (unsigned int face = 0; faces && face < 4; ++face)
        assigned = assigned || (faces->assigned[face] && faces->triangle[face] == triangle);
    return assigned;
}

int MMeshCorrespondenceMapperBase::IsBoundaryCrossing(MMeshElement* e1, MMeshElement* e2) {
    MapOnce();
    if (!e1 || !e2)
        return -1;
    ElementFaces const* const faces = FacesOf(*e1);
    bool crossing = false;
    bool const shared = ForEachSharedFace(*e1, *e2, [&](unsigned int face) {
        crossing = faces && faces->triangle[face];
        return faces && !crossing;
    });
    return shared ? crossing : -1;
}
