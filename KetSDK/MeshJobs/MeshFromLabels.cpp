// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/MeshFromLabels.h>

#include <KetSDK/Mesh/meshing/MMeshFromLabelsOperator.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/NumberText.h>
#include <KetSDK/MeshJobs/detail/ForFile.h>
#include <KetSDK/MeshJobs/detail/ImageVoxels.h>
#include <KetSDK/MeshJobs/detail/Memory.h>
#include <KetSDK/MeshJobs/detail/SubVolumeReports.h>
#include <KetSDK/MeshJobs/detail/Threads.h>
#include <KetSDK/MeshVTK/LabelsFromImage.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

namespace KetSDK::MeshJobs {

namespace {

// Elements are numbered in 32 bits.
constexpr double MostElements = 2e9;
constexpr double UsualGrading = 4.0;
constexpr std::size_t MostLabels = 1000;
constexpr std::size_t MostWarnings = 20;

MMeshFromLabelsSettings SettingsOf(MeshFromLabelsOptions const& options) {
    MMeshFromLabelsSettings settings;
    settings.size = options.size;
    settings.largest_size = options.largest_size.value_or(UsualGrading * options.size);
    settings.smallest_dihedral = options.min_dihedral;
    settings.smoothing = options.smoothing.value_or(-1.0);
    settings.rounds = options.rounds;
    settings.labels = options.labels;
    std::ranges::sort(settings.labels);
    return settings;
}

// Two digits, upwards: with this size or a larger one it fits.
std::string SizeText(double size) {
    double const digit = std::pow(10.0, std::floor(std::log10(size)) - 1.0);
    return FormatGeneral(std::ceil(size / digit) * digit, 3);
}

// Throws FileError when the mesh would not fit into memory.
void CheckMemory(MMeshFromLabelsOperator const& meshing, Image const& image,
                 MeshFromLabelsOptions const& options) {
    double const memory = options.memory > 0.0 ? options.memory : Detail::AvailableMemory();
    auto const excess = [&](MMeshFromLabelsOperator::Forecast const& forecast) {
        return std::max(forecast.bytes / memory, forecast.elements / MostElements);
    };
    auto const forecast = meshing.Predict(options.size);
    if (excess(forecast) <= 1.0)
        return;
    double size = options.size;
    for (double over = excess(forecast); over > 1.0 && size < 1e6; over = excess(meshing.Predict(size)))
        size *= std::max(1.03, std::cbrt(std::min(over, 1e6)) * 0.98);
    throw FileError(image.file, "a size of " + FormatGeneral(options.size) + " mm would make about " +
                                    FormatGeneral(forecast.elements, 2) + " elements, which take " +
                                    FormatGeneral(forecast.bytes / 1e9, 2) +
                                    " GB of memory where there are " + FormatGeneral(memory / 1e9, 2) +
                                    "; a size of " + SizeText(size) + " mm fits");
}

// Voxels of one number, one after another.
struct Runs {
    std::size_t all = 0;
    std::size_t single = 0;                     // of one voxel
    std::unordered_set<std::int32_t> different; // numbers, until they are too many for labels

