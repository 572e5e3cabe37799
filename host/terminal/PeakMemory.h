// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstdint>

namespace ketmesh {

// The most memory that the program has held so far, in bytes.
std::uint64_t PeakMemory();

} // namespace ketmesh
