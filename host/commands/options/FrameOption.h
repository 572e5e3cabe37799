// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/CoordinateFrame.h>
#include <host/terminal/CommandLine.h>

#include <optional>
#include <string>

namespace ketmesh {

// An option that names a frame of coordinates.
class FrameOption {
public:
    CLI::Option* Declare(CLI::App& command, std::string const& name, std::string const& description);
    // Nothing when it was not given.
    std::optional<KetSDK::Mesh::CoordinateFrame> Get() const;

private:
    std::string m_word;
};

} // namespace ketmesh
