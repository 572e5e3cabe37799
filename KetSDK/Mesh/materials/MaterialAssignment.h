// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/materials/MDataMask.h>
#include <KetSDK/Mesh/materials/MaterialLaw.h>
#include <KetSDK/Mesh/mesh/MMeshElement.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <vector>

class MMeshBase;

namespace KetSDK::Mesh {

// What decides which material an element gets.
enum class MaterialsBy : int {
    Grey,   // its grey value, in bins over those of all elements
    Mask,   // its grey value, in bins over those of its sub-volume, which has materials of its own
    Index,  // its sub-volume: one material each
    Single, // nothing: one material for all
};

// One material for all elements of a sub-volume, whatever their grey values are.
struct ConstantMaterial {
    int subvolume = -1;    // number
    double density = 0.0;  // g/cm3
    double emodulus = 0.0; // MPa
    double poisson = 0.0;
};

// How the elements of a mesh get materials.
struct MaterialAssignment {
    MaterialsBy by = MaterialsBy::Grey;
    unsigned int bins = 1; // of equal width, where grey values decide
    MaterialLaw law;
    // A density [g/cm3] of each element: these are then binned or averaged. Without, it is grey values, and
    // the law turns the middle of a bin, or the mean, into a density. Registered with the mesh.
    MDataMask<MMeshElement, double> const* densities = nullptr;
    // The sub-volumes that are left out: their elements keep their materials ...
    std::set<int> kept;
    // ... and those that get a constant one; no number stands twice.
    std::vector<ConstantMaterial> constants;
};

// A material that elements have, and what they are together.
struct AssignedMaterial {
    enum class Source { Law, Constant, Kept };

    unsigned int id = 0;
    Source source = Source::Law;
    int subvolume = -1;    // number of the sub-volume that the material is of; -1 for several
    double density = 0.0;  // g/cm3
    double emodulus = 0.0; // MPa
    double poisson = 0.0;
    bool is_raised = false;    // the density, to the least one
    bool has_interval = false; // of grey values: from low up to high
    double low = 0.0;
    double high = 0.0;
    unsigned int color = 0; // 0x00RRGGBB

    std::uint64_t elements = 0;
    double volume = 0.0; // mm3, of inverted elements too
    // g: each element with the density that the law gives it alone, not that of its bin or of the mean
    double mass_of_elements = 0.0;
    double smallest_grey = 0.0; // of the elements
    double largest_grey = 0.0;
    double mean_grey = 0.0;

    // g
    double Mass() const { return density * volume / 1000.0; }
    // The interval, or else the range of the elements' grey values.
    double LowGrey() const { return has_interval ? low : smallest_grey; }
    double HighGrey() const { return has_interval ? high : largest_grey; }
};

// Material indices, one for each sub-volume, are 16 bits wide.
inline constexpr std::size_t MostSubVolumesWithMaterials = 65534;

// Gives the elements of a mesh materials, by their grey values where there is no constant one. Leaves in the
// catalog of the mesh the materials that are in use, and returns these by ascending identifier. Identifiers
// count from 1: bins or sub-volumes first, constants then. Kept materials keep theirs, and the others count
// on from the largest of them. By Mask and Index the only entry in the volume list of an element is then its
// sub-volume. Empty when the user cancelled; elements may have lost or got materials before. Throws
// std::length_error("too many sub-volumes") where materials are those of sub-volumes and there are more than
// can have some. The delegate may be null. With `parallel` it may use as many threads as the task arena of
// the caller has, for the same result bit for bit.
KETSDK_MESH_API std::vector<AssignedMaterial>
AssignMaterials(MMeshBase& mesh, MaterialAssignment const& how,
                std::shared_ptr<Common::IProgressDelegate> const& progress, bool parallel = false);

} // namespace KetSDK::Mesh
