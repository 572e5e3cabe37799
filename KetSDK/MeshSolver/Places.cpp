// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/Places.h>

#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/Math/MathCore/MMVector.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/MeshSolver/Error.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <utility>

namespace KetSDK::MeshSolver {

namespace {

using Position = MMVector<double, 3>;

// Coordinates of a mesh are rounded, those of a case are not.
constexpr double Tolerance = 1.0 / Common::MInternalUnits::Get();

// What a place says of positions.
class Region {
public:
    Region(Case::Place const& place, std::array<double, 3> const& low, std::array<double, 3> const& high)
        : m_box(place.box)
        , m_sphere(place.sphere) {
        if (place.end) {
            auto const axis = static_cast<std::size_t>(place.end->axis);
            constexpr double infinite = std::numeric_limits<double>::infinity();
            m_end = {-infinite, -infinite, -infinite, infinite, infinite, infinite};
            if (place.end->is_upper)
                m_end[axis] = high[axis] - place.end->within;
            else
                m_end[axis + 3] = low[axis] + place.end->within;
            m_has_end = true;
        }
    }

    bool Holds(Position const& p) const noexcept {
        return (!m_has_end || IsIn(m_end, p)) && (!m_box || IsIn(*m_box, p)) && (!m_sphere || IsInSphere(p));
    }

private:
    static bool IsIn(std::array<double, 6> const& box, Position const& p) noexcept {
        for (unsigned int i = 0; i < 3; ++i)
            if (!(p[i] >= box[i] - Tolerance && p[i] <= box[i + 3] + Tolerance))
                return false;
        return true;
    }
    bool IsInSphere(Position const& p) const noexcept {
        auto const& [x, y, z, radius] = *m_sphere;
        return (p - Position(x, y, z)).Length() <= radius + Tolerance;
    }

    bool m_has_end = false;
    std::array<double, 6> m_end{};
    std::optional<std::array<double, 6>> m_box;
    std::optional<std::array<double, 4>> m_sphere;
};

// Of the plane through the corners, outwards.
Position NormalOf(MMeshElement const& e, FaceNodes const& face) {
    auto const corner = [&](unsigned int i) { return e.GetNode(face.node[i])->GetPosition(); };
    if (face.corners == 4)
        return (corner(2) - corner(0)).Cross(corner(3) - corner(1));
    return (corner(1) - corner(0)).Cross(corner(2) - corner(0));
}

bool PointsTo(MMeshElement const& e, FaceNodes const& face, Case::Place::Normal const& normal) {
    Position const direction(normal.direction[0], normal.direction[1], normal.direction[2]);
    Position const own = NormalOf(e, face);
    double const angle = std::atan2(own.Cross(direction).Length(), own.Dot(direction));
    return angle <= (normal.angle + 1e-4) * std::numbers::pi / 180.0;
}

int SubVolumeOf(MMeshBase const& mesh, MMeshElement const& e) {
    auto const* const numbers = std::as_const(*mesh.GetElementMasks()).GetSubvolumeMask();
    return numbers ? numbers->GetValue(e) : 0;
}

} // namespace

PlaceFinder::PlaceFinder(MMeshBase const& mesh, std::vector<MeshSurface> const& surfaces,
                         std::vector<std::string> const& subvolumes, std::vector<bool> const& used)
    : m_mesh(mesh)
    , m_surfaces(surfaces)
    , m_subvolumes(subvolumes)
    , m_used(used) {
    m_low.fill(std::numeric_limits<double>::max());
    m_high.fill(std::numeric_limits<double>::lowest());
    for (std::size_t i = 0; i < used.size(); ++i) {
        if (!used[i])
            continue;
        Position const p = mesh.GetRandomPoint(i)->GetPosition();
        for (unsigned int c = 0; c < 3; ++c) {
            m_low[c] = std::min(m_low[c], p[c]);
            m_high[c] = std::max(m_high[c], p[c]);
        }
    }
}

std::vector<bool> PlaceFinder::SubVolumesOf(Case::Place const& place) const {
    std::vector<bool> wanted(m_subvolumes.size(), place.subvolume.empty());
    std::string known;
    for (std::size_t i = 0; i < m_subvolumes.size() && !place.subvolume.empty(); ++i) {
        wanted[i] = m_subvolumes[i] == place.subvolume;
        known += (i == 0 ? "" : ", ") + m_subvolumes[i];
    }
    if (std::ranges::find(wanted, true) == wanted.end() && !place.subvolume.empty())
        throw CaseError("place \"" + place.name + "\" names the sub-volume \"" + place.subvolume +
                        "\", which the mesh does not have; there are " + known);
    return wanted;
}

std::vector<FaceOfElement> PlaceFinder::FacesOf(Case::Place const& place) const {
    std::vector<FaceOfElement> faces;
    bool is_known = place.surface.empty();
    std::string known;
    for (MeshSurface const& surface : m_surfaces) {
        bool const is_wanted = place.surface.empty() ? surface.is_outer : surface.name == place.surface;
        if (is_wanted)
            faces.insert(faces.end(), surface.faces.begin(), surface.faces.end());
        is_known |= is_wanted;
        known += (known.empty() ? "" : ", ") + surface.name;
    }
    if (!is_known)
        throw CaseError("place \"" + place.name + "\" names the surface \"" + place.surface +
                        "\", which the mesh does not have; there are " + known);
    std::ranges::sort(faces);
    return faces;
}

PlaceContent PlaceFinder::Find(Case::Place const& place) const {
    Region const region(place, m_low, m_high);
    std::vector<bool> const subvolumes = SubVolumesOf(place);
    auto const is_in_subvolume = [&](MMeshElement const& e) {
        auto const number = static_cast<std::size_t>(SubVolumeOf(m_mesh, e));
        return number < subvolumes.size() ? subvolumes[number] : place.subvolume.empty();
    };
    PlaceContent content;
    for (FaceOfElement const& face : FacesOf(place)) {
        MMeshElement const& e = *m_mesh.GetElement(face.element);
        FaceNodes const& nodes = NodesOfFace(e.GetNodeCount(), face.face);
        auto const is_in_region = [&](unsigned char i) { return region.Holds(e.GetNode(i)->GetPosition()); };
        if (is_in_subvolume(e) && (!place.normal || PointsTo(e, nodes, *place.normal)) &&
            std::ranges::all_of(nodes.All(), is_in_region))
            content.faces.push_back(face);
    }
    if (place.normal || !place.surface.empty()) {
        content.nodes = NodesOnFaces(m_mesh, content.faces);
        return content;
    }
    std::vector<bool> candidates = m_used;
    if (!place.subvolume.empty()) {
        candidates.assign(m_used.size(), false);
        m_mesh.Elements().ForEachWithNodes([&](MMeshElement const& e, std::uint64_t) {
            for (unsigned int i = 0; i < e.GetNodeCount() && is_in_subvolume(e); ++i)
                candidates[static_cast<std::size_t>(e.GetNode(i)->GetIndex())] = true;
        });
    }
    for (std::size_t i = 0; i < candidates.size(); ++i)
        if (candidates[i] && region.Holds(m_mesh.GetRandomPoint(i)->GetPosition()))
            content.nodes.push_back(static_cast<std::uint32_t>(i));
    return content;
}

} // namespace KetSDK::MeshSolver
