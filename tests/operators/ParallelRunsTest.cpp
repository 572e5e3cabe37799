// SPDX-License-Identifier: BSD-3-Clause
// Everything in the library that can run on several threads gives the same on any number of them.
#include "TestFiles.h"
#include "TestMeshes.h"
#include "TestProgress.h"

#include <KetSDK/FileIO/FileSystem/MTemporaryDirectory.h>
#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceChecker.h>
#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapperExact.h>
#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapperProjection.h>
#include <KetSDK/Mesh/geometry/MMeshConformingCutOperator.h>
#include <KetSDK/Mesh/geometry/MMeshConvertTet10ToTet4Operator.h>
#include <KetSDK/Mesh/geometry/MMeshConvertTet4ToTet10Operator.h>
#include <KetSDK/Mesh/geometry/MMeshGrowBadTetsOperator.h>
#include <KetSDK/Mesh/geometry/MMeshJacobianCorrectorOperator.h>
#include <KetSDK/Mesh/geometry/MMeshQualityAnalysisOperator.h>
#include <KetSDK/Mesh/geometry/MMeshTet10ConsistencyCheckOperator.h>
#include <KetSDK/Mesh/geometry/QualityStatistics.h>
#include <KetSDK/Mesh/materials/MDensityLookup.h>
#include <KetSDK/Mesh/materials/MHUList.h>
#include <KetSDK/Mesh/materials/MMeshOperatorMaterialAssign.h>
#include <KetSDK/Mesh/materials/MMeshOperatorSettingsMaterialAssign.h>
#include <KetSDK/Mesh/materials/MaterialAssignment.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Mesh/mesh/MMeshOrigins.h>
#include <KetSDK/Mesh/meshing/MMeshFromLabelsOperator.h>
#include <KetSDK/Mesh/operators/MMeshConvertTetToGraphOperator.h>
#include <KetSDK/Mesh/operators/MMeshConvertToStlOperator.h>
#include <KetSDK/Mesh/operators/MMeshExtractStlSurfaceOperator.h>
#include <KetSDK/Mesh/operators/MMeshFaces.h>
#include <KetSDK/Mesh/operators/MMeshIsosurfaceOperator.h>
#include <KetSDK/Mesh/operators/MMeshMergeVolumesOperator.h>
#include <KetSDK/Mesh/operators/MMeshOperatorCutPlane.h>
#include <KetSDK/Mesh/operators/MMeshOperatorLabelSubVolumes.h>
#include <KetSDK/Mesh/operators/MMeshOperatorLayers.h>
#include <KetSDK/Mesh/operators/MMeshOperatorSurface.h>
#include <KetSDK/Mesh/operators/MMeshOrientOperator.h>
#include <KetSDK/Mesh/operators/MMeshProjectTetOnStlOperator.h>
#include <KetSDK/Mesh/operators/MMeshSplitVolumesOperator.h>
#include <KetSDK/Mesh/operators/MMeshTopology.h>
#include <KetSDK/Mesh/persistence/MMeshArrayDifference.h>
#include <KetSDK/Mesh/persistence/MMeshDifference.h>
#include <KetSDK/Mesh/persistence/MMeshFile.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <gtest/gtest.h>

#include <tbb/global_control.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>
#include <tbb/task_group.h>

#include <algorithm>
#include <array>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <ostream>
#include <random>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using TestMeshes::Unit;

// Cubes and the faces of every other element of theirs, moved by so much along each axis.
struct MeshAndSurface {
    explicit MeshAndSurface(MLong moved = 0) {
        TestMeshes::FillWithCubes(mesh, 12);
        for (std::uint64_t i = 0; i < mesh.Elements().GetNumElements(); i += 2)
            for (auto const& face : MMeshElementDescriptor::descr_triangle_point_ORIENTED) {
                MStlPoint* corners[3];
                for (std::size_t k = 0; k < 3; ++k) {
                    MMeshPoint const& p = *mesh.GetElement(i)->GetNode(face[k]);
                    corners[k] = stl.AddPoint(p.x + moved, p.y + moved, p.z + moved, false);
                }
                stl.AddTriangle(corners[0], corners[1], corners[2], nullptr);
            }
    }
    MMeshBase mesh;
    MStlBase stl;
};

// What a run leaves, as numbers.
using Numbers = std::vector<double>;

Numbers QualityOf(bool parallel) {
    MMeshBase mesh;
    TestMeshes::FillWithCubes(mesh, 15); // more than one window
    MMeshQualityAnalysisOperator analysis;
    analysis.SetMesh(&mesh);
    analysis.SetCurrentMetric(MMeshQualityAnalysisOperator::MeanRatio);
    analysis.SetParallel(parallel);
    EXPECT_TRUE(analysis.Operate());
    std::span<double const> const values = analysis.GetQualityHistogram()->GetValues();
    Numbers numbers(values.begin(), values.end());
    for (MMeshElement const& e : mesh.Elements())
        numbers.push_back(analysis.GetQualityMask()->GetValue(e));
    auto const statistics = KetSDK::Mesh::Summarize(values, parallel);
    numbers.insert(numbers.end(), statistics.percentiles.begin(), statistics.percentiles.end());
    return numbers;
}

