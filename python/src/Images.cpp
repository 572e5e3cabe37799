// SPDX-License-Identifier: BSD-3-Clause
#include "Copies.h"
#include "Record.h"
#include "Run.h"
#include "Words.h"

#include <KetSDK/MeshJobs/Image.h>
#include <KetSDK/MeshJobs/ImageArrays.h>

#include <pybind11/numpy.h>

#include <array>
#include <memory>
#include <tuple>
#include <utility>

namespace ketmesh {

namespace {

using namespace KetSDK::MeshJobs;
using KetSDK::MeshVTK::LengthUnit;
using KetSDK::MeshVTK::VoxelArray;

// Where the first voxel of an array lies. Throws TypeError for those that are no numbers that images have.
VoxelArray::First FirstOf(py::array const& array) {
    VoxelArray::First first;
    auto const take = [&]<typename T>(T) {
        if (!py::isinstance<py::array_t<T>>(array))
            return false;
        first = static_cast<T const*>(array.data());
        return true;
    };
    bool const is_known =
        std::apply([&](auto... types) { return (take(types) || ...); },
                   std::tuple<std::int8_t, std::uint8_t, std::int16_t, std::uint16_t, std::int32_t,
                              std::uint32_t, std::int64_t, std::uint64_t, float, double>{});
    if (!is_known)
        throw py::type_error("the voxels of an image must be numbers of 8 to 64 bits, not " +
                             std::string(py::str(array.dtype())));
    return first;
}

// The voxels of an array of three dimensions where they lie. Throws TypeError and ValueError.
VoxelArray VoxelsOf(py::array const& array) {
    if (array.ndim() != 3)
        throw py::value_error("an image must have the shape (i, j, k), not " +
                              std::string(py::str(array.attr("shape"))));
    VoxelArray voxels;
    voxels.first = FirstOf(array);
    for (py::ssize_t axis = 0; axis < 3; ++axis) {
        auto const at = static_cast<std::size_t>(axis);
        voxels.size[at] = array.shape(axis);
        if (array.strides(axis) % array.itemsize() != 0)
            throw py::value_error("the voxels of an image must lie at multiples of their size");
        voxels.strides[at] = array.strides(axis) / array.itemsize();
    }
    return voxels;
}

Image MakeImageOf(py::array const& array, std::array<std::array<double, 4>, 3> const& affine,
                  FrameWord const& frame, std::string const& unit) {
    VoxelArray voxels = VoxelsOf(array);
    voxels.affine = affine;
    auto const length = UnitNamed(unit);
    auto const in = FrameNamed(frame);
    return Call().Run([&](Context const&) { return MakeImage(voxels, length, in); });
}

Image ReadImageFile(std::string const& path, std::string const& unit, std::string const& series) {
    return Call().Run(
        [&, of = UnitNamed(unit)](Context const& context) { return ReadImage(path, of, context, series); });
}

// The voxels where the image has them, which lives as long as the array.
py::array VoxelsAsArray(Image const& image) {
    using Kept = std::shared_ptr<Image::Voxels const>;
    ImageArrays const arrays = ArraysOf(image);
    py::capsule const owner(new Kept(image.voxels), [](void* p) { delete static_cast<Kept*>(p); });
    auto const size = arrays.Size();
    return std::visit(
        [&]<typename T>(T const* first) {
            auto const item = static_cast<py::ssize_t>(sizeof(T));
            py::array array(py::dtype::of<T>(), {size[0], size[1], size[2]},
                            {item, item * size[0], item * size[0] * size[1]}, first, owner);
            array.attr("flags").attr("writeable") = false;
            return array;
        },
        arrays.first);
}

std::array<double, 3> SpacingOf(Image const& image) {
    auto spacing = ArraysOf(image).spacing;
    for (double& length : spacing)
        length *= image.unit.millimetres;
    return spacing;
}

// From indices of `array` to mm.
std::array<std::array<double, 4>, 4> AffineOf(Image const& image) {
    ImageArrays const arrays = ArraysOf(image);
    std::array<std::array<double, 4>, 4> affine{};
    for (std::size_t row = 0; row < 3; ++row) {
        affine[row][3] = arrays.origin[row];
        for (std::size_t axis = 0; axis < 3; ++axis) {
            affine[row][axis] = arrays.axes[3 * row + axis] * arrays.spacing[axis];
            affine[row][3] += affine[row][axis] * arrays.extent[2 * axis];
        }
        for (double& number : affine[row])
            number *= image.unit.millimetres;
    }
    affine[3][3] = 1.0;
    return affine;
}

// Voxels, extent, origin, spacing, axes; unit in mm, frame, file, note.
using State = std::tuple<py::array, std::array<int, 6>, std::array<double, 3>, std::array<double, 3>,
                         std::array<double, 9>, double, FrameWord, std::string, std::string>;

State StateOf(Image const& image) {
    ImageArrays const arrays = ArraysOf(image);
    return {VoxelsAsArray(image),   arrays.extent,       arrays.origin, arrays.spacing, arrays.axes,
            image.unit.millimetres, WordOf(image.frame), image.file,    image.note};
}

Image ImageOf(State const& state) {
    ImageArrays arrays;
    auto const& voxels = std::get<0>(state);
    arrays.extent = std::get<1>(state);
    arrays.origin = std::get<2>(state);
    arrays.spacing = std::get<3>(state);
    arrays.axes = std::get<4>(state);
    py::array const ordered = py::array::ensure(voxels, py::array::f_style);
    arrays.first = FirstOf(ordered);
    auto const size = arrays.Size();
    if (ordered.ndim() != 3 || !std::equal(size.begin(), size.end(), ordered.shape()))
        throw py::value_error("the pickle holds another number of voxels than the image has");
    LengthUnit const unit{std::get<5>(state)};
    auto const frame = FrameNamed(std::get<6>(state));
    Image image = Call().Run([&](Context const&) { return MakeImage(arrays, unit, frame); });
    image.file = std::get<7>(state);
    image.note = std::get<8>(state);
    return image;
}

} // namespace

void AddImages(py::module_& module) {
    py::class_<Image> images(module, "Image", "An image, inside the library.");
    images.def_readonly("file", &Image::file)
        .def_readonly("note", &Image::note)
        .def_property_readonly("frame", [](Image const& image) { return WordOf(image.frame); })
        .def_property_readonly("array", &VoxelsAsArray)
        .def_property_readonly("spacing", &SpacingOf)
        .def_property_readonly("affine", &AffineOf);
    CopyIsItself(images);
    images.def(py::pickle([](Image const& image) { return py::tuple(py::cast(StateOf(image))); },
                          [](py::tuple const& state) { return ImageOf(state.cast<State>()); }));
    module.def("read_image", &ReadImageFile, py::arg("path"), py::arg("unit"), py::arg("series"));
    module.def("make_image", &MakeImageOf, py::arg("array"), py::arg("affine"), py::arg("frame"),
               py::arg("unit"));
}

} // namespace ketmesh
