// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/persistence/MMeshArray.h>

#include <optional>
#include <string>
#include <vector>

// Where the arrays beside two meshes differ first, in words, the value of `a` first, or nothing when they are
// equal. Elements come first, then nodes, then the mesh as a whole. On each of these it goes by name, type of
// the values, values in a row, number of values, and values, bit for bit. Elements and nodes count from 0.
// The order of the arrays does not count, nor do those without a name and words of types that say nothing of
// the values.
KETSDK_MESH_API std::optional<std::string> FindArrayDifference(std::vector<MMeshArray> const& a,
                                                               std::vector<MMeshArray> const& b);
// The same, but numbers of different types are compared as numbers: the label 2 is the label 2.0.
KETSDK_MESH_API std::optional<std::string> FindValueDifference(std::vector<MMeshArray> const& a,
                                                               std::vector<MMeshArray> const& b);