Numbers HistogramOf(bool parallel) {
    std::mt19937 random(7);
    QualityHistogram<int, double> histogram;
    for (int i = 0; i < 300000; ++i)
        histogram.AddValue(static_cast<double>(random()));
    histogram.ComputeHistogram(parallel);
    Numbers numbers = {histogram.GetMinRange(), histogram.GetMaxRange()};
    for (unsigned int i = 0; i < histogram.GetNbPartitions(); ++i)
        numbers.push_back(histogram.GetPartitionCount(i));
    return numbers;
}

template <typename Mapper, typename... Tolerance>
Numbers MappingOf(bool parallel, Tolerance... tolerance) {
    MeshAndSurface both;
    Mapper mapper(&both.stl, &both.mesh, tolerance...);
    mapper.SetParallel(parallel);
    Numbers numbers;
    for (MMeshElement& e : both.mesh.Elements())
        for (unsigned int face = 0; face < 4; ++face) {
            MStlTriangle const* const triangle = mapper.GetTriangle(&e, face);
            numbers.push_back(triangle ? triangle->GetPoint(0)->GetIndex() : -1);
        }
    for (MStlTriangle const& t : both.stl.Triangles())
        EXPECT_TRUE(mapper.GetElement(&t)) << "each lies on a face";
    return numbers;
}

Numbers CorrespondenceOf(bool parallel) {
    MeshAndSurface both;
    MMeshSubVolume& other = *both.mesh.AddSubVolume();
    for (std::uint64_t i = 0; i < 5000; ++i)
        both.mesh.GetMainSubVolume()->MoveElement(*both.mesh.GetElement(i), &other);
    MMeshCorrespondenceChecker const checker(&both.stl, &both.mesh, parallel);
    EXPECT_GT(checker.GetNbTrianglesDisagreeing(), 0u);
    Numbers numbers;
    for (std::uint64_t const count :
         {checker.GetNbBoundaryFacesWithTriangle(), checker.GetNbBoundaryFacesWithoutTriangle(),
          checker.GetNbInterfaceFacesWithTriangle(), checker.GetNbInterfaceFacesWithoutTriangle(),
          checker.GetNbInnerFacesWithTriangle(), checker.GetNbTrianglesWithFace(),
          checker.GetNbTrianglesDisagreeing()})
        numbers.push_back(static_cast<double>(count));
    return numbers;
}

// Of nodes that may get in each other's way, or come from so near that none does.
Numbers ProjectionOf(bool parallel, MLong moved) {
    MeshAndSurface both(moved);
    MMeshProjectTetOnStlOperator project;
    project.SetMesh(&both.mesh);
    project.SetStl(&both.stl);
    project.SetDistance(0.5);
    project.SetParallel(parallel);
    EXPECT_TRUE(project.Operate());
    EXPECT_GT(project.GetNbMoved(), 0u);
    Numbers numbers;
    for (auto p = both.mesh.BeginPoint(); p != both.mesh.EndPoint(); ++p)
        for (MLong const coordinate : {p->x, p->y, p->z})
            numbers.push_back(coordinate);
    return numbers;
}

Numbers MeshingOf(bool parallel) {
    MLabelImage image;
    image.size = {24, 20, 16};
    std::mt19937 random(11);
    for (std::int64_t i = 0; i < 24 * 20 * 16; ++i) // smooth enough for interfaces, rough enough for repairs
        image.labels.push_back(random() % 8 == 0 ? 2 : i % 24 > 12 ? 1 : 0);
    MMeshFromLabelsSettings settings;
    settings.size = 1.0;
    settings.largest_size = 4.0;
    MMeshBase mesh;
    MMeshFromLabelsOperator meshing;
    meshing.SetMesh(&mesh);
    meshing.SetImage(&image);
    meshing.SetMeshingSettings(settings);
    meshing.SetParallel(parallel);
    EXPECT_TRUE(meshing.Operate());
    Numbers numbers = {meshing.GetSmallestDihedral()};
    for (MMeshElement const& e : mesh.Elements()) {
        numbers.push_back(mesh.GetSubVolume(e)->GetID());
        for (unsigned int k = 0; k < 4; ++k)
            for (MLong const coordinate : {e.GetNode(k)->x, e.GetNode(k)->y, e.GetNode(k)->z})
                numbers.push_back(coordinate);
    }
    return numbers;
}

void Append(Numbers& numbers, MMeshBase& mesh) {
    auto const* const subvolumes = mesh.GetElementMasks()->GetSubvolumeMask();
    for (auto p = mesh.BeginPoint(); p != mesh.EndPoint(); ++p)
        for (auto const number : {p->x, p->y, p->z, static_cast<MLong>(p->GetMaskIndex())})
            numbers.push_back(number);
    for (MMeshElement const& e : mesh.Elements()) {
        for (unsigned int i = 0; i < e.GetNodeCount(); ++i)
            numbers.push_back(e.GetNode(i)->GetIndex());
        numbers.push_back(static_cast<double>(e.GetMaskIndex()));
        numbers.push_back(subvolumes->GetValue(e));
        EXPECT_EQ(mesh.GetElementMasks()->GetObjectAt(e.GetMaskIndex()), &e);
    }
    for (auto it = mesh.BeginSubVolume(); it != mesh.EndSubVolume(); ++it)
        numbers.push_back(static_cast<double>((*it)->GetNbElements()));
    for (std::size_t i = 0; i < 3; ++i) {
        numbers.push_back(mesh.GetBoundingBox().GetMin()[i]);
        numbers.push_back(mesh.GetBoundingBox().GetMax()[i]);
    }
}

