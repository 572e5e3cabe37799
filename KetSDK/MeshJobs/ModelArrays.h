// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshJobs/ModelFile.h>
#include <KetSDK/MeshJobs/SurfaceModel.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace KetSDK::MeshJobs {

// Models and surfaces as plain arrays of numbers, for callers who bring their own: other languages, other
// programs' meshes.

// Elements of one kind: 4, 10, 8 or 6 nodes each, as indices of points in VTK's order, element after element.
struct CellBlock {
    unsigned int nodes;
    std::span<std::int64_t const> connectivity;
};
// A volume mesh. Nothing of it is kept.
struct ModelArrays {
    std::span<double const> points; // x, y and z of each, in the unit of the options
    std::vector<CellBlock> cells;   // the elements are those of the first block, then of the next
    std::vector<MMeshArray> arrays; // of the elements and the points
    // By number in the array `subvolume` on the elements; without effect when there is no such array.
    std::vector<std::string> subvolume_names;
};
// Makes a model of arrays, as ReadModel makes one of a file that holds them. Coordinates are rounded within
// the limits, and the arrays `subvolume`, `label`, `grey`, `material` and `original_id` mean the same. Throws
// Error for numbers that make no mesh, naming the first: node indices beyond the points, coordinates that are
// not finite, arrays of another length; Cancelled.
KETSDK_MESHJOBS_API Model MakeModel(ModelArrays const& arrays, ReadOptions const& options,
                                    Context const& context);

// The positions of the nodes in mm: x, y and z of each. `points` has room for three numbers a node.
KETSDK_MESHJOBS_API void CopyPoints(Model const& model, std::span<double> points);
// The node indices, in VTK's order, of the elements with that many nodes, in the order of the mesh.
// `connectivity` has room for all of them.
KETSDK_MESHJOBS_API void CopyCells(Model const& model, unsigned int nodes,
                                   std::span<std::int64_t> connectivity);
// The indices of those elements in the mesh, which rows of arrays have. There is room for all of them.
KETSDK_MESHJOBS_API void CopyCellIndices(Model const& model, unsigned int nodes,
                                         std::span<std::int64_t> indices);
// The number of the sub-volume of each element; -1 for one in none.
KETSDK_MESHJOBS_API void CopySubVolumeNumbers(Model const& model, std::span<std::int32_t> numbers);
// The names, in UTF-8, of the arrays that a written file has at a place: those that the mesh makes itself,
// then the model's others.
KETSDK_MESHJOBS_API std::vector<std::string> ArrayNamesOf(Model const& model, MMeshArray::Place place);
// The array of that name, in UTF-8; nothing when there is none.
KETSDK_MESHJOBS_API std::optional<MMeshArray> CopyArray(Model const& model, MMeshArray::Place place,
                                                        std::string const& name);
// Gives a model an array, in place of one with the same name at the same place; `grey` on the elements
// becomes their grey values. Throws Error for an array of another length, and for one of the others that the
// mesh makes itself: a change of those would not reach what they come from.
KETSDK_MESHJOBS_API void SetModelArray(Model& model, MMeshArray array);

// A surface: triangles as indices of points, and the number of each triangle's surface in the list of names.
// Arrays on its points and triangles lie in SurfaceModel::arrays in the same order.
struct SurfaceArrays {
    std::vector<double> points; // mm; x, y and z of each
    std::vector<std::int64_t> triangles;
    std::vector<std::int32_t> surface_of; // of each triangle
    std::vector<std::string> names;       // UTF-8, by surface
};
KETSDK_MESHJOBS_API SurfaceArrays CopySurface(SurfaceModel const& surface);

// Makes one surface of points [in the unit of the options] and triangles; points at one integer position
// become one, and triangles that collapse are dropped. Throws Error for numbers that make no surface.
KETSDK_MESHJOBS_API SurfaceModel MakeSurface(std::span<double const> points,
                                             std::span<std::int64_t const> triangles, std::string const& name,
                                             ReadOptions const& options);
// The surfaces that CopySurface gives these arrays of, with the same points, triangles and names. Throws
// Error for indices that name no point and numbers that name no surface.
KETSDK_MESHJOBS_API SurfaceModel MakeSurfaces(SurfaceArrays const& arrays);

} // namespace KetSDK::MeshJobs
