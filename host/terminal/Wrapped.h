// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>

namespace ketmesh {

// Prints the words of a text in lines of at most 110 characters that begin with so many spaces.
void PrintWrapped(std::ostream& out, std::string const& text, std::size_t indent);

} // namespace ketmesh
