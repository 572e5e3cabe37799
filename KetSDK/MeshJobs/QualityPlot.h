// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Quality.h>
#include <KetSDK/MeshVTK/OutputFile.h>

#include <string>

namespace KetSDK::MeshJobs {

// Histograms of measured quality as a picture: a .svg file with those of all metrics one below the other.

struct QualityPlotOptions {
    bool show_threshold = false; // as a line in each histogram
};

// Opens the file that a picture is to be written to: before the work, which would be for nothing when the
// file cannot be written. Throws FileError for another ending and for a place that cannot be written to.
KETSDK_MESHJOBS_API MeshVTK::OutputFile OpenQualityPlot(std::string const& path);
// Draws the histograms; the file appears under its name when it is whole. Throws FileError.
KETSDK_MESHJOBS_API void WriteQualityPlot(QualityResult const& quality, MeshVTK::OutputFile& file,
                                          QualityPlotOptions const& options, Context const& context = {});
// Both in one.
KETSDK_MESHJOBS_API void WriteQualityPlot(QualityResult const& quality, std::string const& path,
                                          QualityPlotOptions const& options);

} // namespace KetSDK::MeshJobs
