// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapperBase.h>

#include <KetSDK/Common/Progress/IndeterminateProgressReporter.h>
#include <KetSDK/Mesh/correspondence/detail/ParallelSort.h>
#include <KetSDK/Mesh/correspondence/detail/SurfaceFaces.h>
#include <KetSDK/Mesh/correspondence/detail/SurfaceMatcher.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Support/MPrefetch.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <algorithm>
#include <functional>
#include <span>

using namespace KetSDK::Mesh::Detail;
using KetSDK::Support::Prefetch;
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
    m_entry_of_slot.clear();
    m_faces.clear();
    m_element_of.clear();
}

void MMeshCorrespondenceMapperBase::Run() {
    KetSDK::Common::IndeterminateProgressReporter const reporter(m_delegate, "Mapping surface", true);
    MappingLoop const loop(m_parallel, reporter);
    std::unique_ptr<SurfaceMatcher> const matcher = MakeMatcher(*m_stl);
    SurfaceFaces const faces(*m_mesh, *matcher, loop);
    CommitSteps(faces, matcher->FindMatches(faces.Faces(), loop));
}

void MMeshCorrespondenceMapperBase::CommitSteps(SurfaceFaces const& faces,
                                                std::vector<FaceMatch> const& matches) {
    std::span<SurfaceFaces::Side const> const sides = faces.Sides();
    for (std::size_t i = 0; i < matches.size(); ++i) {
        FaceMatch const& match = matches[i];
        if (match.IsEmpty())
            continue;
        std::size_t const first = faces.FirstSide(i);
        std::size_t const last = faces.FirstSide(i + 1);
        if (constexpr std::size_t ahead = 16; last + ahead < sides.size())
            Prefetch(m_mesh->GetElement(sides[last + ahead].element));
        for (std::size_t k = first; k < last; ++k) {
            // The other elements lie on the other side of the face.
            FaceMatch const seen = k == first ? match : FaceMatch{match.opposite, match.same};
            Enter(sides[k].element, sides[k].face, seen, last - first == 1);
        }
    }
    // The first element of each triangle.
    auto const comes_before = [](auto const& a, auto const& b) {
        return a.first != b.first ? std::less<>()(a.first, b.first) : a.second < b.second;
    };
    Sort(m_element_of, comes_before, m_parallel);
    m_element_of.erase(std::unique(m_element_of.begin(), m_element_of.end(),
                                   [](auto const& a, auto const& b) { return a.first == b.first; }),
                       m_element_of.end());
}

void MMeshCorrespondenceMapperBase::Enter(std::uint32_t element, unsigned int face, FaceMatch const& match,
                                          bool alone) {
    std::uint64_t const slot = m_mesh->GetElement(element)->GetMaskIndex();
    if (slot == MDataMaskIndex::NotRegistered)
        return;
    if (slot >= m_entry_of_slot.size())
        m_entry_of_slot.resize(static_cast<std::size_t>(slot) + 1, None);
    std::uint32_t& entry = m_entry_of_slot[static_cast<std::size_t>(slot)];
    if (entry == None) {
        entry = static_cast<std::uint32_t>(m_faces.size());
        m_faces.emplace_back();
    }
    MStlTriangle* const triangle =
        m_stl->GetTriangle(match.same != FaceMatch::None ? match.same : match.opposite);
    bool const assigned = match.same != FaceMatch::None || alone;
    m_faces[entry].triangle[face] = triangle;
    m_faces[entry].assigned[face] = assigned;
    if (assigned)
        m_element_of.emplace_back(triangle, element);
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
    auto const found = std::ranges::lower_bound(m_element_of, triangle, std::less<>(),
                                                [](auto const& entry) { return entry.first; });
    bool const is_there = found != m_element_of.end() && found->first == triangle;
    return is_there ? m_mesh->GetElement(found->second) : nullptr;
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
