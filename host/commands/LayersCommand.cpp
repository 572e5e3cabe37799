// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Layers.h>
#include <host/commands/Command.h>
#include <host/commands/options/ModelInput.h>
#include <host/commands/options/ModelOutput.h>
#include <host/terminal/Format.h>
#include <host/terminal/Table.h>

#include <cstddef>
#include <limits>
#include <ostream>
#include <string>

namespace ketmesh {

namespace {

using KetSDK::MeshJobs::LayerReport;

// Numbers elements by layers from the boundary inwards.
class LayersCommand : public Command {
public:
    LayersCommand()
        : Command("layers", "Number elements by layers from the boundary inwards",
                  "Layer 1 is every element with a corner on the boundary of the mesh, layer 2 every\n"
                  "other element with a corner on one of layer 1, and so on. Faces between two\n"
                  "sub-volumes are no boundary. Elements of all kinds count.\n\n"
                  "Examples:\n"
                  "  ketmesh layers head.vtu --layers 3\n"
                  "  ketmesh layers head.vtu --layers 10 -o head_layers.vtu --json") {}

private:
    void DeclareOptions(CLI::App& command) override {
        m_input.Declare(*this, command);
        command.add_option("--layers", m_options.count, "How many layers to number (default: 1)")
            ->type_name("K")
            ->check(CLI::Range(1, std::numeric_limits<int>::max()));
        m_output.Declare(*this, command,
                         "Volume mesh to write with the layers as the cell array layer, 0 for none");
    }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        m_output.Open({m_input.GetUnit()});
        KetSDK::MeshJobs::Model model = m_input.Read(context);
        m_result = KetSDK::MeshJobs::Layers(model, m_options, context);
        m_output.Write(model, context);
    }

    Json Report() const override {
        Json report;
        report["elements"] = m_result.elements;
        report["layers"] = Json::array();
        for (std::size_t i = 0; i < m_result.layers.size(); ++i) {
            LayerReport const& layer = m_result.layers[i];
            report["layers"].push_back(
                {{"number", i + 1}, {"elements", layer.elements}, {"volume", layer.volume}});
        }
        report["elements_in_layers"] = m_result.elements_in_layers;
        report["inside"] = {{"elements", m_result.inside.elements}, {"volume", m_result.inside.volume}};
        return report;
    }

    void Print(std::ostream& out) const override {
        std::size_t const count = m_result.layers.size();
        out << Printable(m_input.GetFileName()) << ": " << m_result.elements << " elements, "
            << m_result.elements_in_layers << " of them in "
            << (count == 1 ? "1 layer" : std::to_string(count) + " layers") << "\n\n";
        double volume = m_result.inside.volume;
        for (LayerReport const& layer : m_result.layers)
            volume += layer.volume;
        Table table({{"layer", Table::Align::Right},
                     {"elements", Table::Align::Right},
                     {"volume [mm3]", Table::Align::Right}});
        auto const add_row = [&table, volume](std::string const& name, LayerReport const& layer) {
            table.AddRow({name, std::to_string(layer.elements), FormatNumber(layer.volume, volume)});
        };
        for (std::size_t i = 0; i < count; ++i)
            add_row(std::to_string(i + 1), m_result.layers[i]);
        add_row("inside", m_result.inside);
        table.AddRule();
        table.AddRow({"all", std::to_string(m_result.elements), FormatNumber(volume)});
        table.Print(out);
    }

    ModelInput m_input;
    ModelOutput m_output;
    KetSDK::MeshJobs::LayersOptions m_options;
    KetSDK::MeshJobs::LayersResult m_result;
};

} // namespace

std::unique_ptr<Command> MakeLayersCommand() {
    return std::make_unique<LayersCommand>();
}

} // namespace ketmesh
