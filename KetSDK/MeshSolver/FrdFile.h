// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/MeshSolver/MeshSolverExport.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace KetSDK::MeshSolver {

// What CalculiX writes at nodes (.frd), as text.
struct FrdResult {
    struct Field {
        std::uint32_t components = 0;
        std::vector<double> values; // components of node 0, of node 1 and so on; NaN for nodes without
    };
    int step = 0;
    double time = 0.0;
    std::map<std::string, Field> fields; // by the solver's name: "DISP", "STRESS", "TOSTRAIN", "FORC"
};

struct FrdOptions {
    std::size_t nodes = 0; // of the mesh that the results are for
    // The index in the mesh of the node with a number in the file; none where there is none. When parallel,
    // it and the next one are called on several threads.
    std::function<std::optional<std::size_t>(std::int32_t)> index_of;
    // The position of a node in mm.
    std::function<std::array<double, 3>(std::size_t)> position_of;
    std::optional<int> step;                             // the last one without
    std::shared_ptr<Common::IProgressDelegate> progress; // may be null
    bool parallel = false; // read on several threads; the result is the same, and so is the error
};

// Reads the fields of a step. They have their final place from the beginning, so that reading takes no more
// memory than they do. Throws Error for a binary file, one that is cut off, and one of another mesh (a node
// that it does not have or has elsewhere). Throws it also for a step that is not there and values that are no
// numbers; Cancelled.
KETSDK_MESHSOLVER_API FrdResult ReadFrd(std::filesystem::path const& path, FrdOptions const& options);

} // namespace KetSDK::MeshSolver
