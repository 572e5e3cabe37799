// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/CaseFile.h>
#include <KetSDK/MeshSolver/Materials.h>
#include <host/commands/Command.h>
#include <host/terminal/Choice.h>

#include <optional>
#include <string>

namespace ketmesh {

// The options that say what a model is solved with: the case and where moduli come from.
class CaseInput {
public:
    // Declares --case and --materials; returns the first.
    CLI::Option* Declare(Command& owner, CLI::App& command);

    // Reads the case: before the model, which takes longer. None without a file name.
    std::optional<KetSDK::MeshJobs::CaseFile> Read() const;
    KetSDK::MeshSolver::MaterialsAs GetMaterials() const { return m_materials.Get(); }

    // What help says of cases.
    static constexpr char const* Help =
        "A case (TOML) names places and says what happens there. A place has the nodes and faces that\n"
        "meet all its keys:\n"
        "  [place.base]\n"
        "  axis = \"z-\"                 # x-, x+, y-, ...: up to `within` mm from that end\n"
        "  within = 3.0\n"
        "  [place.top]\n"
        "  surface = \"Label 2-\"        # by surfaces --names volumes; else the outer\n"
        "  normal = [0, 0, 1]          # faces whose normal lies within `angle` of it\n"
        "  angle = 30                  # degrees\n"
        "  # further: box = [xmin, ymin, zmin, xmax, ymax, zmax], subvolume = \"NAME\",\n"
        "  # sphere = [x, y, z, radius]\n"
        "  [[fix]]\n"
        "  place = \"base\"\n"
        "  axes = \"xyz\"\n"
        "  [[displace]]\n"
        "  place = \"side\"\n"
        "  by = { z = -1 }             # mm; or [x, y, z]\n"
        "  [[pressure]]\n"
        "  place = \"top\"\n"
        "  value = 0.01                # MPa, pushes into the body\n"
        "  [[force]]\n"
        "  place = \"top\"\n"
        "  total = [0, 0, -250]        # N, spread over the faces\n"
        "  [gravity]\n"
        "  acceleration = [0, 0, -9810] # mm/s2\n\n";

private:
    std::string m_file;
    Choice<KetSDK::MeshSolver::MaterialsAs> m_materials{
        {{"bins", KetSDK::MeshSolver::MaterialsAs::Bins},
         {"elements", KetSDK::MeshSolver::MaterialsAs::Elements},
         {"nodes", KetSDK::MeshSolver::MaterialsAs::Nodes}}};
};

} // namespace ketmesh