void Append(Numbers& numbers, MMeshOrigins const& origins) {
    numbers.insert(numbers.end(), origins.elements.begin(), origins.elements.end());
    for (MMeshOrigins::Node const& node : origins.nodes)
        numbers.insert(numbers.end(), {static_cast<double>(node.a), static_cast<double>(node.b)});
    for (auto const& [node, corners] : origins.inside)
        numbers.push_back(node + static_cast<double>(corners.size()));
    numbers.push_back(static_cast<double>(origins.joined_nodes));
}

void Append(Numbers& numbers, MStlBase const& stl) {
    for (MStlPoint const& p : stl.Points())
        for (MLong const coordinate : {p.GetX(), p.GetY(), p.GetZ()})
            numbers.push_back(coordinate);
    for (MStlTriangle const& t : stl.Triangles()) {
        for (unsigned int i = 0; i < 3; ++i)
            numbers.push_back(t.GetPoint(i)->GetIndex());
        for (std::size_t axis = 0; axis < 3; ++axis)
            numbers.push_back(t.GetNormalFloat()[axis]);
    }
    numbers.push_back(static_cast<double>(stl.NumberOfSurfaces()));
}

// Cubes large enough for several pieces, some nodes moved, in two sub-volumes; some elements hang together by
// an edge alone, some are inverted, and the first slots of the masks were in use before.
struct TwoVolumes {
    explicit TwoVolumes(int n = 18) {
        mesh.AddPoint(0, 0, 0);
        TestMeshes::FillWithCubes(mesh, n);
        std::mt19937 random(5);
        for (auto p = mesh.BeginPoint(); p != mesh.EndPoint(); ++p)
            p->x += static_cast<MLong>(random() % (TestMeshes::Unit / 4));
        mesh.NodesMoved();
        MMeshSubVolume& second = *mesh.AddSubVolume();
        for (std::uint64_t i = 0; i < mesh.Elements().GetNumElements(); ++i) {
            MMeshElement& e = *mesh.GetElement(i);
            if (i % 5000 < 2000 || i % 97 == 0)
                mesh.GetMainSubVolume()->MoveElement(e, &second);
            if (i % 1001 == 0)
                e.SwapNodes(0, 1);
        }
    }
    MMeshBase mesh;
};

// Node by node, or all at once.
Numbers BuildOf(bool parallel) {
    TwoVolumes source(29); // so many that each half is made on several threads
    std::vector<std::array<MLong, 3>> positions;
    std::vector<unsigned char> counts;
    std::vector<MLong> nodes;
    std::vector<int> subvolumes;
    for (auto p = source.mesh.BeginPoint(); p != source.mesh.EndPoint(); ++p)
        positions.push_back({p->x, p->y, p->z});
    for (MMeshElement const& e : source.mesh.Elements()) {
        counts.push_back(e.GetNodeCount());
        for (unsigned int i = 0; i < 4; ++i)
            nodes.push_back(e.GetNode(i)->GetIndex());
        subvolumes.push_back(source.mesh.GetSubVolume(e)->GetID());
    }
    MMeshBase mesh;
    mesh.AddSubVolume();
    MMeshPoint removed;
    mesh.GetPointMasks()->RegisterMaskObject(removed); // slots that are free come first
    mesh.GetPointMasks()->UnregisterMaskObject(removed);
    if (parallel) {
        mesh.AddPoints(positions, true);
        std::size_t const half = counts.size() / 2;
        mesh.AddElements(
            {std::span(counts).first(1), std::span(nodes).first(4 * half), std::span(subvolumes).first(half)},
            true);
        mesh.AddElements({std::span(counts).subspan(half), std::span(nodes).subspan(4 * half),
                          std::span(subvolumes).subspan(half)},
                         true);
        EXPECT_EQ(mesh.GetVolume(true), mesh.GetVolume());
        nodes.back() = mesh.NumberOfPoints();
        EXPECT_THROW(mesh.AddElements({std::span(counts).first(1), nodes, {}}, true), std::runtime_error);
        EXPECT_THROW(mesh.AddElements({counts, std::span(nodes).first(7), {}}, true), std::runtime_error);
    } else {
        for (auto const& p : positions)
            mesh.AddPoint(p[0], p[1], p[2]);
        for (std::size_t i = 0; i < counts.size(); ++i) {
            MMeshPoint* of_element[4];
            for (std::size_t k = 0; k < 4; ++k)
                of_element[k] = mesh.GetRandomPoint(static_cast<std::uint64_t>(nodes[4 * i + k]));
            (*(mesh.BeginSubVolume() + subvolumes[i]))->AddElement(4, of_element);
        }
    }
    Numbers numbers;
    Append(numbers, mesh);
    return numbers;
}

