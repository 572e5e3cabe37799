// SPDX-License-Identifier: BSD-3-Clause
#include <host/commands/RegroupingCommand.h>

#include <KetSDK/MeshVTK/Text.h>
#include <host/commands/CornersNote.h>
#include <host/commands/SolidsNote.h>
#include <host/commands/SubVolumeTable.h>

#include <ostream>

namespace ketmesh {

void RegroupingCommand::DeclareOptions(CLI::App& command) {
    m_input.Declare(*this, command);
    m_surface.Declare(*this, command)->required(m_surface_is == Surface::Required);
    m_output.Declare(*this, command, m_output_description);
}

void RegroupingCommand::Work(KetSDK::MeshJobs::Context const& context) {
    m_output.Open({m_input.GetUnit()});
    KetSDK::MeshJobs::Model model = m_input.Read(context);
    KetSDK::MeshJobs::SurfaceModel const surface = m_surface.Read(m_input, context);
    Regroup(model, m_surface.IsGiven() ? &surface : nullptr, {m_surface.GetTolerance()}, context);
    m_output.Write(model, context);
}

void RegroupingCommand::Print(std::ostream& out) const {
    out << Printable(m_input.GetFileName()) << ": " << Summary() << "\n\n";
    PrintSubVolumes(out, GetSubVolumes());
    PrintSolids(out, GetSolids());
    PrintCornersNote(out, GetTakenByCorners());
}

} // namespace ketmesh
