// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>

#include <cstdint>
#include <vector>

namespace KetSDK::MeshJobs {

struct LayersOptions {
    unsigned int count = 1; // how many layers to number
};

// The elements of one layer.
struct LayerReport {
    std::uint64_t elements = 0;
    double volume = 0.0; // mm3, signed
};
struct LayersResult {
    std::uint64_t elements = 0;
    std::uint64_t elements_in_layers = 0;
    std::vector<LayerReport> layers; // from the outermost, layer 1, to the last with an element
    LayerReport inside;              // what is in no layer
};
// Numbers elements by layers from the boundary inwards (MMeshOperatorLayers) and gives the model the cell
// array `layer`: 1 for the outermost elements, 0 for those in no layer.
KETSDK_MESHJOBS_API LayersResult Layers(Model& model, LayersOptions const& options, Context const& context);

} // namespace KetSDK::MeshJobs
