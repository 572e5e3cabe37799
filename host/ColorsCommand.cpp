#include <KetSDK/Mesh/materials/MHUList.h>
#include <KetSDK/Mesh/materials/MMeshColorMap.h>
#include <host/ColorMapFile.h>
#include <host/Command.h>
#include <host/FileError.h>
#include <host/MeshInput.h>
#include <host/terminal/Cancellation.h>
#include <host/terminal/Format.h>
#include <host/terminal/NumberCheck.h>
#include <host/terminal/NumberList.h>
#include <host/terminal/Table.h>

#include <algorithm>
#include <cfloat>
#include <functional>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace ketmesh {

namespace {

// Writes the colours of grey-value intervals for viewers.
class ColorsCommand : public Command {
public:
    void Declare(CLI::App& app) override {
        CLI::App& command =
            *app.add_subcommand("colors", "Write the colours of grey-value intervals for viewers");
        command.footer(
            "Intervals are N bins of equal width over the grey values of a mesh (its cell array grey), or\n"
            "those that begin at the numbers of --intervals. The colours go from dark red at 0 through\n"
            "yellow, green, cyan and blue to dark blue at 4096, those of the table of ketmesh materials.\n"
            "Import the file as a colour map and show the array grey with it.\n\n"
            "Examples:\n"
            "  ketmesh colors model.vtu --bins 20 -o grey.json\n"
            "  ketmesh colors --intervals 0,300,700,1500 -o tissues.xml");
        CLI::Option* const file = m_input.Declare(command)->required(false);
        CLI::Option* const bins =
            command.add_option("--bins", m_bins, "Number of bins over the grey values of the mesh")
                ->type_name("N")
                ->check(CLI::Range(1, 65535));
        CLI::Option* const from =
            command.add_option("--from", m_from, "Only grey values from this one")->check(FiniteNumber());
        CLI::Option* const to =
            command.add_option("--to", m_to, "Only grey values below this one")->check(FiniteNumber());
        CLI::Option* const intervals =
            command.add_option("--intervals", m_intervals, "Where intervals begin, in place of a mesh")
                ->type_name("G,G,...")
                ->excludes(file)
                ->excludes(bins)
                ->excludes(from)
                ->excludes(to);
        command.add_option("--name", m_name, "Name of the colour map (grey intervals unless given)");
        command.add_option("-o,--output", m_file, "File to write: .json or .xml")->required();
        command.add_flag("--json", m_json, "Print one JSON object");
        command.callback([this, file, bins, intervals] {
            m_of_numbers = intervals->count() > 0;
            if (intervals->count() == 0 && (file->count() == 0 || bins->count() == 0))
                throw CLI::RequiredError("a mesh with --bins, or --intervals,");
        });
    }

    int Run(Progress const& progress) override {
        std::optional<KetSDK::MeshVTK::OutputFile> output;
        ForFile(m_file, [&] {
            CheckColorMapFileName(m_file);
            output.emplace(m_file);
        });
        MHUList const list = m_of_numbers ? _OfNumbers() : _OfMesh(progress);
        MMeshColorMap colors;
        colors.CreateFromUniqueIntervals(&list);
        ForFile(m_file, [&] { WriteColorMap(*output, colors, m_end, m_name); });
        if (m_json)
            _PrintJson(colors);
        else
            _Print(colors);
        return Done;
    }

private:
    MHUList _OfNumbers() {
        std::vector<double> const starts = ParseNumbers(m_intervals);
        if (std::ranges::adjacent_find(starts, std::greater_equal<>()) != starts.end())
            throw std::invalid_argument("--intervals: " + m_intervals + " does not ascend");
        MHUList list;
        for (double const start : starts)
            list.AddElementAtEnd(start, {start, start, DBL_MAX, DBL_MAX, {}});
        // As wide as the one before.
        double const width = starts.size() > 1 ? starts.back() - starts[starts.size() - 2] : 1.0;
        m_end = starts.back() + width;
        return list;
    }

    MHUList _OfMesh(Progress const& progress) {
        MeshInput::Loaded const loaded = m_input.Load(progress);
        MMeshBase& mesh = *loaded.mesh;
        if (!mesh.HasGreyValues())
            throw FileError(m_input.GetFileName(),
                            "it has no cell array grey; ketmesh materials writes one from a CT image");
        m_end = -DBL_MAX;
        for (MMeshElement const& e : mesh.Elements())
            if (double const grey = mesh.GetElementMasks()->GetGreyValueMask()->GetValue(e);
                grey >= m_from && grey < m_to)
                m_end = std::max(m_end, grey);
        MHUList list;
        if (!list.CreateUniformFromRange(&mesh, static_cast<unsigned int>(m_bins), m_from, m_to,
                                         MHUList::MeshUnit))
            throw FileError(m_input.GetFileName(), "no element has a grey value from " +
                                                       FormatGeneral(m_from) + " up to " +
                                                       FormatGeneral(m_to));
        if (list.GetStart(0) == m_end)
            throw FileError(m_input.GetFileName(), "every element has the grey value " +
                                                       FormatGeneral(m_end) + "; there is nothing to divide");
        ThrowIfCancelled();
        return list;
    }

    double _End(MMeshColorMap const& colors, unsigned long long index) const {
        return index + 1 < colors.GetNumElements() ? colors.GetStart(index + 1) : m_end;
    }

    void _PrintJson(MMeshColorMap const& colors) const {
        Json report;
        report["intervals"] = Json::array();
        for (auto const& [index, entry] : colors)
            report["intervals"].push_back(
                {{"grey", {entry.start, _End(colors, index)}}, {"color", ColorText(entry.color)}});
        report["files"] = {m_file};
        PrintJson(report);
    }

    void _Print(MMeshColorMap const& colors) const {
        Table table({{"grey from", Table::Align::Right},
                     {"to", Table::Align::Right},
                     {"colour", Table::Align::Left}});
        for (auto const& [index, entry] : colors)
            table.AddRow(
                {FormatGeneral(entry.start), FormatGeneral(_End(colors, index)), ColorText(entry.color)});
        table.Print(std::cout);
        std::cout << "\nwritten: " << m_file << '\n';
    }

    MeshInput m_input;
    std::string m_intervals;
    std::string m_name = "grey intervals";
    std::string m_file;
    double m_from = -DBL_MAX;
    double m_to = DBL_MAX;
    double m_end = 0.0; // of the last interval
    int m_bins = 0;
    bool m_of_numbers = false;
    bool m_json = false;
};

} // namespace

std::unique_ptr<Command> MakeColorsCommand() {
    return std::make_unique<ColorsCommand>();
}

} // namespace ketmesh
