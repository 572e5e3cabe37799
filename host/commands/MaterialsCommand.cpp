// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Materials.h>
#include <host/commands/Command.h>
#include <host/commands/PresetTable.h>
#include <host/commands/options/CatalogOutput.h>
#include <host/commands/options/ConstantsInput.h>
#include <host/commands/options/ImageInput.h>
#include <host/commands/options/MaterialLawInput.h>
#include <host/commands/options/ModelInput.h>
#include <host/commands/options/ModelOutput.h>
#include <host/terminal/Choice.h>
#include <host/terminal/Format.h>
#include <host/terminal/Table.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <string>
#include <vector>

namespace ketmesh {

namespace {

using KetSDK::Mesh::AssignedMaterial;
using Source = AssignedMaterial::Source;
using KetSDK::Mesh::MaterialsBy;
using KetSDK::MeshJobs::DescribeDensity;
using KetSDK::MeshJobs::DescribeModulus;
using KetSDK::MeshJobs::MaterialsOptions;
using KetSDK::MeshJobs::Model;

constexpr char const* MaterialsHelp =
    "--by says what decides which material an element gets:\n"
    "  grey    its grey value: N bins of equal width over those of all elements\n"
    "  mask    its grey value, in N bins over those of its own sub-volume; no two\n"
    "          sub-volumes share a material\n"
    "  index   its sub-volume: one material each, for its elements' mean grey value\n"
    "  single  nothing: one material for all, for the mean grey value of the elements\n\n"
    "--average grey takes the mean grey value of each element, puts it into a bin and turns\n"
    "the middle of the bin into a density. --average law turns each sample in an element\n"
    "into a density, takes their mean, and bins those densities. Both agree to the width of\n"
    "a bin where the law is linear or an element has a single sample, as with --sampling\n"
    "centroid; with a curved law and elements larger than voxels only the second gives the\n"
    "mean density.\n\n"
    "The result has the cell arrays grey, material, density [g/cm3], emodulus [MPa] and\n"
    "poisson. Identifiers count the bins from 1, with --by mask on through the sub-volumes;\n"
    "bins without elements have no material. mass sums up materials, mass_of_elements the\n"
    "elements by densities of their own; a warning says when they differ by more than 1 %.\n\n"
    "--set gives a sub-volume constants. --only leaves all sub-volumes but those named as\n"
    "they are, so that a second run can take another image or law. Without --image only\n"
    "constants are given.\n\n"
    "Lengths in reports are in mm, masses in g.\n\n"
    "Examples:\n"
    "  ketmesh materials femur.vtu --image ct.nii.gz --preset femur --bins 100 -o model.vtu\n"
    "  ketmesh materials spine.vtu --image dicom/ --law 0.047,0.001122,1,0,1 \\\n"
    "      --modulus 4730,1.56 --by mask --bins 50 --sampling mean -o model.vtu\n"
    "  ketmesh materials hip.vtu --image ct.nii.gz --preset femur --bins 100 \\\n"
    "      --set Stem=4.43,110000,0.34 -o model.vtu\n"
    "  ketmesh materials --list-presets";

// Gives elements materials by the grey values of a CT image.
class MaterialsCommand : public Command {
public:
    MaterialsCommand()
        : Command("materials", "Give elements densities and moduli from the grey values of a CT image",
                  MaterialsHelp) {}

private:
    void DeclareOptions(CLI::App& command) override {
        CLI::Option* const file = m_input.Declare(*this, command)->required(false);
        CLI::Option* const image = m_image.Declare(*this, command);
        CLI::Option* const bins =
            command.add_option("--bins", m_options.bins, "Number of bins; needed with --by grey and mask")
                ->type_name("N")
                ->check(CLI::Range(1, 65535));
        m_law.Declare(command);
        m_by.Declare(command, "--by",
                     "What decides which material an element gets, see below (default: grey)");
        m_average.Declare(command, "--average",
                          "What is averaged over an element, see below (default: grey)");
        CLI::Option* const set = m_constants.Declare(command);
        command
            .add_option("--only", m_options.only,
                        "Sub-volume whose elements get materials from the image; give it again for more. "
                        "Elements of others keep their grey values and materials")
            ->type_name("NAME")
            ->expected(1)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
        CLI::Option* const output =
            m_output.Declare(*this, command, "Volume mesh to write with the materials as cell arrays");
        m_catalog.Declare(*this, command);
        CLI::Option* const list =
            command.add_flag("--list-presets", m_list, "Show all presets with their sources; needs no files");
        command.add_flag("--markdown", m_markdown, "With --list-presets: as a table in Markdown")
            ->needs(list);
        command.callback([this, &command, file, image, bins, output, set] {
            if (m_list)
                return;
            m_options.constants_only = set->count() > 0 && image->count() == 0;
            for (CLI::Option const* const option : {file, image, output})
                if (option->count() == 0 && !(option == image && m_options.constants_only))
                    throw CLI::RequiredError(option->get_name());
            if (m_options.constants_only)
                RefuseOptionsOfImage(command);
            else if (HasBins() && bins->count() == 0)
                throw CLI::RequiredError("--by " + m_by.GetWord() + ": --bins");
        });
    }

