// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/MeshJobsExport.h>
#include <KetSDK/MeshJobs/Model.h>

#include <optional>
#include <string>
#include <vector>

namespace KetSDK::MeshJobs {

struct ResultsOptions {
    std::optional<int> step; // the last one without
};

struct ResultsReport {
    int step = 0;
    double time = 0.0;                      // s
    std::vector<std::string> arrays;        // that the model got
    std::optional<double> max_displacement; // mm; none where the file has no displacements
    std::optional<double> max_von_mises;    // MPa
};
// Reads what a solver left at the nodes of a model (.frd of CalculiX) into arrays of the model. Those are
// displacement [mm], stress [MPa] and strain (XX YY ZZ XY YZ XZ), von_mises [MPa], force [N]; NaN at nodes
// without, with a warning where elements use them. The number of a node in the file is that which a deck gave
// it when the model was read from one
// (.inp), and its index + 1 otherwise. Throws FileError for a file that is cut off, binary, or of another
// mesh; Cancelled.
KETSDK_MESHJOBS_API ResultsReport Results(Model& model, std::string const& file,
                                          ResultsOptions const& options, Context const& context);

} // namespace KetSDK::MeshJobs
