// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshOrigins.h>
#include <KetSDK/Mesh/mesh/MSurfaceOrigins.h>
#include <KetSDK/Mesh/persistence/MMeshArray.h>

#include <span>
#include <vector>

class MMeshBase;

// Carries what is known of a mesh to a mesh or a surface that was made of it, by the origins that were
// recorded. That is what stands in its masks and in arrays beside it.

// Gives a mesh, which rebuilding left without them, the grey values and the flag for them, the materials with
// their catalog, and the original identifiers of its parent. Each element gets those of the element that it
// came from, each node those of its parent node. Nodes that are new in the middle of an edge have no
// identifier. Values that the parent does not have are not made.
KETSDK_MESH_API void CarryMasks(MMeshBase const& parent, MMeshOrigins const& origins, MMeshBase& mesh);

// The arrays of a mesh for one that was made of it, in their order and with their types. Elements and nodes
// have the values of what they came from. A node that is new in the middle of an edge has the mean of both
// ends in floating-point arrays. In other ones it has the smaller of both values, component by component. So
// flags of 0 and 1 are set where both ends have them. So has a node that is new elsewhere in an element, of
// the corners of that element. What has no origin has 0, or an empty string. Arrays of the mesh as a whole
// stay as they are. Throws std::invalid_argument for an array with fewer rows than the origins speak of.
KETSDK_MESH_API std::vector<MMeshArray> CarryArrays(std::vector<MMeshArray> const& arrays,
                                                    MMeshOrigins const& origins);

// One of several meshes that went into one.
struct MParentArrays {
    std::vector<MMeshArray> const* arrays;
    MMeshOrigins const* origins; // of those elements and nodes that came from it
};
// The same for a mesh that was made of several, whose elements, as its nodes, came from one parent after the
// other. It gets the arrays of the first one that all of them have, by name and place. Numbers of different
// types become doubles. An array whose numbers of components differ, or of which only some hold strings, is
// left out, and so is one without a name. Arrays of the mesh as a whole come from the first parent.
KETSDK_MESH_API std::vector<MMeshArray> CarryArrays(std::span<MParentArrays const> parents);

// The arrays on the elements of a mesh for the triangles of a surface: each triangle has the values of its
// element. Other arrays are left out.
KETSDK_MESH_API std::vector<MMeshArray> CarryArrays(std::vector<MMeshArray> const& arrays,
                                                    MSurfaceOrigins const& origins);
