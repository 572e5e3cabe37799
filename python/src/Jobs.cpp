// SPDX-License-Identifier: BSD-3-Clause
#include "Numbers.h"
#include "Record.h"
#include "Run.h"
#include "Words.h"

#include <KetSDK/MeshJobs/Boundary.h>
#include <KetSDK/MeshJobs/CatalogFile.h>
#include <KetSDK/MeshJobs/Check.h>
#include <KetSDK/MeshJobs/ColorMapFile.h>
#include <KetSDK/MeshJobs/Colors.h>
#include <KetSDK/MeshJobs/Convert.h>
#include <KetSDK/MeshJobs/Cut.h>
#include <KetSDK/MeshJobs/Diff.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/Explode.h>
#include <KetSDK/MeshJobs/Frame.h>
#include <KetSDK/MeshJobs/Graph.h>
#include <KetSDK/MeshJobs/Group.h>
#include <KetSDK/MeshJobs/Grow.h>
#include <KetSDK/MeshJobs/Info.h>
#include <KetSDK/MeshJobs/Iso.h>
#include <KetSDK/MeshJobs/Label.h>
#include <KetSDK/MeshJobs/Layers.h>
#include <KetSDK/MeshJobs/Match.h>
#include <KetSDK/MeshJobs/Materials.h>
#include <KetSDK/MeshJobs/Merge.h>
#include <KetSDK/MeshJobs/MeshFromLabels.h>
#include <KetSDK/MeshJobs/Metrics.h>
#include <KetSDK/MeshJobs/Orient.h>
#include <KetSDK/MeshJobs/Project.h>
#include <KetSDK/MeshJobs/Quality.h>
#include <KetSDK/MeshJobs/QualityPlot.h>
#include <KetSDK/MeshJobs/Remove.h>
#include <KetSDK/MeshJobs/Repair.h>
#include <KetSDK/MeshJobs/Split.h>
#include <KetSDK/MeshJobs/Surfaces.h>
#include <KetSDK/MeshJobs/View.h>
#include <KetSDK/MeshJobs/Weld.h>

#include <map>
#include <memory>
#include <optional>

