#include <KetSDK/Mesh/mesh/MMeshElementVolume.h>
#include <KetSDK/Mesh/operators/MMeshOperatorLayers.h>
#include <KetSDK/MeshVTK/GridFromMesh.h>
#include <host/Command.h>
#include <host/FileError.h>
#include <host/MeshInput.h>
#include <host/MeshOutput.h>
#include <host/terminal/Cancellation.h>
#include <host/terminal/Format.h>
#include <host/terminal/Table.h>

#include <vtkUnstructuredGrid.h>

#include <cstddef>
#include <cstdint>
#include <iostream>
#include <limits>
#include <string>
#include <vector>

namespace ketmesh {

namespace {

// Numbers elements by layers from the boundary inwards.
class LayersCommand : public Command {
public:
    void Declare(CLI::App& app) override {
        CLI::App& command =
            *app.add_subcommand("layers", "Number elements by layers from the boundary inwards");
        command.footer(
            "Layer 1 is every element with a corner on the boundary of the mesh, layer 2 every\n"
            "other element with a corner on one of layer 1, and so on. Where two sub-volumes meet\n"
            "is no boundary. Elements of all kinds are taken.\n\n"
            "Examples:\n"
            "  ketmesh layers head.vtu --layers 3\n"
            "  ketmesh layers head.vtu --layers 10 -o head_layers.vtu --json");
        m_input.Declare(command);
        command.add_option("--layers", m_count, "How many layers to number (1 unless given)")
            ->type_name("K")
            ->check(CLI::Range(1, std::numeric_limits<int>::max()));
        m_output.Declare(command, "Volume mesh to write with the layers as the cell array layer, 0 for none");
        command.add_flag("--json", m_json, "Print one JSON object");
    }

    int Run(Progress const& progress) override {
        m_output.Open();
        MeshInput::Loaded const loaded = m_input.Load(progress);
        MMeshOperatorLayers layers;
        layers.SetMesh(loaded.mesh.get());
        layers.SetNbLayers(static_cast<unsigned int>(m_count));
        if (!layers.Operate())
            throw FileError(m_input.GetFileName(), "its layers could not be numbered");
        ThrowIfCancelled();
        Json const report = _Report(*loaded.mesh, layers);
        ThrowIfCancelled();
        if (m_output.IsGiven()) {
            auto const grid = KetSDK::MeshVTK::GridFromMesh(*loaded.mesh, m_input.GetUnit(), loaded.grid);
            KetSDK::MeshVTK::AddCellArray(*grid, *loaded.mesh, *layers.GetLayerMask(), "layer");
            m_output.Write(*loaded.mesh, *grid, progress);
        }
        if (m_json)
            PrintJson(report);
        else
            _Print(report);
        return Done;
    }

private:
    // How many elements there are in a layer, and their volume.
    struct Layer {
        std::uint64_t elements = 0;
        double volume = 0.0;
    };

    // By number, up to the last layer with an element; at 0 what is in none.
    static std::vector<Layer> _Count(MMeshBase const& mesh, MMeshOperatorLayers const& layers) {
        std::vector<Layer> count(1);
        mesh.Elements().ForEachWithNodes([&](MMeshElement const& e, std::uint64_t) {
            auto const number = static_cast<std::size_t>(layers.GetLayerMask()->GetValue(e));
            if (number >= count.size())
                count.resize(number + 1);
            ++count[number].elements;
            count[number].volume += GetElementVolume(e);
        });
        return count;
    }

    Json _Report(MMeshBase const& mesh, MMeshOperatorLayers const& layers) const {
        std::vector<Layer> const count = _Count(mesh, layers);
        Json report;
        report["elements"] = mesh.NumberOfElements();
        report["layers"] = Json::array();
        for (std::size_t i = 1; i < count.size(); ++i)
            report["layers"].push_back(
                {{"number", i}, {"elements", count[i].elements}, {"volume", count[i].volume}});
        report["elements_in_layers"] = layers.GetNbLayersElements();
        report["inside"] = {{"elements", count[0].elements}, {"volume", count[0].volume}};
        report["files"] = m_output.GetFiles();
        return report;
    }

    void _Print(Json const& report) const {
        std::cout << m_input.GetFileName() << ": " << report["elements"] << " elements, "
                  << report["elements_in_layers"] << " of them in "
                  << (report["layers"].size() == 1 ? "1 layer"
                                                   : std::to_string(report["layers"].size()) + " layers")
                  << "\n\n";
        double volume = report["inside"]["volume"];
        for (Json const& layer : report["layers"])
            volume += layer["volume"].get<double>();
        Table table({{"layer", Table::Align::Right},
                     {"elements", Table::Align::Right},
                     {"volume [mm3]", Table::Align::Right}});
        for (Json const& layer : report["layers"])
            table.AddRow(
                {layer["number"].dump(), layer["elements"].dump(), FormatNumber(layer["volume"], volume)});
        table.AddRow({"inside", report["inside"]["elements"].dump(),
                      FormatNumber(report["inside"]["volume"], volume)});
        table.AddRule();
        table.AddRow({"all", report["elements"].dump(), FormatNumber(volume)});
        table.Print(std::cout);
        if (m_output.IsGiven())
            std::cout << "\nwritten: " << m_output.GetFileName() << '\n';
    }

    MeshInput m_input;
    MeshOutput m_output;
    int m_count = 1;
    bool m_json = false;
};

} // namespace

std::unique_ptr<Command> MakeLayersCommand() {
    return std::make_unique<LayersCommand>();
}

} // namespace ketmesh
