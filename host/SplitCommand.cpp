#include <KetSDK/Mesh/operators/MMeshSplitVolumesOperator.h>
#include <host/Command.h>
#include <host/FileError.h>
#include <host/MeshInput.h>
#include <host/MeshOutput.h>
#include <host/SubVolumeList.h>
#include <host/terminal/Cancellation.h>

#include <iostream>
#include <string>
#include <vector>

namespace ketmesh {

namespace {

// Splits sub-volumes into the parts that hang together.
class SplitCommand : public Command {
public:
    void Declare(CLI::App& app) override {
        CLI::App& command =
            *app.add_subcommand("split", "Split sub-volumes into the parts that hang together");
        command.footer("Elements with a face in common hang together. The part with the most elements keeps\n"
                       "the name; the others get it with 2, 3, ... behind it, by descending size.\n\n"
                       "Examples:\n"
                       "  ketmesh split head.vtu -o parts.vtu\n"
                       "  ketmesh split head.vtu --name \"Label 2\" -o parts.vtu --json");
        m_input.Declare(command);
        command
            .add_option(
                "--name", m_names,
                "Sub-volume to split (all unless given), all where several have the name; as often as "
                "needed")
            ->expected(1)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
        m_output.Declare(command, "Volume mesh to write, with all arrays of the one that is read");
        command.add_flag("--json", m_json, "Print one JSON object");
    }

    int Run(Progress const& progress) override {
        m_output.Open();
        MeshInput::Loaded const loaded = m_input.Load(progress);
        auto const found = FindSubVolumes(*loaded.mesh, m_names, m_input.GetFileName());
        MMeshSplitVolumesOperator split;
        split.SetMesh(loaded.mesh.get());
        split.SetSubVolumes({found.begin(), found.end()});
        if (!split.Operate())
            throw FileError(m_input.GetFileName(), "its sub-volumes could not be split");
        ThrowIfCancelled();
        m_output.Write(loaded, m_input.GetUnit(), progress);
        _Print(*loaded.mesh, split);
        return Done;
    }

private:
    void _Print(MMeshBase const& mesh, MMeshSplitVolumesOperator const& split) const {
        Json report;
        report["elements"] = mesh.NumberOfElements();
        report["nodes"] = mesh.NumberOfPoints();
        report["new_subvolumes"] = split.GetNbNewSubVolumes();
        report["subvolumes"] = SubVolumesOf(mesh);
        report["files"] = m_output.GetFiles();
        if (m_json) {
            PrintJson(report);
            return;
        }
        std::size_t const parts = report["subvolumes"].size();
        std::cout << m_input.GetFileName() << ": " << parts
                  << (parts == 1 ? " sub-volume, " : " sub-volumes, ") << report["new_subvolumes"]
                  << " of them new\n\n";
        PrintSubVolumes(report["subvolumes"]);
        if (m_output.IsGiven())
            std::cout << "\nwritten: " << m_output.GetFileName() << '\n';
    }

    MeshInput m_input;
    MeshOutput m_output;
    std::vector<std::string> m_names;
    bool m_json = false;
};

} // namespace

std::unique_ptr<Command> MakeSplitCommand() {
    return std::make_unique<SplitCommand>();
}

} // namespace ketmesh