    bool HasBins() const { return m_by.Get() == MaterialsBy::Grey || m_by.Get() == MaterialsBy::Mask; }

    // What would be without effect.
    static void RefuseOptionsOfImage(CLI::App const& command) {
        for (char const* const name :
             {"--bins", "--only", "--by", "--average", "--sampling", "--order", "--outside", "--image-unit",
              "--law", "--modulus", "--preset", "--poisson", "--unit-offset", "--min-density"})
            if (command.get_option(name)->count() > 0)
                throw CLI::RequiresError(name, "--image");
    }

    bool Answer() override {
        if (!m_list)
            return false;
        if (m_markdown)
            PrintPresetTable(std::cout);
        else if (IsJson())
            PrintAnswer(PresetListJson());
        else
            PrintPresetList(std::cout);
        return true;
    }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        m_law.SetLaw(m_options);
        m_constants.SetConstants(m_options);
        m_options.by = m_by.Get();
        m_options.average = m_average.Get();
        m_image.SetSampling(m_options);
        KetSDK::MeshJobs::CheckMaterialsOptions(m_options);
        m_output.Open({m_input.GetUnit()});
        m_catalog.Open(m_output.GetFileName());
        Model model = m_input.Read(context);
        KetSDK::MeshJobs::Image const image =
            m_options.constants_only ? KetSDK::MeshJobs::Image() : m_image.Read(context);
        m_result = KetSDK::MeshJobs::Materials(model, image, m_options, context);
        // Both files or none.
        m_catalog.Write(model.mesh->GetMaterialCatalog());
        context.ThrowIfCancelled();
        m_output.Write(model, context);
        m_catalog.Commit();
    }

    Json Report() const override {
        Json report;
        report["elements"] = m_result.elements;
        report["materials"] = Json::array();
        for (AssignedMaterial const& m : m_result.materials) {
            report["materials"].push_back({{"id", m.id},
                                           {"source", SourceOf(m)},
                                           {"density", m.density},
                                           {"emodulus", m.emodulus},
                                           {"poisson", m.poisson},
                                           {"elements", m.elements},
                                           {"volume", m.volume},
                                           {"mass", m.Mass()},
                                           {"grey", {m.LowGrey(), m.HighGrey()}},
                                           {"color", FormatColor(m.color)}});
            if (m.subvolume >= 0)
                report["materials"].back()["subvolume"] = SubVolumeName(m);
        }
        report["without_material"] = m_result.without_material;
        report["volume"] = m_result.volume;
        report["mass"] = m_result.mass;
        report["mass_of_elements"] = m_result.mass_of_elements;
        if (m_options.constants_only)
            return report;
        report["outside"] = m_result.sampling.outside;
        report["law"] = m_result.law.density;
        report["modulus"] = m_result.law.modulus;
        report["by"] = m_by.GetWord();
        report["average"] = m_average.GetWord();
        report["sampling"] = m_image.ToJson(m_result.sampling);
        report["box"] = m_result.sampling.mesh_box;
        report["image_box"] = m_result.sampling.image_box;
        return report;
    }

