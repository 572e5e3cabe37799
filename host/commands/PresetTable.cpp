// SPDX-License-Identifier: BSD-3-Clause
#include <host/commands/PresetTable.h>

#include <KetSDK/Mesh/materials/MaterialPreset.h>
#include <host/terminal/Format.h>
#include <host/terminal/Table.h>

#include <cmath>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

namespace ketmesh {

using KetSDK::Mesh::MaterialPreset;
using KetSDK::Mesh::MaterialPresets;

namespace {

constexpr char const* PresetNotes[] = {
    "Densities are apparent ones of cancellous bone: mass per volume of bone with its pores.",
    "Range: the densities of the specimens behind the modulus, and the HU that give them. Beyond it, in",
    "the cortex above all, the relations are extrapolated.",
    "Compared: what was found the same in a second source. Look into the papers before you rely on it.",
};

std::string PresetRange(double low, double high, int digits) {
    return FormatGeneral(low, digits) + " .. " + FormatGeneral(high, digits);
}

constexpr char const* PresetTitles[] = {"preset",  "site",          "density [g/cm3]",
                                        "E [MPa]", "range [g/cm3]", "range [HU]"};

std::vector<std::string> PresetFigures(MaterialPreset const& preset) {
    return {std::string(preset.name),
            std::string(preset.site),
            FormatGeneral(preset.law[0]) + " + " + FormatGeneral(preset.law[1]) + " HU",
            FormatGeneral(preset.modulus[0]) + " density^" + FormatGeneral(preset.modulus[1]),
            PresetRange(preset.lowest_density, preset.highest_density, 3),
            PresetRange(std::round(preset.LowestGrey()), std::round(preset.HighestGrey()), 4)};
}

void PrintPresetRow(std::ostream& out, auto const& cells) {
    for (auto const& cell : cells)
        out << "| " << cell << ' ';
    out << "|\n";
}

} // namespace

void PrintPresetList(std::ostream& out) {
    std::vector<Table::Column> columns;
    for (char const* const title : PresetTitles)
        columns.push_back({title, Table::Align::Left});
    Table table(columns);
    for (MaterialPreset const& preset : MaterialPresets())
        table.AddRow(PresetFigures(preset));
    table.Print(out);
    out << '\n';
    for (char const* const line : PresetNotes)
        out << line << '\n';
    for (MaterialPreset const& preset : MaterialPresets())
        out << '\n'
            << preset.name << "\n  density:  " << preset.law_source
            << "\n  modulus:  " << preset.modulus_source << "\n  compared: " << preset.compared << '\n';
}

void PrintPresetTable(std::ostream& out) {
    PrintPresetRow(out, PresetTitles);
    PrintPresetRow(out, std::vector<std::string>(std::size(PresetTitles), "---"));
    for (MaterialPreset const& preset : MaterialPresets())
        PrintPresetRow(out, PresetFigures(preset));
    out << '\n';
    for (char const* const line : PresetNotes)
        out << line << '\n';
    out << '\n';
    for (MaterialPreset const& preset : MaterialPresets())
        out << "- **" << preset.name << "**: density from " << preset.law_source << "; modulus from "
            << preset.modulus_source << ".\n  Compared: " << preset.compared << ".\n";
}

Json PresetListJson() {
    Json list = Json::object();
    for (MaterialPreset const& preset : MaterialPresets())
        list[std::string(preset.name)] = {{"site", preset.site},
                                          {"law", preset.law},
                                          {"modulus", preset.modulus},
                                          {"density_range", {preset.lowest_density, preset.highest_density}},
                                          {"grey_range", {preset.LowestGrey(), preset.HighestGrey()}},
                                          {"law_source", preset.law_source},
                                          {"modulus_source", preset.modulus_source},
                                          {"compared", preset.compared}};
    return {{"presets", list}};
}

} // namespace ketmesh
