// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/Triangles/Data/MStlBase.h>
#include <KetSDK/Triangles/Data/MStlPointLookup.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cassert>
#include <utility>
#include <vector>

// The memory of the points' triangle lists. A list has room for four triangles, then for eight, sixteen
// and so on, so that its count alone tells when it is full. Lists that were outgrown are used again.
class MStlBase::NeighbourPool {
public:
    static bool IsFull(std::uint32_t count) noexcept {
        return count == 0 || (count >= SmallestList && (count & (count - 1)) == 0);
    }

    // A list with room for more than `count` triangles that begins with those of a full list, which is
    // given back.
    MStlTriangle** Grow(MStlTriangle** list, std::uint32_t count) {
        MStlTriangle** const larger = Take(count == 0 ? SmallestList : std::size_t{2} * count);
        if (count > 0) {
            std::copy_n(list, count, larger);
            m_returned[Class(count)].push_back(list);
        }
        return larger;
    }

private:
    static constexpr std::size_t SmallestList = 4;
    static constexpr std::size_t BlockSize = 8192;

    static std::size_t Class(std::size_t size) noexcept {
        return static_cast<std::size_t>(std::countr_zero(size));
    }

    MStlTriangle** Take(std::size_t size) {
        auto& returned = m_returned[Class(size)];
        if (!returned.empty()) {
            MStlTriangle** const list = returned.back();
            returned.pop_back();
            return list;
        }
        if (size > BlockSize / 4)
            return Allocate(size);
        if (m_used + size > BlockSize) {
            m_block = Allocate(BlockSize);
            m_used = 0;
        }
        m_used += size;
        return m_block + (m_used - size);
    }

    MStlTriangle** Allocate(std::size_t size) {
        m_blocks.push_back(std::make_unique_for_overwrite<MStlTriangle*[]>(size));
        return m_blocks.back().get();
    }

    std::vector<std::unique_ptr<MStlTriangle*[]>> m_blocks;
    MStlTriangle** m_block = nullptr; // the one that small lists are cut from
    std::size_t m_used = BlockSize;
    std::array<std::vector<MStlTriangle**>, 33> m_returned; // by binary logarithm of their size
};

namespace {

// A phase whose user is asked every so often whether to go on.
class Progress {
public:
    Progress(std::shared_ptr<KetSDK::Common::IProgressDelegate> const& delegate, std::string const& label,
             std::uint64_t steps)
        : m_reporter(delegate, label, steps, true) {}

    // Advances by a step. False when the user has cancelled.
    bool Step() {
        ++m_reporter;
        return ++m_steps % StepsPerPoll != 0 || !m_reporter.IsCancelled();
    }
    bool IsCancelled() const { return m_reporter.IsCancelled(); }

private:
    static constexpr std::uint64_t StepsPerPoll = 1000;

    KetSDK::Common::IncrementalProgressReporter m_reporter;
    std::uint64_t m_steps = 0;
};

template <typename Visit>
void ForEachDistinct(MStlPoint* p, MStlPoint* q, MStlPoint* r, Visit const& visit) {
    visit(*p);
    if (q != p)
        visit(*q);
    if (r != p && r != q)
        visit(*r);
}

// Removes all objects and gives their memory back.
template <typename Storage>
void Empty(Storage& storage) {
    Storage().swap(storage);
}

} // namespace

MStlBase::MStlBase()
    : m_neighbours(std::make_unique<NeighbourPool>()) {}

MStlBase::~MStlBase() = default;

MStlPoint* MStlBase::AddPoint(MLong x, MLong y, MLong z, bool allowDuplicate) {
    assert(m_points.size() < INT32_MAX);
    if (allowDuplicate)
        return &m_points.emplace_back(x, y, z, static_cast<MLong>(m_points.size()));
    if (!m_lookup)
        m_lookup = std::make_unique<MStlPointLookup>();
    return m_lookup->FindOrAppend(m_points, x, y, z);
}

void MStlBase::ReserveLookUps(std::uint64_t points) {
    if (!m_lookup)
        m_lookup = std::make_unique<MStlPointLookup>();
    m_lookup->Reserve(m_points.size() + static_cast<std::size_t>(points));
}

