#include "Numbers.h"
#include "Record.h"
#include "Run.h"

#include <KetSDK/MeshJobs/Boundary.h>
#include <KetSDK/MeshJobs/Check.h>
#include <KetSDK/MeshJobs/Colors.h>
#include <KetSDK/MeshJobs/Convert.h>
#include <KetSDK/MeshJobs/Cut.h>
#include <KetSDK/MeshJobs/Diff.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/Explode.h>
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
#include <KetSDK/MeshJobs/Metrics.h>
#include <KetSDK/MeshJobs/Orient.h>
#include <KetSDK/MeshJobs/Project.h>
#include <KetSDK/MeshJobs/Quality.h>
#include <KetSDK/MeshJobs/Remove.h>
#include <KetSDK/MeshJobs/Repair.h>
#include <KetSDK/MeshJobs/Split.h>
#include <KetSDK/MeshJobs/Surfaces.h>

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

// The surface that a job made, beside what it reports.
template <typename Result>
py::tuple WithSurface(Result&& result, SurfaceModel&& surface) {
    auto handle = std::make_shared<SharedSurface>(std::move(surface));
    return py::make_tuple(handle, py::cast(std::move(result)));
}

ModelHandle Share(Model&& model) {
    return std::make_shared<SharedModel>(std::move(model));
}

// The value that a word stands for. Throws Error with the words that there are.
template <typename Value>
Value Named(std::map<std::string, Value> const& words, std::string const& word, char const* what) {
    if (auto const found = words.find(word); found != words.end())
        return found->second;
    std::string known;
    for (auto const& [name, value] : words)
        known += (known.empty() ? "" : ", ") + name;
    throw Error(std::string(what) + " cannot be \"" + word + "\"; it is one of " + known);
}

// --- Measures -------------------------------------------------------------------------------------------

QualityThreshold Threshold(std::optional<double> below, std::optional<double> above) {
    if (below && above)
        throw Error("values are bad below or above a threshold, not both");
    if (above)
        return {QualityThreshold::Side::Above, *above};
    return {QualityThreshold::Side::Below, below.value_or(0.0)};
}

std::vector<MetricReport> MeasureQuality(SharedModel& shared, std::string const& metrics,
                                         std::optional<double> below, std::optional<double> above, int bins,
                                         std::size_t worst, int threads) {
    QualityOptions options;
    options.metrics = metrics;
    options.bad = Threshold(below, above);
    options.binning.partitions = bins;
    options.worst = worst;
    CheckQualityOptions(options);
    return Report<Quality>(shared, options, threads).metrics;
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

std::vector<std::string> MetricNames() {
    std::vector<std::string> names;
    for (auto const& metric : KetSDK::Mesh::QualityMetrics())
        names.emplace_back(metric.name);
    return names;
}

void AddMeasures(py::module_& module) {
    module.def("info", [](SharedModel& m) {
        return Call().Run(m, [](Model const& model, Context const& context) { return Info(model, context); });
    });
    module.def(
        "check", [](SharedModel& m, double tolerance) { return Report<Check>(m, CheckOptions{tolerance}); },
        py::arg("model"), py::arg("tolerance"));
    module.def("quality", &MeasureQuality, py::arg("model"), py::arg("metrics"), py::arg("below"),
               py::arg("above"), py::arg("bins"), py::arg("worst"), py::arg("threads"));
    module.def("quality_values", &QualityValues, py::arg("model"), py::arg("metric"), py::arg("threads"));
    module.def("metrics", &MetricNames);
    module.def("diff", [](SharedModel& first, SharedModel& second) {
        return Call().Run(first, second, [](Model const& a, Model const& b, Context const& context) {
            return Diff(a, b, ReadOptions{}, context);
        });
    });
    module.def(
        "colors",
        [](SharedModel& m, int bins) {
            ColorsOptions options;
            options.bins = bins;
            return Report<Colors>(m, options).intervals;
        },
        py::arg("model"), py::arg("bins"));
}

// --- What changes a mesh --------------------------------------------------------------------------------

SurfaceModel const* SurfaceOf(SharedSurface const* shared) {
    return shared ? &shared->surface : nullptr;
}

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
    take("bins", options.bins);
    take("order", options.order);
    take("outside", options.outside_value);
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

void AddChanges(py::module_& module) {
    module.def(
        "repair",
        [](SharedModel& m, double min_ratio, double max_ratio, double min_alignment) {
            RepairOptions const options{min_ratio, max_ratio, min_alignment};
            RequireValid(options);
            return Report<Repair>(m, options);
        },
        py::arg("model"), py::arg("min_ratio"), py::arg("max_ratio"), py::arg("min_alignment"));
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
        [](SharedModel& m, SharedSurface const& surface, double distance, bool interfaces) {
            return Call().Run(m, [&](Model& model, Context const& context) {
                ProjectOptions options;
                options.distance = distance;
                options.interfaces = interfaces;
                return Project(model, surface.surface, options, context);
            });
        },
        py::arg("model"), py::arg("surface"), py::arg("distance"), py::arg("interfaces"));
    module.def(
        "materials",
        [](SharedModel& m, Image const& image, py::dict const& given, int threads) {
            MaterialsOptions const options = OptionsOf(given);
            CheckMaterialsOptions(options);
            return Call(threads).Run(m, [&](Model& model, Context const& context) {
                return Materials(model, image, options, context);
            });
        },
        py::arg("model"), py::arg("image"), py::arg("options"), py::arg("threads"));
}

