// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshOrigins.h>
#include <KetSDK/Mesh/mesh/MSurfaceOrigins.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <set>
#include <string>
#include <vector>

// Geometry as a witness of origins: things lie where what they came from lies.
namespace OriginsWitness {

using Place = std::array<MLong, 3>;
using Places = std::set<Place>;

inline Place PlaceOf(MMeshPoint const& p) {
    return {p.x, p.y, p.z};
}
inline Place PlaceOf(MStlPoint const& p) {
    return {p.GetX(), p.GetY(), p.GetZ()};
}

inline Places PlacesOf(MMeshElement const& e) {
    Places places;
    for (unsigned int i = 0; i < e.GetNodeCount(); ++i)
        places.insert(PlaceOf(*e.GetNode(i)));
    return places;
}

// Halves away from zero.
inline Place MiddleOf(Place const& a, Place const& b) {
    Place middle{};
    for (std::size_t i = 0; i < 3; ++i) {
        std::int64_t const sum = std::int64_t{a[i]} + b[i];
        middle[i] = static_cast<MLong>((sum + (sum > 0) - (sum < 0)) / 2);
    }
    return middle;
}

// The nodes of a mesh lie where its parent's do, or between two of them, and its elements within nodes of
// what they came from. The rows of the origins belong to the elements and nodes from `first_element` and
// `first_node` on.
inline void CheckMesh(MMeshBase const& parent, MMeshBase const& mesh, MMeshOrigins const& origins,
                      MLong first_element = 0, MLong first_node = 0) {
    ASSERT_GE(mesh.NumberOfElements() - first_element, static_cast<MLong>(origins.elements.size()));
    ASSERT_GE(mesh.NumberOfPoints() - first_node, static_cast<MLong>(origins.nodes.size()));
    auto const parent_node = [&parent](MLong i) {
        return PlaceOf(*parent.GetRandomPoint(static_cast<std::uint64_t>(i)));
    };
    for (std::size_t i = 0; i < origins.nodes.size(); ++i) {
        auto const [a, b] = origins.nodes[i];
        if (origins.inside.contains(static_cast<MLong>(i)))
            continue; // its place stands nowhere
        ASSERT_TRUE(a >= 0 && a < parent.NumberOfPoints() && b >= 0 && b < parent.NumberOfPoints());
        Place const expected = a == b ? parent_node(a) : MiddleOf(parent_node(a), parent_node(b));
        ASSERT_EQ(PlaceOf(*mesh.GetRandomPoint(i + static_cast<std::size_t>(first_node))), expected) << i;
    }
    for (std::size_t i = 0; i < origins.elements.size(); ++i) {
        ASSERT_TRUE(origins.elements[i] >= 0 && origins.elements[i] < parent.NumberOfElements());
        MMeshElement const& e = *mesh.GetElement(i + static_cast<std::size_t>(first_element));
        MMeshElement const& origin = *parent.GetElement(static_cast<std::uint64_t>(origins.elements[i]));
        Places const places = PlacesOf(origin);
        for (unsigned int k = 0; k < e.GetNodeCount(); ++k) {
            auto const row = static_cast<std::size_t>(e.GetNode(k)->GetIndex() - first_node);
            if (row >= origins.nodes.size()) { // joined with a node of another parent
                ASSERT_TRUE(places.contains(PlaceOf(*e.GetNode(k))));
                continue;
            }
            auto const inside = origins.inside.find(static_cast<MLong>(row));
            for (MLong const parent_of : inside == origins.inside.end()
                                             ? std::vector{origins.nodes[row].a, origins.nodes[row].b}
                                             : inside->second)
                ASSERT_TRUE(places.contains(parent_node(parent_of)));
        }
        ASSERT_EQ(mesh.GetSubVolume(e)->GetName(), parent.GetSubVolume(origin)->GetName());
    }
}

// The corners of the faces of an element with n nodes as decks write them.
inline std::vector<std::string> FacesInDecks(unsigned char n) {
    if (n == 8)
        return {"1234", "5876", "1562", "2673", "3784", "4851"};
    if (n == 6)
        return {"123", "456", "1254", "2365", "3146"};
    return {"123", "142", "243", "341"};
}

// Where the corners and mid-edge nodes of a face are, counted from 1.
inline Places PlacesOfFace(MMeshElement const& e, int face) {
    Places places;
    std::string const corners = FacesInDecks(e.GetNodeCount()).at(static_cast<std::size_t>(face - 1));
    auto const has = [&corners](unsigned char node) {
        return corners.find(static_cast<char>('1' + node)) != std::string::npos;
    };
    for (char const corner : corners)
        places.insert(PlaceOf(*e.GetNode(static_cast<unsigned int>(corner - '1'))));
    for (unsigned int edge = 0; e.GetNodeCount() == 10 && edge < 6; ++edge)
        if (auto const& ends = MMeshElementDescriptor::descr_tet4_tet10_point[edge];
            has(ends[0]) && has(ends[1]))
            places.insert(PlaceOf(*e.GetNode(4 + edge)));
    return places;
}

inline Places PlacesOf(MStlTriangle const& triangle) {
    return {PlaceOf(*triangle.GetPoint(0)), PlaceOf(*triangle.GetPoint(1)), PlaceOf(*triangle.GetPoint(2))};
}

inline bool Contains(Places const& all, Places const& some) {
    return std::ranges::includes(all, some);
}

inline bool HasNodesAt(MMeshBase const& mesh, int sub_volume, Places const& places) {
    return std::ranges::any_of(mesh.Elements(), [&](MMeshElement const& e) {
        return mesh.GetSubVolume(e)->GetID() == sub_volume && Contains(PlacesOf(e), places);
    });
}

// Points lie where their nodes do, triangles on the faces that they name, and inside of a surface is the
// sub-volume of its elements. A triangle on nodes alone which names no face lies on none. With `neighbours`
// it is looked for elements on the other side of surfaces, which takes long in a large mesh.
inline void CheckSurface(MMeshBase const& mesh, MStlBase const& stl, MSurfaceOrigins const& origins,
                         bool neighbours = false) {
    ASSERT_EQ(origins.points.size(), stl.NumberOfPoints());
    ASSERT_EQ(origins.triangles.size(), stl.NumberOfTriangles());
    ASSERT_EQ(origins.surfaces.size(), stl.NumberOfSurfaces());
    for (std::size_t i = 0; i < origins.points.size(); ++i)
        if (origins.points[i] >= 0) {
            ASSERT_EQ(PlaceOf(*stl.GetPoint(i)),
                      PlaceOf(*mesh.GetRandomPoint(static_cast<std::uint64_t>(origins.points[i]))));
        }
    auto origin = origins.triangles.begin();
    for (MStlSurface const& surface : stl.Surfaces())
        for (MStlTriangle const& triangle : surface.Triangles()) {
            auto const [element, face] = *origin++;
            ASSERT_TRUE(element >= 0 && element < mesh.NumberOfElements());
            MMeshElement const& e = *mesh.GetElement(static_cast<std::uint64_t>(element));
            Places const places = PlacesOf(triangle);
            if (face > 0) {
                ASSERT_TRUE(Contains(PlacesOfFace(e, face), places)) << element << ' ' << face;
            } else {
                for (int f = 1; f <= static_cast<int>(FacesInDecks(e.GetNodeCount()).size()); ++f)
                    ASSERT_FALSE(Contains(PlacesOfFace(e, f), places)) << element;
            }
            auto const& [inside, outside] = origins.surfaces[surface.GetIndex()];
            if (inside) {
                ASSERT_EQ(mesh.GetSubVolume(e)->GetID(), *inside);
            }
            if (outside && neighbours) {
                ASSERT_TRUE(HasNodesAt(mesh, *outside, places));
            }
        }
}

} // namespace OriginsWitness
