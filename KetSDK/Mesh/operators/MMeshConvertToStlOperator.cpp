// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/MMeshConvertToStlOperator.h>

#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/Mesh/geometry/detail/UnitNormal.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/operators/detail/SurfaceRecord.h>
#include <KetSDK/Support/ParallelWork.h>
#include <KetSDK/Triangles/Data/MStlBase.h>
#include <KetSDK/Triangles/Data/MStlNewTriangles.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <optional>
#include <typeinfo>
#include <vector>

using namespace KetSDK::Mesh::Detail;

namespace {

using Descriptor = MMeshElementDescriptor;

using Vector = MMVector<double, 3>;

using Corners = std::array<Vector, 4>;

// The first four nodes of an element, shrunk as PolyhedronInterface::ShrinkTowardsCentroid shrinks them: no
// virtual function is called for each of very many corners.
Corners ShrunkCorners(MMeshElement const& e, double f) noexcept {
    Corners corners;
    for (unsigned int i = 0; i < std::min<unsigned int>(4, e.GetNodeCount()); ++i)
        corners[i] = e.GetNode(i)->GetPosition();
    if (f == 0.0)
        return corners;
    Vector const centroid = (corners[0] + corners[1] + corners[2] + corners[3]) * 0.25;
    for (Vector& corner : corners)
        corner = corner * (1.0 - f) + centroid * f;
    return corners;
}

// As std::lround, without a call: with the largest number below one half added, no number but those that are
// rounded up reaches the next integer.
MLong Rounded(double v) noexcept {
    constexpr double half = 0x1.fffffffffffffp-2;
    return static_cast<MLong>(static_cast<std::int64_t>(v + std::copysign(half, v)));
}

using Position = std::array<MLong, 3>; // in internal units

// A tetrahedron as it goes into the container.
struct ShrunkTetrahedron {
    MMeshElement const* element;
    MLong index;
    std::array<Position, 4> positions;
    std::array<MMVector<float, 3>, 4> normals; // of the faces, from the corners before they are rounded
};
using ShrunkTetrahedra = std::vector<ShrunkTetrahedron>;

ShrunkTetrahedron Shrunk(MMeshElement const& e, std::uint64_t index, double f) {
    constexpr double unit = KetSDK::Common::MInternalUnits::Get();
    Corners const corners = ShrunkCorners(e, f);
    ShrunkTetrahedron shrunk;
    shrunk.element = &e;
    shrunk.index = static_cast<MLong>(index);
    for (std::size_t i = 0; i < 4; ++i)
        for (std::size_t axis = 0; axis < 3; ++axis)
            shrunk.positions[i][axis] = Rounded(corners[i][axis] * unit);
    for (std::size_t face = 0; face < 4; face += 2) {
        auto const& first = Descriptor::descr_triangle_point_ORIENTED[face];
        auto const& second = Descriptor::descr_triangle_point_ORIENTED[face + 1];
        auto const pair = [&](std::size_t i) {
            return VectorPair::Of(corners[first[i]], corners[second[i]]);
        };
        VectorPair const normals = UnitNormals(pair(0), pair(1), pair(2));
        for (std::size_t k = 0; k < 2; ++k)
            shrunk.normals[face + k] = MMVector<float, 3>(Vector(normals.x[k], normals.y[k], normals.z[k]));
    }
    return shrunk;
}

// Tetrahedra with their points in the container, and the number of the first one's first triangle.
struct Batch {
    ShrunkTetrahedra tetrahedra;
    std::vector<std::array<MStlPoint*, 4>> points;
    std::uint64_t first_triangle = 0;
};

// Writes tetrahedra into a container, in two steps: the points one after another, since each looks for one at
// its position, and then the triangles on any threads. A container of a derived class is asked to add each
// triangle itself, in the first step.
class FaceWriter {
public:
    FaceWriter(MStlBase& stl, std::uint64_t triangles, MSurfaceOrigins* origins)
        : m_stl(stl)
        , m_record(origins, stl) {
        if (typeid(stl) == typeid(MStlBase))
            m_triangles.emplace(stl, triangles);
    }

    // Gives a batch its points. What is read to find a point at a position, which may lie anywhere in memory,
    // is fetched some time before.
    void AddPoints(Batch& batch) {
        constexpr std::size_t ahead = 12;
        ShrunkTetrahedra const& tetrahedra = batch.tetrahedra;
        for (std::size_t i = 0; i < std::min(ahead, tetrahedra.size()); ++i)
            Prefetch(tetrahedra[i]);
        batch.first_triangle = m_added;
        batch.points.resize(tetrahedra.size());
        for (std::size_t i = 0; i < tetrahedra.size(); ++i) {
            if (i + ahead < tetrahedra.size())
                Prefetch(tetrahedra[i + ahead]);
            AddPoints(tetrahedra[i], batch.points[i]);
        }
    }
    // Makes the triangles of a batch that has its points, and empties it.
    void MakeTriangles(Batch& batch) noexcept {
        std::uint64_t number = batch.first_triangle;
        for (std::size_t i = 0; m_triangles && i < batch.tetrahedra.size(); ++i)
            for (std::size_t face = 0; face < 4; ++face)
                m_triangles->Make(number++, CornersOf(face, batch.points[i]),
                                  batch.tetrahedra[i].normals[face]);
        batch.tetrahedra.clear();
    }
    // To be called after the last one.
    void Finish() {
        if (m_triangles)
            m_triangles->Finish();
        m_record.Finish();
    }

private:
    using Points = std::array<MStlPoint*, 4>;

