// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/MMeshIsosurfaceOperator.h>

#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/detail/NearestCoordinate.h>
#include <KetSDK/Mesh/operators/detail/SurfaceRecord.h>
#include <KetSDK/Support/MHash.h>
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

using KetSDK::Mesh::Detail::NearestCoordinate;

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

// The triangles of one tetrahedron, by the numbers of the crossings at their corners.
struct IsoTriangles {
    using Corners = std::array<unsigned char, 3>;

    std::array<Crossing, 4> crossings; // a plane does not cross more edges
    std::array<Corners, 2> triangles;
    std::size_t count = 0;

    Triangle Get(Corners const& corners) const noexcept {
        return {crossings[corners[0]].position, crossings[corners[1]].position,
                crossings[corners[2]].position};
    }
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

IsoTriangles::Corners Reversed(IsoTriangles::Corners const& t) noexcept {
    return {t[2], t[1], t[0]};
}

// Positive when the triangle turns its back to the point, negative when its front.
double SideOf(Triangle const& t, Vector const& point) noexcept {
    Vector const normal = (t[1] - t[0]).Cross(t[2] - t[0]);
    Vector const line = t[0] - point;
    double const x = normal[0] * line[0];
    double const y = normal[1] * line[1];
    double const z = normal[2] * line[2];
    // The length of the normal makes no difference to a sign that rounding cannot change.
    double const side = x + y + z;
    double const size = std::fabs(x) + std::fabs(y) + std::fabs(z);
    constexpr double doubt = 1e-12;
    constexpr double smallest = 1e-250;
    if (std::fabs(side) > doubt * size && size > smallest) [[likely]]
        return side;
    return t.Normal().Dot(line);
}

bool Touch(Crossing const& a, Crossing const& b) noexcept {
    return std::ranges::find_first_of(a.edge, b.edge) != a.edge.end();
}

// The second triangle of a quadrilateral: its last corner and that one's two neighbours.
IsoTriangles::Corners SecondTriangle(IsoTriangles const& found, Vector const& reference) noexcept {
    IsoTriangles::Corners triangle{3};
    std::size_t corner = 1;
    for (unsigned char i = 0; i < 3 && corner < 3; ++i)
        if (Touch(found.crossings[i], found.crossings[3]))
            triangle[corner++] = i;
    return SideOf(found.Get(triangle), reference) >= 0.0 ? Reversed(triangle) : triangle;
}

// The function position_of(edge, i) gives the position of the i-th crossing, which is on that edge.
template <typename PositionOf>
IsoTriangles Cut(IsoTetrahedron const& tetrahedron, PositionOf const& position_of) {
    IsoTriangles result;
    std::size_t count = 0;
    for (auto const edge : Edges)
        if (tetrahedron.IsCrossed(edge)) {
            result.crossings[count] = {position_of(edge, count), edge};
            ++count;
        }
    if (count < 3)
        return result; // some corner has no value
    Vector const& reference = tetrahedron.Reference();
    constexpr IsoTriangles::Corners first = {0, 1, 2};
    result.triangles[0] = SideOf(result.Get(first), reference) < 0.0 ? first : Reversed(first);
    result.count = count - 2;
    if (count == 4)
        result.triangles[1] = SecondTriangle(result, reference);
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

// A position in internal units.
using RoundedPoint = std::array<MLong, 3>;

RoundedPoint Rounded(Vector const& position) noexcept {
    constexpr double units = KetSDK::Common::MInternalUnits::Get();
    auto const internal = [](double c) { return NearestCoordinate(c * units); };
    return {internal(position[0]), internal(position[1]), internal(position[2])};
}

bool HasCornerTwice(Triangle const& t) noexcept {
    return t[0] == t[1] || t[1] == t[2] || t[2] == t[0];
}

// What is found in a step of elements: points, in the order in which triangles need them first, and
// triangles.
class FoundSurface {
public:
    void Clear() noexcept {
        m_crossings.clear();
        m_points.clear();
        m_triangles.clear();
    }

    // Finds the triangles of an element, whose values are not all on one side.
    void Add(MMeshElement const& e, MLong element, IsoTetrahedron const& tetrahedron) {
        std::array<std::uint32_t, 4> numbers; // of the crossings
        IsoTriangles const cut = Cut(tetrahedron, [&](std::array<unsigned char, 2> edge, std::size_t i) {
            numbers[i] = NumberOf(e, tetrahedron, edge);
            return m_crossings[numbers[i]].position;
        });
        for (std::size_t i = 0; i < cut.count; ++i) {
            IsoTriangles::Corners const& corners = cut.triangles[i];
            if (!HasCornerTwice(cut.Get(corners)))
                m_triangles.push_back({{PointAt(numbers[corners[0]]), PointAt(numbers[corners[1]]),
                                        PointAt(numbers[corners[2]])},
                                       element});
        }
    }

    // Writes points and triangles. What the container reads to find a point at a position, which may lie
    // anywhere in memory, is fetched some time before.
    void Write(MStlBase& surface, std::vector<MStlPoint*>& points,
               KetSDK::Mesh::Detail::SurfaceRecord& record) const {
        points.clear();
        for (RoundedPoint const& p : m_points)
            surface.PrefetchPoint(p[0], p[1], p[2]);
        for (RoundedPoint const& p : m_points)
            surface.PrefetchFoundPoint(p[0], p[1], p[2]);
        for (RoundedPoint const& p : m_points)
            points.push_back(surface.AddPoint(p.data(), false));
        for (auto const& [corners, element] : m_triangles) {
            record.AddTriangle(element, 0);
            surface.AddTriangle(points[corners[0]], points[corners[1]], points[corners[2]], nullptr);
        }
    }

private:
    static constexpr std::uint32_t None = std::numeric_limits<std::uint32_t>::max();

    struct EdgeCrossing {
        MLong low, high; // the indices of the edge's nodes
        Vector position;
        std::uint32_t point; // None until a triangle needs it
    };
    struct FoundTriangle {
        std::array<std::uint32_t, 3> corners;
        MLong element;
    };

    // The number of the crossing on an edge. Elements around an edge follow one another closely in a good
    // order, so a few crossings are remembered. What is forgotten is found anew, and is one point all the
    // same when it is written.
    std::uint32_t NumberOf(MMeshElement const& e, IsoTetrahedron const& tetrahedron,
                           std::array<unsigned char, 2> edge) {
        auto const [low, high] =
            std::minmax({e.GetNode(edge[0])->GetIndex(), e.GetNode(edge[1])->GetIndex()});
        std::uint32_t& remembered =
            m_remembered[KetSDK::Support::HashOfPair(static_cast<std::uint32_t>(low),
                                                     static_cast<std::uint32_t>(high)) %
                         m_remembered.size()];
        if (remembered < m_crossings.size() && m_crossings[remembered].low == low &&
            m_crossings[remembered].high == high)
            return remembered;
        remembered = static_cast<std::uint32_t>(m_crossings.size());
        m_crossings.push_back({low, high, tetrahedron.CrossingOf(edge), None});
        return remembered;
    }
    std::uint32_t PointAt(std::uint32_t number) {
        EdgeCrossing& crossing = m_crossings[number];
        if (crossing.point == None) {
            crossing.point = static_cast<std::uint32_t>(m_points.size());
            m_points.push_back(Rounded(crossing.position));
        }
        return crossing.point;
    }

    std::vector<EdgeCrossing> m_crossings;
    std::array<std::uint32_t, 1024> m_remembered{}; // numbers of crossings, by their edges
    std::vector<RoundedPoint> m_points;
    std::vector<FoundTriangle> m_triangles;
};

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
    auto const find = [&](std::uint64_t first, std::uint64_t last, FoundSurface& found) {
        found.Clear();
        IsoTetrahedron tetrahedron;
        std::as_const(*mesh).Elements().ForEachWithNodes(
            first, last, [&](MMeshElement const& e, std::uint64_t index) {
                if (!ReadDifferences(e, *m_nodes_mask, m_iso_value, tetrahedron.differences))
                    return;
                tetrahedron.corners = CornersOf(e);
                found.Add(e, static_cast<MLong>(index), tetrahedron);
            });
    };
    KetSDK::Mesh::Detail::SurfaceRecord record(m_origins, *m_iso_surface);
    std::vector<MStlPoint*> points;
    auto const write = [&](std::uint64_t first, std::uint64_t last, FoundSurface const& found) {
        for (std::uint64_t i = first; i < last; ++i)
            ++reporter; // by elements, not by steps: it stands at the end early (kept)
        found.Write(*m_iso_surface, points, record);
        return true;
    };
    // Windows are short: writing takes longer than finding, and what is found first is written while other
    // threads go on.
    KetSDK::Support::WorkSteps const steps{
        .items = count, .step = 512, .parallel = GetParallel(), .window = 32};
    KetSDK::Support::ComputeSteps<FoundSurface>(steps, find, write);
    record.Finish();
    return true;
}

std::vector<Triangle const*> MMeshIsosurfaceOperator::_GetIsoTriangles(VertexValuedTetrahedron& tetrahedron) {
    IsoTetrahedron view;
    for (unsigned int i = 0; i < 4; ++i) {
        view.corners[i] = tetrahedron.GetVertex(i);
        view.differences[i] = tetrahedron.GetVertexValue(i) - m_iso_value;
    }
    IsoTriangles const found =
        Cut(view, [&view](std::array<unsigned char, 2> edge, std::size_t) { return view.CrossingOf(edge); });
    std::vector<Triangle const*> triangles;
    for (std::size_t i = 0; i < found.count; ++i)
        triangles.push_back(new Triangle(found.Get(found.triangles[i])));
    return triangles;
}

void MMeshIsosurfaceOperator::_AddTriangle(MStlBase* surface, Triangle const& triangle) const {
    if (HasCornerTwice(triangle))
        return;
    MStlPoint* points[3];
    for (std::size_t i = 0; i < 3; ++i)
        points[i] = surface->AddPoint(Rounded(triangle[i]).data(), false);
    surface->AddTriangle(points[0], points[1], points[2], nullptr);
}
