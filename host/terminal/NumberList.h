// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <host/terminal/CommandLine.h>

#include <cstddef>
#include <string>
#include <vector>

namespace ketmesh {

// The numbers of a text like "0.13,-1e-3,1", as vectors are given on the command line. Throws
// std::invalid_argument for what is no finite number.
std::vector<double> ParseNumbers(std::string const& text);

// Checks an option that takes so many numbers with commas between them; `meaning` says which:
// "a,b,c,d,e of density = ...".
CLI::Validator NumberList(std::size_t count, std::string const& meaning);

} // namespace ketmesh
