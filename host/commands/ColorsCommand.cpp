// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/ColorMapFile.h>
#include <KetSDK/MeshJobs/Colors.h>
#include <host/commands/Command.h>
#include <host/commands/options/ModelInput.h>
#include <host/terminal/Format.h>
#include <host/terminal/NumberCheck.h>
#include <host/terminal/NumberList.h>
#include <host/terminal/Table.h>

#include <ostream>
#include <string>

namespace ketmesh {

namespace {

using KetSDK::MeshJobs::ColorInterval;

constexpr char const* ColorsHelp =
    "Intervals are N bins of equal width over the grey values of a mesh (its cell array\n"
    "grey), or those that begin at the numbers of --intervals. The colours go from dark red\n"
    "at 0 through yellow, green, cyan and blue to dark blue at 4096, as in the table of\n"
    "ketmesh materials. Import the file as a colour map and show the array grey with it.\n\n"
    "Examples:\n"
    "  ketmesh colors model.vtu --bins 20 -o grey.json\n"
    "  ketmesh colors --intervals 0,300,700,1500 -o tissues.xml";

// Writes the colours of grey-value intervals for viewers.
class ColorsCommand : public Command {
public:
    ColorsCommand()
        : Command("colors", "Write the colours of grey-value intervals for viewers", ColorsHelp) {}

private:
    void DeclareOptions(CLI::App& command) override {
        CLI::Option* const file = m_input.Declare(*this, command)->required(false);
        CLI::Option* const bins =
            command.add_option("--bins", m_options.bins, "Number of bins over the grey values of the mesh")
                ->type_name("N")
                ->check(CLI::Range(1, 65535));
        CLI::Option* const from =
            command.add_option("--from", m_options.from, "Only grey values from this one")
                ->check(FiniteNumber());
        CLI::Option* const to = command.add_option("--to", m_options.to, "Only grey values below this one")
                                    ->check(FiniteNumber());
        CLI::Option* const intervals =
            command.add_option("--intervals", m_intervals, "Lower ends of the intervals, in place of a mesh")
                ->type_name("G,G,...")
                ->excludes(file)
                ->excludes(bins)
                ->excludes(from)
                ->excludes(to);
        command.add_option("--name", m_name, "Name of the colour map (default: grey intervals)");
        command.add_option("-o,--output", m_file, "File to write: .json or .xml")->required();
        DeclareOutput();
        command.callback([this, file, bins, intervals] {
            m_of_numbers = intervals->count() > 0;
            if (intervals->count() == 0 && (file->count() == 0 || bins->count() == 0))
                throw CLI::RequiredError("a mesh with --bins, or --intervals,");
        });
    }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        KetSDK::MeshVTK::OutputFile output = KetSDK::MeshJobs::OpenColorMapFile(m_file);
        m_result = m_of_numbers ? KetSDK::MeshJobs::ColorsOfIntervals(ParseNumbers(m_intervals))
                                : KetSDK::MeshJobs::Colors(m_input.Read(context), m_options, context);
        WriteColorMap(m_result, m_name, output, context);
        AddFile(m_file);
    }

    Json Report() const override {
        Json report;
        report["intervals"] = Json::array();
        for (ColorInterval const& interval : m_result.intervals)
            report["intervals"].push_back(
                {{"grey", {interval.low, interval.high}}, {"color", FormatColor(interval.color)}});
        return report;
    }

    void Print(std::ostream& out) const override {
        Table table({{"grey from", Table::Align::Right},
                     {"to", Table::Align::Right},
                     {"colour", Table::Align::Left}});
        for (ColorInterval const& interval : m_result.intervals)
            table.AddRow(
                {FormatGeneral(interval.low), FormatGeneral(interval.high), FormatColor(interval.color)});
        table.Print(out);
    }

    ModelInput m_input;
    KetSDK::MeshJobs::ColorsOptions m_options;
    std::string m_intervals;
    std::string m_name = "grey intervals";
    std::string m_file;
    bool m_of_numbers = false;
    KetSDK::MeshJobs::ColorsResult m_result;
};

} // namespace

std::unique_ptr<Command> MakeColorsCommand() {
    return std::make_unique<ColorsCommand>();
}

} // namespace ketmesh
