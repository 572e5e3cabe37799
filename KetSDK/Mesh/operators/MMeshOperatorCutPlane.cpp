// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/MMeshOperatorCutPlane.h>

#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/Mesh/geometry/LimitedPolyhedron.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/detail/NearestCoordinate.h>
#include <KetSDK/Mesh/operators/detail/SectionCutter.h>
#include <KetSDK/Mesh/operators/detail/SurfaceRecord.h>
#include <KetSDK/Support/ParallelWork.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <map>
#include <unordered_map>
#include <utility>

using namespace KetSDK::Mesh::Detail;

namespace {

using Point = MMeshOperatorCutPlane::Point;

constexpr double Unit = KetSDK::Common::MInternalUnits::Get();

// On which side each node lies: a bit for above and one for below, none for on the plane. The sides of an
// element are what is common to its nodes.
constexpr unsigned char AboveBit = 1;
constexpr unsigned char BelowBit = 2;

std::vector<unsigned char> SidesOfNodes(MMeshBase const& mesh, Point const& normal, Point const& point,
                                        bool parallel) {
    double const offset = normal.Dot(point);
    std::vector<unsigned char> sides(static_cast<std::size_t>(mesh.NumberOfPoints()));
    constexpr std::size_t block = MMeshPointContainer::NodesPerBlock;
    KetSDK::Support::ComputeSteps({.items = sides.size(), .step = block, .parallel = parallel},
                                  [&](std::uint64_t first, std::uint64_t last) {
                                      MMeshPoint const* const nodes = mesh.GetRandomPoint(first);
                                      for (std::size_t i = 0; i < last - first; ++i) {
                                          double const distance = normal.Dot(nodes[i].GetPosition()) - offset;
                                          sides[first + i] =
                                              static_cast<unsigned char>((distance > 0.0 ? AboveBit : 0) |
                                                                         (distance < 0.0 ? BelowBit : 0));
                                      }
                                  });
    return sides;
}

// What is common to the sides of an element's nodes.
unsigned int SideOf(MMeshElement const& e, std::vector<unsigned char> const& sides) {
    auto const side = [&](unsigned int i) -> unsigned int {
        return sides[static_cast<std::size_t>(e.GetNode(i)->GetIndex())];
    };
    if (e.GetNodeCount() == 4) // nearly always; without a loop none waits for another
        return side(0) & side(1) & side(2) & side(3);
    unsigned int common = AboveBit | BelowBit;
    for (unsigned int i = 0; i < e.GetNodeCount(); ++i)
        common &= side(i);
    return common;
}

// What a step of elements is told by the sides of their nodes.
struct SidesOfStep {
    static constexpr std::size_t Elements = 1024;
    std::vector<std::uint64_t> cut;                 // numbers of elements
    std::array<std::uint64_t, Elements / 64> above; // a bit for each element
    std::uint64_t nb_above;
    bool is_shown; // whether the mask of visible elements has been told
};

// Finds out where elements lie and shows those that lie not above.
class SideFinder {
public:
    SideFinder(MMeshBase& mesh, std::vector<unsigned char> const& sides)
        : m_elements(mesh.Elements())
        , m_visible(*mesh.GetElementMasks()->GetVisibleMask())
        , m_sides(sides) {}

