// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/images/VtiFile.h>

#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/checks/XmlFileCheck.h>
#include <KetSDK/MeshVTK/detail/FileBytes.h>
#include <KetSDK/MeshVTK/detail/VtkSession.h>
#include <KetSDK/MeshVTK/detail/XmlReader.h>
#include <KetSDK/MeshVTK/images/ImageParts.h>

#include <vtkDataArray.h>
#include <vtkImageData.h>
#include <vtkMatrix3x3.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkXMLImageDataReader.h>

#include <string>

namespace KetSDK::MeshVTK::Detail {

namespace {

// The scalars, or the only array that there is.
vtkDataArray& FindValues(vtkPointData& arrays) {
    vtkDataArray* values = arrays.GetScalars();
    if (!values && arrays.GetNumberOfArrays() == 1)
        values = arrays.GetArray(0);
    if (values)
        return *values;
    if (arrays.GetNumberOfArrays() == 0)
        throw Error("the image has no values at its points");
    throw Error("the image has " + std::to_string(arrays.GetNumberOfArrays()) +
                " arrays of values and none of them is marked as its scalars");
}

void CheckPlace(vtkImageData& image) {
    ImageGrid grid;
    vtkMatrix3x3& matrix = *image.GetDirectionMatrix();
    for (int i = 0; i < 3; ++i) {
        auto const axis = static_cast<std::size_t>(i);
        grid.size[axis] = image.GetDimensions()[i];
        grid.origin[axis] = image.GetOrigin()[i];
        grid.spacing[axis] = image.GetSpacing()[i];
        grid.axes[axis] = {matrix.GetElement(0, i), matrix.GetElement(1, i), matrix.GetElement(2, i)};
    }
    CheckGrid(grid);
}

} // namespace

vtkSmartPointer<vtkImageData> ReadVtiFile(std::filesystem::path const&, OpenFile const& file,
                                          std::shared_ptr<Common::IProgressDelegate> const& progress,
                                          ImageFileReport&) {
    VtkSession session(progress, "Reading file");
    FileBytes const bytes = file.All(progress);
    CheckXmlFile(bytes, "ImageData");
    vtkNew<XmlReader<vtkXMLImageDataReader>> reader;
    reader->SetBytes(bytes);
    reader->Run(session);
    vtkSmartPointer<vtkImageData> image = reader->GetOutput();
    CheckPlace(*image);
    vtkDataArray& values = FindValues(*image->GetPointData());
    if (values.GetNumberOfComponents() != 1)
        throw Error("the image has " + std::to_string(values.GetNumberOfComponents()) +
                    " values for each voxel; one is needed");
    image->GetPointData()->SetActiveAttribute(values.GetName(), vtkDataSetAttributes::SCALARS);
    return image;
}

} // namespace KetSDK::MeshVTK::Detail