Numbers NeighborsOf(bool parallel) {
    TwoVolumes both;
    both.mesh.GetNeighborsInfo()->Enable(parallel);
    Numbers numbers;
    for (std::uint64_t i = 0; i < both.mesh.Elements().GetNumElements(); i += 7) {
        MMeshElement* const e = both.mesh.GetElement(i);
        for (unsigned int face = 0; face < 4; ++face)
            if (MMeshElement const* const other = both.mesh.GetNeighborsInfo()->GetNeighbor(e, face))
                numbers.push_back(static_cast<double>(other->GetMaskIndex()));
        std::vector<MMeshElement*> ring;
        both.mesh.GetNeighborsInfo()->GetEdgeNeighbors(e, static_cast<char>(i % 6), ring);
        for (MMeshElement const* const other : ring)
            numbers.push_back(static_cast<double>(other->GetMaskIndex()));
    }
    numbers.push_back(static_cast<double>(both.mesh.GetNeighborsInfo()->MemoryUsed()));
    return numbers;
}

// Runs an operator that fills a container of surfaces; set(operator) says what else it needs.
template <typename Operator, typename Set>
Numbers SurfaceOf(bool parallel, Set const& set) {
    TwoVolumes both;
    MStlBase stl;
    Operator job;
    job.SetMesh(&both.mesh);
    job.SetParallel(parallel);
    set(job, both.mesh, stl);
    EXPECT_TRUE(job.Operate());
    Numbers numbers;
    Append(numbers, stl);
    EXPECT_GT(stl.NumberOfTriangles(), 0u);
    return numbers;
}

Numbers IsosurfaceOf(bool parallel) {
    MMeshIsosurfaceOperator::NodesMask values;
    return SurfaceOf<MMeshIsosurfaceOperator>(parallel, [&values](auto& job, MMeshBase& mesh, MStlBase& stl) {
        mesh.GetPointMasks()->RegisterMask(&values);
        job.SetNodesMask(&values);
        job.GenerateDemoValues();
        job.SetIsoSurface(&stl);
    });
}

Numbers ExplosionOf(bool parallel) {
    return SurfaceOf<MMeshConvertToStlOperator>(parallel, [](auto& job, MMeshBase&, MStlBase& stl) {
        job.SetStl(&stl);
        job.SetEpsilon(0.2);
    });
}

Numbers ExtractionOf(bool parallel) {
    return SurfaceOf<MMeshExtractStlSurfaceOperator>(parallel, [](auto& job, MMeshBase&, MStlBase& stl) {
        job.SetStl(&stl);
        job.SetExtractInterfacesBetweenSubVolumes(true);
    });
}

Numbers SectionOf(bool parallel) {
    TwoVolumes both;
    MMeshOperatorCutPlane cut;
    cut.SetMesh(&both.mesh);
    cut.SetParallel(parallel);
    cut.SetPlane({1, 2, 3}, {9, 9, 9});
    EXPECT_TRUE(cut.Operate());
    Numbers numbers = {cut.GetSection().GetArea(), static_cast<double>(cut.GetNbAbove())};
    auto const& visible = *both.mesh.GetElementMasks()->GetVisibleMask();
    for (MMeshElement const& e : both.mesh.Elements())
        numbers.push_back(visible.GetValue(e));
    MStlBase stl;
    cut.AddSurfaces(stl);
    Append(numbers, stl);
    return numbers;
}

// Runs an operator that changes the mesh.
template <typename Operator, typename Set>
Numbers ChangeOf(bool parallel, Set const& set) {
    TwoVolumes both;
    Operator job;
    job.SetMesh(&both.mesh);
    job.SetParallel(parallel);
    set(job, both.mesh);
    EXPECT_TRUE(job.Operate());
    Numbers numbers;
    Append(numbers, both.mesh);
    return numbers;
}

Numbers LabellingOf(bool parallel) {
    MStlBase none;
    return ChangeOf<MMeshOperatorLabelSubVolumes>(parallel,
                                                  [&none](auto& job, MMeshBase&) { job.SetStl(&none); });
}

Numbers MarksOf(bool parallel) {
    TwoVolumes both;
    MMeshOperatorSurface mark;
    mark.SetMesh(&both.mesh);
    mark.SetParallel(parallel);
    EXPECT_TRUE(mark.Operate());
    Numbers numbers;
    auto const& lists = *both.mesh.GetElementMasks()->GetSurfaceMask();
    for (MMeshElement const& e : both.mesh.Elements())
        for (MMeshSurfaceTriangleList::Face const face : lists.GetValue(e))
            numbers.push_back(face.triangle);
    return numbers;
}

Numbers LayersOf(bool parallel) {
    TwoVolumes both;
    MMeshOperatorLayers layers;
    layers.SetMesh(&both.mesh);
    layers.SetNbLayers(3);
    layers.SetParallel(parallel);
    EXPECT_TRUE(layers.Operate());
    Numbers numbers;
    for (MMeshElement const& e : both.mesh.Elements())
        numbers.push_back(layers.GetLayerMask()->GetValue(e));
    return numbers;
}