// --- What makes meshes and surfaces ---------------------------------------------------------------------

void AddMeshes(py::module_& module) {
    module.def(
        "convert",
        [](SharedModel& m, std::string const& to, bool split) {
            using Target = ConvertOptions::Target;
            ConvertOptions options;
            options.target = Named<Target>(
                {{"tet4", split ? Target::Tet4Split : Target::Tet4}, {"tet10", Target::Tet10}}, to, "to");
            return Share(std::move(Report<Convert>(m, options).model));
        },
        py::arg("model"), py::arg("to"), py::arg("split"));
    module.def(
        "remove",
        [](SharedModel& m, std::vector<std::string> const& names) {
            return Share(std::move(Report<Remove>(m, RemoveOptions{names}).model));
        },
        py::arg("model"), py::arg("names"));
}

void AddSurfaces(py::module_& module) {
    module.def(
        "surfaces",
        [](SharedModel& m, bool interfaces, bool by_volumes) {
            SurfacesOptions options;
            options.interfaces = interfaces;
            options.names = by_volumes ? SurfacesOptions::Names::Volumes : SurfacesOptions::Names::Ids;
            return std::make_shared<SharedSurface>(std::move(Report<Surfaces>(m, options).surfaces));
        },
        py::arg("model"), py::arg("interfaces"), py::arg("by_volumes"));
    module.def(
        "iso",
        [](SharedModel& m, std::string const& field, double level, std::optional<int> component) {
            auto result = Report<Iso>(m, IsoOptions{field, component, level});
            SurfaceModel surface = std::move(result.surface);
            return WithSurface(std::move(result), std::move(surface));
        },
        py::arg("model"), py::arg("field"), py::arg("level"), py::arg("component"));
    module.def(
        "cut",
        [](SharedModel& m, std::array<double, 3> const& normal, std::array<double, 3> const& point) {
            auto result = Report<Cut>(m, CutOptions{normal, point, true});
            SurfaceModel surface = std::move(result.section);
            return WithSurface(std::move(result), std::move(surface));
        },
        py::arg("model"), py::arg("normal"), py::arg("point"));
    module.def(
        "boundary",
        [](SharedModel& m, bool interfaces, bool simplify, bool colors, bool all_faces) {
            auto result = Report<Boundary>(m, BoundaryOptions{interfaces, simplify, colors, all_faces});
            SurfaceModel surface = std::move(result.surface);
            return WithSurface(std::move(result), std::move(surface));
        },
        py::arg("model"), py::arg("interfaces"), py::arg("simplify"), py::arg("colors"),
        py::arg("all_faces"));
    module.def(
        "explode",
        [](SharedModel& m, double shrink, std::string const& select) {
            ExplodeOptions const options{shrink, select};
            RequireValid(options);
            auto result = Report<Explode>(m, options);
            SurfaceModel surface = std::move(result.surface);
            return WithSurface(std::move(result), std::move(surface));
        },
        py::arg("model"), py::arg("shrink"), py::arg("select"));
    module.def(
        "grow",
        [](SharedModel& m, std::string const& metric, std::optional<double> below,
           std::optional<double> above, int rings) {
            GrowOptions const options{metric, Threshold(below, above), rings};
            RequireValid(options);
            auto result = Call().Run(m, [&](Model& model, Context const& context) {
                return Grow(model, std::nullopt, options, context);
            });
            SurfaceModel surface = std::move(result.surface);
            return WithSurface(std::move(result), std::move(surface));
        },
        py::arg("model"), py::arg("metric"), py::arg("below"), py::arg("above"), py::arg("rings"));
    module.def(
        "match",
        [](SharedModel& m, SharedSurface const& surface, double tolerance) {
            return Call().Run(m, [&](Model& model, Context const& context) {
                return Match(model, surface.surface, MatchOptions{tolerance}, context).counts;
            });
        },
        py::arg("model"), py::arg("surface"), py::arg("tolerance"));
    module.def(
        "graph",
        [](SharedModel& m, std::string const& path, bool all_edges) {
            auto const graphs = Report<Graph>(m, GraphOptions{all_edges});
            if (!path.empty())
                Call().Run([&](Context const& context) {
                    auto file = OpenGraphFile(path);
                    WriteGraphs(*graphs.lines, file, {}, context);
                    return true;
                });
            return graphs.graphs;
        },
        py::arg("model"), py::arg("path"), py::arg("all_edges"));
}

} // namespace

void AddJobs(py::module_& module) {
    AddMeasures(module);
    AddChanges(module);
    AddMeshes(module);
    AddSurfaces(module);
}

} // namespace ketmesh
