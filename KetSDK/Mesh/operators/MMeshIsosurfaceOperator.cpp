// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/MMeshIsosurfaceOperator.h>

#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/operators/detail/SurfaceRecord.h>
#include <KetSDK/Support/ParallelWork.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <utility>
#include <vector>

namespace {

using Vector = MMVector<double, 3>;
using Triangle = MTriangle<double, 3>;

constexpr std::uint64_t ProgressSteps = 1000;

// The pairs of corners in the order in which their edges are looked at.
constexpr std::array<std::array<unsigned char, 2>, 6> Edges = {
    {{{0, 1}}, {{0, 2}}, {{0, 3}}, {{1, 2}}, {{1, 3}}, {{2, 3}}}};

// Where the surface crosses an edge.
struct Crossing {
    Vector position;
    std::array<unsigned char, 2> edge;
};

// The triangles of one tetrahedron.
struct IsoTriangles {
    std::array<Triangle, 2> triangles;
    std::size_t count = 0;
};

// A tetrahedron with the difference between its value and the level at each corner.
struct IsoTetrahedron {
    std::array<Vector, 4> corners;
    std::array<double, 4> differences;

    // A corner above the level, for the triangles to face; corner 0 when none is truly above.
    Vector const& Reference() const noexcept {
        auto const above = std::ranges::find_if(differences, [](double d) { return d > 0.0; });
        return corners[above == differences.end() ? 0
                                                  : static_cast<std::size_t>(above - differences.begin())];
    }

    bool IsCrossed(std::array<unsigned char, 2> edge) const noexcept {
        // Not by the sign of the product, which underflows. A corner on the level lies above it.
        double const a = differences[edge[0]];
        double const b = differences[edge[1]];
        return (a < 0.0 && b >= 0.0) || (a >= 0.0 && b < 0.0);
    }

    Vector CrossingOf(std::array<unsigned char, 2> edge) const noexcept {
        // Both ends in the same way, so that all elements around an edge come to the same bits.
        auto const distance = [this](unsigned char i) {
            double const d = differences[i];
            return d == 0.0 ? std::numeric_limits<double>::min() : std::fabs(d);
        };
        double const a = distance(edge[0]);
        double const b = distance(edge[1]);
        return corners[edge[0]] * b / (a + b) + corners[edge[1]] * a / (a + b);
    }
};

Triangle Reversed(Triangle const& t) noexcept {
    return {t[2], t[1], t[0]};
}

// Positive when the triangle turns its back to the point.
double SideOf(Triangle const& t, Vector const& point) noexcept {
    return t.Normal().Dot(t[0] - point);
}

bool Touch(Crossing const& a, Crossing const& b) noexcept {
    return std::ranges::find_first_of(a.edge, b.edge) != a.edge.end();
}

// The second triangle of a quadrilateral: its last corner and that one's two neighbours.
Triangle SecondTriangle(std::array<Crossing, 4> const& q, Vector const& reference) noexcept {
    Triangle triangle;
    triangle[0] = q[3].position;
    std::size_t corner = 1;
    for (std::size_t i = 0; i < 3 && corner < 3; ++i)
        if (Touch(q[i], q[3]))
            triangle[corner++] = q[i].position;
    return SideOf(triangle, reference) >= 0.0 ? Reversed(triangle) : triangle;
}

IsoTriangles Cut(IsoTetrahedron const& tetrahedron) noexcept {
    std::array<Crossing, 4> crossings; // a plane does not cross more edges
    std::size_t count = 0;
    for (auto const edge : Edges)
        if (tetrahedron.IsCrossed(edge))
            crossings[count++] = {tetrahedron.CrossingOf(edge), edge};
    IsoTriangles result;
    if (count < 3)
        return result; // some corner has no value
    Vector const& reference = tetrahedron.Reference();
    Triangle const first(crossings[0].position, crossings[1].position, crossings[2].position);
    result.triangles[0] = SideOf(first, reference) < 0.0 ? first : Reversed(first);
    result.count = count - 2;
    if (count == 4)
        result.triangles[1] = SecondTriangle(crossings, reference);
    return result;
}

// The differences at the first four nodes, unless they show that the surface does not cross the element:
// most elements are done with here.
bool ReadDifferences(MMeshElement const& e, MMeshIsosurfaceOperator::NodesMask const& values, double level,
                     std::array<double, 4>& differences) noexcept {
    if (e.GetNodeCount() < 4)
        return false;
    unsigned int below = 0;
    unsigned int above = 0;
    for (unsigned int i = 0; i < 4; ++i) {
        differences[i] = values.GetValue(*e.GetNode(i)) - level;
        below += differences[i] < 0.0;
        above += differences[i] >= 0.0;
    }
    return below > 0 && above > 0;
}

std::array<Vector, 4> CornersOf(MMeshElement const& e) noexcept {
    return {e.GetNode(0)->GetPosition(), e.GetNode(1)->GetPosition(), e.GetNode(2)->GetPosition(),
            e.GetNode(3)->GetPosition()};
}

// The corners of a triangle in internal units.
using RoundedTriangle = std::array<std::array<MLong, 3>, 3>;

RoundedTriangle Rounded(Triangle const& triangle) noexcept {
    constexpr double units = KetSDK::Common::MInternalUnits::Get();
    RoundedTriangle rounded;
    for (std::size_t i = 0; i < 3; ++i)
        for (std::size_t axis = 0; axis < 3; ++axis)
            rounded[i][axis] = static_cast<MLong>(std::lround(triangle[i][axis] * units));
    return rounded;
}

bool HasCornerTwice(Triangle const& t) noexcept {
    return t[0] == t[1] || t[1] == t[2] || t[2] == t[0];
}

void Write(MStlBase& surface, RoundedTriangle const& triangle) {
    MStlPoint* points[3];
    for (std::size_t i = 0; i < 3; ++i)
        points[i] = surface.AddPoint(triangle[i][0], triangle[i][1], triangle[i][2], false);
    surface.AddTriangle(points[0], points[1], points[2], nullptr);
}

// A triangle, and the element that it cuts.
struct FoundTriangle {
    RoundedTriangle corners;
    MLong element;
};
using FoundTriangles = std::vector<FoundTriangle>;

// Writes triangles. What the container reads to find a point at a position, which may lie anywhere in memory,
// is fetched some time before.
void Write(MStlBase& surface, FoundTriangles const& triangles, KetSDK::Mesh::Detail::SurfaceRecord& record) {
    constexpr std::size_t ahead = 8;
    auto const prefetch = [&](std::size_t i) {
        for (auto const& p : triangles[i].corners)
            surface.PrefetchPoint(p[0], p[1], p[2]);
    };
    for (std::size_t i = 0; i < std::min(ahead, triangles.size()); ++i)
        prefetch(i);
    for (std::size_t i = 0; i < triangles.size(); ++i) {
        if (i + ahead < triangles.size())
            prefetch(i + ahead);
        record.AddTriangle(triangles[i].element, 0);
        Write(surface, triangles[i].corners);
    }
}

} // namespace

