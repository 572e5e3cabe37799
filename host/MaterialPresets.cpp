#include <host/MaterialPresets.h>

#include <host/terminal/Format.h>
#include <host/terminal/Table.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <ostream>
#include <stdexcept>
#include <vector>

namespace ketmesh {

namespace {

constexpr std::string_view Rho = "Rho, Hobatho, Ashman 1995, Med. Eng. Phys. 17:347-355";
constexpr std::string_view Morgan = "Morgan, Bayraktar, Keaveny 2003, J. Biomech. 36:897-904";

constexpr MaterialPreset Presets[] = {
    {"femur",
     "proximal femur (modulus: femoral neck)",
     {0.131, 0.001067, 1, 0, 1},
     {6850, 1.49},
     0.26,
     0.75,
     Rho,
     Morgan,
     "the modulus; the relation to HU and the range of densities are as they are commonly cited"},
    {"tibia",
     "proximal tibia",
     {0.114, 0.000916, 1, 0, 1},
     {15520, 1.93},
     0.09,
     0.41,
     Rho,
     Morgan,
     "the modulus, for which a second source has 15490 in place of 15520; the relation to HU and the "
     "range of densities are as they are commonly cited"},
    {"vertebra",
     "vertebral body (relation to HU: lumbar spine)",
     {0.047, 0.001122, 1, 0, 1},
     {4730, 1.56},
     0.11,
     0.35,
     Rho,
     Morgan,
     "the modulus and the relation to HU; the range of densities is as it is commonly cited"},
};

constexpr char const* Explanation[] = {
    "Densities are apparent ones of cancellous bone: mass per volume of bone with its pores.",
    "Range: the densities of the specimens behind the modulus, and the HU that give them. Beyond it, in",
    "the cortex above all, the relations are extrapolated.",
    "Compared: what was found the same in a second source. Look into the papers before you rely on it.",
};

std::string Range(double low, double high, int digits) {
    return FormatGeneral(low, digits) + " .. " + FormatGeneral(high, digits);
}

constexpr char const* PresetTitles[] = {"preset",  "site",          "density [g/cm3]",
                                        "E [MPa]", "range [g/cm3]", "range [HU]"};

std::vector<std::string> PresetFigures(MaterialPreset const& preset) {
    return {std::string(preset.name),
            std::string(preset.site),
            FormatGeneral(preset.law[0]) + " + " + FormatGeneral(preset.law[1]) + " HU",
            FormatGeneral(preset.modulus[0]) + " density^" + FormatGeneral(preset.modulus[1]),
            Range(preset.lowest_density, preset.highest_density, 3),
            Range(std::round(preset.LowestGrey()), std::round(preset.HighestGrey()), 4)};
}

void PrintRow(std::ostream& out, auto const& cells) {
    for (auto const& cell : cells)
        out << "| " << cell << ' ';
    out << "|\n";
}

} // namespace

std::span<MaterialPreset const> MaterialPresets() {
    return Presets;
}

MaterialPreset const& FindMaterialPreset(std::string const& name) {
    auto const* const found = std::ranges::find(Presets, name, &MaterialPreset::name);
    if (found != std::end(Presets))
        return *found;
    std::string names;
    for (MaterialPreset const& preset : Presets)
        names += (names.empty() ? "" : ", ") + std::string(preset.name);
    throw std::invalid_argument("there is no preset \"" + name + "\"; there are " + names);
}

void PrintPresetList(std::ostream& out) {
    std::vector<Table::Column> columns;
    for (char const* const title : PresetTitles)
        columns.push_back({title, Table::Align::Left});
    Table table(columns);
    for (MaterialPreset const& preset : Presets)
        table.AddRow(PresetFigures(preset));
    table.Print(out);
    out << '\n';
    for (char const* const line : Explanation)
        out << line << '\n';
    for (MaterialPreset const& preset : Presets)
        out << '\n'
            << preset.name << "\n  density:  " << preset.law_source
            << "\n  modulus:  " << preset.modulus_source << "\n  compared: " << preset.compared << '\n';
}

void PrintPresetTable(std::ostream& out) {
    PrintRow(out, PresetTitles);
    PrintRow(out, std::vector<std::string>(std::size(PresetTitles), "---"));
    for (MaterialPreset const& preset : Presets)
        PrintRow(out, PresetFigures(preset));
    out << '\n';
    for (char const* const line : Explanation)
        out << line << '\n';
    out << '\n';
    for (MaterialPreset const& preset : Presets)
        out << "- **" << preset.name << "**: density from " << preset.law_source << "; modulus from "
            << preset.modulus_source << ".\n  Compared: " << preset.compared << ".\n";
}

Json PresetListJson() {
    Json list = Json::object();
    for (MaterialPreset const& preset : Presets)
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
