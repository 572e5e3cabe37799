// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/persistence/MMeshArray.h>
#include <KetSDK/MeshVTK/LengthUnit.h>
#include <KetSDK/MeshVTK/MeshVTKExport.h>
#include <KetSDK/MeshVTK/Rounding.h>

#include <cstdint>
#include <memory>
#include <vector>

class MStlBase;
class vtkPolyData;

namespace KetSDK::MeshVTK {

struct SurfaceFromPolyDataOptions {
    LengthUnit unit;
    RoundingLimits limits;
};

struct SurfaceReport {
    RoundingReport rounding;
    std::uint64_t dropped_triangles = 0; // two corners had the same integer coordinates
    std::uint64_t uncut_polygons = 0; // gave fewer triangles than they should: part of the surface is missing
};

// Makes a surface container, owned by the caller, of polygons and triangle strips, which are cut into
// triangles; points and lines are left out. Points at one integer position become one. With the cell
// array `surface` and the field data `surface_names` there is a surface for each name, in that order,
// otherwise one without a name. Triangles that rounding collapses are dropped.
// `report` (may be null) receives what rounding did. Throws Error when there are no triangles, for
// wrong point numbers, coordinates that are not finite, a surface number without a name, and for
// rounding beyond the limits.
KETSDK_MESHVTK_API std::unique_ptr<MStlBase>
SurfaceFromPolyData(vtkPolyData& data, SurfaceFromPolyDataOptions const& options, SurfaceReport* report);
// The same with the arrays of the surface (ArraysFromSurface), as its triangles and points have them. Each
// triangle has the values of the polygon that it was cut from, each point those of the first one at its
// position.
KETSDK_MESHVTK_API std::unique_ptr<MStlBase> SurfaceFromPolyData(vtkPolyData& data,
                                                                 SurfaceFromPolyDataOptions const& options,
                                                                 SurfaceReport* report,
                                                                 std::vector<MMeshArray>& arrays);

} // namespace KetSDK::MeshVTK
