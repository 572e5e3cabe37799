// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/CoordinateFrame.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshVTK/LengthUnit.h>

#include <map>
#include <optional>
#include <string>

namespace ketmesh {

// Words that stand for options. What is no such word throws Error with those that there are.

template <typename Value>
Value Named(std::map<std::string, Value> const& words, std::string const& word, char const* what) {
    if (auto const found = words.find(word); found != words.end())
        return found->second;
    std::string known;
    for (auto const& [name, value] : words)
        known += (known.empty() ? "" : ", ") + name;
    throw KetSDK::MeshJobs::Error(std::string(what) + " cannot be \"" + word + "\"; it is one of " + known);
}

// "m", "mm" or "um".
KetSDK::MeshVTK::LengthUnit UnitNamed(std::string const& name);
// "RAS" or "LPS"; None stands for a frame that nobody says.
using FrameWord = std::optional<std::string>;
std::optional<KetSDK::Mesh::CoordinateFrame> FrameNamed(FrameWord const& word);
FrameWord WordOf(std::optional<KetSDK::Mesh::CoordinateFrame> frame);

} // namespace ketmesh
