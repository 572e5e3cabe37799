#include <KetSDK/MeshVTK/GridFromMesh.h>
#include <KetSDK/MeshVTK/Text.h>
#include <host/CatalogOutput.h>
#include <host/ColorMapFile.h>
#include <host/Command.h>
#include <host/FileError.h>
#include <host/ImageInput.h>
#include <host/MaterialAssignment.h>
#include <host/MaterialLaw.h>
#include <host/MaterialPresets.h>
#include <host/MeshInput.h>
#include <host/MeshOutput.h>
#include <host/Threads.h>
#include <host/terminal/Cancellation.h>
#include <host/terminal/Choice.h>
#include <host/terminal/Format.h>
#include <host/terminal/Table.h>
#include <host/terminal/Warnings.h>

#include <vtkUnstructuredGrid.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace ketmesh {

namespace {

using KetSDK::MeshVTK::SamplingReport;

// No solid is denser [g/cm3].
constexpr double DensestSolid = 23.0;

// "12 of 340 elements (3.53 %)"
std::string PartText(std::uint64_t part, std::uint64_t all) {
    return std::to_string(part) + " of " + std::to_string(all) + " elements (" + FormatShare(part, all) + ")";
}

// Gives elements materials by the grey values of a CT image.
class MaterialsCommand : public Command {
public:
    void Declare(CLI::App& app) override {
        CLI::App& command = *app.add_subcommand(
            "materials", "Give elements densities and moduli from the grey values of a CT image");
        command.footer(
            "--by says what decides which material an element gets:\n"
            "  grey    its grey value: N bins of equal width over those of all elements\n"
            "  mask    its grey value, in N bins over those of its own sub-volume; no two\n"
            "          sub-volumes share a material\n"
            "  index   its sub-volume: one material each, for its elements' mean grey value\n"
            "  single  nothing: one material for all, for the mean grey value of the elements\n\n"
            "--average grey takes the mean grey value of each element, puts it into a bin and turns the\n"
            "middle of the bin into a density. --average law turns each sample in an element into a\n"
            "density, takes their mean, and bins those densities. Both come to the same up to the width\n"
            "of a bin where the law is linear or an element has a single sample, as with --sampling\n"
            "centroid; with a curved law and elements larger than voxels only the second is the mean\n"
            "density.\n\n"
            "Written are the cell arrays grey, material, density [g/cm3], emodulus [MPa] and poisson.\n"
            "Identifiers count the bins from 1, with --by mask on through the sub-volumes; bins without\n"
            "elements have no material.\n"
            "Lengths in reports are in mm, masses in g.\n\n"
            "Examples:\n"
            "  ketmesh materials femur.vtu --image ct.nii.gz --preset femur --bins 100 -o model.vtu\n"
            "  ketmesh materials spine.vtu --image dicom/ --law 0.047,0.001122,1,0,1 \\\n"
            "      --modulus 4730,1.56 --by mask --bins 50 --sampling mean -o model.vtu\n"
            "  ketmesh materials --list-presets");
        CLI::Option* const file = m_input.Declare(command)->required(false);
        CLI::Option* const image = m_image.Declare(command);
        CLI::Option* const bins =
            command.add_option("--bins", m_bins, "Number of bins, for --by grey and mask")
                ->type_name("N")
                ->check(CLI::Range(1, 65535));
        m_law.Declare(command);
        m_by.Declare(command, "--by", "What decides which material an element gets; see below");
        m_average.Declare(command, "--average", "What is averaged over an element; see below");
        CLI::Option* const output =
            m_output.Declare(command, "Volume mesh to write with the materials as cell arrays");
        m_catalog.Declare(command);
        m_threads.Declare(command);
        CLI::Option* const list =
            command.add_flag("--list-presets", m_list, "Show all presets with their sources; needs no files");
        command.add_flag("--markdown", m_markdown, "With --list-presets: as a table in Markdown")
            ->needs(list);
        command.add_flag("--json", m_json, "Print one JSON object");
        command.callback([this, file, image, bins, output] {
            for (CLI::Option const* const option : {file, image, output})
                if (!m_list && option->count() == 0)
                    throw CLI::RequiredError(option->get_name());
            if (!m_list && _HasBins() && bins->count() == 0)
                throw CLI::RequiredError("--bins");
        });
    }

