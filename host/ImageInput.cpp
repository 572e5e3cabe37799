#include <host/ImageInput.h>

#include <KetSDK/MeshVTK/ImageFile.h>
#include <host/FileError.h>
#include <host/terminal/Cancellation.h>
#include <host/terminal/Format.h>
#include <host/terminal/NumberCheck.h>

#include <vtkImageData.h>

#include <cmath>
#include <cstddef>

namespace ketmesh {

using namespace KetSDK::MeshVTK;

CLI::Option* ImageInput::Declare(CLI::App& command) {
    CLI::Option* const file =
        command
            .add_option("--image", m_file,
                        "CT image to read: .nii, .nii.gz, .mha, .mhd, .vti or a folder of DICOM slices")
            ->type_name("CT");
    command.add_option("--image-unit", m_unit, "Unit of length of the image (mm unless given)")
        ->check(CLI::IsMember({"m", "mm", "um"}));
    m_mode.Declare(command, "--sampling",
                   "Grey value of an element: that at its centroid, the mean over it by a quadrature rule, "
                   "or the mean of the voxels in it");
    command
        .add_option("--order", m_order,
                    "With --sampling mean: polynomials of so high a degree are averaged exactly (2 unless "
                    "given)")
        ->type_name("K")
        ->check(CLI::Range(1, 6));
    command
        .add_option("--outside", m_outside,
                    "Grey value of elements whose centroid lies outside the image (0 unless given)")
        ->type_name("V")
        ->check(FiniteNumber());
    return file;
}

ImageInput::Sampled ImageInput::Sample(MMeshBase& mesh, bool parallel, Progress const& progress, GreyLaw law,
                                       std::vector<double>* law_values) const {
    return ForFile(m_file, [&] {
        ImageFileReport read;
        vtkSmartPointer<vtkImageData> const image = ReadImageFile(m_file, progress, &read);
        ThrowIfCancelled();
        SamplingOptions options;
        options.unit = LengthUnit::FromName(m_unit);
        options.mode = m_mode.Get();
        options.order = m_order;
        options.outside_value = m_outside;
        options.parallel = parallel;
        options.law = law;
        options.law_values = law_values;
        SamplingReport const report = SampleImage(mesh, *image, options, progress);
        ThrowIfCancelled();
        _RequireOverlap(report);
        return Sampled{report, read.note};
    });
}

void ImageInput::_RequireOverlap(SamplingReport const& report) const {
    if (report.outside < report.elements)
        return;
    throw FileError(m_file,
                    "all " + std::to_string(report.elements) +
                        " elements of the mesh lie outside it: the mesh is at " + BoxText(report.mesh_box) +
                        " mm, the image at " + BoxText(report.image_box) +
                        " mm; it must be the image that the mesh was made from, in the same frame and "
                        "unit (--unit, --image-unit)");
}

Json ImageInput::ToJson(SamplingReport const& report) const {
    auto const number = [](double value) { return std::isfinite(value) ? Json(value) : Json(); };
    return {{"mode", m_mode.GetWord()},      {"order", m_order},
            {"fallbacks", report.fallbacks}, {"not_finite", report.not_finite},
            {"outside", report.outside},     {"outside_volume", report.outside_volume},
            {"outside_value", m_outside},    {"min", number(report.smallest)},
            {"mean", number(report.mean)},   {"max", number(report.largest)}};
}

std::string BoxText(std::array<double, 6> const& box) {
    std::string text;
    for (std::size_t i = 0; i < box.size(); ++i)
        text += (i == 0 ? "" : i == 3 ? " .. " : " ") + FormatNumber(box[i]);
    return text;
}

} // namespace ketmesh
