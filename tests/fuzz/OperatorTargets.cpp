// SPDX-License-Identifier: BSD-3-Clause
// What comes behind the readers: meshes of any content that a file can have go through every operator.
#include "FuzzTargets.h"

#include "Scratch.h"

#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/FileIO/SAX/MSAXBinaryReader.h>
#include <KetSDK/FileIO/SAX/MSAXTextReader.h>
#include <KetSDK/Math/MathCore/MMTransform.h>
#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceChecker.h>
#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapperExact.h>
#include <KetSDK/Mesh/geometry/MMeshConformingCutOperator.h>
#include <KetSDK/Mesh/geometry/MMeshConvertHex8ToTet4Operator.h>
#include <KetSDK/Mesh/geometry/MMeshConvertTet10ToTet4Operator.h>
#include <KetSDK/Mesh/geometry/MMeshConvertTet4ToTet10Operator.h>
#include <KetSDK/Mesh/geometry/MMeshFold.h>
#include <KetSDK/Mesh/geometry/MMeshGrowBadTetsOperator.h>
#include <KetSDK/Mesh/geometry/MMeshJacobianCorrectorOperator.h>
#include <KetSDK/Mesh/geometry/MMeshQualityAnalysisOperator.h>
#include <KetSDK/Mesh/geometry/MMeshTet10ConsistencyCheckOperator.h>
#include <KetSDK/Mesh/geometry/QualityMetric.h>
#include <KetSDK/Mesh/materials/MDensityLookup.h>
#include <KetSDK/Mesh/materials/MHUList.h>
#include <KetSDK/Mesh/materials/MMeshOperatorMaterialAssign.h>
#include <KetSDK/Mesh/materials/MMeshOperatorSettingsMaterialAssign.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/operators/MMeshConvertTetToGraphOperator.h>
#include <KetSDK/Mesh/operators/MMeshConvertToStlOperator.h>
#include <KetSDK/Mesh/operators/MMeshExtractStlSurfaceOperator.h>
#include <KetSDK/Mesh/operators/MMeshIsosurfaceOperator.h>
#include <KetSDK/Mesh/operators/MMeshMergeVolumesOperator.h>
#include <KetSDK/Mesh/operators/MMeshOperatorCutPlane.h>
#include <KetSDK/Mesh/operators/MMeshOperatorGroupSubVolumes.h>
#include <KetSDK/Mesh/operators/MMeshOperatorLabelSubVolumes.h>
#include <KetSDK/Mesh/operators/MMeshOperatorLayers.h>
#include <KetSDK/Mesh/operators/MMeshOperatorRemoveSubVolume.h>
#include <KetSDK/Mesh/operators/MMeshOperatorSTL.h>
#include <KetSDK/Mesh/operators/MMeshOperatorSettingsSTL.h>
#include <KetSDK/Mesh/operators/MMeshOperatorSettingsSurface.h>
#include <KetSDK/Mesh/operators/MMeshOperatorSurface.h>
#include <KetSDK/Mesh/operators/MMeshOrientOperator.h>
#include <KetSDK/Mesh/operators/MMeshProjectTetOnStlOperator.h>
#include <KetSDK/Mesh/operators/MMeshSplitVolumesOperator.h>
#include <KetSDK/Mesh/operators/MMeshTopology.h>
#include <KetSDK/Mesh/operators/MMeshWeldOperator.h>
#include <KetSDK/Mesh/persistence/MMeshCarrying.h>
#include <KetSDK/Mesh/persistence/MMeshDifference.h>
#include <KetSDK/Mesh/persistence/MSAXMeshBase.h>
#include <KetSDK/Triangles/Data/MStlBase.h>
#include <KetSDK/Triangles/Data/MStlFeature.h>

#include <memory>
#include <stdexcept>

