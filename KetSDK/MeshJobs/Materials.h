// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/materials/MaterialAssignment.h>
#include <KetSDK/Mesh/materials/MaterialLaw.h>
#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Image.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshVTK/SamplingReport.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace KetSDK::MeshJobs {

struct MaterialsOptions {
    // What is averaged over an element. Grey: grey values, whose mean is put into a bin; the law turns the
    // middle of that into a density. Law: the densities that the law turns each sample into, at least the
    // least one; these are then binned.
    enum class Average { Grey, Law };

    // A published law and modulus (Mesh::MaterialPresets); what is given beside it comes before its part.
    std::string preset;
    std::optional<std::array<double, 5>> law; // a, b, c, d, e of density [g/cm3] = a + b x^c + d x^e, x in HU
    std::optional<std::array<double, 2>> modulus; // p, q of E [MPa] = p density^q; p > 0
    double poisson = 0.3;                         // -1 to 0.5
    double least_density = 0.01; // g/cm3 of materials for which the law gives less, or no number; above 0
    bool unit_offset = false;    // the grey values lie 1024 above Hounsfield units

    // Sub-volumes, by name, whose elements get materials from the image; empty: all without constants. The
    // elements of the others keep their materials and their grey values.
    std::vector<std::string> only;
    // Constants of sub-volumes, whatever their grey values are.
    struct Constants {
        std::string subvolume; // name
        double density;        // g/cm3, above 0
        double emodulus;       // MPa, above 0
        double poisson;        // -1 to 0.5
    };
    std::vector<Constants> constants;
    // Without an image: only constants are given, and all other elements keep their materials.
    bool constants_only = false;

    Mesh::MaterialsBy by = Mesh::MaterialsBy::Grey;
    int bins = 0; // by Grey and Mask: 1 to 65535
    Average average = Average::Grey;

    MeshVTK::SamplingMode sampling = MeshVTK::SamplingMode::Centroid;
    int order = 2;              // of polynomials that Mean averages exactly: 1 to 6
    double outside_value = 0.0; // grey value of elements whose centroid lies outside the image
};

struct MaterialsResult {
    std::uint64_t elements = 0;
    Mesh::MaterialLaw law;
    std::vector<Mesh::AssignedMaterial> materials; // those in use, by ascending identifier
    std::vector<std::string> subvolumes;           // names in UTF-8, by number
    MeshVTK::SamplingReport sampling;
    std::uint64_t without_material = 0; // elements
    double volume = 0.0;                // of all materials, mm3
    double mass = 0.0;                  // g
    double mass_of_elements = 0.0;      // g, with each element's own density in place of its material's
};

// Gives the elements of a model grey values by an image and materials by the grey values; the materials that
// are in use become the catalog of its mesh. With constants only the image is not looked at. Warns of an
// image that hardly fits, of a mass that materials move by more than 1 %, and of what hardly can be meant.
// Throws Error for options that CheckMaterialsOptions refuses and for moduli that no solver takes. Throws
// FileError for sub-volumes that the model does not have, for one with fewer elements than bins and for an
// image that lies elsewhere or cannot be sampled. After an error, but not after Cancelled, the model may have
// grey values and materials.
KETSDK_MESHJOBS_API MaterialsResult Materials(Model& model, Image const& image,
                                              MaterialsOptions const& options, Context const& context);

// Throws Error for options that fit no model: an unknown preset, a law or modulus that is missing, figures
// beyond their limits. For a caller who has yet to read the model.
KETSDK_MESHJOBS_API void CheckMaterialsOptions(MaterialsOptions const& options);

// "density = 0.131 + 0.001067 x, x the grey value (preset femur)"
KETSDK_MESHJOBS_API std::string DescribeDensity(Mesh::MaterialLaw const& law);
// "E = 6850 density^1.49 (preset femur)"
KETSDK_MESHJOBS_API std::string DescribeModulus(Mesh::MaterialLaw const& law);

} // namespace KetSDK::MeshJobs
