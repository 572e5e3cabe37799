#pragma once

#include <cstdint>
#include <string>

namespace ketmesh {

// Numbers as people read them.
std::string FormatNumber(double value); // fixed, with about six significant digits; small ones as 1.2e-05
std::string FormatBytes(std::uint64_t bytes); // "5.3 MB"

} // namespace ketmesh