// With some nodes at one position.
Numbers GraphsOf(bool parallel) {
    TwoVolumes both(22);
    for (std::uint64_t i = 100; i < static_cast<std::uint64_t>(both.mesh.NumberOfPoints()); i += 100) {
        MMeshPoint const& other = *both.mesh.GetRandomPoint(i - 30);
        MMeshPoint& p = *both.mesh.GetRandomPoint(i);
        p.x = other.x;
        p.y = other.y;
        p.z = other.z;
    }
    MStlFeature feature;
    MMeshConvertTetToGraphOperator convert(both.mesh, feature);
    convert.SetParallel(parallel);
    for (bool const only_interior : {true, false}) {
        convert.SetOnlyInteriorEdges(only_interior);
        EXPECT_TRUE(convert.Operate());
    }
    Numbers numbers;
    for (MStlGraph& graph : feature.Graphs()) {
        for (MStlPoint const& p : graph.Vertices())
            for (MLong const number : {p.GetX(), p.GetY(), p.GetZ(), p.GetIndex()})
                numbers.push_back(number);
        for (MStlEdge& edge : graph.Edges())
            for (MStlPoint const* const end : {edge.GetPoint(0), edge.GetPoint(1)})
                numbers.push_back(end->GetIndex());
    }
    return numbers;
}

// Two overlapping meshes with values, and elements in no sub-volume.
Numbers MergerOf(bool parallel) {
    TwoVolumes first, second(24);
    MMeshSubVolume none(&second.mesh, -1);
    auto& masks = *second.mesh.GetElementMasks();
    int i = 0;
    for (MMeshElement& e : second.mesh.Elements()) {
        masks.GetGreyValueMask()->SetValue(e, i);
        masks.GetVisibleMask()->SetValue(e, i % 3 != 0);
        if (++i % 50 == 0)
            second.mesh.GetSubVolume(e)->MoveElement(e, &none);
    }
    for (auto p = second.mesh.BeginPoint(); p != second.mesh.EndPoint(); ++p)
        second.mesh.GetPointMasks()->GetOriginalIDs()->SetValue(*p, 2 * p->GetIndex());
    MMeshMergeVolumesOperator merge(&first.mesh, &second.mesh);
    MMeshOrigins of_first, of_second;
    merge.SetOrigins(&of_first, &of_second);
    merge.SetParallel(parallel);
    EXPECT_TRUE(merge.Operate());
    EXPECT_GT(of_second.joined_nodes, 0u);
    Numbers numbers;
    Append(numbers, first.mesh);
    for (MMeshElement const& e : first.mesh.Elements()) {
        numbers.push_back(first.mesh.GetElementMasks()->GetGreyValueMask()->GetValue(e));
        numbers.push_back(first.mesh.GetElementMasks()->GetVisibleMask()->GetValue(e));
    }
    for (MMeshPoint const* const node : merge.GetNodes())
        numbers.push_back(node->GetIndex());
    for (auto p = first.mesh.BeginPoint(); p != first.mesh.EndPoint(); ++p)
        numbers.push_back(first.mesh.GetPointMasks()->GetOriginalIDs()->GetValue(*p));
    Append(numbers, of_second);
    return numbers;
}

Numbers ChecksOf(bool parallel) {
    TwoVolumes both;
    MMeshTet10ConsistencyCheckOperator check;
    check.SetMesh(&both.mesh);
    check.SetParallel(parallel);
    EXPECT_TRUE(check.Operate());
    KetSDK::Mesh::MMeshTopology const topology = KetSDK::Mesh::AnalyzeTopology(both.mesh, parallel);
    return {static_cast<double>(check.GetWrongOrientation()), static_cast<double>(topology.parts),
            static_cast<double>(topology.duplicate_elements), static_cast<double>(topology.unused_nodes)};
}

// Cubes of ten-node elements whose mid nodes stand anywhere.
Numbers CorrectionOf(bool parallel) {
    TwoVolumes straight(12);
    MMeshConvertTet4ToTet10Operator convert;
    convert.SetMesh(&straight.mesh);
    EXPECT_TRUE(convert.Operate());
    std::unique_ptr<MMeshBase> const mesh(convert.GetTet10Mesh());
    std::mt19937 random(9);
    for (MMeshElement const& e : mesh->Elements())
        for (unsigned int i = 4; i < 10 && e.GetMaskIndex() % 3 == 0; ++i)
            e.GetNode(i)->y += static_cast<MLong>(random() % (TestMeshes::Unit / 4));
    MMeshJacobianCorrectorOperator correct;
    correct.SetMesh(mesh.get());
    correct.SetParallel(parallel);
    EXPECT_TRUE(correct.Operate());
    EXPECT_GT(correct.GetNbModified(), 0);
    EXPECT_GT(correct.GetNbMidNodeCorrections(), 0);
    Numbers numbers = {correct.GetLargestDeviation(),
                       correct.GetSmallestAlignment(),
                       correct.GetSmallestRatio(),
                       correct.GetSmallestJacobianDistortion(),
                       static_cast<double>(correct.GetNbModified()),
                       static_cast<double>(correct.GetNbPasses())};
    Append(numbers, *mesh);
    return numbers;
}