MStlPoint* MStlBase::FindPoint(MLong x, MLong y, MLong z) {
    if (!m_lookup)
        m_lookup = std::make_unique<MStlPointLookup>();
    m_lookup->Update(m_points);
    return m_lookup->Find(m_points, x, y, z);
}

MStlPoint const* MStlBase::FindPoint(MLong x, MLong y, MLong z) const {
    // The table beside the points is a cache: bringing it up to date changes nothing that can be seen.
    return const_cast<MStlBase*>(this)->FindPoint(x, y, z);
}

void MStlBase::PrefetchPoint(MLong x, MLong y, MLong z) const noexcept {
    if (m_lookup)
        m_lookup->Prefetch(x, y, z);
}

void MStlBase::PrefetchFoundPoint(MLong x, MLong y, MLong z) const noexcept {
    if (m_lookup)
        m_lookup->PrefetchFound(m_points, x, y, z);
}

MStlSurface* MStlBase::AddSurface(MStlSurface const* source) {
    auto const index = static_cast<std::uint32_t>(m_surfaces.size());
    MStlSurface& surface = m_surfaces.emplace_back(MStlSurface::Access(), *this, index);
    if (source)
        CopySurface(*source, surface);
    return &surface;
}

void MStlBase::CopySurface(MStlSurface const& source, MStlSurface& target) {
    target.SetName(source.GetName().c_str());
    for (MStlTriangle const& triangle : source.Triangles()) {
        std::array<MStlPoint*, 3> corners{};
        for (std::size_t i = 0; i < 3; ++i) {
            MStlPoint* const p = triangle.GetPoint(i);
            corners[i] = source.GetBase() == this ? p : AddPoint(p->GetX(), p->GetY(), p->GetZ(), false);
        }
        auto* const copy = AddTriangle(corners[0], corners[1], corners[2], &target);
        copy->SetNormalFloat(triangle.GetNormalFloat());
        copy->SetColor(triangle.GetColor());
    }
}

DLIST_ELEMENT<MStlTriangle>* MStlBase::AddTriangle(MStlPoint* p, MStlPoint* q, MStlPoint* r,
                                                   MStlSurface* surface) {
    if (!surface)
        surface = &FirstSurface();
    assert(surface->GetBase() == this);
    DLIST_ELEMENT<MStlTriangle>& triangle = m_triangles.emplace_back(p, q, r, surface);
    surface->m_triangles.Append(triangle);
    if (m_keep_neighbours)
        AddNeighbours(triangle, p, q, r);
    return &triangle;
}

MStlSurface& MStlBase::FirstSurface() {
    return m_surfaces.empty() ? *AddSurface(nullptr) : m_surfaces.front();
}

void MStlBase::AddNeighbour(MStlPoint& point, MStlTriangle& triangle) {
    if (NeighbourPool::IsFull(point.m_triangle_count))
        point.m_triangles = m_neighbours->Grow(point.m_triangles, point.m_triangle_count);
    point.m_triangles[point.m_triangle_count++] = &triangle;
}

void MStlBase::AddNeighbours(MStlTriangle& triangle, MStlPoint* p, MStlPoint* q, MStlPoint* r) {
    ForEachDistinct(p, q, r, [&](MStlPoint& point) { AddNeighbour(point, triangle); });
}

void MStlBase::AddNeighbours(MStlPoint& point, std::array<MStlTriangle*, 3> const& triangles) {
    if (point.m_triangle_count > 0) {
        for (MStlTriangle* const triangle : triangles)
            AddNeighbour(point, *triangle);
        return;
    }
    point.m_triangles = m_neighbours->Grow(nullptr, 0); // has room for them
    std::ranges::copy(triangles, point.m_triangles);
    point.m_triangle_count = static_cast<std::uint32_t>(triangles.size());
}

void MStlBase::RestoreNeighbours() noexcept {
    if (!m_keep_neighbours)
        return;
    for (MStlPoint& point : m_points)
        point.m_triangle_count = 0;
    for (MStlTriangle& triangle : m_triangles)
        ForEachDistinct(triangle.GetPoint(0), triangle.GetPoint(1), triangle.GetPoint(2),
                        [&triangle](MStlPoint& point) { // its list is long enough: it held all of them
                            point.m_triangles[point.m_triangle_count++] = &triangle;
                        });
}

