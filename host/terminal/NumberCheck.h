// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <host/terminal/CommandLine.h>

namespace ketmesh {

// Checks for options that take a number; NaN and infinities do not pass.
CLI::Validator FiniteNumber();
CLI::Validator PositiveNumber();
CLI::Validator NonNegativeNumber(); // 0 or above
// A whole number, 0 or more, below 2^53.
CLI::Validator Count();

} // namespace ketmesh
