#pragma once

#include <KetSDK/MeshVTK/OutputFile.h>
#include <host/commands/options/BadThreshold.h>

#include <string>
#include <vector>

namespace ketmesh {

struct MetricReport;

// Throws KetSDK::MeshVTK::Error for a name that does not end with .svg.
void CheckSvgFileName(std::string const& file);

// Draws the histograms of the reports one below the other, and commits the file. A threshold that was
// given is a line. Throws KetSDK::MeshVTK::Error when writing fails.
void WriteHistogramSvg(KetSDK::MeshVTK::OutputFile& file, std::string const& mesh_name,
                       std::vector<MetricReport> const& reports, BadThreshold const& threshold);

} // namespace ketmesh
