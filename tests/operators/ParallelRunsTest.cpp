// SPDX-License-Identifier: BSD-3-Clause
// Everything in the library that can run on several threads gives the same on any number of them.
#include "TestMeshes.h"

#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapperExact.h>
#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapperProjection.h>
#include <KetSDK/Mesh/geometry/MMeshQualityAnalysisOperator.h>
#include <KetSDK/Mesh/meshing/MMeshFromLabelsOperator.h>
#include <KetSDK/Mesh/operators/MMeshProjectTetOnStlOperator.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <gtest/gtest.h>

#include <tbb/global_control.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>
#include <tbb/task_group.h>

#include <functional>
#include <random>
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
    Numbers numbers = analysis.GetQualityHistogram()->GetValues();
    for (MMeshElement const& e : mesh.Elements())
        numbers.push_back(analysis.GetQualityMask()->GetValue(e));
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

Numbers ProjectionOf(bool parallel) {
    MeshAndSurface both(Unit / 8);
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

struct Case {
    char const* name;
    std::function<Numbers(bool parallel)> run;
};
Case const Cases[] = {
    {"quality", QualityOf},
    {"histogram", HistogramOf},
    {"exact mapper", [](bool parallel) { return MappingOf<MMeshCorrespondenceMapperExact>(parallel); }},
    {"projection mapper",
     [](bool parallel) { return MappingOf<MMeshCorrespondenceMapperProjection>(parallel, 0.001); }},
    {"projection", ProjectionOf},
    {"meshing", MeshingOf},
};

} // namespace

TEST(ParallelRuns, GiveTheSameOnAllThreadsAndInACancelledTask) {
    for (Case const& c : Cases) {
        SCOPED_TRACE(c.name);
        Numbers const expected = c.run(false);
        for (std::size_t const threads : {1u, 2u, 4u}) {
            SCOPED_TRACE(threads);
            tbb::global_control const limit(tbb::global_control::max_allowed_parallelism, threads);
            tbb::task_arena(static_cast<int>(threads)).execute([&] {
                EXPECT_TRUE(c.run(true) == expected);
                tbb::task_group_context outer;
                tbb::parallel_for(
                    0, 1,
                    [&](int) {
                        outer.cancel_group_execution();
                        EXPECT_TRUE(c.run(true) == expected) << "in a task of a cancelled group";
                    },
                    outer);
            });
        }
    }
}