MMeshIsosurfaceOperator::~MMeshIsosurfaceOperator() = default;

void MMeshIsosurfaceOperator::GenerateDemoValues() {
    MMeshBase* const mesh = GetMesh();
    if (!mesh || !m_nodes_mask)
        return;
    double const units = KetSDK::Common::MInternalUnits::Get();
    Vector const low = Vector(mesh->GetBoundingBox().GetMin()) / units;
    Vector const high = Vector(mesh->GetBoundingBox().GetMax()) / units;
    Vector const centre = (low + high) * 0.5;
    Vector const sides = high - low;
    double const radius = std::min({sides[0], sides[1], sides[2]}) / 4.0;
    for (auto node = mesh->BeginPoint(); node != mesh->EndPoint(); ++node)
        m_nodes_mask->SetValue(*node, (node->GetPosition() - centre).Length() - radius);
}

bool MMeshIsosurfaceOperator::Operate() {
    MMeshBase* const mesh = GetMesh();
    if (!mesh)
        return false;
    std::uint64_t const count = mesh->Elements().GetNumElements();
    std::uint64_t const elements_per_step = count / ProgressSteps;
    if (elements_per_step == 0)
        throw std::domain_error("integer division by zero");
    if (!m_nodes_mask)
        return false;
    KetSDK::Common::IncrementalProgressReporter reporter(m_progress, "MMeshIsosurfaceOperator",
                                                         count / elements_per_step + 1, false);
    if (!m_iso_surface)
        m_iso_surface = new MStlBase;
    auto const find = [&](std::uint64_t first, std::uint64_t last, FoundTriangles& found) {
        found.clear();
        IsoTetrahedron tetrahedron;
        std::as_const(*mesh).Elements().ForEachWithNodes(
            first, last, [&](MMeshElement const& e, std::uint64_t index) {
                if (!ReadDifferences(e, *m_nodes_mask, m_iso_value, tetrahedron.differences))
                    return;
                tetrahedron.corners = CornersOf(e);
                IsoTriangles const cut = Cut(tetrahedron);
                for (std::size_t i = 0; i < cut.count; ++i)
                    if (!HasCornerTwice(cut.triangles[i]))
                        found.push_back({Rounded(cut.triangles[i]), static_cast<MLong>(index)});
            });
    };
    KetSDK::Mesh::Detail::SurfaceRecord record(m_origins, *m_iso_surface);
    auto const write = [&](std::uint64_t first, std::uint64_t last, FoundTriangles const& found) {
        for (std::uint64_t i = first; i < last; ++i)
            ++reporter; // by elements, not by steps: it stands at the end early (kept)
        Write(*m_iso_surface, found, record);
        return true;
    };
    // Windows are short: writing takes longer than finding, and what is found first is written while other
    // threads go on.
    KetSDK::Support::WorkSteps const steps{
        .items = count, .step = 512, .parallel = GetParallel(), .window = 32};
    KetSDK::Support::ComputeSteps<FoundTriangles>(steps, find, write);
    record.Finish();
    return true;
}

std::vector<Triangle const*> MMeshIsosurfaceOperator::_GetIsoTriangles(VertexValuedTetrahedron& tetrahedron) {
    IsoTetrahedron view;
    for (unsigned int i = 0; i < 4; ++i) {
        view.corners[i] = tetrahedron.GetVertex(i);
        view.differences[i] = tetrahedron.GetVertexValue(i) - m_iso_value;
    }
    IsoTriangles const found = Cut(view);
    std::vector<Triangle const*> triangles;
    for (std::size_t i = 0; i < found.count; ++i)
        triangles.push_back(new Triangle(found.triangles[i]));
    return triangles;
}

void MMeshIsosurfaceOperator::_AddTriangle(MStlBase* surface, Triangle const& triangle) const {
    if (!HasCornerTwice(triangle))
        Write(*surface, Rounded(triangle));
}
