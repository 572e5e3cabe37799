#include <KetSDK/MeshVTK/GridFromMesh.h>
#include <host/Command.h>
#include <host/Format.h>
#include <host/MeshInput.h>
#include <host/MeshOutput.h>

#include <vtkUnstructuredGrid.h>

#include <filesystem>
#include <iostream>

namespace ketmesh {

namespace {

// Saves a mesh in another kind of file.
class SaveCommand : public Command {
public:
    void Declare(CLI::App& app) override {
        CLI::App& command = *app.add_subcommand("save", "Save a volume mesh in another kind of file");
        command.footer(
            "A .kmesh file holds all that a mesh knows: nodes and elements as they are, sub-volumes\n"
            "with names and material numbers, materials with colours, volume lists, scalar fields,\n"
            "and the arrays of the .vtu or .vtk file that it was made of. It is binary, or XML with\n"
            "--text, and carries a checksum over all of it. A .vtu or .vtk file holds what other\n"
            "programs know, too; what else a mesh has is left out there.\n\n"
            "Examples:\n"
            "  ketmesh save head.vtu -o head.kmesh\n"
            "  ketmesh save head.kmesh -o head.vtu --unit m\n"
            "  ketmesh save head.vtu -o head.kmesh --text --json");
        m_input.Declare(command);
        m_output.Declare(command, "Volume mesh to write")->required();
        command.add_flag("--text", m_text, "Write a .kmesh file as XML text");
        command.add_flag("--json", m_json, "Print one JSON object");
    }

    int Run(Progress const& progress) override {
        m_output.SetEncoding(m_text ? MMeshFile::Text : MMeshFile::Binary);
        m_output.Open();
        MeshInput::Loaded loaded = m_input.Load(progress);
        auto const grid = KetSDK::MeshVTK::GridFromMesh(*loaded.mesh, m_input.GetUnit(), loaded.grid);
        loaded.grid = nullptr;
        m_output.Write(*loaded.mesh, *grid, progress);
        Json report;
        report["elements"] = loaded.mesh->NumberOfElements();
        report["nodes"] = loaded.mesh->NumberOfPoints();
        report["bytes"] = std::filesystem::file_size(m_output.GetFileName());
        report["encoding"] = m_text ? "text" : "binary";
        report["files"] = {m_output.GetFileName()};
        if (m_json)
            PrintJson(report);
        else
            std::cout << m_output.GetFileName() << ": " << report["elements"] << " elements, "
                      << report["nodes"] << " nodes, " << FormatBytes(report["bytes"]) << ", "
                      << report["encoding"].get<std::string>() << '\n';
        return Done;
    }

private:
    MeshInput m_input;
    MeshOutput m_output;
    bool m_text = false;
    bool m_json = false;
};

} // namespace

std::unique_ptr<Command> MakeSaveCommand() {
    return std::make_unique<SaveCommand>();
}

} // namespace ketmesh