namespace FuzzTargets {

namespace {

void Run(MMeshOperator& runs, MMeshBase& mesh) {
    runs.SetMesh(&mesh);
    runs.Operate();
}

void Extract(MMeshBase& mesh, MStlBase& stl) {
    MMeshExtractStlSurfaceOperator extract;
    MSurfaceOrigins origins;
    extract.SetStl(&stl);
    extract.SetOrigins(&origins);
    extract.SetExtractInterfacesBetweenSubVolumes(true);
    Run(extract, mesh);
}

void ConvertKinds(MMeshBase& mesh) {
    MMeshBase target;
    MMeshOrigins origins;
    MMeshConvertHex8ToTet4Operator hexahedra;
    hexahedra.SetTet4Mesh(&target);
    hexahedra.SetOrigins(&origins);
    Run(hexahedra, mesh);
    CarryMasks(mesh, origins, target);
    MMeshConvertHex8ToTet4Operator::CompareDiagonals(mesh);
    MMeshConvertTet10ToTet4Operator quadratic;
    quadratic.SetTet4Mesh(&target);
    quadratic.SetOrigins(&origins);
    for (bool const multiple : {false, true}) {
        quadratic.SetMultipleElements(multiple);
        Run(quadratic, mesh);
    }
    MMeshConvertTet4ToTet10Operator linear;
    linear.SetTet10Mesh(&target);
    linear.SetOrigins(&origins);
    Run(linear, mesh);
    CarryMasks(mesh, origins, target);
}

void CutAndWeld(MMeshBase& mesh) {
    for (bool const join : {false, true}) {
        MMeshBase target;
        MMeshOrigins origins;
        MMeshConformingCutOperator cut;
        cut.SetTet4Mesh(&target);
        cut.SetOrigins(&origins);
        cut.SetJoinNodes(join);
        Run(cut, mesh);
    }
    for (double const tolerance : {0.0, 0.25, 1e9}) {
        MMeshBase target;
        MMeshOrigins origins;
        MMeshWeldOperator weld;
        weld.SetTarget(&target);
        weld.SetTolerance(tolerance);
        weld.SetOrigins(&origins);
        Run(weld, mesh);
    }
}

void Measure(MMeshBase& mesh) {
    MMeshQualityAnalysisOperator analysis;
    for (KetSDK::Mesh::QualityMetric const& metric : KetSDK::Mesh::QualityMetrics()) {
        analysis.SetCurrentMetric(metric.type);
        Run(analysis, mesh);
    }
    MMeshTet10ConsistencyCheckOperator check;
    Run(check, mesh);
    for (MMeshElement const& e : mesh.Elements())
        IsFolded(e);
    KetSDK::Mesh::AnalyzeTopology(mesh);
    KetSDK::Mesh::CountDoubleNodes(mesh);
}

void Repair(MMeshBase& mesh) {
    MMeshJacobianCorrectorOperator corrector;
    Run(corrector, mesh);
    MMeshOrientOperator orient;
    Run(orient, mesh);
}

void Grow(MMeshBase& mesh) {
    MStlBase stl;
    Extract(mesh, stl);
    MDataMaskBits<MMeshElement> bad(true);
    mesh.GetElementMasks()->RegisterMask(&bad);
    MMeshGrowBadTetsOperator grow;
    grow.SetStlMesh(&stl);
    grow.SetBadMask(&bad);
    grow.SetGrowLevel(2);
    Run(grow, mesh);
}

void AssignMaterials(MMeshBase& mesh) {
    using Settings = MMeshOperatorSettingsMaterialAssign;
    std::vector<bool> const used = {true, false, true};
    MHUList intervals;
    intervals.CreateUniform(&mesh, 3, 1.0, 0.5, 1.0, 0.0, 1.0, MHUList::MeshUnit);
    intervals.CreateUniformFromMask(&mesh, 3, 0, used, MHUList::OffsetBy1024);
    intervals.CreateFromMask(&mesh, used, true);
    MDensityLookup lookup;
    lookup.AddMaterial(0, 7, 1.0);
    lookup.Sort();
    MMaterialCatalog catalog = mesh.GetMaterialCatalog();
    MMeshMaterial material;
    material.SetDensity(1.5);
    catalog.AddMaterialNewID(material);
    Settings settings;
    settings.SetMatCatalog(&catalog);
    settings.SetGrey2dens(&lookup);
    settings.SetMaskUsed(used);
    MMeshOperatorMaterialAssign assign;
    assign.SetSettings(&settings);
    for (int type = Settings::FirstMaterial; type <= Settings::NoAssignment; ++type) {
        settings.SetAssignType(static_cast<Settings::EAssignType>(type));
        for (bool const first_only : {false, true}) {
            settings.SetSubVolumes(first_only && mesh.NumberOfSubVolumes() > 0
                                       ? Settings::SubVolumes{mesh.BeginSubVolume()->get()}
                                       : Settings::SubVolumes());
            Run(assign, mesh);
        }
    }
}

void WriteTriangles(MMeshBase& mesh, bool marked_only) {
    for (bool const simplify : {false, true}) {
        MStlBase stl;
        MSurfaceOrigins origins;
        MMeshOperatorSettingsSTL settings;
        settings.SetSimplify(simplify);
        settings.SetMarkedOnly(marked_only);
        MMeshOperatorSTL write;
        write.SetStl(&stl);
        write.SetSettings(&settings);
        write.SetOrigins(&origins);
        Run(write, mesh);
    }
}

void MakeSurfaces(MMeshBase& mesh) {
    WriteTriangles(mesh, false);
    MStlBase stl;
    MSurfaceOrigins origins;
    MMeshConvertToStlOperator exploded;
    exploded.SetStl(&stl);
    exploded.SetOrigins(&origins);
    exploded.SetEpsilon(0.25);
    Run(exploded, mesh);
    for (bool const interfaces : {false, true}) {
        MMeshOperatorSettingsSurface settings;
        settings.SetInterfacesAreBoundary(interfaces);
        MMeshOperatorSurface boundary;
        boundary.SetSettings(&settings);
        Run(boundary, mesh);
        WriteTriangles(mesh, true);
    }
}

void Isosurface(MMeshBase& mesh) {
    MDataMask<MMeshPoint, double> values;
    mesh.GetPointMasks()->RegisterMask(&values);
    for (MMeshPointIterator p = mesh.BeginPoint(); p != mesh.EndPoint(); ++p)
        values.SetValue(*p, p->x);
    MStlBase stl;
    MMeshIsosurfaceOperator iso;
    iso.SetNodesMask(&values);
    iso.SetIsoSurface(&stl);
    iso.SetIsoValue(0.5);
    try {
        Run(iso, mesh);
    } catch (std::domain_error const&) { // of less than 1000 elements
    }
}

void MakeGraphs(MMeshBase& mesh) {
    for (bool const interior : {false, true}) {
        MStlFeature feature;
        MMeshConvertTetToGraphOperator graphs(mesh, feature);
        graphs.SetOnlyInteriorEdges(interior);
        graphs.Operate();
    }
}

void Layers(MMeshBase& mesh) {
    MMeshOperatorLayers layers;
    layers.SetNbLayers(2);
    Run(layers, mesh);
}

void Cut(MMeshBase& mesh) {
    MMeshOperatorCutPlane cut;
    cut.SetPlane({1.0, 0.5, 0.25}, {0.25, 0.25, 0.25});
    Run(cut, mesh);
    cut.GetContours();
    MStlBase stl;
    MSurfaceOrigins origins;
    cut.AddSurfaces(stl, &origins);
    if (mesh.NumberOfElements() > 0)
        cut.GetSide(*mesh.GetElement(0));
}

void LabelAndGroup(MMeshBase& mesh) {
    MStlBase stl;
    Extract(mesh, stl);
    MMeshOperatorGroupSubVolumes group;
    group.SetStl(&stl);
    Run(group, mesh);
    MMeshOperatorLabelSubVolumes label;
    label.SetStl(&stl);
    Run(label, mesh);
    Run(group, mesh);
}

void Match(MMeshBase& mesh) {
    MStlBase stl;
    Extract(mesh, stl);
    auto const mapper = std::make_shared<MMeshCorrespondenceMapperExact>(&stl, &mesh);
    mesh.SetCorrespondenceMapper(mapper);
    mapper->Map();
    MMeshCorrespondenceChecker const checker(&stl, &mesh);
}

void Split(MMeshBase& mesh) {
    MMeshSplitVolumesOperator split;
    Run(split, mesh);
    mesh.SortSubvolumes(MMeshBase::SortByVolume, MMeshBase::Ascending);
    mesh.RemoveEmptySubVolumes();
}

void Merge(MMeshBase& mesh) {
    MMeshBase const second(mesh);
    MMeshBase other(second);
    MMeshOrigins of_first, of_second;
    MMeshMergeVolumesOperator merge(&mesh, &other);
    merge.SetOrigins(&of_first, &of_second);
    merge.Operate();
}

void Remove(MMeshBase& mesh) {
    if (mesh.NumberOfSubVolumes() == 0)
        return;
    MMeshSubVolume& first = **mesh.BeginSubVolume();
    first.GetNbPoints();
    MMeshOrigins origins;
    std::unique_ptr<MMeshBase> const part(mesh.GetSubVolumeAsMMeshBase(first, &origins));
    MMeshOperatorRemoveSubVolume remove;
    remove.SetMesh(&mesh);
    remove.AddSubVolumeToRemove(&first);
    remove.Operate();
    std::unique_ptr<MMeshBase> const rest(remove.GetNewMesh());
    first.MoveAllElements((mesh.EndSubVolume() - 1)->get());
    mesh.RemoveEmptySubVolumes();
}

void Project(MMeshBase& mesh) {
    MStlBase stl;
    Extract(mesh, stl);
    mesh.Transform(MMTransform());
    MMeshProjectTetOnStlOperator project;
    project.SetStl(&stl);
    project.SetDistance(1.0);
    project.SetInterfaces(true);
    Run(project, mesh);
}

constexpr void (*Uses[])(MMeshBase&) = {ConvertKinds, CutAndWeld, Measure,    Repair, Grow,   AssignMaterials,
                                        MakeSurfaces, Isosurface, MakeGraphs, Layers, Cut,    LabelAndGroup,
                                        Match,        Split,      Merge,      Remove, Project};

// Each use of a mesh begins with the mesh of the file.
bool ConsumeForOperators(std::span<std::byte const> bytes) {
    MFileName const name = WriteScratch("used", bytes);
    auto const read = [&](MMeshBase& mesh) {
        MFile file(name, MFile::Mode::Read);
        MSAXMeshBase tags(&mesh);
        if (!bytes.empty() && bytes.front() == std::byte{'<'})
            MSAXTextReader(file).ReadDocument(L"MeshBase", tags);
        else
            MSAXBinaryReader(file).ReadDocument(L"MeshBase", tags);
    };
    for (auto const use : Uses) {
        MMeshBase mesh;
        try {
            read(mesh);
        } catch (std::runtime_error const&) {
            return false;
        }
        use(mesh);
    }
    return true;
}

} // namespace

std::vector<Target> OperatorTargets() {
    return {{"mesh_operators", ConsumeForOperators}};
}

} // namespace FuzzTargets