    // On any thread: the mask is told where no other step does.
    void Find(std::uint64_t first, std::uint64_t last, SidesOfStep& found) {
        found.cut.clear();
        found.above.fill(0);
        found.nb_above = 0;
        std::uint64_t const first_slot = m_elements.GetElementPtrAt(first)->GetMaskIndex();
        // Elements of a mesh that was made in one go have one slot after the other.
        bool in_a_row = first_slot % 64 == 0 && (last - first) % 64 == 0;
        m_elements.ForEachWithNodes(first, last, [&](MMeshElement const& e, std::uint64_t number) {
            std::uint64_t const i = number - first;
            unsigned int const side = SideOf(e, m_sides);
            std::uint64_t const is_above = (side & AboveBit) != 0;
            found.nb_above += is_above;
            found.above[i / 64] |= is_above << i % 64;
            in_a_row = in_a_row && e.GetMaskIndex() == first_slot + i;
            if (side == 0)
                found.cut.push_back(number);
        });
        found.is_shown = in_a_row && first_slot + (last - first) <= m_visible.GetSize();
        for (std::uint64_t i = 0; found.is_shown && i < last - first; i += 64)
            m_visible.SetWordAt(first_slot + i, ~found.above[i / 64]);
    }
    // On one thread.
    void Show(std::uint64_t first, std::uint64_t last, SidesOfStep const& found) {
        for (std::uint64_t i = 0; !found.is_shown && i < last - first; ++i)
            m_visible.SetValue(*m_elements.GetElementPtrAt(first + i),
                               (found.above[i / 64] >> i % 64 & 1) == 0);
    }

private:
    MMeshElementContainer const& m_elements;
    MDataMaskBits<MMeshElement>& m_visible;
    std::vector<unsigned char> const& m_sides;
};

// A power of two times the normal, whose largest coordinate is between 1 and 2 then: exact, and safe from
// overflow.
Point WithModerateLength(Point const& normal) {
    double const largest = std::max({std::abs(normal[0]), std::abs(normal[1]), std::abs(normal[2])});
    if (!(largest > 0.0) || !std::isfinite(largest))
        return normal;
    int const exponent = std::ilogb(largest);
    return {std::scalbn(normal[0], -exponent), std::scalbn(normal[1], -exponent),
            std::scalbn(normal[2], -exponent)};
}

// The index of each element that is cut.
using ElementIndices = std::unordered_map<MMeshElement const*, MLong>;

// Writes polygons as triangles.
class SurfaceWriter {
public:
    SurfaceWriter(MStlBase& stl, MMeshSection const& section, MSurfaceOrigins* origins,
                  ElementIndices const& indices)
        : m_stl(stl)
        , m_section(section)
        , m_record(origins, stl)
        , m_indices(indices)
        , m_points(static_cast<std::size_t>(section.NumberOfPoints()), nullptr) {}

    // Returns how many triangles a polygon gave.
    std::size_t Write(MStlSurface& surface, std::uint64_t polygon) {
        auto const corners = m_section.GetCorners(polygon);
        std::size_t written = 0;
        for (std::size_t last = 2; last < corners.size(); ++last)
            if (auto* const item = surface.AddTriangle(
                    SurfacePoint(corners[0]), SurfacePoint(corners[last - 1]), SurfacePoint(corners[last]))) {
                item->GetData().SetNormalFloat(MMVector<float, 3>(m_section.GetNormal()));
                ++written;
            }
        if (!m_indices.empty())
            Record(polygon, written);
        return written;
    }
    void AddSurface(MMeshSubVolume const* sub_volume) {
        m_record.AddSurface({sub_volume ? sub_volume->GetID() : -1, {}});
    }
    // To be called after the last polygon.
    void Finish() { m_record.Finish(); }

private:
    // A polygon is a face of its element when all its corners are nodes of that.
    void Record(std::uint64_t polygon, std::size_t triangles) {
        MMeshElement const& e = *m_section.GetElement(polygon);
        NodeBits nodes = 0;
        bool is_face = true;
        for (std::uint32_t const corner : m_section.GetCorners(polygon)) {
            MLong const node = m_section.GetNode(corner);
            is_face = is_face && node >= 0;
            for (unsigned int i = 0; i < e.GetNodeCount(); ++i)
                nodes |= static_cast<NodeBits>(e.GetNode(i)->GetIndex() == node) << i;
        }
        int const face = is_face ? SolverFaceOf(e.GetNodeCount(), nodes) : 0;
        for (std::size_t i = 0; i < triangles; ++i)
            m_record.AddTriangle(m_indices.at(&e), face);
    }

    MStlPoint* SurfacePoint(std::uint32_t number) {
        MStlPoint*& point = m_points[number];
        if (!point) {
            MMVector<MLong, 3> const p = NearestCoordinates(m_section.GetPoint(number) * Unit);
            point = m_stl.AddPoint(p[0], p[1], p[2], false);
            m_record.AddPoint(*point, m_section.GetNode(number));
        }
        return point;
    }

