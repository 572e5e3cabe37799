// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/CaseFile.h>

#include <KetSDK/MeshJobs/detail/ForFile.h>
#include <KetSDK/MeshVTK/InputFile.h>

#include <fstream>
#include <iterator>

namespace KetSDK::MeshJobs {

CaseFile ReadCaseFile(std::string const& path) {
    return Detail::ForFile(path, [&path] {
        MeshVTK::CheckInputFile(path, ".toml");
        std::ifstream file(path, std::ios::binary);
        std::string const text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
        if (!file && !file.eof())
            throw MeshVTK::Error("it cannot be read");
        return CaseFile{path, MeshSolver::ReadCase(text), text};
    });
}

CaseFile MakeCase(std::string const& text) {
    return Detail::ForFile("", [&text] { return CaseFile{"", MeshSolver::ReadCase(text), text}; });
}

} // namespace KetSDK::MeshJobs
