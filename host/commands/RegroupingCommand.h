// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Match.h>
#include <host/commands/Command.h>
#include <host/commands/options/MatchInput.h>
#include <host/commands/options/ModelInput.h>
#include <host/commands/options/ModelOutput.h>

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace ketmesh {

// A command that gives a mesh other sub-volumes, by what a surface says of it.
class RegroupingCommand : public Command {
protected:
    // What the option of the output says is written, beside the texts of a command's help.
    struct Texts {
        char const* name;
        char const* description;
        char const* footer;
        char const* output;
    };
    enum class Surface { Required, Optional };

    RegroupingCommand(Texts const& texts, Surface surface)
        : Command(texts.name, texts.description, texts.footer)
        , m_output_description(texts.output)
        , m_surface_is(surface) {}

    // Runs the job and keeps its result; the surface is null when none was given.
    virtual void Regroup(KetSDK::MeshJobs::Model& model, KetSDK::MeshJobs::SurfaceModel const* surface,
                         KetSDK::MeshJobs::MatchOptions const& options,
                         KetSDK::MeshJobs::Context const& context) = 0;
    // What people read about the file, above the table of the sub-volumes ...
    virtual std::string Summary() const = 0;
    // ... that it has now.
    virtual std::vector<KetSDK::MeshJobs::SubVolumeReport> const& GetSubVolumes() const = 0;
    // What was made of hexahedra and wedges, for the note below the table.
    virtual KetSDK::MeshJobs::SolidsReport GetSolids() const { return {}; }
    // How many ten-node tetrahedra were taken by their corners, for that note as well.
    virtual std::uint64_t GetTakenByCorners() const = 0;

private:
    void DeclareOptions(CLI::App& command) final;
    void Work(KetSDK::MeshJobs::Context const& context) final;
    void Print(std::ostream& out) const final;

    char const* m_output_description;
    Surface m_surface_is;
    ModelInput m_input;
    MatchInput m_surface;
    ModelOutput m_output;
};

} // namespace ketmesh