// The surface of the mesh, and on it what grew from some elements.
Numbers GrowthOf(bool parallel) {
    TwoVolumes both;
    MStlBase stl;
    MMeshExtractStlSurfaceOperator extract;
    extract.SetMesh(&both.mesh);
    extract.SetStl(&stl);
    EXPECT_TRUE(extract.Operate());
    MDataMaskBits<MMeshElement> bad;
    both.mesh.GetElementMasks()->RegisterMask(&bad);
    for (std::uint64_t i = 0; i < both.mesh.Elements().GetNumElements(); i += 500)
        bad.SetValue(*both.mesh.GetElement(i), true);
    MMeshGrowBadTetsOperator grow;
    grow.SetMesh(&both.mesh);
    grow.SetStlMesh(&stl);
    grow.SetBadMask(&bad);
    grow.SetGrowLevel(2);
    grow.SetParallel(parallel);
    EXPECT_TRUE(grow.Operate());
    Numbers numbers;
    for (MStlTriangle const& t : stl.Triangles())
        numbers.push_back(grow.GetResultMask()->GetValue(t));
    EXPECT_GT(std::ranges::count(numbers, 1.0), 0);
    return numbers;
}

// As many along each axis, on nodes that were moved so far that some need a node inside.
void FillWithWarpedHexahedra(MMeshBase& mesh, int n) {
    for (int i = 0; i <= n; ++i)
        for (int k = 0; k <= n; ++k)
            for (int l = 0; l <= n; ++l)
                mesh.AddPoint(i * Unit, k * Unit, l * Unit);
    std::mt19937 random(3);
    for (auto p = mesh.BeginPoint(); p != mesh.EndPoint(); ++p)
        for (MLong* const coordinate : {&p->x, &p->y, &p->z})
            *coordinate += static_cast<MLong>(random() % (3 * Unit / 4));
    mesh.NodesMoved();
    int const row = n + 1;
    for (int i = 0; i < n; ++i)
        for (int k = 0; k < n; ++k)
            for (int l = 0; l < n; ++l) {
                std::vector<MMeshPoint*> nodes;
                for (int const corner : {0, row * row, row * row + row, row})
                    nodes.push_back(
                        &*mesh.GetRandomPoint(static_cast<std::uint64_t>((i * row + k) * row + l + corner)));
                for (std::size_t c = 0; c < 4; ++c)
                    nodes.push_back(
                        &*mesh.GetRandomPoint(static_cast<std::uint64_t>(nodes[c]->GetIndex() + 1)));
                TestMeshes::AddElement(mesh, nodes);
            }
}

// Ten-node elements, eight linear ones of each, and tetrahedra of hexahedra, some of which are warped.
Numbers ConversionsOf(bool parallel) {
    Numbers numbers;
    auto const run = [&](auto& convert, MMeshBase& source, MMeshBase& target) {
        MMeshOrigins origins;
        convert.SetMesh(&source);
        convert.SetOrigins(&origins);
        convert.SetParallel(parallel);
        EXPECT_TRUE(convert.Operate());
        Append(numbers, target);
        Append(numbers, origins);
    };
    TwoVolumes linear; // more elements than threads take at a time
    MMeshBase quadratic, split, cut;
    MMeshConvertTet4ToTet10Operator curve;
    curve.SetTet10Mesh(&quadratic);
    run(curve, linear.mesh, quadratic);
    MMeshConvertTet10ToTet4Operator straighten;
    straighten.SetTet4Mesh(&split);
    straighten.SetMultipleElements(true);
    run(straighten, quadratic, split);

    MMeshBase hexahedra;
    FillWithWarpedHexahedra(hexahedra, 11);
    MMeshConformingCutOperator conforming;
    conforming.SetTet4Mesh(&cut);
    run(conforming, hexahedra, cut);
    EXPECT_GT(conforming.GetCounts().nodes_inside, 0u);
    return numbers;
}

// Two sub-volumes whose elements have grey values, each the share of up to two volumes.
struct GreyVolumes : TwoVolumes {
    GreyVolumes()
        : TwoVolumes(22) {
        std::mt19937 random(13);
        auto& masks = *mesh.GetElementMasks();
        for (MMeshElement const& e : mesh.Elements()) {
            masks.GetGreyValueMask()->SetValue(e, static_cast<double>(random() % 4000) - 1000.0);
            MMeshElementMaskContainer::VolumeList list(random() % 3, {0, 0.5});
            for (auto& entry : list)
                entry.volume_index = static_cast<unsigned short>(random() % 4);
            masks.GetVolumeIndexMask()->SetValue(e, list);
        }
        mesh.SetGreyValuesFlag(true);
    }
};

