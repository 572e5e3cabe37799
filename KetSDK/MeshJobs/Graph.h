// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshVTK/LengthUnit.h>
#include <KetSDK/MeshVTK/OutputFile.h>
#include <KetSDK/Triangles/Data/MStlFeature.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace KetSDK::MeshJobs {

struct GraphOptions {
    // Take the edges on boundary faces of sub-volumes as well.
    bool all_edges = false;
};

struct GraphReport {
    std::string name; // UTF-8
    std::uint64_t vertices;
    std::uint64_t edges;
};
struct GraphResult {
    std::uint64_t elements = 0;
    std::uint64_t taken_by_corners = 0; // ten-node tetrahedra, of which the corners alone count
    std::vector<GraphReport> graphs;    // one for each sub-volume
    std::uint64_t vertices = 0;         // of all graphs
    std::uint64_t edges = 0;
    std::unique_ptr<MStlFeature> lines;         // the graphs themselves; never null
    std::optional<Mesh::CoordinateFrame> frame; // of their coordinates, which is that of the model
};
// Turns the edges of tetrahedra into a line graph for each sub-volume (MMeshConvertTetToGraphOperator).
// Throws FileError for other elements.
KETSDK_MESHJOBS_API GraphResult Graph(Model const& model, GraphOptions const& options,
                                      Context const& context);

// Opens the .vtp file that graphs are to be written to, before the work. Throws FileError for another ending
// and for a place that cannot be written to.
KETSDK_MESHJOBS_API MeshVTK::OutputFile OpenGraphFile(std::string const& path);
// Writes the graphs as lines, in the unit, with the cell array `graph` and the frame of the coordinates; the
// file appears under its name when it is whole. Throws FileError, also when there is no edge, and Cancelled.
KETSDK_MESHJOBS_API void WriteGraphs(MStlFeature const& graphs, MeshVTK::OutputFile& file,
                                     MeshVTK::LengthUnit unit, Context const& context,
                                     std::optional<Mesh::CoordinateFrame> frame = std::nullopt);

} // namespace KetSDK::MeshJobs
