// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/Error.h>

namespace KetSDK::MeshSolver {

Error::~Error() = default;

CaseError::~CaseError() = default;

Cancelled::Cancelled()
    : std::runtime_error("cancelled") {}
Cancelled::~Cancelled() = default;

} // namespace KetSDK::MeshSolver
