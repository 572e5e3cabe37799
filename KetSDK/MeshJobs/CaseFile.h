// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/MeshJobsExport.h>
#include <KetSDK/MeshSolver/Case.h>

#include <string>

namespace KetSDK::MeshJobs {

// What holds and loads a model, and the file that says so.
struct CaseFile {
    std::string file; // empty for a case that was made in memory
    MeshSolver::Case content;
    std::string text = {}; // that says it; empty where only the content is known
};

// Reads a case (.toml). Throws FileError with the line of what is wrong.
KETSDK_MESHJOBS_API CaseFile ReadCaseFile(std::string const& path);
// The case that a text like that of such a file says. Throws Error with the line of what is wrong.
KETSDK_MESHJOBS_API CaseFile MakeCase(std::string const& text);

} // namespace KetSDK::MeshJobs