    int Run(Progress const& progress) override {
        if (m_list)
            return _List();
        m_law.Read();
        m_output.Open();
        m_catalog.Open(m_output.GetFileName());
        MeshInput::Loaded loaded = m_input.Load(progress);
        MMeshBase& mesh = *loaded.mesh;
        _CheckBins(mesh);

        bool const parallel = m_threads.Start();
        std::vector<double> densities;
        bool const of_samples = m_average.Get() == Average::Law;
        ImageInput::Sampled const sampled = m_image.Sample(
            mesh, parallel, progress, of_samples ? m_law.ForSamples() : KetSDK::MeshVTK::GreyLaw(),
            of_samples ? &densities : nullptr);
        std::vector<AssignedMaterial> const materials =
            AssignMaterials(mesh, m_by.Get(), static_cast<unsigned int>(m_bins), m_law, densities, progress);
        _RequireModuli(materials);
        _Write(loaded, progress);
        _Warn(mesh, sampled, materials);
        if (m_json)
            PrintJson(_Report(mesh, sampled.report, materials));
        else
            _Print(mesh, sampled.report, materials);
        return Done;
    }

private:
    enum class Average : int { Grey, Law };

    int _List() const {
        if (m_markdown)
            PrintPresetTable(std::cout);
        else if (m_json)
            PrintJson(PresetListJson());
        else
            PrintPresetList(std::cout);
        return Done;
    }

    bool _HasBins() const { return m_by.Get() == MaterialsBy::Grey || m_by.Get() == MaterialsBy::Mask; }

    void _CheckBins(MMeshBase const& mesh) const {
        if (_HasBins() && m_bins > mesh.NumberOfElements())
            throw FileError(m_input.GetFileName(), "it has " + std::to_string(mesh.NumberOfElements()) +
                                                       " elements, too few for " + std::to_string(m_bins) +
                                                       " bins (--bins)");
    }

    // Solvers take no others.
    void _RequireModuli(std::vector<AssignedMaterial> const& materials) const {
        for (AssignedMaterial const& material : materials)
            if (!std::isfinite(material.emodulus) || material.emodulus <= 0.0)
                throw std::runtime_error("the modulus " + m_law.DescribeModulus() + " is " +
                                         FormatGeneral(material.emodulus) + " MPa for a density of " +
                                         FormatGeneral(material.density, 4) +
                                         " g/cm3; it must be above 0 and finite");
    }

    // Both files or none.
    void _Write(MeshInput::Loaded const& loaded, Progress const& progress) {
        auto const grid = KetSDK::MeshVTK::GridFromMesh(*loaded.mesh, m_input.GetUnit(), loaded.grid);
        m_catalog.Write(loaded.mesh->GetMaterialCatalog());
        ThrowIfCancelled();
        m_output.Write(*loaded.mesh, *grid, progress);
        m_catalog.Commit();
    }

    void _Warn(MMeshBase const& mesh, ImageInput::Sampled const& sampled,
               std::vector<AssignedMaterial> const& materials) {
        SamplingReport const& report = sampled.report;
        if (!sampled.note.empty())
            m_warnings.Add(m_image.GetFileName() + ": " + sampled.note);
        if (report.outside_volume > 0.5)
            m_warnings.Add(FormatGeneral(100.0 * report.outside_volume, 3) +
                           " % of the mesh's volume lies outside the image: the mesh is at " +
                           BoxText(report.mesh_box) + " mm, the image at " + BoxText(report.image_box) +
                           " mm");
        if (report.not_finite > 0)
            m_warnings.Add(PartText(report.not_finite, report.elements) +
                           " have no finite number in the image; they got the grey value of --outside");
        auto const [lowest, highest] = _GreyRange(materials);
        if (lowest == highest)
            m_warnings.Add("every element has the grey value " + FormatGeneral(lowest) +
                           "; is it the right image?");
        if (materials.size() == 1 && _MostMaterials(mesh) > 1)
            m_warnings.Add("all elements got one material");
        _WarnOfLaw(lowest, highest, mesh, materials);
    }

