// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/MMeshGrowBadTetsOperator.h>

#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/Mesh/geometry/TetrahedronBase.h>
#include <KetSDK/Mesh/materials/MDataMaskContainer.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Support/ParallelWork.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <unordered_set>

using KetSDK::Common::IncrementalProgressReporter;

namespace {

// Has the points of a surface list their triangles for as long as it lives.
class NeighbourLists {
public:
    explicit NeighbourLists(MStlBase& stl)
        : m_stl(stl)
        , m_kept(stl.GetKeepNeighbourInfo()) {
        m_stl.SetKeepNeighbourInfo(true);
    }
    NeighbourLists(NeighbourLists const&) = delete;
    NeighbourLists& operator=(NeighbourLists const&) = delete;
    ~NeighbourLists() { m_stl.SetKeepNeighbourInfo(m_kept); }

private:
    MStlBase& m_stl;
    bool m_kept;
};

// A list of elements, each once, that grows ring by ring.
class GrowingSet {
public:
    // Begins with the elements whose bit is set, in the order of the mesh.
    GrowingSet(MMeshBase& mesh, MDataMaskBits<MMeshElement> const& first)
        : m_neighbours(*mesh.GetNeighborsInfo()) {
        mesh.GetElementMasks()->RegisterMask(&m_listed);
        for (MMeshElement& e : mesh.Elements())
            if (first.GetValue(e))
                Append(e);
    }

    // Appends the face neighbours of the ring that was added last. False when there is no such ring.
    bool AddRing(bool parallel) {
        std::vector<MMeshElement*> const ring(m_elements.begin() + static_cast<std::ptrdiff_t>(m_ring),
                                              m_elements.end());
        if (ring.empty())
            return false;
        m_ring = m_elements.size();
        using Neighbours = std::vector<MMeshElement*>; // of the elements of a step
        auto const find = [&](std::uint64_t first, std::uint64_t last, Neighbours& found) {
            found.clear();
            for (auto i = static_cast<std::size_t>(first); i < last; ++i)
                for (unsigned int face = 0; face < 4; ++face)
                    if (MMeshElement* const neighbour = m_neighbours.GetNeighbor(ring[i], face))
                        found.push_back(neighbour);
        };
        auto const append = [this](std::uint64_t, std::uint64_t, Neighbours const& found) {
            for (MMeshElement* const neighbour : found)
                if (!IsListed(*neighbour))
                    Append(*neighbour);
            return true;
        };
        KetSDK::Support::ComputeSteps<Neighbours>({.items = ring.size(), .step = 256, .parallel = parallel},
                                                  find, append);
        return true;
    }

    std::vector<MMeshElement*> const& Elements() const noexcept { return m_elements; }

private:
    bool HasSlot(MMeshElement const& e) const { return e.GetMaskIndex() < m_listed.GetSize(); }
    bool IsListed(MMeshElement const& e) const {
        return HasSlot(e) ? m_listed.GetValue(e) : m_listed_without_slot.contains(&e);
    }
    void Append(MMeshElement& e) {
        if (HasSlot(e))
            m_listed.SetValue(e, true);
        else
            m_listed_without_slot.insert(&e);
        m_elements.push_back(&e);
    }

    MMeshBaseNeighborsInfo& m_neighbours;
    MDataMaskBits<MMeshElement> m_listed;
    std::unordered_set<MMeshElement const*> m_listed_without_slot; // those registered with no mask
    std::vector<MMeshElement*> m_elements;
    std::size_t m_ring = 0; // where the last ring begins
};

// The container of the surface's triangle masks, made when there is none, with all triangles registered.
// Null when the surface has an owner of another kind.
std::shared_ptr<MDataMaskContainer<MStlTriangle>> TriangleMasks(MStlBase& stl) {
    auto masks = std::dynamic_pointer_cast<MDataMaskContainer<MStlTriangle>>(stl.GetTriangleMaskOwner());
    if (!masks && stl.GetTriangleMaskOwner())
        return nullptr;
    if (!masks) {
        masks = std::make_shared<MDataMaskContainer<MStlTriangle>>();
        stl.SetTriangleMaskOwner(masks);
        for (MStlTriangle& triangle : stl.Triangles()) // also those with an index of an earlier owner
            triangle.SetMaskIndex(MDataMaskIndex::NotRegistered);
    }
    for (MStlTriangle& triangle : stl.Triangles())
        if (triangle.GetMaskIndex() == MDataMaskIndex::NotRegistered)
            masks->RegisterMaskObject(triangle);
    return masks;
}

} // namespace