    void Prefetch(ShrunkTetrahedron const& tetrahedron) const noexcept {
        for (Position const& p : tetrahedron.positions)
            m_stl.PrefetchPoint(p[0], p[1], p[2]);
    }
    static MStlNewTriangles::Corners CornersOf(std::size_t face, Points const& points) noexcept {
        auto const& corner = Descriptor::descr_triangle_point_ORIENTED[face];
        return {points[corner[0]], points[corner[1]], points[corner[2]]};
    }

    void AddPoints(ShrunkTetrahedron const& tetrahedron, Points& points) {
        // Each corner lies on three faces, but is looked up once, in the order in which the faces first meet
        // it.
        for (unsigned int const i : {0U, 1U, 3U, 2U}) {
            Position const& p = tetrahedron.positions[i];
            points[i] = m_stl.AddPoint(p[0], p[1], p[2], false);
            if (i < tetrahedron.element->GetNodeCount())
                m_record.AddPoint(*points[i], tetrahedron.element->GetNode(i)->GetIndex());
        }
        if (m_triangles)
            EnterInLists(points);
        for (std::size_t face = 0; face < 4; ++face) {
            auto const& corner = Descriptor::descr_triangle_point_ORIENTED[face];
            if (!m_triangles)
                m_stl.AddTriangle(points[corner[0]], points[corner[1]], points[corner[2]], nullptr)
                    ->SetNormalFloat(tetrahedron.normals[face]);
            m_record.AddTriangle(tetrahedron.index, tetrahedron.element->GetNodeCount(),
                                 1U << corner[0] | 1U << corner[1] | 1U << corner[2]);
        }
    }
    void EnterInLists(Points const& points) {
        // The faces at each corner.
        static constexpr std::uint64_t faces[4][3] = {{0, 1, 3}, {0, 1, 2}, {1, 2, 3}, {0, 2, 3}};
        bool const are_different = points[0] != points[1] && points[0] != points[2] &&
                                   points[0] != points[3] && points[1] != points[2] &&
                                   points[1] != points[3] && points[2] != points[3];
        for (std::size_t i = 0; i < 4; ++i)
            if (are_different)
                m_triangles->EnterInList(
                    *points[i], {m_added + faces[i][0], m_added + faces[i][1], m_added + faces[i][2]});
            else
                m_triangles->EnterInLists(m_added + i, CornersOf(i, points));
        m_added += 4;
    }

    MStlBase& m_stl;
    SurfaceRecord m_record;
    std::optional<MStlNewTriangles> m_triangles;
    std::uint64_t m_added = 0; // those of them that have points
};

} // namespace

MMeshConvertToStlOperator::~MMeshConvertToStlOperator() = default;

bool MMeshConvertToStlOperator::Operate() {
    MMeshBase* const mesh = GetMesh();
    if (!mesh)
        return false;
    if (!m_stl)
        m_stl = new MStlBase;
    auto const is_selected = [this](MMeshElement const& e) {
        return !m_selection || m_selection->GetValue(e);
    };
    auto const selected = static_cast<std::uint64_t>(
        m_selection ? std::ranges::count_if(mesh->Elements(), is_selected) : mesh->NumberOfElements());
    auto const nodes = static_cast<std::uint64_t>(mesh->NumberOfPoints());
    m_stl->ReserveLookUps(m_epsilon == 0.0 ? std::min(nodes, 4 * selected) : 4 * selected);

    FaceWriter writer(*m_stl, 4 * selected, m_origins);
    KetSDK::Support::WorkSteps const steps{
        .items = mesh->Elements().GetNumElements(), .step = 512, .parallel = GetParallel()};
    // A batch has its points when its place is taken by another one, whose thread makes the triangles first.
    std::vector<Batch> batches(static_cast<std::size_t>(steps.NumberOfSlots()));
    KetSDK::Support::ComputeSteps(
        steps,
        [&](std::uint64_t first, std::uint64_t last, std::size_t slot) {
            writer.MakeTriangles(batches[slot]);
            mesh->Elements().ForEachWithNodes(first, last, [&](MMeshElement const& e, std::uint64_t index) {
                if (is_selected(e))
                    batches[slot].tetrahedra.push_back(Shrunk(e, index, m_epsilon));
            });
        },
        [&](std::uint64_t, std::uint64_t, std::size_t slot) {
            writer.AddPoints(batches[slot]);
            return true;
        });
    KetSDK::Support::ComputeSteps({.items = batches.size(), .parallel = GetParallel()},
                                  [&](std::uint64_t slot, std::uint64_t) {
                                      writer.MakeTriangles(batches[static_cast<std::size_t>(slot)]);
                                  });
    writer.Finish();
    return true;
}
