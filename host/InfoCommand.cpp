#include <host/Cancellation.h>
#include <host/Command.h>
#include <host/ElementKinds.h>
#include <host/Format.h>
#include <host/MeshInput.h>
#include <host/SubVolumeList.h>

#include <iostream>
#include <string>

namespace ketmesh {

namespace {

// Says what a mesh file holds.
class InfoCommand : public Command {
public:
    void Declare(CLI::App& app) override {
        CLI::App& command = *app.add_subcommand("info", "Say what a volume mesh holds");
        command.footer("Examples:\n"
                       "  ketmesh info head.vtu\n"
                       "  ketmesh info part.vtk --unit m --labels material --json");
        m_input.Declare(command);
        command.add_flag("--json", m_json, "Print one JSON object");
    }

    int Run(Progress const& progress) override {
        MeshInput::Loaded const loaded = m_input.Load(progress);
        Json const report = _Report(loaded);
        ThrowIfCancelled();
        if (m_json)
            PrintJson(report);
        else
            _Print(report);
        return Done;
    }

private:
    static Json _Report(MeshInput::Loaded const& loaded) {
        MMeshBase const& mesh = *loaded.mesh;
        Json report;
        report["elements"] = mesh.NumberOfElements();
        report["nodes"] = mesh.NumberOfPoints();
        report["kinds"] = _CountKinds(mesh);
        report["subvolumes"] = SubVolumesOf(mesh);
        report["volume"] = mesh.GetVolume();
        report["box"] = BoxOf(mesh);
        report["rounding_error"] = loaded.rounding.largest_error;
        report["merged_nodes"] = loaded.rounding.merged;
        report["nodes_out_of_range"] = loaded.rounding.out_of_range;
        report["memory"] = mesh.MemoryUsed();
        return report;
    }

    static Json _CountKinds(MMeshBase const& mesh) {
        Json kinds;
        for (ElementKind const& kind : CountKinds(mesh))
            kinds[kind.name] = kind.elements;
        return kinds;
    }

    void _Print(Json const& report) const {
        std::cout << m_input.GetFileName() << '\n';
        std::string kinds;
        for (auto const& kind : report["kinds"].items())
            if (kind.value() != 0)
                kinds += (kinds.empty() ? "" : ", ") + kind.value().dump() + " " + kind.key();
        std::cout << "elements        " << report["elements"] << " (" << kinds << ")\n"
                  << "nodes           " << report["nodes"] << '\n'
                  << "volume          " << FormatNumber(report["volume"]) << " mm3\n"
                  << "box             " << _BoxText(report["box"]) << " mm\n"
                  << "rounding error  " << FormatNumber(report["rounding_error"]) << " mm at most\n";
        if (report["merged_nodes"] != 0)
            std::cout << "merged          " << report["merged_nodes"] << " nodes fall together by rounding\n";
        if (report["nodes_out_of_range"] != 0)
            std::cout << "out of range    " << report["nodes_out_of_range"]
                      << " nodes were moved to the limit\n";
        std::cout << "memory          " << FormatBytes(report["memory"]) << "\n\n";
        PrintSubVolumes(report["subvolumes"]);
    }

    static std::string _BoxText(Json const& box) {
        std::string text;
        for (std::size_t i = 0; i < box.size(); ++i)
            text += (i == 0 ? "" : i == 3 ? " .. " : " ") + FormatNumber(box[i]);
        return text;
    }

    MeshInput m_input;
    bool m_json = false;
};

} // namespace

std::unique_ptr<Command> MakeInfoCommand() {
    return std::make_unique<InfoCommand>();
}

} // namespace ketmesh
