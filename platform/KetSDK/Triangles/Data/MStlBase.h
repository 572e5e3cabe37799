// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/Common/Shared/IDataMaskOwner.h>
#include <KetSDK/Common/Shared/MExport.h>
#include <KetSDK/Common/Shared/MLong.h>
#include <KetSDK/Support/MBlockStorage.h>
#include <KetSDK/Triangles/Data/DLIST_ELEMENT.h>
#include <KetSDK/Triangles/Data/MStlFeature.h>
#include <KetSDK/Triangles/Data/MStlPoint.h>
#include <KetSDK/Triangles/Data/MStlRange.h>
#include <KetSDK/Triangles/Data/MStlSurface.h>
#include <KetSDK/Triangles/Data/MStlTriangle.h>

#include <boost/container/deque.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

class MStlNewTriangles;
class MStlPointLookup;

// A container of triangulated surfaces that share points, and of features with graphs. It owns all of
// them; each stays at its address until the container is cleared or dies. Coordinates are integers in
// internal units. Nothing is removed one by one.
// One thread at a time adds to a container. Concurrent reads are safe, also FindPoint once a first
// FindPoint has followed the last added point.
class KETSDK_API MStlBase {
    using PointStorage = KetSDK::Support::MBlockStorage<MStlPoint, 1024>;
    using TriangleStorage = KetSDK::Support::MBlockStorage<DLIST_ELEMENT<MStlTriangle>, 1024>;
    template <typename T>
    using SmallStorage = boost::container::deque<
        T, void, typename boost::container::deque_options<boost::container::block_size<8>>::type>;
    using SurfaceStorage = SmallStorage<MStlSurface>;
    using FeatureStorage = SmallStorage<MStlFeature>;

public:
    // Empty, keeping neighbour information.
    MStlBase();
    MStlBase(MStlBase const&) = delete;
    MStlBase& operator=(MStlBase const&) = delete;
    virtual ~MStlBase();

    // The point at a position. With `allowDuplicate` a new one is appended in any case; without, the one
    // that is there already is returned, the first of several. Never null; owned by the container.
    virtual MStlPoint* AddPoint(MLong x, MLong y, MLong z, bool allowDuplicate);
    MStlPoint* AddPoint(MLong const* xyz, bool allowDuplicate) {
        return AddPoint(xyz[0], xyz[1], xyz[2], allowDuplicate);
    }
    // The first point at a position; null when there is none.
    MStlPoint* FindPoint(MLong x, MLong y, MLong z);
    MStlPoint const* FindPoint(MLong x, MLong y, MLong z) const;
    // Fetches what AddPoint and FindPoint will read first for a position, for loops that know it some time
    // before.
    void PrefetchPoint(MLong x, MLong y, MLong z) const noexcept;
    // Fetches what they will read next, some time after the first.
    void PrefetchFoundPoint(MLong x, MLong y, MLong z) const noexcept;
    // Makes room, at once, for finding so many points more, for loops that know how many they will add.
    void ReserveLookUps(std::uint64_t points);

    // Appends an empty surface without a name or, given a surface of this or another container, a copy
    // of its name and triangles. Points come over by position: a point that is there is shared.
    MStlSurface* AddSurface(MStlSurface const* source);

    // Appends the triangle with these corners, points of this container, to one of its surfaces; null
    // stands for the first surface, made when there is none. Always appends, also a triangle that has a
    // point twice, so the result is never null.
    virtual DLIST_ELEMENT<MStlTriangle>* AddTriangle(MStlPoint* p, MStlPoint* q, MStlPoint* r,
                                                     MStlSurface* surface);

    // Appends an empty feature.
    MStlFeature* AddFeature();

    // Removes points, surfaces with their triangles and, when asked, features. Masks of the triangles
    // are let go. Whether neighbour information is kept stays as it was.
    virtual void ClearStl(bool clear_features);

    // Whether points list their triangles. False empties the lists and suspends them, for adding many
    // triangles at once; true fills them again.
    void SetKeepNeighbourInfo(bool keep);
    bool GetKeepNeighbourInfo() const noexcept { return m_keep_neighbours; }

    std::uint64_t NumberOfPoints() const noexcept { return m_points.size(); }
    // All triangles, of all surfaces.
    std::uint64_t NumberOfTriangles() const noexcept { return m_triangles.size(); }
    std::uint64_t NumberOfSurfaces() const noexcept { return m_surfaces.size(); }
    std::uint64_t NumberOfFeatures() const noexcept { return m_features.size(); }

