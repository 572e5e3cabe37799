#include <KetSDK/Mesh/geometry/TetrahedronBase.h>
#include <KetSDK/Mesh/operators/MMeshOrientOperator.h>
#include <host/Command.h>
#include <host/ElementKinds.h>
#include <host/FileError.h>
#include <host/MeshInput.h>
#include <host/MeshOutput.h>
#include <host/terminal/Cancellation.h>
#include <host/terminal/Format.h>

#include <cstdint>
#include <iostream>
#include <string>

namespace ketmesh {

namespace {

// Turns inverted tetrahedra.
class OrientCommand : public Command {
public:
    void Declare(CLI::App& app) override {
        CLI::App& command = *app.add_subcommand("orient", "Correct the orientation of inverted tetrahedra");
        command.footer(
            "The corners of an inverted tetrahedron span a negative volume; exchanging two of them,\n"
            "and of a quadratic one the mid-edge nodes with them, makes it positive. Flat elements\n"
            "stay as they are, and so do hexahedra and wedges. All arrays are kept.\n\n"
            "Examples:\n"
            "  ketmesh orient head.vtu -o head_oriented.vtu\n"
            "  ketmesh orient head_tet10.vtu -o head_oriented.vtu --json");
        m_input.Declare(command);
        m_output.Declare(command, "Volume mesh to write, with all arrays of the one that is read")
            ->required();
        command.add_flag("--json", m_json, "Print one JSON object");
    }

    int Run(Progress const& progress) override {
        m_output.Open();
        MeshInput::Loaded loaded = m_input.Load(progress);
        MMeshBase& mesh = *loaded.mesh;
        Json report = _Count(mesh);
        if (report["tetrahedra"] == 0)
            throw FileError(m_input.GetFileName(), "there are no tetrahedra, which could be turned");
        double const volume_before = mesh.GetVolume();
        MMeshOrientOperator orient;
        orient.SetMesh(&mesh);
        if (!orient.Operate())
            throw FileError(m_input.GetFileName(), "its elements could not be turned");
        ThrowIfCancelled();
        report["corrected"] = orient.GetNbCorrected();
        report["volume_before"] = volume_before;
        report["volume_after"] = mesh.GetVolume();
        report["files"] = {m_output.GetFileName()};
        m_output.Write(loaded, m_input.GetUnit(), progress);
        if (m_json)
            PrintJson(report);
        else
            _Print(report);
        return Done;
    }

private:
    static Json _Count(MMeshBase const& mesh) {
        std::uint64_t tetrahedra = 0, flat = 0;
        mesh.Elements().ForEachWithNodes([&](MMeshElement const& e, std::uint64_t) {
            if (e.GetNodeCount() != 4 && e.GetNodeCount() != 10)
                return;
            ++tetrahedra;
            flat += TetrahedronBase<double>(&e).Volume() == 0.0;
        });
        Json report;
        report["elements"] = mesh.NumberOfElements();
        report["tetrahedra"] = tetrahedra;
        report["flat"] = flat;
        return report;
    }

    void _Print(Json const& report) const {
        std::cout << m_input.GetFileName() << ": " << report["elements"] << " elements, "
                  << report["tetrahedra"] << " of them tetrahedra\n\n"
                  << "  corrected        " << report["corrected"] << '\n'
                  << "  volume before    " << FormatNumber(report["volume_before"]) << " mm3\n"
                  << "  volume after     " << FormatNumber(report["volume_after"]) << " mm3\n";
        if (report["flat"] != 0)
            std::cout << "  flat             " << report["flat"]
                      << " elements without volume, which no turning helps, stay\n";
        std::cout << "\nwritten: " << m_output.GetFileName() << '\n';
    }

    MeshInput m_input;
    MeshOutput m_output;
    bool m_json = false;
};

} // namespace

std::unique_ptr<Command> MakeOrientCommand() {
    return std::make_unique<OrientCommand>();
}

} // namespace ketmesh