    MStlBase& m_stl;
    MMeshSection const& m_section;
    SurfaceRecord m_record;
    ElementIndices const& m_indices; // empty when nothing is recorded
    std::vector<MStlPoint*> m_points;
};

// Makes polygons of all elements that are cut, and lists their indices. Returns how many lie above the plane.
std::uint64_t CutElements(MMeshBase& mesh, std::vector<unsigned char> const& sides, bool parallel,
                          SectionCutter& cutter, std::vector<MLong>& cut_elements) {
    std::uint64_t above = 0;
    std::vector<MMeshElement const*> cut;
    SideFinder finder(mesh, sides);
    KetSDK::Support::WorkSteps const steps{.items = mesh.Elements().GetNumElements(),
                                           .step = SidesOfStep::Elements,
                                           .parallel = parallel,
                                           .window = 32};
    // While other threads look at the next elements, this one makes polygons of what is cut; alone it makes
    // them in the end, which is quicker.
    auto const make_polygons = [&] {
        cutter.Cut(cut);
        cut.clear();
    };
    KetSDK::Support::ComputeSteps<SidesOfStep>(
        steps,
        [&finder](std::uint64_t first, std::uint64_t last, SidesOfStep& found) {
            finder.Find(first, last, found);
        },
        [&](std::uint64_t first, std::uint64_t last, SidesOfStep const& found) {
            finder.Show(first, last, found);
            above += found.nb_above;
            for (std::uint64_t const index : found.cut) {
                cut.push_back(mesh.GetElement(index));
                cut_elements.push_back(static_cast<MLong>(index));
            }
            if (parallel)
                make_polygons();
            return true;
        });
    make_polygons();
    return above;
}

} // namespace

MMeshOperatorCutPlane::~MMeshOperatorCutPlane() = default;

void MMeshOperatorCutPlane::SetPlane(Point const& normal, Point const& point) {
    m_normal = WithModerateLength(normal);
    m_point = point;
}

bool MMeshOperatorCutPlane::Operate() {
    m_nb_above = m_nb_below = m_nb_cut = 0;
    m_section = MMeshSection();
    m_cut_elements.clear();
    m_cut_mesh = nullptr;
    bool const is_plane = std::isfinite(m_normal.Dot(m_point)) && m_normal.Length() > 0.0;
    if (!GetMesh() || !is_plane)
        return false;
    MMeshBase& mesh = *GetMesh();
    std::vector<unsigned char> const sides = SidesOfNodes(mesh, m_normal, m_point, GetParallel());
    MMeshSection section({}, m_normal, m_point);
    SectionCutter cutter(section, m_normal, m_point);
    // As many as a plane cuts of a compact mesh.
    double const elements = static_cast<double>(mesh.Elements().GetNumElements());
    cutter.Reserve(static_cast<std::size_t>(3.0 * std::pow(elements, 2.0 / 3.0)));
    std::uint64_t const above = CutElements(mesh, sides, GetParallel(), cutter, m_cut_elements);
    cutter.Finish();
    m_section = std::move(section);
    m_nb_above = above;
    m_nb_cut = m_cut_elements.size();
    m_nb_below = mesh.Elements().GetNumElements() - m_nb_above - m_nb_cut;
    m_cut_mesh = &mesh;
    return true;
}

MMeshOperatorCutPlane::Side MMeshOperatorCutPlane::GetSide(MMeshElement& e) const {
    LimitedPolyhedron const nodes(&e);
    return nodes.LargerThanPlane(m_normal, m_point)    ? Above
           : nodes.SmallerThanPlane(m_normal, m_point) ? Below
                                                       : Cut;
}

std::vector<MMeshElement const*> MMeshOperatorCutPlane::AddSurfaces(MStlBase& stl,
                                                                    MSurfaceOrigins* origins) const {
    std::vector<MMeshElement const*> elements;
    if (!m_cut_mesh)
        return elements;
    ElementIndices indices;
    if (origins)
        for (MLong const index : m_cut_elements)
            indices[m_cut_mesh->GetElement(static_cast<std::uint64_t>(index))] = index;
    std::map<MMeshSubVolume const*, std::vector<std::uint64_t>> polygons;
    for (std::uint64_t i = 0; i < m_section.NumberOfPolygons(); ++i)
        polygons[m_cut_mesh->GetSubVolume(*m_section.GetElement(i))].push_back(i);

    SurfaceWriter writer(stl, m_section, origins, indices);
    auto const write = [&](MMeshSubVolume const* sub_volume) {
        auto const found = polygons.find(sub_volume);
        if (found == polygons.end())
            return;
        MStlSurface& surface = *stl.AddSurface(nullptr);
        writer.AddSurface(sub_volume);
        if (sub_volume)
            surface.SetName(sub_volume->GetName().c_str());
        for (std::uint64_t const polygon : found->second)
            elements.insert(elements.end(), writer.Write(surface, polygon), m_section.GetElement(polygon));
    };
    for (auto it = m_cut_mesh->BeginSubVolume(); it != m_cut_mesh->EndSubVolume(); ++it)
        write(it->get());
    write(nullptr);
    writer.Finish();
    return elements;
}