    // Object i in order of addition, not range-checked.
    MStlPoint* GetPoint(std::uint64_t i) noexcept { return &m_points[static_cast<std::size_t>(i)]; }
    MStlPoint const* GetPoint(std::uint64_t i) const noexcept {
        return &m_points[static_cast<std::size_t>(i)];
    }
    MStlTriangle* GetTriangle(std::uint64_t i) noexcept { return &m_triangles[static_cast<std::size_t>(i)]; }
    MStlTriangle const* GetTriangle(std::uint64_t i) const noexcept {
        return &m_triangles[static_cast<std::size_t>(i)];
    }
    MStlSurface* GetSurface(std::uint64_t i) noexcept { return &m_surfaces[static_cast<std::size_t>(i)]; }
    MStlSurface const* GetSurface(std::uint64_t i) const noexcept {
        return &m_surfaces[static_cast<std::size_t>(i)];
    }
    MStlFeature* GetFeature(std::uint64_t i) noexcept { return &m_features[static_cast<std::size_t>(i)]; }
    MStlFeature const* GetFeature(std::uint64_t i) const noexcept {
        return &m_features[static_cast<std::size_t>(i)];
    }
    // The first surface of that name; null when there is none.
    MStlSurface* FindSurface(std::wstring const& name) noexcept;
    MStlSurface const* FindSurface(std::wstring const& name) const noexcept;

    // All objects in order of addition: for (MStlPoint& p : stl.Points()), for (MStlSurface& s :
    // stl.Surfaces()), for (MStlTriangle& t : stl.Triangles()), for (MStlFeature& f : stl.Features()).
    // MStlSurface::Triangles() walks those of one surface. Adding objects of the kind ends a walk.
    MStlRange<PointStorage::iterator> Points() noexcept { return {m_points.begin(), m_points.end()}; }
    MStlRange<PointStorage::const_iterator> Points() const noexcept {
        return {m_points.begin(), m_points.end()};
    }
    MStlRange<TriangleStorage::iterator> Triangles() noexcept {
        return {m_triangles.begin(), m_triangles.end()};
    }
    MStlRange<TriangleStorage::const_iterator> Triangles() const noexcept {
        return {m_triangles.begin(), m_triangles.end()};
    }
    MStlRange<SurfaceStorage::iterator> Surfaces() noexcept { return {m_surfaces.begin(), m_surfaces.end()}; }
    MStlRange<SurfaceStorage::const_iterator> Surfaces() const noexcept {
        return {m_surfaces.begin(), m_surfaces.end()};
    }
    MStlRange<FeatureStorage::iterator> Features() noexcept { return {m_features.begin(), m_features.end()}; }
    MStlRange<FeatureStorage::const_iterator> Features() const noexcept {
        return {m_features.begin(), m_features.end()};
    }

    // A copy of points, surfaces and features with the same order and indices, owned by the caller. Mask
    // indices are not copied. Null when the user cancelled.
    MStlBase* Clone(std::shared_ptr<KetSDK::Common::IProgressDelegate> progress) const;
    // Hands all contents, masks included, to the target in place of what that held, and is empty
    // afterwards. Every object stays at its address. False, with both as they were, when the user
    // cancelled.
    bool MoveTo(MStlBase& target, std::shared_ptr<KetSDK::Common::IProgressDelegate> progress);

    // What registers masks of the triangles and gives the triangles their mask indices; null until
    // somebody sets one. It lives as long as the triangles and goes with them.
    std::shared_ptr<IDataMaskOwner> const& GetTriangleMaskOwner() const noexcept { return m_mask_owner; }
    void SetTriangleMaskOwner(std::shared_ptr<IDataMaskOwner> owner) noexcept {
        m_mask_owner = std::move(owner);
    }

private:
    friend class MStlNewTriangles;
    class NeighbourPool;

    MStlSurface& FirstSurface();
    void AddNeighbour(MStlPoint& point, MStlTriangle& triangle);
    void AddNeighbours(MStlTriangle& triangle, MStlPoint* p, MStlPoint* q, MStlPoint* r);
    void AddNeighbours(MStlPoint& point, std::array<MStlTriangle*, 3> const& triangles);
    // Makes the points' lists anew where they name triangles that were given up.
    void RestoreNeighbours() noexcept;
    void CopySurface(MStlSurface const& source, MStlSurface& target);
    void Clear(bool clear_features);

    PointStorage m_points;
    TriangleStorage m_triangles;
    SurfaceStorage m_surfaces;
    FeatureStorage m_features;
    std::unique_ptr<MStlPointLookup> m_lookup; // null until the first look-up
    std::unique_ptr<NeighbourPool> m_neighbours;
    std::shared_ptr<IDataMaskOwner> m_mask_owner;
    bool m_keep_neighbours = true;
};
