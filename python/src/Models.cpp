// SPDX-License-Identifier: BSD-3-Clause
#include "Copies.h"
#include "Numbers.h"
#include "Record.h"
#include "Run.h"
#include "Words.h"

#include <KetSDK/MeshJobs/Info.h>
#include <KetSDK/MeshJobs/ModelArrays.h>
#include <KetSDK/MeshJobs/ModelFile.h>
#include <KetSDK/MeshVTK/Text.h>

#include <memory>
#include <optional>

namespace ketmesh {

namespace {

using namespace KetSDK::MeshJobs;
using KetSDK::MeshVTK::FromUtf8;
using KetSDK::MeshVTK::ToUtf8;

// What readers take for granted of a file, and what they accept.
ReadOptions OptionsFor(std::string const& unit, FrameWord const& frame, std::string const& labels = "",
                       bool allow_merged = false, bool allow_out_of_range = false) {
    ReadOptions options;
    options.unit = UnitNamed(unit);
    options.labels = labels;
    options.frame = FrameNamed(frame);
    options.limits.allow_merged = allow_merged;
    options.limits.allow_out_of_range = allow_out_of_range;
    return options;
}

// --- Models ---------------------------------------------------------------------------------------------

ModelHandle Read(std::string const& path, std::string const& labels, std::string const& unit,
                 FrameWord const& frame, bool allow_merged, bool allow_out_of_range) {
    ReadOptions const options = OptionsFor(unit, frame, labels, allow_merged, allow_out_of_range);
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
                 std::string const& unit, FrameWord const& frame, bool allow_merged,
                 bool allow_out_of_range) {
    ReadOptions const options = OptionsFor(unit, frame, labels, allow_merged, allow_out_of_range);
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

// What a copier gives for the elements of each kind, with that many numbers for an element.
template <typename Copier>
py::dict ByKind(SharedModel& shared, bool one_each, Copier const& copy) {
    py::dict cells;
    for (KindCount const& kind : Ask(shared, [](Model const& model) { return CountKinds(*model.mesh); })) {
        std::size_t const columns = one_each ? 1 : kind.nodes;
        if (kind.elements > 0)
            cells[kind.name] = GiveArray(Ask(shared,
                                             [&](Model const& model) {
                                                 std::vector<std::int64_t> out(kind.elements * columns);
                                                 copy(model, kind.nodes, out);
                                                 return out;
                                             }),
                                         one_each ? 0 : columns);
    }
    return cells;
}

py::dict Cells(SharedModel& shared) {
    return ByKind(shared, false, CopyCells);
}

py::dict CellIds(SharedModel& shared) {
    return ByKind(shared, true, CopyCellIndices);
}

py::dict Kinds(SharedModel& shared) {
    py::dict kinds;
    for (KindCount const& kind : Ask(shared, [](Model const& model) { return CountKinds(*model.mesh); }))
        if (kind.elements > 0)
            kinds[kind.name] = kind.elements;
    return kinds;
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

MMeshArray::Place PlaceOf(int place) {
    return static_cast<MMeshArray::Place>(place);
}

std::vector<std::string> ArrayNames(SharedModel& shared, int place) {
    return Ask(shared, [place](Model const& model) { return ArrayNamesOf(model, PlaceOf(place)); });
}

py::array Array(SharedModel& shared, int place, std::string const& name) {
    std::optional<MMeshArray> found =
        Ask(shared, [&](Model const& model) { return CopyArray(model, PlaceOf(place), name); });
    if (!found)
        throw py::key_error(name);
    return ToNumpy(std::move(*found));
}

std::size_t RowsAt(Model const& model, int place) {
    return static_cast<std::size_t>(place == MMeshArray::OnNodes ? model.mesh->NumberOfPoints()
                                                                 : model.mesh->NumberOfElements());
}

void SetValues(SharedModel& shared, int place, std::string const& name, py::handle values) {
    MMeshArray array = FromNumpy(values, name, PlaceOf(place),
                                 Ask(shared, [place](Model const& m) { return RowsAt(m, place); }));
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

// --- Surfaces -------------------------------------------------------------------------------------------

SurfaceHandle ReadSurfaceFile(std::string const& path, std::string const& unit, FrameWord const& frame) {
    ReadOptions const options = OptionsFor(unit, frame);
    return Share(Call().Run([&](Context const& context) { return ReadSurface(path, options, context); }));
}

SurfaceHandle MakeSurfaceOf(py::handle points, py::handle triangles, std::string const& name,
                            std::string const& unit, FrameWord const& frame) {
    ReadOptions const options = OptionsFor(unit, frame);
    auto const positions = TakePoints(points, "points");
    auto const indices = TakeIndices(triangles, "triangles", 3);
    return Share(Call().Run([&](Context const&) {
        return MakeSurface({positions.data(), static_cast<std::size_t>(positions.size())},
                           {indices.data(), static_cast<std::size_t>(indices.size())}, name, options);
    }));
}

std::vector<std::string> SaveSurface(SharedSurface& shared, std::string const& path, std::string const& unit,
                                     bool split, bool allow_empty, bool text) {
    SurfaceWriteOptions options;
    options.unit = UnitNamed(unit);
    options.allow_empty = allow_empty;
    options.text = text;
    return Call().Run([&](Context const& context) {
        if (split)
            return WriteSurfaces(shared.surface, path, options, context);
        auto file = OpenSurfaceFile(path);
        WriteSurface(shared.surface, file, options, context);
        return std::vector<std::string>{path};
    });
}

std::vector<SurfaceReport> ReportsOfSurface(SharedSurface const& shared) {
    py::gil_scoped_release const released;
    return ReportSurfaces(*shared.surface.surfaces);
}

py::dict ArraysOfSurface(SharedSurface const& shared) {
    auto [arrays, values] = [&] {
        py::gil_scoped_release const released;
        return std::pair(CopySurface(shared.surface), shared.surface.arrays);
    }();
    py::dict dict, cell_data, point_data;
    dict["points"] = GiveArray(std::move(arrays.points), 3);
    dict["triangles"] = GiveArray(std::move(arrays.triangles), 3);
    dict["surface"] = GiveArray(std::move(arrays.surface_of), 0);
    dict["names"] = arrays.names;
    dict["frame"] = WordOf(shared.surface.frame);
    for (MMeshArray& array : values)
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
    py::class_<SharedModel, ModelHandle> models(module, "Model",
                                                "A mesh with all that belongs to it, inside the library.");
    py::class_<SharedSurface, SurfaceHandle> surfaces(module, "SurfaceModel",
                                                      "Surfaces, inside the library.");
    AddCopies(models);
    AddCopies(surfaces);

    module.def("read", &Read, py::arg("path"), py::arg("labels"), py::arg("unit"), py::arg("frame"),
               py::arg("allow_merged"), py::arg("allow_out_of_range"));
    module.def("make", &Make, py::arg("points"), py::arg("cells"), py::arg("cell_data"),
               py::arg("point_data"), py::arg("subvolume_names"), py::arg("labels"), py::arg("unit"),
               py::arg("frame"), py::arg("allow_merged"), py::arg("allow_out_of_range"));
    module.def("save", &Save, py::arg("model"), py::arg("path"), py::arg("unit"), py::arg("text"));
    module.def("file_of", [](SharedModel const& m) { return m.model.file; });
    module.def("frame_of",
               [](SharedModel& m) { return WordOf(Ask(m, [](Model const& model) { return model.frame; })); });
    module.def("points", &Points);
    module.def("cells", &Cells);
    module.def("cell_ids", &CellIds);
    module.def("kinds", &Kinds);
    module.def("rows", [](SharedModel& m, int place) {
        return Ask(m, [place](Model const& model) { return RowsAt(model, place); });
    });
    module.def("subvolumes", [](SharedModel& m) {
        return Ask(m, [](Model const& model) { return ReportSubVolumes(*model.mesh); });
    });
    module.def("box",
               [](SharedModel& m) { return Ask(m, [](Model const& model) { return BoxOf(*model.mesh); }); });
    module.def("volume", [](SharedModel& m) {
        return Ask(m, [](Model const& model) { return VolumeOf(*model.mesh); });
    });
    module.def("subvolume_ids", &SubVolumeIds);
    module.def("array_names", &ArrayNames);
    module.def("array", &Array);
    module.def("set_array", &SetValues);
    module.def("remove_array", &RemoveArray);
    module.attr("ON_NODES") = static_cast<int>(MMeshArray::OnNodes);
    module.attr("ON_ELEMENTS") = static_cast<int>(MMeshArray::OnElements);

    module.def("read_surface", &ReadSurfaceFile, py::arg("path"), py::arg("unit"), py::arg("frame"));
    module.def("make_surface", &MakeSurfaceOf, py::arg("points"), py::arg("triangles"), py::arg("name"),
               py::arg("unit"), py::arg("frame"));
    module.def("save_surface", &SaveSurface, py::arg("surface"), py::arg("path"), py::arg("unit"),
               py::arg("split"), py::arg("allow_empty"), py::arg("text"));
    module.def("surface_arrays", &ArraysOfSurface);
    module.def("surface_reports", &ReportsOfSurface);
}

} // namespace ketmesh
