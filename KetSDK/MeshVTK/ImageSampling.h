// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/MeshVTK/LengthUnit.h>
#include <KetSDK/MeshVTK/MeshVTKExport.h>
#include <KetSDK/MeshVTK/SamplingReport.h>

#include <memory>
#include <vector>

class MMeshBase;
class vtkImageData;

namespace KetSDK::MeshVTK {

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
    // With a law and an array, the array receives for each element the mean of the law over the same samples
    // of which the grey value is the mean. The law comes first, then the mean.
    GreyLaw law = {};
    std::vector<double>* law_values = nullptr;
};

// Writes a grey value for every element into the grey value mask of the mesh.
// - An element is outside when its centroid is beyond the outermost voxel centres: it gets the outside
//   value. Any other element gets the mean over that part of it which lies in the image.
// - Hexahedra and wedges are taken as the tetrahedra that they are cut into. Ten-node tetrahedra are
//   curved: their means are over the curved volume, and voxels are counted inside the curved faces.
// - A voxel centre on a face belongs to the elements on both sides.
// - Samples that are not finite numbers are left out; elements with no others get the outside value.
// A value depends on nothing but its element, and is the same bit for bit on any number of threads. Throws
// Error for an image without values, with several per voxel, with less than two voxels along an axis or a
// place that cannot be inverted. Throws it also for an order that there is no rule for and for elements of
// unknown kinds. Throws Cancelled. Mask and array are then as they were. The delegate may be null. Nothing
// else may use the mesh meanwhile.
KETSDK_MESHVTK_API SamplingReport SampleImage(MMeshBase& mesh, vtkImageData& image,
                                              SamplingOptions const& options,
                                              std::shared_ptr<Common::IProgressDelegate> const& progress);

} // namespace KetSDK::MeshVTK
