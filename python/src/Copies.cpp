// SPDX-License-Identifier: BSD-3-Clause
#include "Copies.h"

#include "Numbers.h"
#include "Words.h"

#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/ModelArrays.h>
#include <KetSDK/MeshJobs/ModelBytes.h>
#include <KetSDK/MeshVTK/Text.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <pybind11/stl.h>

#include <cstdint>
#include <tuple>
#include <utility>
#include <variant>
#include <vector>

namespace ketmesh {

namespace {

using namespace KetSDK::MeshJobs;
using KetSDK::MeshVTK::FromUtf8;
using KetSDK::MeshVTK::ToUtf8;

using Bytes = py::array_t<std::uint8_t, py::array::c_style>;
using Rounding = std::tuple<std::uint64_t, std::uint64_t, double>;
using ModelState = std::tuple<Bytes, std::string, bool, Rounding>;

ModelState StateOf(SharedModel& shared) {
    ModelState state;
    auto bytes = Call().Run(shared, [&](Model const& model, Context const& context) {
        auto const& [out_of_range, merged, largest_error] = model.rounding;
        std::get<1>(state) = model.file;
        std::get<2>(state) = model.frame_is_given;
        std::get<3>(state) = {out_of_range, merged, largest_error};
        return BytesOf(model, context);
    });
    std::get<0>(state) = GiveArray(std::move(bytes), 0);
    return state;
}

ModelHandle ModelOf(ModelState const& state) {
    auto const& [bytes, file, frame_is_given, rounding] = state;
    std::span const given(bytes.data(), static_cast<std::size_t>(bytes.size()));
    Model model = Call().Run([&](Context const& context) { return ModelOfBytes(given, context); });
    model.file = file;
    model.frame_is_given = frame_is_given;
    model.rounding = {std::get<0>(rounding), std::get<1>(rounding), std::get<2>(rounding)};
    return Share(std::move(model));
}

// Name, place, components, type and values.
using ArrayState = std::tuple<std::string, int, std::uint32_t, std::string, py::array>;

ArrayState StateOf(MMeshArray array) {
    py::array values =
        std::visit([](auto& own) -> py::array { return GiveArray(std::move(own), 0); }, array.values);
    return {ToUtf8(array.name), array.place, array.components, ToUtf8(array.type), std::move(values)};
}

template <typename T>
std::vector<T> ToVector(py::array const& array) {
    py::array_t<T, py::array::c_style | py::array::forcecast> const values(array);
    return {values.data(), values.data() + values.size()};
}

MMeshArray ArrayOf(ArrayState const& state) {
    auto const& [name, place, components, type, values] = state;
    MMeshArray array;
    array.name = FromUtf8(name);
    array.place = static_cast<MMeshArray::Place>(place);
    array.components = components;
    array.type = FromUtf8(type);
    if (py::isinstance<py::array_t<double>>(values))
        array.values = ToVector<double>(values);
    else
        array.values = ToVector<std::int32_t>(values);
    return array;
}

void CheckRows(MMeshArray const& array, MStlBase const& surfaces) {
    std::uint64_t const rows =
        array.place == MMeshArray::OnNodes ? surfaces.NumberOfPoints() : surfaces.NumberOfTriangles();
    auto const values = std::visit([](auto const& own) { return own.size(); }, array.values);
    if (array.components == 0 || (array.place != MMeshArray::OnMesh && values != rows * array.components))
        throw Error("an array of the surface has not one row for each triangle or point");
}

// Points, triangles, surface of each triangle, names; arrays, frame, file.
using SurfaceState = std::tuple<py::array, py::array, py::array, std::vector<std::string>,
                                std::vector<ArrayState>, FrameWord, std::string>;

SurfaceState StateOf(SharedSurface const& shared) {
    SurfaceModel const& surface = shared.surface;
    SurfaceArrays arrays = Call().Run([&](Context const&) { return CopySurface(surface); });
    std::vector<ArrayState> values;
    for (MMeshArray const& array : surface.arrays)
        values.push_back(StateOf(array));
    return {GiveArray(std::move(arrays.points), 3),
            GiveArray(std::move(arrays.triangles), 3),
            GiveArray(std::move(arrays.surface_of), 0),
            std::move(arrays.names),
            std::move(values),
            WordOf(surface.frame),
            surface.file};
}

SurfaceHandle SurfaceOf(SurfaceState const& state) {
    auto const& [points, triangles, surface_of, names, values, frame, file] = state;
    SurfaceArrays const arrays{ToVector<double>(points), ToVector<std::int64_t>(triangles),
                               ToVector<std::int32_t>(surface_of), names};
    SurfaceModel surface = Call().Run([&](Context const&) { return MakeSurfaces(arrays); });
    for (ArrayState const& array : values) {
        surface.arrays.push_back(ArrayOf(array));
        CheckRows(surface.arrays.back(), *surface.surfaces);
    }
    surface.frame = FrameNamed(frame);
    surface.file = file;
    return Share(std::move(surface));
}

} // namespace

void AddCopies(py::class_<SharedModel, ModelHandle>& models) {
    auto const copy = [](SharedModel& shared) {
        return Share(Call().Run(
            shared, [](Model const& model, Context const& context) { return CopyModel(model, context); }));
    };
    models.def("__copy__", copy);
    models.def(
        "__deepcopy__", [copy](SharedModel& shared, py::dict const&) { return copy(shared); },
        py::arg("memo"));
    models.def(py::pickle([](SharedModel& shared) { return py::tuple(py::cast(StateOf(shared))); },
                          [](py::tuple const& state) { return ModelOf(state.cast<ModelState>()); }));
}

void AddCopies(py::class_<SharedSurface, SurfaceHandle>& surfaces) {
    CopyIsItself(surfaces);
    surfaces.def(py::pickle([](SharedSurface const& shared) { return py::tuple(py::cast(StateOf(shared))); },
                            [](py::tuple const& state) { return SurfaceOf(state.cast<SurfaceState>()); }));
}

} // namespace ketmesh
