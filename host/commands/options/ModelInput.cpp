// SPDX-License-Identifier: BSD-3-Clause
#include <host/commands/options/ModelInput.h>

namespace ketmesh {

CLI::Option* ModelInput::Declare(Command& owner, CLI::App& command, std::string const& name) {
    owner.DeclareInput(m_file);
    CLI::Option* const file =
        command.add_option(name, m_file, "Volume mesh to read: .kmesh, .vtu, .vtk or .inp")->required();
    command.add_option(
        "--labels", m_labels,
        "Cell array of integers whose values become the sub-volumes. Without it, they come from the .kmesh "
        "file, the arrays subvolume and subvolume_names, or else the array label");
    command
        .add_option("--unit", m_unit,
                    "Unit of length of the files (default: mm); .kmesh files are always in mm")
        ->check(CLI::IsMember({"m", "mm", "um"}));
    m_frame.Declare(command, "--frame",
                    "Frame of the coordinates of this file: x to the right and y to the front, or x to the "
                    "left and y to the back (default: what the file says)");
    command.add_flag("--allow-merged", m_limits.allow_merged,
                     "Accept different points that become one when rounded to 1/65536 mm");
    command.add_flag("--allow-out-of-range", m_limits.allow_out_of_range,
                     "Accept points beyond +-32768 mm and move them to that limit");
    return file;
}

KetSDK::MeshJobs::Model ModelInput::Read(KetSDK::MeshJobs::Context const& context) const {
    KetSDK::MeshJobs::ReadOptions options = GetOptions();
    options.frame = m_frame.Get();
    return KetSDK::MeshJobs::ReadModel(m_file, options, context);
}

KetSDK::MeshJobs::ReadOptions ModelInput::GetOptions() const {
    return {GetUnit(), m_labels, m_limits};
}

KetSDK::MeshVTK::LengthUnit ModelInput::GetUnit() const {
    return KetSDK::MeshVTK::LengthUnit::FromName(m_unit);
}

} // namespace ketmesh