MStlFeature* MStlBase::AddFeature() {
    return &m_features.emplace_back();
}

void MStlBase::ClearStl(bool clear_features) {
    Clear(clear_features);
}

void MStlBase::Clear(bool clear_features) {
    auto neighbours = std::make_unique<NeighbourPool>();
    m_mask_owner.reset();
    m_lookup.reset();
    Empty(m_surfaces);
    Empty(m_triangles);
    Empty(m_points);
    m_neighbours = std::move(neighbours);
    if (clear_features)
        Empty(m_features);
}

void MStlBase::SetKeepNeighbourInfo(bool keep) {
    if (keep == m_keep_neighbours)
        return;
    m_keep_neighbours = keep;
    if (keep) {
        for (MStlTriangle& triangle : m_triangles)
            AddNeighbours(triangle, triangle.GetPoint(0), triangle.GetPoint(1), triangle.GetPoint(2));
        return;
    }
    for (MStlPoint& point : m_points)
        point.m_triangle_count = 0;
    m_neighbours = std::make_unique<NeighbourPool>();
}

MStlSurface* MStlBase::FindSurface(std::wstring const& name) noexcept {
    auto const found = std::find_if(m_surfaces.begin(), m_surfaces.end(),
                                    [&name](MStlSurface const& s) { return s.GetName() == name; });
    return found == m_surfaces.end() ? nullptr : &*found;
}

MStlSurface const* MStlBase::FindSurface(std::wstring const& name) const noexcept {
    return const_cast<MStlBase*>(this)->FindSurface(name);
}

MStlBase* MStlBase::Clone(std::shared_ptr<KetSDK::Common::IProgressDelegate> progress) const {
    Progress phase(progress, "Copy surface", NumberOfPoints() + NumberOfTriangles());
    auto copy = std::make_unique<MStlBase>();
    copy->m_keep_neighbours = m_keep_neighbours;
    for (MStlPoint const& point : m_points) {
        copy->AddPoint(point.GetX(), point.GetY(), point.GetZ(), true);
        if (!phase.Step())
            return nullptr;
    }
    for (MStlSurface const& surface : m_surfaces)
        copy->AddSurface(nullptr)->SetName(surface.GetName().c_str());
    for (MStlTriangle const& triangle : m_triangles) {
        auto const corner = [&](std::size_t i) {
            return &copy->m_points[static_cast<std::size_t>(triangle.GetPoint(i)->GetIndex())];
        };
        auto* const added = copy->AddTriangle(corner(0), corner(1), corner(2),
                                              &copy->m_surfaces[triangle.GetSurface()->GetIndex()]);
        added->SetNormalFloat(triangle.GetNormalFloat());
        added->SetColor(triangle.GetColor());
        if (!phase.Step())
            return nullptr;
    }
    for (MStlFeature const& feature : m_features) {
        MStlFeature* const added = copy->AddFeature();
        added->SetName(feature.GetName().c_str());
        for (MStlGraph const& graph : feature.Graphs())
            added->AddNewGraph()->AddCopy(graph);
    }
    return phase.IsCancelled() ? nullptr : copy.release();
}

bool MStlBase::MoveTo(MStlBase& target, std::shared_ptr<KetSDK::Common::IProgressDelegate> progress) {
    Progress phase(progress, "Move surface", 1);
    if (phase.IsCancelled())
        return false;
    if (&target != this) {
        target.Clear(true);
        m_points.swap(target.m_points);
        m_triangles.swap(target.m_triangles);
        m_surfaces.swap(target.m_surfaces);
        m_features.swap(target.m_features);
        m_lookup.swap(target.m_lookup);
        m_neighbours.swap(target.m_neighbours);
        m_mask_owner.swap(target.m_mask_owner);
        target.m_keep_neighbours = m_keep_neighbours;
        for (MStlSurface& surface : target.m_surfaces)
            surface.m_base = &target;
    }
    phase.Step();
    return true;
}
