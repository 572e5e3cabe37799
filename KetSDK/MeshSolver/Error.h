// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshSolver/MeshSolverExport.h>

#include <stdexcept>

namespace KetSDK::MeshSolver {

// Thrown for a model that no solver takes and for files that cannot be read or written. The message is one
// line in UTF-8 that says what is wrong and, where that helps, what would be right. It does not name the
// file.
class KETSDK_MESHSOLVER_API Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    ~Error() override;
};

// Something is wrong with the case rather than with the model that it is for.
class KETSDK_MESHSOLVER_API CaseError : public Error {
public:
    using Error::Error;
    ~CaseError() override;
};

// Thrown when the user asked to cancel through the progress delegate. Not an Error: nothing is wrong.
class KETSDK_MESHSOLVER_API Cancelled : public std::runtime_error {
public:
    Cancelled();
    ~Cancelled() override;
};

} // namespace KetSDK::MeshSolver
