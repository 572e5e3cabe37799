#include <KetSDK/Mesh/operators/MMeshMergeVolumesOperator.h>
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
#include <numeric>
#include <string>
#include <vector>

namespace ketmesh {

namespace {

std::vector<vtkIdType> UpTo(vtkIdType count) {
    std::vector<vtkIdType> numbers(static_cast<std::size_t>(count));
    std::iota(numbers.begin(), numbers.end(), vtkIdType{0});
    return numbers;
}

// Makes one mesh of two.
class MergeCommand : public Command {
public:
    void Declare(CLI::App& app) override {
        CLI::App& command = *app.add_subcommand("merge", "Merge two volume meshes into one");
        command.footer(
            "Elements and nodes of the first mesh come first, then those of the second. Nodes at one\n"
            "place become one, but for those of the first mesh among themselves. The sub-volumes of\n"
            "the second mesh follow those of the first, under their names. Equal materials become\n"
            "one; others keep their numbers where these are free. Further arrays are written as far\n"
            "as both meshes have them.\n\n"
            "Examples:\n"
            "  ketmesh merge bone.vtu implant.vtu -o both.vtu\n"
            "  ketmesh merge bone.vtu implant.vtu -o both.vtu --json");
        m_input.Declare(command);
        command.add_option("other", m_other, "Volume mesh that is added to it, in the same unit")->required();
        m_output.Declare(command, "Volume mesh to write")->required();
        command.add_flag("--json", m_json, "Print one JSON object");
    }

    int Run(Progress const& progress) override {
        m_output.Open();
        MeshInput::Loaded first = m_input.Load(progress);
        MeshInput::Loaded const second = m_input.WithFile(m_other).Load(progress);
        vtkIdType const nodes = first.mesh->NumberOfPoints();
        MMeshMergeVolumesOperator merge(first.mesh.get(), second.mesh.get());
        if (!merge.Operate())
            throw FileError(m_other, "it could not be added to " + m_input.GetFileName());
        ThrowIfCancelled();
        // Scalar fields of .kmesh files have no values on nodes that were added; the arrays of the grids do.
        first.fields.clear();
        auto const grid = KetSDK::MeshVTK::GridFromMesh(*first.mesh, m_input.GetUnit(), nullptr);
        KetSDK::MeshVTK::AddPartArrays(
            *grid, {{first.grid, UpTo(first.grid->GetNumberOfCells()), UpTo(nodes)},
                    {second.grid, UpTo(second.grid->GetNumberOfCells()), _NewNodes(merge, nodes)}});
        m_output.Write(*first.mesh, *grid, progress);
        _Print(*first.mesh, nodes + second.mesh->NumberOfPoints() - first.mesh->NumberOfPoints());
        return Done;
    }

private:
    // The nodes of the second mesh for each of which the first one, which had `count` nodes, got a new one.
    static std::vector<vtkIdType> _NewNodes(MMeshMergeVolumesOperator const& merge, vtkIdType count) {
        std::vector<vtkIdType> numbers;
        for (std::size_t i = 0; i < merge.GetNodes().size(); ++i)
            if (merge.GetNodes()[i]->GetIndex() == count + static_cast<vtkIdType>(numbers.size()))
                numbers.push_back(static_cast<vtkIdType>(i));
        return numbers;
    }

    void _Print(MMeshBase const& mesh, vtkIdType joined) const {
        Json report;
        report["elements"] = mesh.NumberOfElements();
        report["nodes"] = mesh.NumberOfPoints();
        report["joined_nodes"] = joined;
        report["subvolumes"] = SubVolumesOf(mesh);
        report["files"] = {m_output.GetFileName()};
        if (m_json) {
            PrintJson(report);
            return;
        }
        std::cout << m_input.GetFileName() << " and " << m_other << ": " << report["elements"]
                  << " elements, " << report["nodes"] << " nodes; " << joined
                  << " nodes became one with another\n\n";
        PrintSubVolumes(report["subvolumes"]);
        std::cout << "\nwritten: " << m_output.GetFileName() << '\n';
    }

    MeshInput m_input;
    MeshOutput m_output;
    std::string m_other;
    bool m_json = false;
};

} // namespace

std::unique_ptr<Command> MakeMergeCommand() {
    return std::make_unique<MergeCommand>();
}

} // namespace ketmesh
