// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/images/ImageFrame.h>

#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/MeshVTK/Error.h>

#include <vtkImageData.h>
#include <vtkMatrix3x3.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

namespace KetSDK::MeshVTK::Detail {

namespace {

using Matrix = std::array<std::array<double, 3>, 3>;

// Columns are the steps from voxel to voxel in mm.
Matrix StepsOf(vtkImageData& image, LengthUnit unit) {
    Matrix steps;
    for (int row = 0; row < 3; ++row)
        for (int column = 0; column < 3; ++column)
            steps[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)] =
                image.GetDirectionMatrix()->GetElement(row, column) * image.GetSpacing()[column] *
                unit.millimetres;
    return steps;
}

// Of steps along the axes of space the inverse has exact zeros elsewhere.
Matrix Inverse(Matrix const& m) {
    Matrix adjugate;
    for (std::size_t i = 0; i < 3; ++i)
        for (std::size_t j = 0; j < 3; ++j) {
            std::size_t const a = (j + 1) % 3, b = (j + 2) % 3, c = (i + 1) % 3, d = (i + 2) % 3;
            adjugate[i][j] = m[a][c] * m[b][d] - m[a][d] * m[b][c];
        }
    double const determinant = m[0][0] * adjugate[0][0] + m[0][1] * adjugate[1][0] + m[0][2] * adjugate[2][0];
    for (auto& row : adjugate)
        for (double& entry : row) {
            entry /= determinant;
            if (!std::isfinite(entry))
                throw Error("the image has no volume: its spacing and directions cannot be inverted");
        }
    return adjugate;
}

} // namespace

ImageFrame::ImageFrame(vtkImageData& image, LengthUnit unit) {
    Matrix const steps = StepsOf(image, unit);
    Matrix const inverse = Inverse(steps);
    int const* const extent = image.GetExtent(); // voxels are counted from the image's own first one
    VoxelPosition origin;
    for (std::size_t i = 0; i < 3; ++i) {
        origin[i] = image.GetOrigin()[i] * unit.millimetres;
        for (std::size_t j = 0; j < 3; ++j)
            origin[i] += steps[i][j] * extent[2 * j];
        m_size[i] = std::int64_t{extent[2 * i + 1]} - extent[2 * i] + 1;
        m_last[i] = static_cast<double>(m_size[i] - 1);
        if (m_size[i] < 2)
            throw Error("the image has " + std::to_string(std::max<std::int64_t>(m_size[i], 0)) +
                        " voxels along an axis; two are needed at least");
        if (!std::isfinite(origin[i]))
            throw Error("the origin of the image is not finite");
    }
    for (std::size_t i = 0; i < 3; ++i)
        for (std::size_t j = 0; j < 3; ++j) {
            m_inverse[i][j] = inverse[i][j] / Common::MInternalUnits::Get();
            m_shift[i] -= inverse[i][j] * origin[j];
        }
    for (std::size_t i = 0; i < 3; ++i) {
        m_box[i] = m_box[i + 3] = origin[i];
        for (std::size_t j = 0; j < 3; ++j) {
            double const length = steps[i][j] * m_last[j];
            m_box[length < 0.0 ? i : i + 3] += length;
        }
    }
}

} // namespace KetSDK::MeshVTK::Detail
