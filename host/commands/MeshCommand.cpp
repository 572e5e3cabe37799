// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/MeshFromLabels.h>
#include <host/commands/Command.h>
#include <host/commands/SubVolumeTable.h>
#include <host/commands/options/ModelOutput.h>
#include <host/terminal/Format.h>
#include <host/terminal/NumberCheck.h>
#include <host/terminal/NumberList.h>
#include <host/terminal/Table.h>

#include <cmath>
#include <limits>
#include <ostream>
#include <string>
#include <vector>

namespace ketmesh {

namespace {

using KetSDK::MeshJobs::MeshedLabel;

// "1,2,5"; empty, or what is wrong.
std::string ReadLabels(std::string const& text, std::vector<std::int32_t>& labels) {
    std::vector<double> numbers;
    try {
        numbers = ParseNumbers(text);
    } catch (std::exception const&) {
        return "labels are whole numbers with commas between them, not \"" + text + "\"";
    }
    labels.clear();
    for (double const number : numbers) {
        if (number != std::floor(number) || std::fabs(number) > std::numeric_limits<std::int32_t>::max())
            return "labels are whole numbers, not \"" + text + "\"";
        labels.push_back(static_cast<std::int32_t>(number));
    }
    return {};
}

// Makes a mesh from an image of labels.
class MeshCommand : public Command {
public:
    MeshCommand()
        : Command("mesh", "Make a tetrahedral mesh from an image of labels",
                  "The image has a whole number for each voxel; 0 is outside. Each label becomes a\n"
                  "sub-volume \"Label <n>\". Elements at interfaces have edges of about --size, those\n"
                  "inside up to --max-size. Interfaces are those of the labels smoothed by --smooth, so\n"
                  "that curved ones stay in place. The boundary of each label is a closed two-manifold,\n"
                  "and no dihedral angle is below --min-dihedral. The mesh is the same on any number of\n"
                  "threads. A warning names what is thinner than --size.\n\n"
                  "Examples:\n"
                  "  ketmesh mesh labels.nii.gz -o head.vtu --size 4\n"
                  "  ketmesh mesh labels.nii.gz -o bone.kmesh --size 2 --labels 2 --min-dihedral 15 --json") {
    }

private:
    void DeclareOptions(CLI::App& command) override {
        DeclareInput(m_file);
        command
            .add_option(
                "image", m_file,
                "Image of labels to read: .nii, .nii.gz, .mha, .mhd, .vti or a folder of DICOM slices")
            ->required()
            ->type_name("LABELS");
        m_output.Declare(*this, command, "Volume mesh to write")->required();
        command
            .add_option("--size", m_options.size,
                        "Longest edge of the elements at interfaces, before nodes are moved [mm]")
            ->required()
            ->type_name("MM")
            ->check(PositiveNumber());
        command
            .add_option("--max-size", m_options.largest_size,
                        "The same for elements inside [mm] (default: four times --size)")
            ->type_name("MM")
            ->check(PositiveNumber());
        command
            .add_option("--labels", m_labels,
                        "Labels to mesh (default: all but 0); the others count as outside")
            ->type_name("N,N,...")
            ->check([](std::string const& text) {
                std::vector<std::int32_t> labels;
                return ReadLabels(text, labels);
            });
        command
            .add_option("--min-dihedral", m_options.min_dihedral,
                        "No element has a dihedral angle below this [degrees] (default: 10)")
            ->type_name("DEG")
            ->check(CLI::Range(0.0, 30.0));
        command
            .add_option(
                "--smooth", m_options.smoothing,
                "Standard deviation by which labels are smoothed [mm] (0.6 voxels along each axis unless "
                "given)")
            ->type_name("MM")
            ->check(CLI::Range(0.0, 1e6));
        command
            .add_option("--rounds", m_options.rounds,
                        "Rounds in which nodes are moved (default: 6); with 0 interfaces stay those of the "
                        "lattice")
            ->check(CLI::Range(0, 100));
        command.add_option("--image-unit", m_image_unit, "Unit of length of the image (default: mm)")
            ->check(CLI::IsMember({"m", "mm", "um"}));
        command.add_option("--unit", m_unit, "Unit of length of the mesh file (default: mm)")
            ->check(CLI::IsMember({"m", "mm", "um"}));
    }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        ReadLabels(m_labels.empty() ? "0" : m_labels, m_options.labels);
        if (m_labels.empty())
            m_options.labels.clear();
        m_output.Open({KetSDK::MeshVTK::LengthUnit::FromName(m_unit)});
        KetSDK::MeshJobs::Image const image =
            KetSDK::MeshJobs::ReadImage(m_file, KetSDK::MeshVTK::LengthUnit::FromName(m_image_unit), context);
        if (!image.note.empty())
            context.Warn(image.file + ": " + image.note);
        m_result = KetSDK::MeshJobs::MeshFromLabels(image, m_options, context);
        m_output.Write(m_result.model, context);
    }

    Json Report() const override {
        Json labels = Json::array();
        for (MeshedLabel const& label : m_result.labels)
            labels.push_back({{"label", label.label},
                              {"elements", label.elements},
                              {"voxel_volume", label.voxel_volume},
                              {"volume", label.volume},
                              {"distance", {{"mean", label.mean_distance}, {"max", label.largest_distance}}},
                              {"interface_nodes", label.interface_nodes},
                              {"not_found", label.not_found},
                              {"thickness", label.thickness},
                              {"lost_volume", label.lost_volume}});
        return {{"elements", m_result.model.mesh->NumberOfElements()},
                {"nodes", m_result.model.mesh->NumberOfPoints()},
                {"subvolumes", ToJson(m_result.subvolumes)},
                {"size", m_options.size},
                {"max_size", m_result.largest_size},
                {"min_dihedral", m_result.min_dihedral},
                {"relabelled", m_result.relabelled},
                {"labels", labels}};
    }

    void Print(std::ostream& out) const override {
        out << Printable(m_file) << ": " << m_result.model.mesh->NumberOfElements() << " elements, "
            << m_result.model.mesh->NumberOfPoints() << " nodes, smallest dihedral angle "
            << FormatNumber(m_result.min_dihedral) << " degrees\n\n";
        Table table({{"label", Table::Align::Right},
                     {"elements", Table::Align::Right},
                     {"voxels [mm3]", Table::Align::Right},
                     {"mesh [mm3]", Table::Align::Right},
                     {"off interface [mm]", Table::Align::Right},
                     {"at most", Table::Align::Right},
                     {"lost [mm3]", Table::Align::Right}});
        for (MeshedLabel const& label : m_result.labels)
            table.AddRow({std::to_string(label.label), std::to_string(label.elements),
                          FormatNumber(label.voxel_volume), FormatNumber(label.volume),
                          FormatNumber(label.mean_distance), FormatNumber(label.largest_distance),
                          FormatNumber(label.lost_volume)});
        table.Print(out);
    }

    std::string m_file;
    std::string m_labels;
    std::string m_image_unit = "mm";
    std::string m_unit = "mm";
    ModelOutput m_output;
    KetSDK::MeshJobs::MeshFromLabelsOptions m_options;
    KetSDK::MeshJobs::MeshFromLabelsResult m_result;
};

} // namespace

std::unique_ptr<Command> MakeMeshCommand() {
    return std::make_unique<MeshCommand>();
}

} // namespace ketmesh
