// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Materials.h>
#include <host/commands/Command.h>

#include <string>

namespace ketmesh {

// The options that turn grey values into densities and densities into moduli.
class MaterialLawInput {
public:
    void Declare(CLI::App& command);
    // Says in the options what was given.
    void SetLaw(KetSDK::MeshJobs::MaterialsOptions& options) const;

private:
    // As given; empty: that of the preset.
    std::string m_law;
    std::string m_modulus;
    std::string m_preset;
    double m_poisson = 0.3;
    double m_least_density = 0.01;
    bool m_offset = false;
};

} // namespace ketmesh