    void Print(std::ostream& out) const override {
        out << Printable(m_input.GetFileName())
            << (m_options.constants_only ? std::string() : " with " + Printable(m_image.GetFileName()))
            << ": " << m_result.elements << " elements, " << m_result.materials.size()
            << (m_result.materials.size() == 1 ? " material\n" : " materials\n");
        if (!m_options.constants_only)
            PrintSampling(out);
        out << '\n';
        PrintMaterials(out);
        out << "\nmass by the density of each element: "
            << FormatNumber(m_result.mass_of_elements, m_result.mass) << " g\n";
    }

    void PrintSampling(std::ostream& out) const {
        KetSDK::MeshVTK::SamplingReport const& sampling = m_result.sampling;
        out << "law      " << DescribeDensity(m_result.law) << " [g/cm3]\nmodulus  "
            << DescribeModulus(m_result.law) << " [MPa]\ngrey     " << FormatNumber(sampling.smallest)
            << " to " << FormatNumber(sampling.largest) << ", mean " << FormatNumber(sampling.mean)
            << "\noutside  " << sampling.outside << " of " << m_result.elements << " elements ("
            << FormatShare(sampling.outside, m_result.elements) << ")\n";
    }

    void PrintMaterials(std::ostream& out) const {
        bool const has_subvolumes = std::ranges::any_of(m_result.materials, [](AssignedMaterial const& m) {
            return m.subvolume >= 0 || m.source == Source::Kept;
        });
        std::vector<Table::Column> columns = {{"id", Table::Align::Right}};
        if (has_subvolumes)
            columns.push_back({"sub-volume", Table::Align::Left});
        for (char const* const title :
             {"grey from", "to", "density [g/cm3]", "E [MPa]", "nu", "elements", "volume [mm3]", "mass [g]"})
            columns.push_back({title, Table::Align::Right});
        columns.push_back({"colour", Table::Align::Left});
        Table table(columns);
        for (AssignedMaterial const& m : m_result.materials)
            table.AddRow(Row(m, has_subvolumes));
        table.AddRule();
        std::vector<std::string> total = {"all"};
        total.resize(has_subvolumes ? 7 : 6);
        for (std::string const& cell :
             {std::to_string(m_result.elements), FormatNumber(m_result.volume), FormatNumber(m_result.mass)})
            total.push_back(cell);
        total.emplace_back();
        table.AddRow(total);
        table.Print(out);
    }

    std::vector<std::string> Row(AssignedMaterial const& m, bool has_subvolumes) const {
        std::vector<std::string> row = {std::to_string(m.id)};
        if (has_subvolumes)
            row.push_back(SubVolumeName(m));
        for (std::string const& cell :
             {FormatGeneral(m.LowGrey()), FormatGeneral(m.HighGrey()), FormatGeneral(m.density, 4),
              FormatGeneral(m.emodulus, 5), FormatGeneral(m.poisson), std::to_string(m.elements),
              FormatNumber(m.volume, m_result.volume), FormatNumber(m.Mass(), m_result.mass),
              FormatColor(m.color)})
            row.push_back(cell);
        return row;
    }

    std::string SubVolumeName(AssignedMaterial const& m) const {
        if (m.subvolume < 0)
            return m.source == Source::Kept ? "(kept)" : "";
        return m_result.subvolumes[static_cast<std::size_t>(m.subvolume)];
    }
    static char const* SourceOf(AssignedMaterial const& m) {
        return m.source == Source::Law ? "image" : m.source == Source::Constant ? "set" : "kept";
    }

    ModelInput m_input;
    ImageInput m_image;
    MaterialLawInput m_law;
    ConstantsInput m_constants;
    ModelOutput m_output;
    CatalogOutput m_catalog;
    MaterialsOptions m_options;
    Choice<MaterialsBy> m_by{{{"grey", MaterialsBy::Grey},
                              {"mask", MaterialsBy::Mask},
                              {"index", MaterialsBy::Index},
                              {"single", MaterialsBy::Single}}};
    Choice<MaterialsOptions::Average> m_average{
        {{"grey", MaterialsOptions::Average::Grey}, {"law", MaterialsOptions::Average::Law}}};
    bool m_list = false;
    bool m_markdown = false;
    KetSDK::MeshJobs::MaterialsResult m_result;
};

} // namespace

std::unique_ptr<Command> MakeMaterialsCommand() {
    return std::make_unique<MaterialsCommand>();
}

} // namespace ketmesh
