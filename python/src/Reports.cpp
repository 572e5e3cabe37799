// SPDX-License-Identifier: BSD-3-Clause
#include "Record.h"
#include "Words.h"

#include <KetSDK/MeshJobs/Boundary.h>
#include <KetSDK/MeshJobs/Check.h>
#include <KetSDK/MeshJobs/Colors.h>
#include <KetSDK/MeshJobs/Convert.h>
#include <KetSDK/MeshJobs/Cut.h>
#include <KetSDK/MeshJobs/Diff.h>
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
#include <KetSDK/MeshJobs/Remove.h>
#include <KetSDK/MeshJobs/Repair.h>
#include <KetSDK/MeshJobs/Split.h>
#include <KetSDK/MeshJobs/SurfaceModel.h>
#include <KetSDK/MeshJobs/Surfaces.h>
#include <KetSDK/MeshJobs/View.h>
#include <KetSDK/MeshJobs/Weld.h>

#include <map>
#include <optional>
#include <utility>
#include <vector>

namespace ketmesh {

namespace {

using namespace KetSDK::MeshJobs;

// "#rrggbb"
std::string ColorText(unsigned int color) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text = "#";
    for (int shift = 20; shift >= 0; shift -= 4)
        text += digits[color >> shift & 15];
    return text;
}

constexpr char const* SolidsHelp = "HexahedraAndWedges; None when there are none";
std::optional<SolidsReport> Solids(SolidsReport const& report) {
    return report.elements > 0 ? std::optional(report) : std::nullopt;
}

void AddParts(py::module_& module) {
    Record<SubVolumeReport>(module, "SubVolume", "A sub-volume of a mesh.")
        .Field("number", &SubVolumeReport::number, "index in the list")
        .Field("name", &SubVolumeReport::name, "")
        .Field("elements", &SubVolumeReport::elements, "how many there are")
        .Field("volume", &SubVolumeReport::volume, "mm3, signed");
    Record<SurfaceReport>(module, "SurfaceReport", "One surface.")
        .Field("name", &SurfaceReport::name, "")
        .Field("triangles", &SurfaceReport::triangles, "how many there are")
        .Field("area", &SurfaceReport::area, "mm2")
        .Field("closed", &SurfaceReport::closed, "every edge lies in exactly two triangles");
    Record<SolidsReport>(module, "HexahedraAndWedges", "What a job made of hexahedra and wedges.")
        .Field("elements", &SolidsReport::elements, "how many there are")
        .Field(
            "taken_as", [](SolidsReport const& r) { return r.tetrahedra > 0 ? "tetrahedra" : "elements"; },
            "\"elements\", as they are, or \"tetrahedra\"")
        .Field("tetrahedra", &SolidsReport::tetrahedra, "that they were cut into; 0 where taken as they are");
    Record<KetSDK::MeshVTK::RoundingReport>(module, "Rounding", "What rounding to integer coordinates did.")
        .Field("out_of_range", &KetSDK::MeshVTK::RoundingReport::out_of_range, "points beyond the integers")
        .Field("merged", &KetSDK::MeshVTK::RoundingReport::merged, "points that came to lie on others")
        .Field("largest_error", &KetSDK::MeshVTK::RoundingReport::largest_error, "mm");
}

std::map<unsigned int, double> PercentilesOf(MetricReport const& report) {
    std::map<unsigned int, double> values;
    auto const& percents = KetSDK::Mesh::QualityStatistics::Percents;
    for (std::size_t i = 0; i < percents.size(); ++i)
        values[percents[i]] = report.statistics.percentiles[i];
    return values;
}

void AddMeasureReports(py::module_& module) {
    Record<ArrayReport>(module, "ArrayInfo", "An array of a mesh.")
        .Field("where", &ArrayReport::where, "\"cells\", \"points\" or \"field\"")
        .Field("name", &ArrayReport::name, "")
        .Field("type", &ArrayReport::type, "of its numbers, or \"string\"")
        .Field("components", &ArrayReport::components, "of each row")
        .Field("range", &ArrayReport::range, "the smallest and the largest finite value; None without one");
    Record<InfoResult>(module, "Info", "What a mesh holds.")
        .Field("elements", &InfoResult::elements, "how many there are")
        .Field("nodes", &InfoResult::nodes, "how many there are")
        .Field(
            "kinds",
            [](InfoResult const& r) {
                py::dict kinds;
                for (KindCount const& kind : r.kinds)
                    kinds[kind.name] = kind.elements;
                return kinds;
            },
            "number of elements by kind")
        .Field("subvolumes", &InfoResult::subvolumes, "list of SubVolume")
        .Field("volume", &InfoResult::volume, "mm3, signed")
        .Field(
            "frame", [](InfoResult const& r) { return WordOf(r.frame); }, "\"RAS\", \"LPS\" or None")
        .Field("box", &InfoResult::box, "mm: xmin, ymin, zmin, xmax, ymax, zmax")
        .Field("arrays", &InfoResult::arrays, "list of ArrayInfo")
        .Field("rounding", &InfoResult::rounding, "what reading did to coordinates")
        .Field("memory", &InfoResult::memory, "bytes that the mesh takes");
    Record<CheckResult>(module, "Check", "Numbers of elements with defects.")
        .Field("elements", &CheckResult::elements, "how many there are")
        .Field(
            "hexahedra_and_wedges", [](CheckResult const& r) { return Solids({r.solids}); }, SolidsHelp)
        .Field("quadratic", &CheckResult::quadratic, "there are mid-edge nodes to look at")
        .Field("wrong_orientation", &CheckResult::wrong_orientation, "negative volume")
        .Field("folded", &CheckResult::folded, "negative Jacobian determinant somewhere")
        .Field("zero_volume", &CheckResult::zero_volume, "flat or collapsed")
        .Field("wrong_mid_edges", &CheckResult::wrong_mid_edges, "mid-edge node off the middle of its edge")
        .Field("wrong_mid_faces", &CheckResult::wrong_mid_faces, "the same of a face")
        .Field(
            "duplicate_elements", [](CheckResult const& r) { return r.topology.duplicate_elements; },
            "on the nodes of an earlier one")
        .Field(
            "duplicate_nodes", [](CheckResult const& r) { return r.topology.duplicate_nodes; },
            "at the position of an earlier one")
        .Field(
            "faces_of_three", [](CheckResult const& r) { return r.topology.faces_of_three; },
            "faces of more than two elements")
        .Field(
            "unused_nodes", [](CheckResult const& r) { return r.topology.unused_nodes; },
            "nodes of no element")
        .Field(
            "parts", [](CheckResult const& r) { return r.topology.parts; },
            "sets of elements that are connected through faces");
    Record<WorstElement>(module, "WorstElement", "An element that is among the worst.")
        .Field("element", &WorstElement::element, "number in the mesh")
        .Field("value", &WorstElement::value, "of the metric")
        .Field("centre", &WorstElement::centre, "mm")
        .Field("subvolume", &WorstElement::subvolume, "name");
    Record<MetricReport>(module, "MetricReport", "What is said of one quality metric.")
        .Field(
            "metric", [](MetricReport const& r) { return r.metric->name; }, "name")
        .Field("elements", &MetricReport::elements, "measured")
        .Field(
            "min", [](MetricReport const& r) { return r.statistics.min; }, "of the finite values")
        .Field(
            "mean", [](MetricReport const& r) { return r.statistics.mean; }, "")
        .Field(
            "max", [](MetricReport const& r) { return r.statistics.max; }, "")
        .Field(
            "nonfinite", [](MetricReport const& r) { return r.statistics.nonfinite; }, "values")
        .Field("percentiles", &PercentilesOf, "values by 1, 5, 25, 50, 75, 95 and 99 per cent")
        .Field("bad", &MetricReport::bad, "elements with bad values")
        .Field(
            "histogram_range", [](MetricReport const& r) { return std::pair(r.bins.min, r.bins.max); }, "")
        .Field(
            "histogram_counts", [](MetricReport const& r) { return r.bins.counts; }, "")
        .Field("worst", &MetricReport::worst, "list of WorstElement, the worst first");
    Record<LimitReport>(module, "LimitReport", "How many elements fail a limit.")
        .Field(
            "limit", [](LimitReport const& r) { return DescribeLimit(r.limit); }, "in words")
        .Field("failing", &LimitReport::failing, "elements");
    Record<QualityResult>(module, "Quality", "What was measured of a mesh.")
        .Field("elements", &QualityResult::elements, "how many there are")
        .Field(
            "hexahedra_and_wedges", [](QualityResult const& r) { return Solids({r.solids}); }, SolidsHelp)
        .Field("metrics", &QualityResult::metrics, "list of MetricReport")
        .Field("limits", &QualityResult::limits, "list of LimitReport")
        .Field("failing", &QualityResult::failing, "elements that fail a limit or the threshold, or fold");
    Record<DiffResult>(module, "Diff", "How two meshes compare.")
        .Field("equal", &DiffResult::AreEqual, "")
        .Field("first_difference", &DiffResult::first_difference, "in words; None when equal")
        .Field("left_out", &DiffResult::left_out, "what was not compared; None for nothing");
    Record<ColorInterval>(module, "ColorInterval", "An interval of grey values and its colour.")
        .Field("low", &ColorInterval::low, "")
        .Field("high", &ColorInterval::high, "")
        .Field(
            "color", [](ColorInterval const& i) { return ColorText(i.color); }, "\"#rrggbb\"");
}

void AddChangeReports(py::module_& module) {
    Record<RatioReport>(module, "Ratios", "The Jacobian ratios of a mesh.")
        .Field("bad", &RatioReport::bad, "elements outside what is good")
        .Field("folded", &RatioReport::folded, "elements below 0")
        .Field("min", &RatioReport::min, "")
        .Field("median", &RatioReport::median, "")
        .Field("max", &RatioReport::max, "");
    Record<RepairResult>(module, "Repair", "What repairing did.")
        .Field("elements", &RepairResult::elements, "how many there are")
        .Field("outer", &RepairResult::outer, "elements with a corner on the boundary")
        .Field("modified", &RepairResult::modified, "elements whose mid-edge nodes were moved")
        .Field("straightened", &RepairResult::straightened, "how often an element was straightened fully")
        .Field("mid_nodes_aligned", &RepairResult::mid_nodes_aligned, "nodes pulled back for their alignment")
        .Field("passes", &RepairResult::passes, "")
        .Field("before", &RepairResult::before, "Ratios")
        .Field("after", &RepairResult::after, "Ratios");
    Record<OrientResult>(module, "Orient", "What turning did.")
        .Field("elements", &OrientResult::elements, "how many there are")
        .Field("tetrahedra", &OrientResult::tetrahedra, "")
        .Field("flat", &OrientResult::flat, "tetrahedra without volume, which stay")
        .Field("corrected", &OrientResult::corrected, "inverted ones that were turned")
        .Field("volume_before", &OrientResult::volume_before, "mm3, signed")
        .Field("volume_after", &OrientResult::volume_after, "mm3, signed");
    Record<LabelResult>(module, "Label", "The regions that became sub-volumes.")
        .Field("elements", &LabelResult::elements, "how many there are")
        .Field(
            "hexahedra_and_wedges", [](LabelResult const& r) { return Solids(r.solids); }, SolidsHelp)
        .Field("subvolumes", &LabelResult::subvolumes, "list of SubVolume");
    Record<GroupResult>(module, "Group", "The sub-volumes that were joined.")
        .Field("elements", &GroupResult::elements, "how many there are")
        .Field("groups_of", &GroupResult::groups_of, "how many sub-volumes there were")
        .Field("subvolumes", &GroupResult::subvolumes, "list of SubVolume");
    Record<SplitResult>(module, "Split", "What splitting made.")
        .Field("elements", &SplitResult::elements, "how many there are")
        .Field("nodes", &SplitResult::nodes, "how many there are")
        .Field("new_subvolumes", &SplitResult::new_subvolumes, "at the end of the list")
        .Field("subvolumes", &SplitResult::subvolumes, "list of SubVolume");
    Record<MergeResult>(module, "Merge", "What merging made.")
        .Field("elements", &MergeResult::elements, "how many there are")
        .Field("nodes", &MergeResult::nodes, "how many there are")
        .Field("joined_nodes", &MergeResult::joined_nodes,
               "nodes of the second mesh that became one with another")
        .Field("duplicate_elements", &MergeResult::duplicate_elements, "on the positions of an earlier one")
        .Field("subvolumes", &MergeResult::subvolumes, "list of SubVolume");
    Record<LayerReport>(module, "Layer", "The elements of one layer.")
        .Field("elements", &LayerReport::elements, "how many there are")
        .Field("volume", &LayerReport::volume, "mm3, signed");
    Record<LayersResult>(module, "Layers", "The layers from the boundary inwards.")
        .Field("elements", &LayersResult::elements, "how many there are")
        .Field("elements_in_layers", &LayersResult::elements_in_layers, "")
        .Field("layers", &LayersResult::layers, "list of Layer, the outermost first")
        .Field("inside", &LayersResult::inside, "what is in no layer");
    using State = ProjectResult::State;
    Record<State>(module, "ProjectState", "Where a mesh is in relation to a surface.")
        .Field("volume", &State::volume, "mm3, signed")
        .Field("mean_distance", &State::mean_distance, "of the nodes from the surface, mm")
        .Field("largest_distance", &State::largest_distance, "mm")
        .Field("quality", &State::quality, "the smallest scaled Jacobian of an element");
    Record<ProjectResult>(module, "Project", "What became of the nodes at the boundary.")
        .Field("nodes", &ProjectResult::nodes, "moved, shortened and left together")
        .Field("moved", &ProjectResult::moved, "onto the surface")
        .Field("shortened", &ProjectResult::shortened, "came part of the way")
        .Field("left", &ProjectResult::left, "stand where they stood")
        .Field("too_far", &ProjectResult::too_far, "of those left")
        .Field("on_surface", &ProjectResult::on_surface, "of those left: were there already")
        .Field("held", &ProjectResult::held, "of those left: by elements that would be spoilt")
        .Field("limited", &ProjectResult::limited,
               "of those shortened and held: by the smallest quality alone")
        .Field("largest_move", &ProjectResult::largest_move, "mm")
        .Field("before", &ProjectResult::before, "ProjectState")
        .Field("after", &ProjectResult::after, "ProjectState");
}

void AddMaterials(py::module_& module) {
    using KetSDK::Mesh::AssignedMaterial;
    using KetSDK::MeshVTK::SamplingReport;
    Record<AssignedMaterial>(module, "Material", "A material that elements have.")
        .Field("id", &AssignedMaterial::id, "")
        .Field("subvolume", &AssignedMaterial::subvolume, "number of the sub-volume; -1 for all")
        .Field("density", &AssignedMaterial::density, "g/cm3")
        .Field("emodulus", &AssignedMaterial::emodulus, "MPa")
        .Field("elements", &AssignedMaterial::elements, "how many have it")
        .Field("volume", &AssignedMaterial::volume, "mm3")
        .Field("mass", &AssignedMaterial::Mass, "g")
        .Field("poisson", &AssignedMaterial::poisson, "")
        .Field("mass_of_elements", &AssignedMaterial::mass_of_elements,
               "g, each element with its own density")
        .Field(
            "grey", [](AssignedMaterial const& m) { return std::pair(m.LowGrey(), m.HighGrey()); },
            "the interval of grey values")
        .Field(
            "color", [](AssignedMaterial const& m) { return ColorText(m.color); }, "\"#rrggbb\"")
        .Field("mean_grey", &AssignedMaterial::mean_grey, "of the elements");
    Record<SamplingReport>(module, "Sampling", "What sampling the image met.")
        .Field("elements", &SamplingReport::elements, "how many there are")
        .Field("outside", &SamplingReport::outside, "elements beyond the outermost voxel centres")
        .Field("fallbacks", &SamplingReport::fallbacks, "elements sampled in a simpler way")
        .Field("not_finite", &SamplingReport::not_finite, "elements without a finite sample")
        .Field("smallest", &SamplingReport::smallest, "grey value")
        .Field("largest", &SamplingReport::largest, "grey value")
        .Field("mean", &SamplingReport::mean, "grey value");
    Record<MaterialsResult>(module, "Materials", "The materials that a mesh was given.")
        .Field("elements", &MaterialsResult::elements, "how many there are")
        .Field("materials", &MaterialsResult::materials, "list of Material, by id")
        .Field("sampling", &MaterialsResult::sampling, "Sampling")
        .Field("volume", &MaterialsResult::volume, "mm3")
        .Field("mass", &MaterialsResult::mass, "g")
        .Field("mass_of_elements", &MaterialsResult::mass_of_elements, "g, each element with its own density")
        .Field("without_material", &MaterialsResult::without_material, "elements");
}

// What jobs say of the meshes that they make.
void AddMadeMeshes(py::module_& module) {
    using Size = ConvertResult::Size;
    using Cut = ConvertResult::Cut;
    Record<Size>(module, "MeshSize", "How large a mesh is.")
        .Field("elements", &Size::elements, "how many there are")
        .Field("nodes", &Size::nodes, "how many there are")
        .Field("volume", &Size::volume, "mm3, signed");
    Record<Cut>(module, "CutElements", "What cutting hexahedra and wedges met.")
        .Field("interior_faces", &Cut::interior_faces, "with four corners, between two of them")
        .Field("nonmatching_faces", &Cut::nonmatching_faces, "at which tetrahedra do not fit together")
        .Field("nodes_inside", &Cut::nodes_inside, "new nodes in warped elements")
        .Field("folded", &Cut::folded, "elements that no cut makes positive");
    Record<ConvertResult>(module, "Convert", "What converting made.")
        .Field("before", &ConvertResult::before, "MeshSize")
        .Field("after", &ConvertResult::after, "MeshSize")
        .Field("reoriented", &ConvertResult::reoriented, "inverted elements that were turned")
        .Field("subvolumes", &ConvertResult::subvolumes, "list of SubVolume")
        .Field("cut", &ConvertResult::cut, "CutElements; None without hexahedra and wedges");
    Record<RemoveResult>(module, "Remove", "What is left.")
        .Field("elements", &RemoveResult::elements, "that are left")
        .Field("nodes", &RemoveResult::nodes, "that are left")
        .Field("removed_elements", &RemoveResult::removed_elements, "how many went")
        .Field("removed_nodes", &RemoveResult::removed_nodes, "how many went")
        .Field("subvolumes", &RemoveResult::subvolumes, "list of SubVolume");
    Record<WeldResult>(module, "Weld", "What became of nodes that lie twice.")
        .Field("elements", &WeldResult::elements, "how many there are")
        .Field("nodes", &WeldResult::nodes, "that are left")
        .Field("joined_nodes", &WeldResult::joined_nodes, "nodes that became one with another")
        .Field("duplicate_elements", &WeldResult::duplicate_elements, "on the positions of an earlier one")
        .Field("subvolumes", &WeldResult::subvolumes, "list of SubVolume");
    Record<MeshedLabel>(module, "MeshedLabel", "What became of a label.")
        .Field("label", &MeshedLabel::label, "its number")
        .Field("elements", &MeshedLabel::elements, "0 when there is no sub-volume of it")
        .Field("voxel_volume", &MeshedLabel::voxel_volume, "mm3")
        .Field("volume", &MeshedLabel::volume, "mm3")
        .Field("interface_nodes", &MeshedLabel::interface_nodes, "how many there are")
        .Field("mean_distance", &MeshedLabel::mean_distance, "of these from the smoothed interface, mm")
        .Field("largest_distance", &MeshedLabel::largest_distance, "mm")
        .Field("not_found", &MeshedLabel::not_found, "of these without an interface near them")
        .Field("thickness", &MeshedLabel::thickness, "mm; as a plate of the same volume and surface")
        .Field("lost_volume", &MeshedLabel::lost_volume, "mm3");
    using Meshed = MeshFromLabelsResult;
    Record<Meshed>(module, "MeshFromLabels", "What a mesh of labels is like.")
        .Field("subvolumes", &Meshed::subvolumes, "list of SubVolume")
        .Field("min_dihedral", &Meshed::min_dihedral, "of all elements, degrees")
        .Field("largest_size", &Meshed::largest_size, "mm")
        .Field("relabelled", &Meshed::relabelled, "elements whose label gave way to a closed interface")
        .Field("labels", &Meshed::labels, "list of MeshedLabel");
    Record<FrameResult>(module, "Frame", "What turning into a frame of coordinates did.")
        .Field(
            "before", [](FrameResult const& r) { return WordOf(r.from); }, "\"RAS\" or \"LPS\"")
        .Field("turned", &FrameResult::turned, "not when it had that frame already");
}

void AddSurfaceReports(py::module_& module) {
    Record<SectionReport>(module, "Section", "What a sub-volume has of a section.")
        .Field("number", &SectionReport::number, "of the sub-volume")
        .Field("name", &SectionReport::name, "of the sub-volume")
        .Field("area", &SectionReport::area, "mm2");
    Record<MarkedSurfaceReport>(module, "MarkedSurface", "What is marked of a surface.")
        .Field("name", &MarkedSurfaceReport::name, "")
        .Field("triangles", &MarkedSurfaceReport::triangles, "how many there are")
        .Field("marked", &MarkedSurfaceReport::marked, "of the triangles")
        .Field("area", &MarkedSurfaceReport::area, "of the marked triangles, mm2");
    Record<ViewResult>(module, "View", "A page that shows a mesh.")
        .Field("elements", &ViewResult::elements, "of the mesh")
        .Field("nodes", &ViewResult::nodes, "of the mesh")
        .Field("shown", &ViewResult::shown, "elements that the page has")
        .Field("color", &ViewResult::color, "what it is coloured by when it opens")
        .Field("colors", &ViewResult::colors, "what it can be coloured by")
        .Field("bytes", &ViewResult::bytes, "of the page");
    Record<SurfacesResult>(module, "SurfacesReport", "The surfaces of a mesh.")
        .Field("surfaces", &SurfacesResult::reports, "list of SurfaceReport")
        .Field("triangles", &SurfacesResult::triangles, "of all surfaces")
        .Field("points", &SurfacesResult::points, "of all surfaces")
        .Field("taken_by_corners", &SurfacesResult::taken_by_corners,
               "ten-node tetrahedra whose faces are those of their corners");
    Record<IsoResult>(module, "Isosurface", "What an isosurface is like.")
        .Field(
            "hexahedra_and_wedges", [](IsoResult const& r) { return Solids(r.solids); }, SolidsHelp)
        .Field("from_elements", &IsoResult::from_elements, "the field was one on elements")
        .Field("min", &IsoResult::min, "of the field at the nodes")
        .Field("max", &IsoResult::max, "")
        .Field("nodes_without_value", &IsoResult::nodes_without_value, "")
        .Field("triangles", &IsoResult::triangles, "how many there are")
        .Field("collapsed", &IsoResult::collapsed, "triangles that rounding made edges or points; left out")
        .Field("area", &IsoResult::area, "mm2")
        .Field("closed", &IsoResult::closed, "")
        .Field("enclosed_volume", &IsoResult::enclosed_volume, "mm3; None unless closed");
    Record<CutResult>(module, "Cut", "What a plane cuts.")
        .Field("above", &CutResult::above, "elements")
        .Field("below", &CutResult::below, "elements")
        .Field("cut", &CutResult::cut, "elements")
        .Field("area", &CutResult::area, "of the section, mm2")
        .Field("contours", &CutResult::contours, "closed ones around the section")
        .Field("contour_length", &CutResult::contour_length, "mm")
        .Field("subvolumes", &CutResult::subvolumes, "list of Section");
    Record<BoundaryResult>(module, "Boundary", "The boundary of a mesh.")
        .Field(
            "hexahedra_and_wedges", [](BoundaryResult const& r) { return Solids(r.solids); }, SolidsHelp)
        .Field("boundary_elements", &BoundaryResult::boundary_elements, "with a face on the boundary")
        .Field("boundary_nodes", &BoundaryResult::boundary_nodes, "")
        .Field("triangles", &BoundaryResult::triangles, "how many there are")
        .Field("area", &BoundaryResult::area, "mm2")
        .Field("closed", &BoundaryResult::closed, "");
    Record<ExplodeResult>(module, "Explode", "An exploded view.")
        .Field("elements", &ExplodeResult::elements, "how many there are")
        .Field("elements_taken", &ExplodeResult::elements_taken, "")
        .Field("triangles", &ExplodeResult::triangles, "how many there are")
        .Field("volume_factor", &ExplodeResult::volume_factor, "");
    Record<GrowResult>(module, "Grow", "Triangles at bad elements.")
        .Field("elements", &GrowResult::elements, "how many there are")
        .Field("bad", &GrowResult::bad, "elements, without the rings")
        .Field("triangles", &GrowResult::triangles, "how many there are")
        .Field("on_mesh", &GrowResult::on_mesh, "triangles that are boundary faces")
        .Field("marked", &GrowResult::marked, "triangles")
        .Field("area", &GrowResult::area, "of the marked triangles, mm2")
        .Field("surfaces", &GrowResult::surfaces, "list of MarkedSurface");
    Record<GraphReport>(module, "Graph", "The edges of a sub-volume.")
        .Field("name", &GraphReport::name, "")
        .Field("vertices", &GraphReport::vertices, "how many there are")
        .Field("edges", &GraphReport::edges, "how many there are");
    Record<MatchCounts::Faces>(module, "MatchedFaces", "Faces with and without a triangle on them.")
        .Field("with_triangle", &MatchCounts::Faces::with_triangle, "")
        .Field("without_triangle", &MatchCounts::Faces::without_triangle, "");
    Record<MatchResult>(module, "Match", "How far a mesh and a surface correspond.")
        .Field(
            "hexahedra_and_wedges", [](MatchResult const& r) { return Solids(r.solids); }, SolidsHelp)
        .Field(
            "boundary", [](MatchResult const& r) { return r.counts.boundary; }, "MatchedFaces at the outside")
        .Field(
            "interfaces", [](MatchResult const& r) { return r.counts.interfaces; },
            "MatchedFaces between sub-volumes")
        .Field(
            "inner", [](MatchResult const& r) { return r.counts.inner; },
            "faces inside a sub-volume with a triangle")
        .Field(
            "with_face", [](MatchResult const& r) { return r.counts.with_face; }, "triangles")
        .Field(
            "without_face", [](MatchResult const& r) { return r.counts.without_face; }, "triangles")
        .Field(
            "wrong_way", [](MatchResult const& r) { return r.counts.wrong_way; },
            "faces whose triangle faces the other way")
        .Field(
            "mismatches", [](MatchResult const& r) { return r.counts.GetMismatches(); }, "");
}

} // namespace

void AddReports(py::module_& module) {
    AddParts(module);
    AddMeasureReports(module);
    AddChangeReports(module);
    AddMaterials(module);
    AddMadeMeshes(module);
    AddSurfaceReports(module);
}

} // namespace ketmesh
