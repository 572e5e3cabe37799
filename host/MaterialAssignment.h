#pragma once

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <host/Command.h>
#include <host/MaterialLaw.h>

#include <cstdint>
#include <vector>

namespace ketmesh {

// What decides which material an element gets.
enum class MaterialsBy : int {
    Grey,   // its grey value, in bins over those of all elements
    Mask,   // its grey value, in bins over those of its sub-volume, which has materials of its own
    Index,  // its sub-volume: one material each
    Single, // nothing: one material for all
};

// A material that elements have, and what they are together.
struct AssignedMaterial {
    unsigned int id = 0;
    int subvolume = -1;        // that the material is of; -1 for all
    double density = 0.0;      // g/cm3
    double emodulus = 0.0;     // MPa
    bool is_raised = false;    // the density, to the least one
    bool has_interval = false; // of grey values: from low up to high
    double low = 0.0;
    double high = 0.0;
    unsigned int color = 0; // 0x00RRGGBB

    std::uint64_t elements = 0;
    double volume = 0.0;        // mm3, of inverted elements too
    double smallest_grey = 0.0; // of the elements
    double largest_grey = 0.0;
    double mean_grey = 0.0;

    // g
    double Mass() const { return density * volume / 1000.0; }
    // The interval, or else the range of the elements' grey values.
    double LowGrey() const { return has_interval ? low : smallest_grey; }
    double HighGrey() const { return has_interval ? high : largest_grey; }
};

// Gives every element a material by its grey value, and leaves in the catalog of the mesh the materials
// that are in use; returns these by ascending identifier. With `densities`, a density of each element,
// those are what is binned or averaged; without, it is grey values, and the law turns the middle of a bin,
// or the mean, into a density. Means are over elements. Throws std::runtime_error when there are too many
// sub-volumes; throws KetSDK::MeshVTK::Cancelled.
std::vector<AssignedMaterial> AssignMaterials(MMeshBase& mesh, MaterialsBy by, unsigned int bins,
                                              MaterialLaw const& law, std::vector<double> const& densities,
                                              Progress const& progress);

} // namespace ketmesh