namespace ketmesh {

namespace {

using namespace KetSDK::MeshJobs;
using KetSDK::Mesh::MaterialsBy;
using KetSDK::Mesh::QualityThreshold;
using KetSDK::MeshVTK::SamplingMode;

// A job that takes a model, changed or not, with options and gives a plain report.
template <auto Job, typename Options>
auto Report(SharedModel& shared, Options const& options, int threads = 0) {
    return Call(threads).Run(
        shared, [&](Model& model, Context const& context) { return Job(model, options, context); });
}

// The mesh or surface that a job made, beside what it reports.
template <typename Result, typename Made>
py::tuple Apart(Result&& result, Made Result::*made) {
    auto handle = Share(std::move(result.*made));
    return py::make_tuple(handle, py::cast(std::move(result)));
}

// --- Measures -------------------------------------------------------------------------------------------

QualityThreshold Threshold(std::optional<double> below, std::optional<double> above) {
    if (below && above)
        throw Error("values are bad below or above a threshold, not both");
    if (above)
        return {QualityThreshold::Side::Above, *above};
    return {QualityThreshold::Side::Below, below.value_or(0.0)};
}

// One limit as users write it, or the name of a set of them.
void AddLimits(std::vector<KetSDK::Mesh::QualityLimit>& limits, std::string const& text) {
    if (text.find('=') != std::string::npos) {
        limits.push_back(ParseLimit(text));
        return;
    }
    auto const set = FindLimits(text);
    limits.insert(limits.end(), set.begin(), set.end());
}

QualityResult MeasureQuality(SharedModel& shared, std::string const& metrics, std::optional<double> below,
                             std::optional<double> above, std::vector<std::string> const& limits, int bins,
                             double width, std::optional<double> max_bound, std::size_t worst,
                             std::string const& plot, int threads) {
    QualityOptions options;
    options.metrics = metrics;
    if (below || above)
        options.bad = Threshold(below, above);
    for (std::string const& limit : limits)
        AddLimits(options.limits, limit);
    options.binning.partitions = bins;
    options.binning.width = width;
    options.binning.max_bound = max_bound.value_or(options.binning.max_bound);
    options.worst = worst;
    CheckQualityOptions(options);
    std::optional<KetSDK::MeshVTK::OutputFile> picture;
    if (!plot.empty())
        picture.emplace(OpenQualityPlot(plot));
    QualityResult result = Report<Quality>(shared, options, threads);
    if (picture)
        WriteQualityPlot(result, *picture, {result.has_threshold});
    return result;
}

py::array QualityValues(SharedModel& shared, std::string const& metric, int threads) {
    QualityOptions options;
    options.metrics = metric;
    options.worst = 0;
    options.keep_values = true;
    if (FindMetrics(metric).size() != 1)
        throw Error("values are those of one metric; quality_report measures several");
    return ToNumpy(std::move(Report<Quality>(shared, options, threads).values.front()));
}

std::vector<ColorInterval> ColorsOf(SharedModel* shared, int bins, std::optional<double> start,
                                    std::optional<double> stop, std::vector<double> const& intervals,
                                    std::string const& path, std::string const& name) {
    std::optional<KetSDK::MeshVTK::OutputFile> file;
    if (!path.empty())
        file.emplace(OpenColorMapFile(path));
    ColorsOptions options;
    options.bins = bins;
    options.from = start.value_or(options.from);
    options.to = stop.value_or(options.to);
    ColorsResult const colors = shared ? Report<Colors>(*shared, options) : ColorsOfIntervals(intervals);
    if (file)
        WriteColorMap(colors, name, *file);
    return colors.intervals;
}

void AddMeasures(py::module_& module) {
    module.def("info", [](SharedModel& m) {
        return Call().Run(m, [](Model const& model, Context const& context) { return Info(model, context); });
    });
    module.def(
        "check", [](SharedModel& m, double tolerance) { return Report<Check>(m, CheckOptions{tolerance}); },
        py::arg("model"), py::arg("tolerance"));
    module.def("quality", &MeasureQuality, py::arg("model"), py::arg("metrics"), py::arg("below"),
               py::arg("above"), py::arg("limits"), py::arg("bins"), py::arg("width"), py::arg("max_bound"),
               py::arg("worst"), py::arg("plot"), py::arg("threads"));
    module.def("quality_values", &QualityValues, py::arg("model"), py::arg("metric"), py::arg("threads"));
    module.def(
        "diff",
        [](SharedModel& first, SharedModel& second, double tolerance) {
            return Call().Run(first, second, [&](Model const& a, Model const& b, Context const& context) {
                return Diff(a, b, ReadOptions{}, context, tolerance);
            });
        },
        py::arg("first"), py::arg("second"), py::arg("tolerance"));
    module.def("colors", &ColorsOf, py::arg("model").none(true), py::arg("bins"), py::arg("start"),
               py::arg("stop"), py::arg("intervals"), py::arg("path"), py::arg("name"));
}

// --- What changes a mesh --------------------------------------------------------------------------------

SurfaceModel const* SurfaceOf(SharedSurface const* shared) {
    return shared ? &shared->surface : nullptr;
}

// The options by the names that they have in Python; what is not given stays as it is by itself.
MaterialsOptions OptionsOf(py::dict const& given) {
    MaterialsOptions options;
    auto const take = [&given](char const* name, auto& member) {
        using Member = std::remove_reference_t<decltype(member)>;
        if (given.contains(name))
            member = given[name].template cast<Member>();
    };
    take("preset", options.preset);
    take("law", options.law);
    take("modulus", options.modulus);
    take("poisson", options.poisson);
    take("least_density", options.least_density);
    take("unit_offset", options.unit_offset);
    take("only", options.only);
    take("bins", options.bins);
    take("order", options.order);
    take("outside", options.outside_value);
    std::map<std::string, std::array<double, 3>> constants;
    take("constants", constants);
    for (auto const& [name, values] : constants)
        options.constants.push_back({name, values[0], values[1], values[2]});
    std::string by = "grey", average = "grey", sampling = "centroid";
    take("by", by);
    take("average", average);
    take("sampling", sampling);
    options.by = Named<MaterialsBy>({{"grey", MaterialsBy::Grey},
                                     {"mask", MaterialsBy::Mask},
                                     {"index", MaterialsBy::Index},
                                     {"single", MaterialsBy::Single}},
                                    by, "by");
    using Average = MaterialsOptions::Average;
    options.average = Named<Average>({{"grey", Average::Grey}, {"law", Average::Law}}, average, "average");
    options.sampling = Named<SamplingMode>({{"centroid", SamplingMode::Centroid},
                                            {"mean", SamplingMode::Mean},
                                            {"voxels", SamplingMode::Voxels}},
                                           sampling, "sampling");
    return options;
}

// Without an image there are only the constants.
MaterialsResult AssignMaterials(SharedModel& shared, Image const* image, py::dict const& given, int threads) {
    MaterialsOptions options = OptionsOf(given);
    options.constants_only = !image;
    CheckMaterialsOptions(options);
    return Call(threads).Run(shared, [&](Model& model, Context const& context) {
        return Materials(model, image ? *image : Image{}, options, context);
    });
}

void AddChanges(py::module_& module) {
    module.def(
        "repair",
        [](SharedModel& m, double min_ratio, double max_ratio, double min_alignment, int threads) {
            RepairOptions const options{min_ratio, max_ratio, min_alignment};
            RequireValid(options);
            return Report<Repair>(m, options, threads);
        },
        py::arg("model"), py::arg("min_ratio"), py::arg("max_ratio"), py::arg("min_alignment"),
        py::arg("threads"));
    module.def("orient", [](SharedModel& m) {
        return Call().Run(m, [](Model& model, Context const& context) { return Orient(model, context); });
    });
    module.def(
        "label",
        [](SharedModel& m, SharedSurface const* surface, double tolerance) {
            return Call().Run(m, [&](Model& model, Context const& context) {
                return Label(model, SurfaceOf(surface), LabelOptions{tolerance}, context);
            });
        },
        py::arg("model"), py::arg("surface").none(true), py::arg("tolerance"));
    module.def(
        "group",
        [](SharedModel& m, SharedSurface const& surface, double tolerance) {
            return Call().Run(m, [&](Model& model, Context const& context) {
                return Group(model, surface.surface, GroupOptions{tolerance}, context);
            });
        },
        py::arg("model"), py::arg("surface"), py::arg("tolerance"));
    module.def(
        "split",
        [](SharedModel& m, std::vector<std::string> const& names) {
            return Report<Split>(m, SplitOptions{names});
        },
        py::arg("model"), py::arg("names"));
    module.def("merge", [](SharedModel& first, SharedModel& second) {
        return Call().Run(first, second, [](Model& a, Model const& b, Context const& context) {
            return Merge(a, b, context);
        });
    });
    module.def(
        "layers", [](SharedModel& m, unsigned int count) { return Report<Layers>(m, LayersOptions{count}); },
        py::arg("model"), py::arg("count"));
    module.def(
        "project",
        [](SharedModel& m, SharedSurface const& surface, double distance, bool interfaces, double min_quality,
           int threads) {
            return Call(threads).Run(m, [&](Model& model, Context const& context) {
                ProjectOptions options;
                options.distance = distance;
                options.interfaces = interfaces;
                options.min_quality = min_quality;
                return Project(model, surface.surface, options, context);
            });
        },
        py::arg("model"), py::arg("surface"), py::arg("distance"), py::arg("interfaces"),
        py::arg("min_quality"), py::arg("threads"));
    module.def("materials", &AssignMaterials, py::arg("model"), py::arg("image").none(true),
               py::arg("options"), py::arg("threads"));
    module.def(
        "to_frame",
        [](SharedModel& m, std::string const& to, std::vector<std::string> const& vectors) {
            FrameOptions const options{*FrameNamed(to), vectors};
            return Call().Run(
                m, [&](Model& model, Context const& context) { return ToFrame(model, options, context); });
        },
        py::arg("model"), py::arg("to"), py::arg("vectors"));
}

// --- What makes meshes and surfaces ---------------------------------------------------------------------

py::tuple MeshLabels(Image const& labels, double size, std::optional<double> largest_size,
                     std::vector<std::int32_t> const& only, double min_dihedral,
                     std::optional<double> smoothing, int rounds, double memory, int threads) {
    MeshFromLabelsOptions options;
    options.size = size;
    options.largest_size = largest_size;
    options.labels = only;
    options.min_dihedral = min_dihedral;
    options.smoothing = smoothing;
    options.rounds = rounds;
    options.memory = memory;
    return Apart(
        Call(threads).Run([&](Context const& context) { return MeshFromLabels(labels, options, context); }),
        &MeshFromLabelsResult::model);
}

void AddMeshes(py::module_& module) {
    module.def("mesh_labels", &MeshLabels, py::arg("labels"), py::arg("size"), py::arg("largest_size"),
               py::arg("only"), py::arg("min_dihedral"), py::arg("smoothing"), py::arg("rounds"),
               py::arg("memory"), py::arg("threads"));
    module.def(
        "convert",
        [](SharedModel& m, std::string const& to, bool split) {
            using Target = ConvertOptions::Target;
            ConvertOptions options;
            options.target = Named<Target>(
                {{"tet4", split ? Target::Tet4Split : Target::Tet4}, {"tet10", Target::Tet10}}, to, "to");
            return Apart(Report<Convert>(m, options), &ConvertResult::model);
        },
        py::arg("model"), py::arg("to"), py::arg("split"));
    module.def(
        "remove",
        [](SharedModel& m, std::vector<std::string> const& names) {
            return Apart(Report<Remove>(m, RemoveOptions{names}), &RemoveResult::model);
        },
        py::arg("model"), py::arg("names"));
    module.def(
        "weld",
        [](SharedModel& m, double tolerance) {
            return Apart(Report<Weld>(m, WeldOptions{tolerance}), &WeldResult::model);
        },
        py::arg("model"), py::arg("tolerance"));
}

SurfaceModel CopyOf(SurfaceModel const& surface) {
    SurfaceModel copy;
    copy.file = surface.file;
    copy.surfaces.reset(surface.surfaces->Clone(nullptr));
    copy.arrays = surface.arrays;
    copy.frame = surface.frame;
    return copy;
}

py::tuple GrowBad(SharedModel& shared, SharedSurface const* surface, std::string const& metric,
                  std::optional<double> below, std::optional<double> above, int rings, int threads) {
    GrowOptions const options{metric, Threshold(below, above), rings};
    RequireValid(options);
    return Apart(Call(threads).Run(
                     shared,
                     [&](Model& model, Context const& context) {
                         return Grow(model, surface ? std::optional(CopyOf(surface->surface)) : std::nullopt,
                                     options, context);
                     }),
                 &GrowResult::surface);
}

void AddSurfaces(py::module_& module) {
    module.def(
        "surfaces",
        [](SharedModel& m, bool interfaces, bool by_volumes, bool curved) {
            SurfacesOptions options;
            options.interfaces = interfaces;
            options.names = by_volumes ? SurfacesOptions::Names::Volumes : SurfacesOptions::Names::Ids;
            options.curved = curved;
            return Apart(Report<Surfaces>(m, options), &SurfacesResult::surfaces);
        },
        py::arg("model"), py::arg("interfaces"), py::arg("by_volumes"), py::arg("curved"));
    module.def(
        "iso",
        [](SharedModel& m, std::string const& field, double level, std::optional<int> component) {
            return Apart(Report<Iso>(m, IsoOptions{field, component, level}), &IsoResult::surface);
        },
        py::arg("model"), py::arg("field"), py::arg("level"), py::arg("component"));
    module.def(
        "cut",
        [](SharedModel& m, std::array<double, 3> const& normal, std::array<double, 3> const& point) {
            return Apart(Report<Cut>(m, CutOptions{normal, point, true}), &CutResult::section);
        },
        py::arg("model"), py::arg("normal"), py::arg("point"));
    module.def(
        "boundary",
        [](SharedModel& m, bool interfaces, bool simplify, bool colors, bool all_faces) {
            return Apart(Report<Boundary>(m, BoundaryOptions{interfaces, simplify, colors, all_faces}),
                         &BoundaryResult::surface);
        },
        py::arg("model"), py::arg("interfaces"), py::arg("simplify"), py::arg("colors"),
        py::arg("all_faces"));
    module.def(
        "explode",
        [](SharedModel& m, double shrink, std::string const& select) {
            ExplodeOptions const options{shrink, select};
            RequireValid(options);
            return Apart(Report<Explode>(m, options), &ExplodeResult::surface);
        },
        py::arg("model"), py::arg("shrink"), py::arg("select"));
    module.def("grow", &GrowBad, py::arg("model"), py::arg("surface").none(true), py::arg("metric"),
               py::arg("below"), py::arg("above"), py::arg("rings"), py::arg("threads"));
    module.def(
        "match",
        [](SharedModel& m, SharedSurface const& surface, double tolerance) {
            return Call().Run(m, [&](Model& model, Context const& context) {
                return Match(model, surface.surface, MatchOptions{tolerance}, context);
            });
        },
        py::arg("model"), py::arg("surface"), py::arg("tolerance"));
    module.def(
        "graph",
        [](SharedModel& m, std::string const& path, bool all_edges, std::string const& unit) {
            auto const length = UnitNamed(unit);
            std::optional<KetSDK::MeshVTK::OutputFile> file;
            if (!path.empty())
                file.emplace(OpenGraphFile(path));
            return Call().Run(m, [&](Model const& model, Context const& context) {
                auto const result = Graph(model, GraphOptions{all_edges}, context);
                if (file)
                    WriteGraphs(*result.lines, *file, length, context, result.frame);
                return result.graphs;
            });
        },
        py::arg("model"), py::arg("path"), py::arg("all_edges"), py::arg("unit"));
    module.def(
        "view",
        [](SharedModel& m, std::string const& path, std::string const& color, std::string const& metrics,
           std::uint64_t max_elements) {
            auto file = OpenPage(path);
            return Call().Run(m, [&](Model const& model, Context const& context) {
                return View(model, file, ViewOptions{color, metrics, max_elements}, context);
            });
        },
        py::arg("model"), py::arg("path"), py::arg("color"), py::arg("metrics"), py::arg("max_elements"));
    module.def(
        "save_catalog",
        [](SharedModel& m, std::string const& path) {
            Call().Run(m, [&](Model const& model, Context const&) {
                WriteCatalog(model.mesh->GetMaterialCatalog(), path);
                return true;
            });
        },
        py::arg("model"), py::arg("path"));
}

} // namespace

void AddJobs(py::module_& module) {
    AddMeasures(module);
    AddChanges(module);
    AddMeshes(module);
    AddSurfaces(module);
}

} // namespace ketmesh