Numbers IntervalsOf(bool parallel) {
    GreyVolumes both;
    MMeshBase* const mesh = &both.mesh;
    std::vector<bool> const flags = {true, false, true, true};
    MHUList::SubVolumes const second = {(mesh->BeginSubVolume() + 1)->get()};
    auto const unit = MHUList::MeshUnit;
    Numbers numbers;
    for (MHUList::SubVolumes const* const selected :
         {static_cast<MHUList::SubVolumes const*>(nullptr), &second})
        for (int builder = 0; builder < 4; ++builder) {
            MHUList list;
            EXPECT_TRUE(
                builder == 0   ? list.CreateUniform(mesh, 9, 1, 2, 1, 3, 2, unit, selected, parallel)
                : builder == 1 ? list.CreateUniformFromRange(mesh, 9, -77, 500, unit, selected, parallel)
                : builder == 2 ? list.CreateUniformFromMask(mesh, 9, 1, flags, unit, selected, parallel)
                               : list.CreateFromMask(mesh, flags, true, selected, parallel));
            for (std::uint64_t i = 0; i < list.GetNumElements(); ++i)
                numbers.insert(numbers.end(), {list.GetStart(i), list.GetValue(i).value});
        }
    return numbers;
}

// Cancels when it is asked for the last time of so many.
class PatientDelegate : public RecordingDelegate {
public:
    explicit PatientDelegate(int times)
        : m_left(times) {}
    bool IsCancelled() const override { return --m_left <= 0; }
    int Left() const noexcept { return m_left; }

private:
    mutable int m_left;
};

// Each way to assign to the elements of one sub-volume or of all. Nobody listens, or somebody does to the
// end, or cancels.
Numbers AssignmentOf(bool parallel) {
    GreyVolumes both;
    MMaterialCatalog catalog;
    MDensityLookup lookup;
    for (unsigned int id = 5; id < 25; ++id) {
        MMeshMaterial material;
        material.SetID(id);
        material.SetDensity(id % 7);
        catalog.AddMaterial(material);
        lookup.AddMaterial(static_cast<unsigned short>(id % 3), id, 100.0 * id - 800.0);
    }
    lookup.Sort();
    MMeshOperatorSettingsMaterialAssign settings;
    settings.SetMatCatalog(&catalog);
    settings.SetGrey2dens(&lookup);
    settings.SetMaskUsed({false, true, true});
    Numbers numbers;
    for (int run = 0; run < 30; ++run) {
        settings.SetAssignType(MMeshOperatorSettingsMaterialAssign::EAssignType(run % 5));
        if (run == 15)
            settings.SetSubVolumes({(both.mesh.BeginSubVolume() + 1)->get()});
        auto const listener = std::make_shared<PatientDelegate>(run / 5 % 3 == 1 ? 10'000'000 : 7777 + run);
        MMeshOperatorMaterialAssign assign;
        assign.SetMesh(&both.mesh);
        assign.SetSettings(&settings);
        assign.SetProgressDelegate(run / 5 % 3 == 0 ? nullptr : listener);
        assign.SetParallel(parallel);
        numbers.push_back(assign.Operate());
        numbers.push_back(listener->Left());
        for (MMeshElement const& e : both.mesh.Elements())
            numbers.push_back(both.mesh.GetElementMasks()->GetMaterialMask()->GetValue(e));
        numbers.push_back(static_cast<double>(both.mesh.GetMaterialCatalog().NumberOfMaterials()));
    }
    return numbers;
}

// Materials by density laws, with all that is counted of them.
Numbers MaterialsOf(bool parallel) {
    using namespace KetSDK::Mesh;
    GreyVolumes both;
    Numbers numbers;
    for (MaterialsBy const by : {MaterialsBy::Grey, MaterialsBy::Mask, MaterialsBy::Index}) {
        MaterialAssignment how;
        how.by = by;
        how.bins = 12;
        how.law.density = {0.3, 0.01, 0.7, 0.0, 1.0};
        how.law.modulus = {1000.0, 1.5};
        for (AssignedMaterial const& material : AssignMaterials(both.mesh, how, nullptr, parallel))
            numbers.insert(numbers.end(),
                           {static_cast<double>(material.id), static_cast<double>(material.elements),
                            material.volume, material.mass_of_elements, material.emodulus,
                            material.smallest_grey, material.largest_grey, material.mean_grey});
    }
    return numbers;
}

// Writing and reading a mesh gives the same bytes and the same mesh.
void AppendFileOf(Numbers& numbers, MMeshBase const& mesh, MMeshFile::Encoding encoding, bool parallel) {
    std::mt19937_64 random(17);
    std::vector<double> values(400000);
    for (double& value : values)
        value = static_cast<double>(random()) / 3.0;
    std::vector<MMeshArray> const arrays = {{L"values", MMeshArray::OnMesh, 1, {}, values}};
    MTemporaryDirectory const folder;
    std::string const name = folder.GetPath().GetString() + "/mesh.kmesh";
    EXPECT_TRUE(MMeshFile::Save(mesh, arrays, name, encoding, nullptr, std::nullopt, parallel));
    std::string const bytes = Content(name);
    numbers.insert(numbers.end(), bytes.begin(), bytes.end());
    MMeshFile::Content const content = MMeshFile::Load(name, nullptr, parallel);
    EXPECT_EQ(FindMeshDifference(mesh, *content.mesh), std::nullopt);
    EXPECT_EQ(FindArrayDifference(arrays, content.arrays), std::nullopt);
    EXPECT_EQ(content.mesh->GetBoundingBox(), mesh.GetBoundingBox());
    Append(numbers, *content.mesh);
}

