#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/MeshVTK/LengthUnit.h>
#include <KetSDK/MeshVTK/MeshVTKExport.h>

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

class MMeshBase;
class vtkImageData;

namespace KetSDK::MeshVTK {

// How the grey value of an element comes from the image. Between voxel centres the image is trilinear.
enum class SamplingMode : int {
    Centroid = 0, // the image at the centroid of the element's corners
    Mean = 1,     // the mean of the image over the element, by a quadrature rule
    Voxels = 2,   // the mean of the voxels whose centres lie in the element
};

// A law that turns a grey value into something else; evaluated from several threads.
struct GreyLaw {
    double (*value)(double grey, void const* context) = nullptr;
    void const* context = nullptr;
};

struct SamplingOptions {
    LengthUnit unit = {}; // of the image
    SamplingMode mode = SamplingMode::Centroid;
    // Polynomials up to this total degree, 1 to 6, are averaged exactly over straight-sided tetrahedra.
    int order = 2;
    double outside_value = 0.0; // grey value of elements outside the image
    bool parallel = false;
    // With a law and an array, the array receives for each element the mean of the law over the same
    // samples of which the grey value is the mean: the law first, then the mean.
    GreyLaw law = {};
    std::vector<double>* law_values = nullptr;
};

// What sampling met. Boxes are xmin, ymin, zmin, xmax, ymax, zmax in mm.
struct SamplingReport {
    std::uint64_t elements = 0;
    // Elements whose centroid (of the corners) lies beyond the outermost voxel centres.
    std::uint64_t outside = 0;
    // Elements inside for which the mode had no sample, so that a simpler one was used: in Voxels mode
    // elements without a voxel centre, which get the mean by quadrature, and in any mode those of which
    // only the centroid lies in the image or which have no volume, which get the value at the centroid.
    std::uint64_t fallbacks = 0;
    // Elements inside that have only samples which are not finite numbers.
    std::uint64_t not_finite = 0;
    // Grey values of the elements that have one of their own; not numbers when none has.
    double smallest = 0.0;
    double largest = 0.0;
    double mean = 0.0;
    // Part of the mesh's volume in elements outside, 0 to 1; curved elements count by their corners.
    double outside_volume = 0.0;
    std::array<double, 6> mesh_box{};
    std::array<double, 6> image_box{}; // of the outermost voxel centres
};

// Writes a grey value for every element into the grey value mask of the mesh.
// - An element is outside when its centroid is beyond the outermost voxel centres: it gets the outside
//   value. Any other element gets the mean over that part of it which lies in the image.
// - Hexahedra and wedges are taken as the tetrahedra that they are cut into. Ten-node tetrahedra are
//   curved: their means are over the curved volume, and voxels are counted inside the curved faces.
// - A voxel centre on a face belongs to the elements on both sides.
// - Samples that are not finite numbers are left out; elements with no others get the outside value.
// A value depends on nothing but its element, and is the same bit for bit on any number of threads.
// Throws Error for an image without values, with several per voxel, with less than two voxels along an
// axis or a place that cannot be inverted, for an order that there is no rule for and for elements of
// unknown kinds. Throws Cancelled. Mask and array are then as they were. The delegate may be null.
// Nothing else may use the mesh meanwhile.
KETSDK_MESHVTK_API SamplingReport SampleImage(MMeshBase& mesh, vtkImageData& image,
                                              SamplingOptions const& options,
                                              std::shared_ptr<Common::IProgressDelegate> const& progress);

} // namespace KetSDK::MeshVTK