MMeshGrowBadTetsOperator::MMeshGrowBadTetsOperator() = default;
MMeshGrowBadTetsOperator::MMeshGrowBadTetsOperator(MMeshGrowBadTetsOperator&&) noexcept = default;
MMeshGrowBadTetsOperator& MMeshGrowBadTetsOperator::operator=(MMeshGrowBadTetsOperator&&) noexcept = default;
MMeshGrowBadTetsOperator::~MMeshGrowBadTetsOperator() = default;

MMeshGrowBadTetsOperator::MMeshGrowBadTetsOperator(MMeshGrowBadTetsOperator const& other)
    : MMeshOperator(other)
    , m_progress(other.m_progress)
    , m_stl(other.m_stl)
    , m_bad(other.m_bad)
    , m_grow_level(other.m_grow_level) {}

MMeshGrowBadTetsOperator& MMeshGrowBadTetsOperator::operator=(MMeshGrowBadTetsOperator const& other) {
    if (this != &other)
        *this = MMeshGrowBadTetsOperator(other);
    return *this;
}

bool MMeshGrowBadTetsOperator::Operate() {
    m_result.reset();
    if (!GetMesh() || !m_stl || !m_bad)
        return false;
    int const rings = std::max(m_grow_level, 0);
    IncrementalProgressReporter progress(m_progress, "MMeshGrowBadTetsOperator",
                                         static_cast<unsigned long long>(rings) + 1, true);
    GetMesh()->GetNeighborsInfo()->Enable(GetParallel());
    if (!AttachResult())
        return false;
    GrowingSet set(*GetMesh(), *m_bad);
    for (int ring = 0; ring < rings && set.AddRing(GetParallel()); ++ring) {
        ++progress;
        if (progress.IsCancelled()) {
            m_result.reset();
            return false;
        }
    }
    MarkBoundary(set.Elements());
    progress = progress.GetMaxValue();
    return true;
}

bool MMeshGrowBadTetsOperator::AttachResult() {
    auto const masks = TriangleMasks(*m_stl);
    if (!masks)
        return false;
    m_result = std::make_unique<ResultMask>(false);
    return masks->RegisterMask(m_result.get());
}

void MMeshGrowBadTetsOperator::MarkBoundary(std::vector<MMeshElement*> const& elements) {
    NeighbourLists const lists(*m_stl);
    MMeshBaseNeighborsInfo& neighbours = *GetMesh()->GetNeighborsInfo();
    using Faces = std::vector<MTriangle<double, 3>>; // without a neighbour
    auto const find = [&](std::uint64_t first, std::uint64_t last, Faces& faces) {
        faces.clear();
        for (auto i = static_cast<std::size_t>(first); i < last; ++i)
            for (unsigned int face = 0; face < 4; ++face)
                if (!neighbours.GetNeighbor(elements[i], face))
                    faces.push_back(TetrahedronBase<double>(elements[i]).GetFaceUnoriented(face));
    };
    auto const mark = [this](std::uint64_t, std::uint64_t, Faces const& faces) {
        for (MTriangle<double, 3> const& face : faces)
            if (MStlTriangle* const triangle = _FindTriangle(face))
                m_result->SetValue(*triangle, true);
        return true;
    };
    KetSDK::Support::ComputeSteps<Faces>({.items = elements.size(), .step = 256, .parallel = GetParallel()},
                                         find, mark);
}

// The first surface triangle with the corners of a face; null when there is none.
MStlTriangle* MMeshGrowBadTetsOperator::_FindTriangle(MTriangle<double, 3> const& face) const {
    double const units = KetSDK::Common::MInternalUnits::Get();
    std::array<MStlPoint*, 3> points{};
    for (std::size_t i = 0; i < 3; ++i) {
        auto const coordinate = [&](std::size_t axis) {
            return static_cast<MLong>(std::lround(units * face[i][axis]));
        };
        points[i] = m_stl->FindPoint(coordinate(0), coordinate(1), coordinate(2));
        if (!points[i])
            return nullptr;
    }
    for (std::uint32_t i = 0; i < points[0]->GetNumberOfNeighbourTriangles(); ++i) {
        MStlTriangle* const triangle = points[0]->GetNeighbourTriangle(i);
        if (std::ranges::all_of(points, [&](MStlPoint* p) { return triangle->IndexOfPoint(p) != -1; }))
            return triangle;
    }
    return nullptr;
}
