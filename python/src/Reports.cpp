#include "Record.h"

#include <KetSDK/MeshJobs/Boundary.h>
#include <KetSDK/MeshJobs/Check.h>
#include <KetSDK/MeshJobs/Colors.h>
#include <KetSDK/MeshJobs/Convert.h>
#include <KetSDK/MeshJobs/Cut.h>
#include <KetSDK/MeshJobs/Diff.h>
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
#include <KetSDK/MeshJobs/Orient.h>
#include <KetSDK/MeshJobs/Project.h>
#include <KetSDK/MeshJobs/Quality.h>
#include <KetSDK/MeshJobs/Remove.h>
#include <KetSDK/MeshJobs/Repair.h>
#include <KetSDK/MeshJobs/Split.h>
#include <KetSDK/MeshJobs/SurfaceModel.h>

namespace ketmesh {

namespace {

using namespace KetSDK::MeshJobs;

void AddParts(py::module_& module) {
    Record<SubVolumeReport>(module, "SubVolume", "A sub-volume of a mesh.")
        .Field("number", &SubVolumeReport::number, "place in the list")
        .Field("name", &SubVolumeReport::name, "")
        .Field("elements", &SubVolumeReport::elements, "how many there are")
        .Field("volume", &SubVolumeReport::volume, "mm3, signed");
    Record<SurfaceReport>(module, "SurfaceReport", "One surface.")
        .Field("name", &SurfaceReport::name, "")
        .Field("triangles", &SurfaceReport::triangles, "how many there are")
        .Field("area", &SurfaceReport::area, "mm2")
        .Field("closed", &SurfaceReport::closed, "every edge lies in exactly two triangles");
    Record<KetSDK::MeshVTK::RoundingReport>(module, "Rounding", "What rounding to integer coordinates did.")
        .Field("out_of_range", &KetSDK::MeshVTK::RoundingReport::out_of_range, "points beyond the integers")
        .Field("merged", &KetSDK::MeshVTK::RoundingReport::merged, "points that came to lie on others")
        .Field("largest_error", &KetSDK::MeshVTK::RoundingReport::largest_error, "mm");
}

void AddMeasures(py::module_& module) {
    Record<InfoResult>(module, "Info", "What a mesh holds.")
        .Field("elements", &InfoResult::elements, "")
        .Field("nodes", &InfoResult::nodes, "")
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
        .Field("box", &InfoResult::box, "mm: xmin, ymin, zmin, xmax, ymax, zmax")
        .Field("rounding", &InfoResult::rounding, "what reading did to coordinates")
        .Field("memory", &InfoResult::memory, "bytes that the mesh takes");
    Record<CheckResult>(module, "Check", "Numbers of elements with defects.")
        .Field("elements", &CheckResult::elements, "")
        .Field("wrong_orientation", &CheckResult::wrong_orientation, "negative volume")
        .Field("folded", &CheckResult::folded, "negative Jacobian determinant somewhere")
        .Field("zero_volume", &CheckResult::zero_volume, "flat or collapsed")
        .Field("wrong_mid_edges", &CheckResult::wrong_mid_edges, "mid-edge node off the middle of its edge")
        .Field("wrong_mid_faces", &CheckResult::wrong_mid_faces, "the same of a face");
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
        .Field("bad", &MetricReport::bad, "elements with bad values")
        .Field(
            "histogram_range", [](MetricReport const& r) { return std::pair(r.bins.min, r.bins.max); }, "")
        .Field(
            "histogram_counts", [](MetricReport const& r) { return r.bins.counts; }, "")
        .Field("worst", &MetricReport::worst, "list of WorstElement, the worst first");
    Record<DiffResult>(module, "Diff", "How two meshes compare.")
        .Field("equal", &DiffResult::AreEqual, "")
        .Field("first_difference", &DiffResult::first_difference, "in words; None when equal")
        .Field("left_out", &DiffResult::left_out, "what was not compared; None for nothing");
    Record<ColorInterval>(module, "ColorInterval", "An interval of grey values and its colour.")
        .Field("low", &ColorInterval::low, "")
        .Field("high", &ColorInterval::high, "")
        .Field("color", &ColorInterval::color, "0x00RRGGBB");
}

void AddChanges(py::module_& module) {
    Record<RatioReport>(module, "Ratios", "The Jacobian ratios of a mesh.")
        .Field("bad", &RatioReport::bad, "elements outside what is good")
        .Field("folded", &RatioReport::folded, "elements below 0")
        .Field("min", &RatioReport::min, "")
        .Field("median", &RatioReport::median, "")
        .Field("max", &RatioReport::max, "");
    Record<RepairResult>(module, "Repair", "What repairing did.")
        .Field("elements", &RepairResult::elements, "")
        .Field("outer", &RepairResult::outer, "elements with a corner on the boundary")
        .Field("modified", &RepairResult::modified, "elements whose mid-edge nodes were moved")
        .Field("straightened", &RepairResult::straightened, "how often an element was straightened fully")
        .Field("mid_nodes_aligned", &RepairResult::mid_nodes_aligned, "nodes pulled back for their alignment")
        .Field("passes", &RepairResult::passes, "")
        .Field("before", &RepairResult::before, "Ratios")
        .Field("after", &RepairResult::after, "Ratios");
    Record<OrientResult>(module, "Orient", "What turning did.")
        .Field("elements", &OrientResult::elements, "")
        .Field("tetrahedra", &OrientResult::tetrahedra, "")
        .Field("flat", &OrientResult::flat, "tetrahedra without volume, which stay")
        .Field("corrected", &OrientResult::corrected, "inverted ones that were turned")
        .Field("volume_before", &OrientResult::volume_before, "mm3, signed")
        .Field("volume_after", &OrientResult::volume_after, "mm3, signed");
    Record<LabelResult>(module, "Label", "The regions that became sub-volumes.")
        .Field("elements", &LabelResult::elements, "")
        .Field("subvolumes", &LabelResult::subvolumes, "list of SubVolume");
    Record<GroupResult>(module, "Group", "The sub-volumes that were joined.")
        .Field("elements", &GroupResult::elements, "")
        .Field("groups_of", &GroupResult::groups_of, "how many sub-volumes there were")
        .Field("subvolumes", &GroupResult::subvolumes, "list of SubVolume");
    Record<SplitResult>(module, "Split", "What splitting made.")
        .Field("elements", &SplitResult::elements, "")
        .Field("nodes", &SplitResult::nodes, "")
        .Field("new_subvolumes", &SplitResult::new_subvolumes, "at the end of the list")
        .Field("subvolumes", &SplitResult::subvolumes, "list of SubVolume");
    Record<MergeResult>(module, "Merge", "What merging made.")
        .Field("elements", &MergeResult::elements, "")
        .Field("nodes", &MergeResult::nodes, "")
        .Field("joined_nodes", &MergeResult::joined_nodes,
               "nodes of the second mesh that became one with another")
        .Field("subvolumes", &MergeResult::subvolumes, "list of SubVolume");
    Record<LayerReport>(module, "Layer", "The elements of one layer.")
        .Field("elements", &LayerReport::elements, "")
        .Field("volume", &LayerReport::volume, "mm3, signed");
    Record<LayersResult>(module, "Layers", "The layers from the boundary inwards.")
        .Field("elements", &LayersResult::elements, "")
        .Field("elements_in_layers", &LayersResult::elements_in_layers, "")
        .Field("layers", &LayersResult::layers, "list of Layer, the outermost first")
        .Field("inside", &LayersResult::inside, "what is in no layer");
    using State = ProjectResult::State;
    Record<State>(module, "ProjectState", "Where a mesh is in relation to a surface.")
        .Field("volume", &State::volume, "mm3, signed")
        .Field("mean_distance", &State::mean_distance, "of the nodes from the surface, mm")
        .Field("largest_distance", &State::largest_distance, "mm");
    Record<ProjectResult>(module, "Project", "What became of the nodes at the boundary.")
        .Field("nodes", &ProjectResult::nodes, "moved, shortened and left together")
        .Field("moved", &ProjectResult::moved, "onto the surface")
        .Field("shortened", &ProjectResult::shortened, "came part of the way")
        .Field("left", &ProjectResult::left, "stand where they stood")
        .Field("too_far", &ProjectResult::too_far, "of those left")
        .Field("on_surface", &ProjectResult::on_surface, "of those left: were there already")
        .Field("held", &ProjectResult::held, "of those left: by elements that would be spoilt")
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
        .Field("mean_grey", &AssignedMaterial::mean_grey, "of the elements");
    Record<SamplingReport>(module, "Sampling", "What sampling the image met.")
        .Field("elements", &SamplingReport::elements, "")
        .Field("outside", &SamplingReport::outside, "elements beyond the outermost voxel centres")
        .Field("fallbacks", &SamplingReport::fallbacks, "elements sampled in a simpler way")
        .Field("not_finite", &SamplingReport::not_finite, "elements without a finite sample")
        .Field("smallest", &SamplingReport::smallest, "grey value")
        .Field("largest", &SamplingReport::largest, "grey value")
        .Field("mean", &SamplingReport::mean, "grey value");
    Record<MaterialsResult>(module, "Materials", "The materials that a mesh was given.")
        .Field("elements", &MaterialsResult::elements, "")
        .Field("materials", &MaterialsResult::materials, "list of Material, by id")
        .Field("sampling", &MaterialsResult::sampling, "Sampling")
        .Field("volume", &MaterialsResult::volume, "mm3")
        .Field("mass", &MaterialsResult::mass, "g");
}

void AddSurfaceReports(py::module_& module) {
    Record<IsoResult>(module, "Isosurface", "What an isosurface is like.")
        .Field("from_elements", &IsoResult::from_elements, "the field was one on elements")
        .Field("min", &IsoResult::min, "of the field at the nodes")
        .Field("max", &IsoResult::max, "")
        .Field("nodes_without_value", &IsoResult::nodes_without_value, "")
        .Field("triangles", &IsoResult::triangles, "")
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
        .Field("contour_length", &CutResult::contour_length, "mm");
    Record<BoundaryResult>(module, "Boundary", "The boundary of a mesh.")
        .Field("boundary_elements", &BoundaryResult::boundary_elements, "with a face on the boundary")
        .Field("boundary_nodes", &BoundaryResult::boundary_nodes, "")
        .Field("triangles", &BoundaryResult::triangles, "")
        .Field("area", &BoundaryResult::area, "mm2")
        .Field("closed", &BoundaryResult::closed, "");
    Record<ExplodeResult>(module, "Explode", "An exploded view.")
        .Field("elements", &ExplodeResult::elements, "")
        .Field("elements_taken", &ExplodeResult::elements_taken, "")
        .Field("triangles", &ExplodeResult::triangles, "")
        .Field("volume_factor", &ExplodeResult::volume_factor, "");
    Record<GrowResult>(module, "Grow", "Triangles at bad elements.")
        .Field("elements", &GrowResult::elements, "")
        .Field("bad", &GrowResult::bad, "elements, without the rings")
        .Field("triangles", &GrowResult::triangles, "")
        .Field("on_mesh", &GrowResult::on_mesh, "triangles that are boundary faces")
        .Field("marked", &GrowResult::marked, "triangles")
        .Field("area", &GrowResult::area, "of the marked triangles, mm2");
    Record<GraphReport>(module, "Graph", "The edges of a sub-volume.")
        .Field("name", &GraphReport::name, "")
        .Field("vertices", &GraphReport::vertices, "")
        .Field("edges", &GraphReport::edges, "");
    Record<MatchCounts::Faces>(module, "MatchedFaces", "Faces with and without a triangle on them.")
        .Field("with_triangle", &MatchCounts::Faces::with_triangle, "")
        .Field("without_triangle", &MatchCounts::Faces::without_triangle, "");
    Record<MatchCounts>(module, "Match", "How far a mesh and a surface correspond.")
        .Field("boundary", &MatchCounts::boundary, "MatchedFaces at the outside")
        .Field("interfaces", &MatchCounts::interfaces, "MatchedFaces between sub-volumes")
        .Field("inner", &MatchCounts::inner, "faces inside a sub-volume with a triangle")
        .Field("with_face", &MatchCounts::with_face, "triangles")
        .Field("without_face", &MatchCounts::without_face, "triangles")
        .Field("wrong_way", &MatchCounts::wrong_way, "faces whose triangle faces the other way")
        .Field("mismatches", &MatchCounts::GetMismatches, "");
}

} // namespace

void AddReports(py::module_& module) {
    AddParts(module);
    AddMeasures(module);
    AddChanges(module);
    AddMaterials(module);
    AddSurfaceReports(module);
}

} // namespace ketmesh
