#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>

#include <array>
#include <cstdint>
#include <vector>

namespace KetSDK::MeshJobs {

// What a model holds.
struct InfoResult {
    std::uint64_t elements = 0;
    std::uint64_t nodes = 0;
    std::vector<KindCount> kinds;
    std::vector<SubVolumeReport> subvolumes;
    double volume = 0.0;         // mm3, signed
    std::array<double, 6> box{}; // mm: xmin, ymin, zmin, xmax, ymax, zmax
    MeshVTK::RoundingReport rounding;
    std::uint64_t memory = 0; // bytes that the mesh takes
};
KETSDK_MESHJOBS_API InfoResult Info(Model const& model, Context const& context);

} // namespace KetSDK::MeshJobs
