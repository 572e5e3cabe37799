// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshVTK/OutputFile.h>

#include <cstdint>
#include <string>
#include <vector>

namespace KetSDK::MeshJobs {

// A model as a page: one .html file that a browser shows without a network and without a program.

struct ViewOptions {
    // What the page is coloured by when it opens: "subvolume", an array, a quality metric, or one component
    // of an array ("stress XY", "forces 2"). Empty: von_mises where the model has it, else the sub-volumes.
    std::string color;
    // Names of metrics with commas between them, or "all"; empty for those that most people look at. The
    // colour is measured beside them.
    std::string metrics;
    // A mesh with more elements is shown by those at its surfaces and interfaces, and the worst.
    std::uint64_t max_elements = 2'000'000;
};

struct ViewResult {
    std::uint64_t elements = 0; // of the model
    std::uint64_t nodes = 0;
    std::uint64_t shown = 0;         // elements that the page has; all but where max_elements was exceeded
    std::string color;               // what the page is coloured by when it opens
    std::vector<std::string> colors; // what it can be coloured by
    std::uint64_t bytes = 0;         // of the page
};

// Opens the file that a page is to be written to, before the work. Throws FileError for another ending than
// .html or .htm and for a place that cannot be written to; Error where the library was built without the
// page.
KETSDK_MESHJOBS_API MeshVTK::OutputFile OpenPage(std::string const& path);
// Writes the page; the file appears under its name when it is whole. Throws Error for a colour or metric that
// the model does not have, FileError, Cancelled.
KETSDK_MESHJOBS_API ViewResult View(Model const& model, MeshVTK::OutputFile& file, ViewOptions const& options,
                                    Context const& context);

// What View puts into the page, as docs/view.md describes it: a model in few bytes. `bytes` of the result are
// those of the data.
struct PageData {
    std::string data;
    ViewResult result;
};
KETSDK_MESHJOBS_API PageData PackModel(Model const& model, ViewOptions const& options,
                                       Context const& context);

} // namespace KetSDK::MeshJobs
