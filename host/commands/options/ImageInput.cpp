// SPDX-License-Identifier: BSD-3-Clause
#include <host/commands/options/ImageInput.h>

#include <host/terminal/NumberCheck.h>

#include <cmath>

namespace ketmesh {

CLI::Option* ImageInput::Declare(Command& owner, CLI::App& command) {
    owner.DeclareInput(m_file);
    CLI::Option* const file =
        command
            .add_option("--image", m_file,
                        "CT image to read: .nii, .nii.gz, .mha, .mhd, .vti or a folder of DICOM slices")
            ->type_name("CT");
    command.add_option("--image-unit", m_unit, "Unit of length of the image (default: mm)")
        ->check(CLI::IsMember({"m", "mm", "um"}));
    command
        .add_option("--series", m_series,
                    "Identifier of the series to take from a folder of DICOM slices with several")
        ->type_name("UID");
    m_mode.Declare(command, "--sampling",
                   "Grey value of an element: that at its centroid, the mean over it by a quadrature rule, "
                   "or the mean of the voxels in it (default: centroid)");
    command
        .add_option(
            "--order", m_order,
            "With --sampling mean: the degree up to which polynomials are averaged exactly (default: 2)")
        ->type_name("K")
        ->check(CLI::Range(1, 6));
    command
        .add_option("--outside", m_outside,
                    "Grey value of elements whose centroid lies outside the image (default: 0)")
        ->type_name("V")
        ->check(FiniteNumber());
    return file;
}

KetSDK::MeshJobs::Image ImageInput::Read(KetSDK::MeshJobs::Context const& context) const {
    return KetSDK::MeshJobs::ReadImage(m_file, KetSDK::MeshVTK::LengthUnit::FromName(m_unit), context,
                                       m_series);
}

void ImageInput::SetSampling(KetSDK::MeshJobs::MaterialsOptions& options) const {
    options.sampling = m_mode.Get();
    options.order = m_order;
    options.outside_value = m_outside;
}

Json ImageInput::ToJson(KetSDK::MeshVTK::SamplingReport const& report) const {
    auto const number = [](double value) { return std::isfinite(value) ? Json(value) : Json(); };
    return {{"mode", m_mode.GetWord()},      {"order", m_order},
            {"fallbacks", report.fallbacks}, {"not_finite", report.not_finite},
            {"outside", report.outside},     {"outside_volume", report.outside_volume},
            {"outside_value", m_outside},    {"min", number(report.smallest)},
            {"mean", number(report.mean)},   {"max", number(report.largest)}};
}

} // namespace ketmesh