    // How many there can be.
    std::uint64_t _MostMaterials(MMeshBase const& mesh) const {
        bool const per_part = m_by.Get() == MaterialsBy::Mask || m_by.Get() == MaterialsBy::Index;
        return (_HasBins() ? static_cast<std::uint64_t>(m_bins) : 1) *
               (per_part ? mesh.NumberOfSubVolumes() : 1);
    }

    void _WarnOfLaw(double lowest, double highest, MMeshBase const& mesh,
                    std::vector<AssignedMaterial> const& materials) {
        if (MaterialPreset const* const preset = m_law.GetLawPreset()) {
            double const offset = m_law.GetUnit() == MHUList::OffsetBy1024 ? 1024.0 : 0.0;
            double const low = preset->LowestGrey() + offset;
            double const high = preset->HighestGrey() + offset;
            if (highest < low || lowest > high)
                m_warnings.Add("all grey values, " + FormatGeneral(lowest) + " to " + FormatGeneral(highest) +
                               ", lie outside the range of the preset " + std::string(preset->name) + ", " +
                               FormatGeneral(low, 4) + " to " + FormatGeneral(high, 4) +
                               "; are they Hounsfield units (--unit-offset)?");
        }
        std::uint64_t raised = 0;
        double densest = 0.0;
        for (AssignedMaterial const& material : materials) {
            raised += material.is_raised ? material.elements : 0;
            densest = std::max(densest, material.density);
        }
        if (raised > 0)
            m_warnings.Add("the law gives " +
                           PartText(raised, static_cast<std::uint64_t>(mesh.NumberOfElements())) +
                           " a density below " + FormatGeneral(m_law.GetLeastDensity()) +
                           " g/cm3 or none; they got " + FormatGeneral(m_law.GetLeastDensity()) +
                           " g/cm3 and E = " + FormatGeneral(m_law.ModulusAt(m_law.GetLeastDensity()), 4) +
                           " MPa (--min-density)");
        if (densest > DensestSolid)
            m_warnings.Add("densities go up to " + FormatGeneral(densest, 4) +
                           " g/cm3; is the law one for kg/m3?");
    }

    static std::array<double, 2> _GreyRange(std::vector<AssignedMaterial> const& materials) {
        auto const smallest = std::ranges::min(materials, {}, &AssignedMaterial::smallest_grey);
        auto const largest = std::ranges::max(materials, {}, &AssignedMaterial::largest_grey);
        return {smallest.smallest_grey, largest.largest_grey};
    }

    static std::string _PartName(MMeshBase const& mesh, int number) {
        auto const part = mesh.BeginSubVolume() + number;
        return KetSDK::MeshVTK::ToUtf8((*part)->GetName());
    }

    Json _Report(MMeshBase const& mesh, SamplingReport const& sampling,
                 std::vector<AssignedMaterial> const& materials) const {
        Json report;
        report["elements"] = mesh.NumberOfElements();
        report["materials"] = Json::array();
        for (AssignedMaterial const& m : materials) {
            report["materials"].push_back({{"id", m.id},
                                           {"density", m.density},
                                           {"emodulus", m.emodulus},
                                           {"poisson", m_law.GetPoisson()},
                                           {"elements", m.elements},
                                           {"volume", m.volume},
                                           {"mass", m.Mass()},
                                           {"grey", {m.LowGrey(), m.HighGrey()}},
                                           {"color", ColorText(m.color)}});
            if (m.subvolume >= 0)
                report["materials"].back()["subvolume"] = _PartName(mesh, m.subvolume);
        }
        report["outside"] = sampling.outside;
        report["volume"] = _Sum(materials, [](AssignedMaterial const& m) { return m.volume; });
        report["mass"] = _Sum(materials, [](AssignedMaterial const& m) { return m.Mass(); });
        report["law"] = m_law.GetCoefficients();
        report["modulus"] = m_law.GetModulus();
        report["by"] = m_by.GetWord();
        report["average"] = m_average.GetWord();
        report["sampling"] = m_image.ToJson(sampling);
        report["box"] = sampling.mesh_box;
        report["image_box"] = sampling.image_box;
        report["warnings"] = m_warnings.GetList();
        report["files"] = {m_output.GetFileName(), m_catalog.GetFileName()};
        return report;
    }