// More nodes and elements, of all kinds, than are made at a time; bytes of the file, and what is read of it.
Numbers FilesOf(MMeshFile::Encoding encoding, bool parallel) {
    Numbers numbers;
    for (bool const begins_mixed : {true, false}) { // or becomes so behind many pieces
        MMeshBase mesh;
        if (begins_mixed)
            for (unsigned char const kind : std::initializer_list<unsigned char>{10, 4, 6, 8})
                TestMeshes::AddElementOfKind(mesh, kind);
        TestMeshes::FillWithCubes(mesh, 28);
        for (MLong i = 0; i < 60000; ++i)
            mesh.AddPoint(i, -i, 7);
        for (unsigned char const kind : std::initializer_list<unsigned char>{8, 4, 4, 10})
            TestMeshes::AddElementOfKind(mesh, kind);
        AppendFileOf(numbers, mesh, encoding, parallel);
    }
    return numbers;
}

// Of meshes with triangles alone and with quadrilaterals. Faces come in an order that no thread changes.
Numbers FacesOf(bool parallel) {
    Numbers numbers;
    auto const add = [&](MMeshBase const& mesh) {
        for (KetSDK::Mesh::BoundaryFace const& face : KetSDK::Mesh::FindBoundaryFaces(mesh, parallel))
            numbers.insert(numbers.end(),
                           {static_cast<double>(face.inside), static_cast<double>(face.outside.value_or(-1)),
                            static_cast<double>(face.element), static_cast<double>(face.face)});
        std::vector<std::uint32_t> const bodies = KetSDK::Mesh::FindBodies(mesh, parallel);
        numbers.insert(numbers.end(), bodies.begin(), bodies.end());
    };
    TwoVolumes both;
    add(both.mesh);
    MMeshBase hexahedra;
    FillWithWarpedHexahedra(hexahedra, 11);
    add(hexahedra);
    return numbers;
}

struct Case {
    char const* name;
    std::function<Numbers(bool parallel)> run;
};
void PrintTo(Case const& tested, std::ostream* out) {
    *out << tested.name;
}
Case const Cases[] = {
    {"quality", QualityOf},
    {"histogram", HistogramOf},
    {"exact mapper", [](bool parallel) { return MappingOf<MMeshCorrespondenceMapperExact>(parallel); }},
    {"projection mapper",
     [](bool parallel) { return MappingOf<MMeshCorrespondenceMapperProjection>(parallel, 0.001); }},
    {"correspondence", CorrespondenceOf},
    {"projection", [](bool parallel) { return ProjectionOf(parallel, Unit / 8); }},
    {"projection from near by", [](bool parallel) { return ProjectionOf(parallel, Unit / 100); }},
    {"meshing", MeshingOf},
    {"building", BuildOf},
    {"neighbours", NeighborsOf},
    {"extraction", ExtractionOf},
    {"isosurface", IsosurfaceOf},
    {"exploded view", ExplosionOf},
    {"section", SectionOf},
    {"orientation",
     [](bool parallel) { return ChangeOf<MMeshOrientOperator>(parallel, [](auto&, MMeshBase&) {}); }},
    {"split",
     [](bool parallel) { return ChangeOf<MMeshSplitVolumesOperator>(parallel, [](auto&, MMeshBase&) {}); }},
    {"labelling", LabellingOf},
    {"boundary marks", MarksOf},
    {"layers", LayersOf},
    {"graphs", GraphsOf},
    {"merging", MergerOf},
    {"checks", ChecksOf},
    {"correction", CorrectionOf},
    {"growth", GrowthOf},
    {"conversions", ConversionsOf},
    {"intervals", IntervalsOf},
    {"assignment", AssignmentOf},
    {"materials", MaterialsOf},
    {"faces and bodies", FacesOf},
    {"mesh files", std::bind_front(FilesOf, MMeshFile::Binary)},
    {"mesh files in text", std::bind_front(FilesOf, MMeshFile::Text)},
};

#ifdef KETSDK_SANITIZE
// A sanitizer watches threads; that they change nothing is shown without one.
constexpr std::size_t ThreadCounts[] = {2, 8};
#else
constexpr std::size_t ThreadCounts[] = {1, 2, 3, 8};
#endif

class ParallelRuns : public testing::TestWithParam<Case> {};

} // namespace

TEST_P(ParallelRuns, GiveTheSameOnAllThreadsAndInACancelledTask) {
    auto const& run = GetParam().run;
    Numbers const expected = run(false);
    for (std::size_t const threads : ThreadCounts) {
        SCOPED_TRACE(threads);
        tbb::global_control const limit(tbb::global_control::max_allowed_parallelism, threads);
        tbb::task_arena(static_cast<int>(threads)).execute([&] {
            EXPECT_TRUE(run(true) == expected);
            if (threads != 2)
                return;
            tbb::task_group_context outer;
            tbb::parallel_for(
                0, 1,
                [&](int) {
                    outer.cancel_group_execution();
                    EXPECT_TRUE(run(true) == expected) << "in a task of a cancelled group";
                },
                outer);
        });
    }
}

INSTANTIATE_TEST_SUITE_P(Library, ParallelRuns, testing::ValuesIn(Cases), [](auto const& instance) {
    std::string name = instance.param.name;
    std::ranges::replace(name, ' ', '_');
    return name;
});
