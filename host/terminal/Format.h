#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace ketmesh {

// A number with about seven digits, as people read them ("3165749.6"); tiny ones as 1.2e-05. With `scale`,
// the largest number of a column, it gets as many decimals as that one, unless nothing would be left of it.
std::string FormatNumber(double value, double scale = 0.0);

// A number with as many digits as it needs, `digits` at most ("0", "0.5", "1e+30", "nan").
std::string FormatGeneral(double value, int digits = 6);

// The part in per cent of all, as in "0.12 %".
std::string FormatShare(std::uint64_t part, std::uint64_t all);

// A number of bytes, as in "5.3 MB".
std::string FormatBytes(std::uint64_t bytes);

// A box of six numbers, lower corner first: "0 0 0 .. 100 100 50".
std::string FormatBox(std::array<double, 6> const& box);

} // namespace ketmesh
