// SPDX-License-Identifier: BSD-3-Clause
// Files that come through the bridge to VTK.
#include "FuzzTargets.h"

#include "Scratch.h"

#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/GridFile.h>
#include <KetSDK/MeshVTK/ImageFile.h>
#include <KetSDK/MeshVTK/MeshFromGrid.h>
#include <KetSDK/MeshVTK/SurfaceFile.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <vtkImageData.h>
#include <vtkLogger.h>
#include <vtkUnstructuredGrid.h>

#include <algorithm>
#include <string_view>

using namespace KetSDK::MeshVTK;
namespace fs = std::filesystem;

namespace FuzzTargets {

namespace {

// Damaged coordinates are mostly far away or fall together; what lies behind the check of them is to be
// reached too.
constexpr RoundingLimits AllowAll = {.allow_out_of_range = true, .allow_merged = true};

// Whether a reader takes a file; it may refuse one with the bridge's error and no other.
template <typename Read>
bool IsAccepted(Read const& read) {
    try {
        read();
        return true;
    } catch (Error const&) {
        return false;
    }
}

bool ConsumeGrid(char const* name, std::span<std::byte const> bytes) {
    return IsAccepted([path = WriteScratch(name, bytes)] {
        vtkSmartPointer<vtkUnstructuredGrid> const grid = ReadGridFile(path, nullptr);
        MeshFromGridOptions options;
        options.limits = AllowAll;
        MeshFromGrid(*grid, options, nullptr)->GetVolume(); // touches every node of every element
    });
}

bool ConsumeSurface(char const* name, std::span<std::byte const> bytes) {
    return IsAccepted([path = WriteScratch(name, bytes)] {
        std::unique_ptr<MStlBase> const stl = ReadSurfaceFile(path, {{}, AllowAll}, nullptr, nullptr);
        for (MStlSurface const& surface : stl->Surfaces())
            for (MStlTriangle const& triangle : surface.Triangles())
                triangle.GetNormalFloat();
    });
}

bool ConsumeImage(fs::path const& path) {
    return IsAccepted([&path] {
        double range[2];
        ReadImageFile(path, nullptr)->GetScalarRange(range); // touches every voxel
    });
}

bool ConsumeNifti(std::span<std::byte const> bytes) {
    bool const packed = bytes.size() > 1 && bytes[0] == std::byte{0x1F} && bytes[1] == std::byte{0x8B};
    return ConsumeImage(WriteScratch(packed ? "image.nii.gz" : "image.nii", bytes));
}

// Several slices in one row of bytes, each behind this line.
constexpr std::string_view NextSlice = "\n== next slice ==\n";

bool ConsumeDicom(std::span<std::byte const> bytes) {
    fs::path const folder = Scratch() / "slices";
    fs::remove_all(folder);
    fs::create_directory(folder);
    constexpr int most_slices = 4;
    for (int k = 0; k < most_slices; ++k) {
        auto const as_byte = [](char c) { return static_cast<std::byte>(c); };
        auto const next = std::search(bytes.begin(), bytes.end(), NextSlice.begin(), NextSlice.end(),
                                      [&](std::byte a, char b) { return a == as_byte(b); });
        WriteScratch("slices/" + std::to_string(k) + ".dcm", {bytes.begin(), next});
        if (next == bytes.end())
            break;
        bytes = {next + static_cast<std::ptrdiff_t>(NextSlice.size()), bytes.end()};
    }
    return ConsumeImage(folder);
}

} // namespace

std::vector<Target> VtkTargets() {
    vtkLogger::SetStderrVerbosity(vtkLogger::VERBOSITY_OFF); // every damaged file would say something
    return {{"vtu", [](auto bytes) { return ConsumeGrid("grid.vtu", bytes); }},
            {"vtk", [](auto bytes) { return ConsumeGrid("grid.vtk", bytes); }},
            {"vtp", [](auto bytes) { return ConsumeSurface("surface.vtp", bytes); }},
            {"stl", [](auto bytes) { return ConsumeSurface("surface.stl", bytes); }},
            {"ply", [](auto bytes) { return ConsumeSurface("surface.ply", bytes); }},
            {"obj", [](auto bytes) { return ConsumeSurface("surface.obj", bytes); }},
            {"nifti", ConsumeNifti},
            {"meta", [](auto bytes) { return ConsumeImage(WriteScratch("image.mha", bytes)); }},
            {"dicom", ConsumeDicom},
            {"vti", [](auto bytes) { return ConsumeImage(WriteScratch("image.vti", bytes)); }}};
}

} // namespace FuzzTargets