    void Add(std::int32_t number) {
        if (different.size() <= MostLabels)
            different.insert(number);
    }
    // Those that begin at the voxels from `first` to `last` - 1.
    void Find(std::vector<std::int32_t> const& voxels, std::size_t first, std::size_t last) {
        // The last number of each kind, to begin with one of another kind: few have to be looked up.
        std::array<std::int32_t, 16> recent;
        for (std::size_t kind = 0; kind < recent.size(); ++kind)
            recent[kind] = static_cast<std::int32_t>(kind ^ 1);
        auto const is_change = [&](std::size_t voxel) {
            return voxel == 0 || voxel == voxels.size() || voxels[voxel] != voxels[voxel - 1];
        };
        for (std::size_t voxel = first; voxel < last; ++voxel) {
            if (!is_change(voxel))
                continue;
            ++all;
            single += is_change(voxel + 1);
            std::int32_t& of_kind = recent[static_cast<std::uint32_t>(voxels[voxel]) % recent.size()];
            if (std::exchange(of_kind, voxels[voxel]) != voxels[voxel])
                Add(voxels[voxel]);
        }
    }
};

// Throws FileError for grey values: more numbers than anybody draws labels, most of which change from voxel
// to voxel.
void CheckLabels(MLabelImage const& labels, Image const& image, MeshFromLabelsOptions const& options,
                 bool parallel) {
    if (!options.labels.empty())
        return;
    Runs runs;
    Support::ComputeSteps<Runs>(
        {.items = labels.labels.size(), .step = 1 << 14, .parallel = parallel},
        [&](std::uint64_t first, std::uint64_t last, Runs& found) {
            found = {};
            found.Find(labels.labels, static_cast<std::size_t>(first), static_cast<std::size_t>(last));
        },
        [&](std::uint64_t, std::uint64_t, Runs const& found) {
            runs.all += found.all;
            runs.single += found.single;
            for (std::int32_t const number : found.different)
                runs.Add(number);
            return true;
        });
    if (runs.different.size() > MostLabels && 2 * runs.single > runs.all)
        throw FileError(image.file, "it has more than " + std::to_string(MostLabels) +
                                        " different numbers, most of them in single voxels, as grey values "
                                        "have: an image of labels is needed, or --labels with those to take");
}

// What was lost of a label. Elements as large as the label come near to each of its voxels, however little
// they fill: then their volume tells more.
std::string LossOf(MeshedLabel const& label) {
    constexpr double smoothed = 0.01; // smoothing takes or gives no more
    double const all = label.voxel_volume, missing = all - label.volume;
    if (missing > std::max(label.lost_volume, smoothed * all))
        return "its elements have " + FormatGeneral(label.volume, 3) + " of its " + FormatGeneral(all, 3) +
               " mm3";
    if (label.lost_volume > 0.0)
        return FormatGeneral(label.lost_volume, 3) + " mm3 of it (" +
               FormatGeneral(100.0 * label.lost_volume / all, 2) + " %) are lost";
    return "nothing of it is lost";
}

// What the mesh lacks of a label, empty for nothing.
std::string LackOf(MeshedLabel const& label, double size) {
    if (label.elements == 0)
        return "is too thin for a size of " + FormatGeneral(size) + " mm: it has no element";
    if (label.thickness < size)
        return "is thinner than the size: as a plate it would be " + FormatGeneral(label.thickness, 2) +
               " mm thick; " + LossOf(label);
    return label.lost_volume > 0.0 ? "has places too thin for the size: " + LossOf(label) : "";
}

// Of more labels than anybody reads lines, those with the largest share lost come first.
void WarnOfLacks(std::vector<MeshedLabel> const& labels, Image const& image, double size,
                 Context const& context) {
    std::vector<MeshedLabel const*> lacking;
    for (MeshedLabel const& label : labels)
        if (!LackOf(label, size).empty())
            lacking.push_back(&label);
    std::size_t const lines = std::min(lacking.size(), MostWarnings);
    if (lines < lacking.size())
        std::ranges::stable_sort(lacking, std::greater(), [](MeshedLabel const* label) {
            return std::pair(label->elements == 0, label->lost_volume / label->voxel_volume);
        });
    for (std::size_t i = 0; i < lines; ++i)
        context.Warn(image.file + ": label " + std::to_string(lacking[i]->label) + " " +
                     LackOf(*lacking[i], size));
    if (lines < lacking.size())
        context.Warn(
            image.file + ": " + std::to_string(lacking.size() - lines) +
            " more labels are too thin for the size, in places or altogether: see the report on each");
}

MeshedLabel LabelOf(MMeshLabelReport const& report) {
    return {report.label,           report.elements,      report.voxel_volume,     report.volume,
            report.interface_nodes, report.mean_distance, report.largest_distance, report.not_found,
            report.thickness,       report.lost_volume};
}

// The mesh and what is said about it.
MeshFromLabelsResult MeshLabels(Image const& image, MeshFromLabelsOptions const& options,
                                Context const& context, bool parallel) {
    MLabelImage const labels = Detail::ForFile(
        image.file, [&] { return MeshVTK::LabelsFromImage(*image.voxels->data, image.unit, parallel); });
    CheckLabels(labels, image, options, parallel);
    MMeshFromLabelsOperator meshing;
    meshing.SetParallel(parallel);
    meshing.SetImage(&labels);
    meshing.SetMeshingSettings(SettingsOf(options));
    meshing.SetProgressDelegate(context.progress);
    if (std::string const fault = meshing.FindFault(); !fault.empty())
        throw FileError(image.file, fault);
    CheckMemory(meshing, image, options);
    MeshFromLabelsResult result;
    result.model.mesh = std::make_unique<MMeshBase>();
    result.model.frame = image.frame;
    meshing.SetMesh(result.model.mesh.get());
    bool const done = meshing.Operate();
    context.ThrowIfCancelled();
    if (!done)
        throw FileError(image.file, "its labels could not be meshed");
    for (MMeshLabelReport const& report : meshing.GetReports())
        result.labels.push_back(LabelOf(report));
    result.min_dihedral = meshing.GetSmallestDihedral();
    result.largest_size = SettingsOf(options).largest_size;
    result.relabelled = meshing.GetNbRelabelled();
    result.subvolumes = Detail::ReportSubVolumes(*result.model.mesh, parallel);
    return result;
}

} // namespace

MeshFromLabelsResult MeshFromLabels(Image const& image, MeshFromLabelsOptions const& options,
                                    Context const& context) {
    MeshFromLabelsResult result;
    Detail::WithThreads(context,
                        [&](bool parallel) { result = MeshLabels(image, options, context, parallel); });
    WarnOfLacks(result.labels, image, options.size, context);
    if (result.model.mesh->NumberOfElements() == 0)
        throw FileError(image.file, "no label is thick enough for a size of " + FormatGeneral(options.size) +
                                        " mm: the mesh would be empty");
    return result;
}

} // namespace KetSDK::MeshJobs
