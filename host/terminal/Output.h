// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshVTK/Text.h>

#include <nlohmann/json.hpp>

#include <string>

namespace ketmesh {

// Keys stand in the order in which they are set.
using Json = nlohmann::ordered_json;

// For names in text, so that each stays on its line.
using KetSDK::MeshVTK::Printable;

// Prints lines of text to standard output; what a terminal would obey or cannot show is made printable.
void PrintLines(std::string const& text);

// One object with an end of line. Text that is not UTF-8 is made so, and control characters are escaped.
std::string JsonText(Json const& object);
// Prints it to standard output.
void PrintJson(Json const& object);

// Flushes standard output and throws std::runtime_error when not all of it could be written.
void FinishOutput();

} // namespace ketmesh
