// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Materials.h>
#include <host/commands/Command.h>

#include <string>
#include <vector>

namespace ketmesh {

// The option that gives sub-volumes constants in place of materials from an image.
class ConstantsInput {
public:
    // Declares --set and returns its option.
    CLI::Option* Declare(CLI::App& command);
    // Says in the options what was given.
    void SetConstants(KetSDK::MeshJobs::MaterialsOptions& options) const;

private:
    std::vector<std::string> m_texts; // checked when they were given
};

} // namespace ketmesh