    static double _Sum(std::vector<AssignedMaterial> const& materials,
                       double (*value)(AssignedMaterial const&)) {
        double sum = 0.0;
        for (AssignedMaterial const& material : materials)
            sum += value(material);
        return sum;
    }

    void _Print(MMeshBase const& mesh, SamplingReport const& sampling,
                std::vector<AssignedMaterial> const& materials) const {
        auto const elements = static_cast<std::uint64_t>(mesh.NumberOfElements());
        std::cout << m_input.GetFileName() << " with " << m_image.GetFileName() << ": " << elements
                  << " elements, " << materials.size()
                  << (materials.size() == 1 ? " material\n" : " materials\n") << "law      "
                  << m_law.DescribeDensity() << " [g/cm3]\nmodulus  " << m_law.DescribeModulus()
                  << " [MPa]\ngrey     " << FormatNumber(sampling.smallest) << " to "
                  << FormatNumber(sampling.largest) << ", mean " << FormatNumber(sampling.mean)
                  << "\noutside  " << PartText(sampling.outside, elements) << "\n\n";
        _PrintMaterials(mesh, materials);
        std::cout << "\nwritten: " << m_output.GetFileName() << "\nwritten: " << m_catalog.GetFileName()
                  << '\n';
    }

    void _PrintMaterials(MMeshBase const& mesh, std::vector<AssignedMaterial> const& materials) const {
        bool const has_parts = materials.front().subvolume >= 0;
        std::vector<Table::Column> columns = {{"id", Table::Align::Right}};
        if (has_parts)
            columns.push_back({"sub-volume", Table::Align::Left});
        for (char const* const title :
             {"grey from", "to", "density [g/cm3]", "E [MPa]", "nu", "elements", "volume [mm3]", "mass [g]"})
            columns.push_back({title, Table::Align::Right});
        columns.push_back({"colour", Table::Align::Left});
        Table table(columns);
        double const volume = _Sum(materials, [](AssignedMaterial const& m) { return m.volume; });
        double const mass = _Sum(materials, [](AssignedMaterial const& m) { return m.Mass(); });
        std::uint64_t elements = 0;
        for (AssignedMaterial const& m : materials) {
            std::vector<std::string> row = {std::to_string(m.id)};
            if (has_parts)
                row.push_back(_PartName(mesh, m.subvolume));
            for (std::string const& cell :
                 {FormatGeneral(m.LowGrey()), FormatGeneral(m.HighGrey()), FormatGeneral(m.density, 4),
                  FormatGeneral(m.emodulus, 5), FormatGeneral(m_law.GetPoisson()), std::to_string(m.elements),
                  FormatNumber(m.volume, volume), FormatNumber(m.Mass(), mass), ColorText(m.color)})
                row.push_back(cell);
            table.AddRow(row);
            elements += m.elements;
        }
        table.AddRule();
        std::vector<std::string> total = {"all"};
        total.resize(has_parts ? 7 : 6);
        for (std::string const& cell : {std::to_string(elements), FormatNumber(volume), FormatNumber(mass)})
            total.push_back(cell);
        total.emplace_back();
        table.AddRow(total);
        table.Print(std::cout);
    }

    MeshInput m_input;
    ImageInput m_image;
    MaterialLaw m_law;
    MeshOutput m_output;
    Warnings m_warnings;
    CatalogOutput m_catalog;
    Threads m_threads;
    Choice<MaterialsBy> m_by{{{"grey", MaterialsBy::Grey},
                              {"mask", MaterialsBy::Mask},
                              {"index", MaterialsBy::Index},
                              {"single", MaterialsBy::Single}}};
    Choice<Average> m_average{{{"grey", Average::Grey}, {"law", Average::Law}}};
    int m_bins = 0;
    bool m_list = false;
    bool m_markdown = false;
    bool m_json = false;
};

} // namespace

std::unique_ptr<Command> MakeMaterialsCommand() {
    return std::make_unique<MaterialsCommand>();
}

} // namespace ketmesh
