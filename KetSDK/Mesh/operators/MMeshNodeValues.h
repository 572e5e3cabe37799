// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/materials/MDataMask.h>
#include <KetSDK/Mesh/mesh/MMeshPoint.h>
#include <KetSDK/Mesh/persistence/MMeshArray.h>

#include <cstdint>
#include <span>

class MMeshBase;

// What the values at the nodes are like. The nodes are those at corners of elements.
struct MMeshNodeValuesReport {
    std::uint64_t without_value = 0; // nodes with NaN
    double min = 0.0;                // of the other nodes; NaN when there are none
    double max = 0.0;
};

// Puts a field at the nodes of a mesh, as MMeshIsosurfaceOperator takes it, into a mask that is registered
// with the mesh. It comes from one value of each node, or of each element, in their order. A node then has
// the plain mean over the elements that have it. A value that is not finite, or beyond 1e300, with which
// nothing can be interpolated, becomes NaN, and so does the mean of an element without a value. A node in no
// element keeps its value when they are those of elements. Throws std::invalid_argument when there are more
// or fewer values than nodes or elements, and for values of the mesh as a whole.
KETSDK_MESH_API MMeshNodeValuesReport SetNodeValues(MMeshBase const& mesh, MMeshArray::Place place,
                                                    std::span<double const> column,
                                                    MDataMask<MMeshPoint, double>& values);

// The same from one column of an array beside the mesh; see ColumnOf.
KETSDK_MESH_API MMeshNodeValuesReport SetNodeValues(MMeshBase const& mesh, MMeshArray const& array,
                                                    std::uint32_t index,
                                                    MDataMask<MMeshPoint, double>& values);
