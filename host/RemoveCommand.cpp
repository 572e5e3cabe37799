#include <KetSDK/Mesh/operators/MMeshOperatorRemoveSubVolume.h>
#include <KetSDK/MeshVTK/GridFromMesh.h>
#include <KetSDK/MeshVTK/PartArrays.h>
#include <host/Command.h>
#include <host/FileError.h>
#include <host/MeshInput.h>
#include <host/MeshOutput.h>
#include <host/SubVolumeList.h>
#include <host/terminal/Cancellation.h>

#include <vtkUnstructuredGrid.h>

#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace ketmesh {

namespace {

// Writes what is left of a mesh without some of its sub-volumes.
class RemoveCommand : public Command {
public:
    void Declare(CLI::App& app) override {
        CLI::App& command = *app.add_subcommand("remove", "Remove sub-volumes from a volume mesh");
        command.footer(
            "Nodes that nothing uses any more go too. Elements and nodes keep their order and all\n"
            "arrays that the file has.\n\n"
            "Examples:\n"
            "  ketmesh remove head.vtu --name \"Label 1\" -o rest.vtu\n"
            "  ketmesh remove parts.vtu --name Skin --name Fat -o bone.vtu --json");
        m_input.Declare(command);
        command
            .add_option("--name", m_names,
                        "Sub-volume to remove, all where several have the name; as often as needed")
            ->required()
            ->expected(1)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
        m_output.Declare(command, "Volume mesh to write")->required();
        command.add_flag("--json", m_json, "Print one JSON object");
    }

    int Run(Progress const& progress) override {
        m_output.Open();
        MeshInput::Loaded const loaded = m_input.Load(progress);
        MMeshOperatorRemoveSubVolume remove;
        remove.SetMesh(loaded.mesh.get());
        for (MMeshSubVolume* const sub_volume : FindSubVolumes(*loaded.mesh, m_names, m_input.GetFileName()))
            remove.AddSubVolumeToRemove(sub_volume);
        if (!remove.Operate())
            throw FileError(m_input.GetFileName(), "its sub-volumes could not be removed");
        std::unique_ptr<MMeshBase> const rest(remove.GetNewMesh());
        ThrowIfCancelled();
        if (rest->NumberOfElements() == 0)
            throw FileError(m_input.GetFileName(), "nothing would be left of it without these sub-volumes");
        auto const grid = KetSDK::MeshVTK::GridFromMesh(*rest, m_input.GetUnit(), nullptr);
        auto const numbers = [](std::vector<MLong> const& list) {
            return std::vector<vtkIdType>(list.begin(), list.end());
        };
        KetSDK::MeshVTK::AddPartArrays(
            *grid, {{loaded.grid, numbers(remove.GetKeptElements()), numbers(remove.GetKeptNodes())}});
        m_output.Write(*rest, *grid, progress);
        _Print(*loaded.mesh, *rest);
        return Done;
    }

private:
    void _Print(MMeshBase const& mesh, MMeshBase const& rest) const {
        Json report;
        report["elements"] = rest.NumberOfElements();
        report["nodes"] = rest.NumberOfPoints();
        report["removed_elements"] = mesh.NumberOfElements() - rest.NumberOfElements();
        report["removed_nodes"] = mesh.NumberOfPoints() - rest.NumberOfPoints();
        report["subvolumes"] = SubVolumesOf(rest);
        report["files"] = {m_output.GetFileName()};
        if (m_json) {
            PrintJson(report);
            return;
        }
        std::cout << m_input.GetFileName() << ": " << report["removed_elements"] << " elements and "
                  << report["removed_nodes"] << " nodes removed\n\n";
        PrintSubVolumes(report["subvolumes"]);
        std::cout << "\nwritten: " << m_output.GetFileName() << '\n';
    }

    MeshInput m_input;
    MeshOutput m_output;
    std::vector<std::string> m_names;
    bool m_json = false;
};

} // namespace

std::unique_ptr<Command> MakeRemoveCommand() {
    return std::make_unique<RemoveCommand>();
}

} // namespace ketmesh
