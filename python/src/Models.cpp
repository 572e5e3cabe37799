#include "Numbers.h"
#include "Record.h"
#include "Run.h"

#include <KetSDK/MeshJobs/Image.h>
#include <KetSDK/MeshJobs/ModelArrays.h>
#include <KetSDK/MeshJobs/ModelFile.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/Text.h>

#include <memory>

namespace ketmesh {

namespace {

using namespace KetSDK::MeshJobs;
using KetSDK::MeshVTK::FromUtf8;
using KetSDK::MeshVTK::LengthUnit;
using KetSDK::MeshVTK::ToUtf8;

LengthUnit UnitNamed(std::string const& name) {
    try {
        return LengthUnit::FromName(name);
    } catch (KetSDK::MeshVTK::Error const& e) {
        throw Error(e.what());
    }
}

ReadOptions OptionsFor(std::string const& unit, std::string const& labels = "") {
    ReadOptions options;
    options.unit = UnitNamed(unit);
    options.labels = labels;
    return options;
}

ModelHandle Share(Model&& model) {
    return std::make_shared<SharedModel>(std::move(model));
}

SurfaceHandle Share(SurfaceModel&& surface) {
    return std::make_shared<SharedSurface>(std::move(surface));
}

// --- Models ---------------------------------------------------------------------------------------------

ModelHandle Read(std::string const& path, std::string const& labels, std::string const& unit) {
    ReadOptions const options = OptionsFor(unit, labels);
    return Share(Call().Run([&](Context const& context) { return ReadModel(path, options, context); }));
}

std::vector<MMeshArray> TakeArrays(py::dict const& arrays, MMeshArray::Place place, std::size_t rows) {
    std::vector<MMeshArray> taken;
    for (auto const& [name, values] : arrays)
        taken.push_back(FromNumpy(values, py::str(name), place, rows));
    return taken;
}

ModelHandle Make(py::handle points, std::vector<std::pair<unsigned int, py::object>> const& cells,
                 py::dict const& cell_data, py::dict const& point_data,
                 std::vector<std::string> const& subvolume_names, std::string const& labels,
                 std::string const& unit) {
    ReadOptions const options = OptionsFor(unit, labels);
    auto const positions = TakePoints(points, "points");
    std::vector<py::array_t<std::int64_t>> kept;
    ModelArrays arrays;
    arrays.points = {positions.data(), static_cast<std::size_t>(positions.size())};
    std::size_t elements = 0;
    for (auto const& [nodes, indices] : cells) {
        auto const& taken = kept.emplace_back(TakeIndices(indices, "cells", nodes));
        arrays.cells.push_back({nodes, {taken.data(), static_cast<std::size_t>(taken.size())}});
        elements += static_cast<std::size_t>(taken.shape(0));
    }
    arrays.arrays = TakeArrays(cell_data, MMeshArray::OnElements, elements);
    for (MMeshArray& array :
         TakeArrays(point_data, MMeshArray::OnNodes, static_cast<std::size_t>(positions.shape(0))))
        arrays.arrays.push_back(std::move(array));
    arrays.subvolume_names = subvolume_names;
    return Share(Call().Run([&](Context const& context) { return MakeModel(arrays, options, context); }));
}

void Save(SharedModel& shared, std::string const& path, std::string const& unit, bool text) {
    WriteOptions options;
    options.unit = UnitNamed(unit);
    options.encoding = text ? MMeshFile::Text : MMeshFile::Binary;
    Call().Run(shared, [&](Model const& model, Context const& context) {
        WriteModel(model, path, options, context);
        return true;
    });
}

// --- Arrays of models -----------------------------------------------------------------------------------

// Something short that is asked of a model.
template <typename Question>
auto Ask(SharedModel& shared, Question const& question) {
    py::gil_scoped_release const released;
    std::scoped_lock const lock(shared.lock);
    return question(shared.model);
}

py::array Points(SharedModel& shared) {
    return GiveArray(Ask(shared,
                         [](Model const& model) {
                             std::vector<double> points(
                                 3 * static_cast<std::size_t>(model.mesh->NumberOfPoints()));
                             CopyPoints(model, points);
                             return points;
                         }),
                     3);
}

py::dict Cells(SharedModel& shared) {
    py::dict cells;
    for (KindCount const& kind : Ask(shared, [](Model const& model) { return CountKinds(*model.mesh); }))
        if (kind.elements > 0)
            cells[kind.name] =
                GiveArray(Ask(shared,
                              [&kind](Model const& model) {
                                  std::vector<std::int64_t> indices(kind.elements * kind.nodes);
                                  CopyCells(model, kind.nodes, indices);
                                  return indices;
                              }),
                          kind.nodes);
    return cells;
}

py::array SubVolumeIds(SharedModel& shared) {
    return GiveArray(Ask(shared,
                         [](Model const& model) {
                             std::vector<std::int32_t> ids(
                                 static_cast<std::size_t>(model.mesh->NumberOfElements()));
                             CopySubVolumeNumbers(model, ids);
                             return ids;
                         }),
                     0);
}

std::vector<std::string> ArrayNames(SharedModel& shared, int place) {
    return Ask(shared, [place](Model const& model) {
        std::vector<std::string> names;
        for (MMeshArray const& array : CopyArrays(model))
            if (array.place == place)
                names.push_back(ToUtf8(array.name));
        return names;
    });
}

py::array Array(SharedModel& shared, int place, std::string const& name) {
    std::optional<MMeshArray> found = Ask(shared, [&](Model const& model) -> std::optional<MMeshArray> {
        std::vector<MMeshArray> const arrays = CopyArrays(model);
        MMeshArray const* const array =
            FindArray(arrays, FromUtf8(name), static_cast<MMeshArray::Place>(place));
        return array ? std::optional(*array) : std::nullopt;
    });
    if (!found)
        throw py::key_error(name);
    return ToNumpy(std::move(*found));
}

std::size_t RowsAt(Model const& model, int place) {
    return static_cast<std::size_t>(place == MMeshArray::OnNodes ? model.mesh->NumberOfPoints()
                                                                 : model.mesh->NumberOfElements());
}

void SetValues(SharedModel& shared, int place, std::string const& name, py::handle values) {
    auto const at = static_cast<MMeshArray::Place>(place);
    MMeshArray array =
        FromNumpy(values, name, at, Ask(shared, [place](Model const& m) { return RowsAt(m, place); }));
    Ask(shared, [&](Model& model) {
        SetModelArray(model, std::move(array));
        return true;
    });
}

bool RemoveArray(SharedModel& shared, int place, std::string const& name) {
    return Ask(shared, [&](Model& model) {
        return std::erase_if(model.arrays, [&, wide = FromUtf8(name)](MMeshArray const& array) {
                   return array.place == place && array.name == wide;
               }) > 0;
    });
}

// --- Surfaces and images --------------------------------------------------------------------------------

SurfaceHandle ReadSurfaceFile(std::string const& path, std::string const& unit) {
    ReadOptions const options = OptionsFor(unit);
    return Share(Call().Run([&](Context const& context) { return ReadSurface(path, options, context); }));
}

SurfaceHandle MakeSurfaceOf(py::handle points, py::handle triangles, std::string const& name,
                            std::string const& unit) {
    ReadOptions const options = OptionsFor(unit);
    auto const positions = TakePoints(points, "points");
    auto const indices = TakeIndices(triangles, "triangles", 3);
    return Share(Call().Run([&](Context const&) {
        return MakeSurface({positions.data(), static_cast<std::size_t>(positions.size())},
                           {indices.data(), static_cast<std::size_t>(indices.size())}, name, options);
    }));
}

void SaveSurface(SharedSurface& shared, std::string const& path, std::string const& unit) {
    SurfaceWriteOptions options;
    options.unit = UnitNamed(unit);
    Call().Run([&](Context const& context) {
        auto file = OpenSurfaceFile(path);
        WriteSurface(shared.surface, file, options, context);
        return true;
    });
}

py::dict ArraysOfSurface(SharedSurface const& shared) {
    SurfaceArrays arrays = CopySurface(shared.surface);
    py::dict dict;
    dict["points"] = GiveArray(std::move(arrays.points), 3);
    dict["triangles"] = GiveArray(std::move(arrays.triangles), 3);
    dict["surface"] = GiveArray(std::move(arrays.surface_of), 0);
    dict["names"] = arrays.names;
    dict["reports"] = ReportSurfaces(*shared.surface.surfaces);
    py::dict cell_data, point_data;
    for (MMeshArray array : shared.surface.arrays)
        if (array.place != MMeshArray::OnMesh) {
            std::string const name = ToUtf8(array.name);
            (array.place == MMeshArray::OnNodes ? point_data : cell_data)[name.c_str()] =
                ToNumpy(std::move(array));
        }
    dict["cell_data"] = cell_data;
    dict["point_data"] = point_data;
    return dict;
}

} // namespace

void AddModels(py::module_& module) {
    py::class_<SharedModel, ModelHandle>(module, "Model",
                                         "A mesh with all that belongs to it, inside the library.");
    py::class_<SharedSurface, SurfaceHandle>(module, "SurfaceModel", "Surfaces, inside the library.");
    py::class_<KetSDK::MeshJobs::Image>(module, "Image", "An image, inside the library.")
        .def_readonly("file", &Image::file)
        .def_readonly("note", &Image::note);

    module.def("read", &Read, py::arg("path"), py::arg("labels"), py::arg("unit"));
    module.def("make", &Make, py::arg("points"), py::arg("cells"), py::arg("cell_data"),
               py::arg("point_data"), py::arg("subvolume_names"), py::arg("labels"), py::arg("unit"));
    module.def("save", &Save, py::arg("model"), py::arg("path"), py::arg("unit"), py::arg("text"));
    module.def("file_of", [](SharedModel const& m) { return m.model.file; });
    module.def("points", &Points);
    module.def("cells", &Cells);
    module.def("subvolume_ids", &SubVolumeIds);
    module.def("array_names", &ArrayNames);
    module.def("array", &Array);
    module.def("set_array", &SetValues);
    module.def("remove_array", &RemoveArray);
    module.attr("ON_NODES") = static_cast<int>(MMeshArray::OnNodes);
    module.attr("ON_ELEMENTS") = static_cast<int>(MMeshArray::OnElements);

    module.def("read_surface", &ReadSurfaceFile, py::arg("path"), py::arg("unit"));
    module.def("make_surface", &MakeSurfaceOf, py::arg("points"), py::arg("triangles"), py::arg("name"),
               py::arg("unit"));
    module.def("save_surface", &SaveSurface, py::arg("surface"), py::arg("path"), py::arg("unit"));
    module.def("surface_arrays", &ArraysOfSurface);
    module.def(
        "read_image",
        [](std::string const& path, std::string const& unit) {
            return Call().Run(
                [&, of = UnitNamed(unit)](Context const& context) { return ReadImage(path, of, context); });
        },
        py::arg("path"), py::arg("unit"));
}

} // namespace ketmesh
