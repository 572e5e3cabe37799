// The curved head mesh, some hundred elements of which fold, is repaired as far as mid nodes can.
#include "RealMeshes.h"

#include <KetSDK/Mesh/geometry/MMeshJacobianCorrectorOperator.h>
#include <KetSDK/Mesh/geometry/Tetrahedron10Base.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>

#include <vtkUnstructuredGrid.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

using Element = Tetrahedron10Base<MLong>;

bool Inside(double ratio, MMeshJacobianCorrectorOperator const& limits) {
    return ratio > limits.GetMinRatioThreshold() && ratio <= limits.GetMaxRatioThreshold();
}

int CountBad(MMeshBase& mesh, MMeshJacobianCorrectorOperator const& limits) {
    int bad = 0;
    for (MMeshElement& e : mesh.Elements())
        bad += !Inside(Element(&e, true).JacobianRatio(), limits);
    return bad;
}

} // namespace

TEST(RepairRealMesh, FoldedElementsAreUnfoldedAndTheRestStays) {
    auto const mesh = ReadMesh("head_small_tet10.vtu");
    MMeshBase const original(*mesh);
    MMeshJacobianCorrectorOperator corrector;
    corrector.SetMesh(mesh.get());
    int const bad_before = CountBad(*mesh, corrector);
    EXPECT_GT(bad_before, 100);
    ASSERT_TRUE(corrector.Operate());

    int touched = 0, bad = 0;
    for (std::uint64_t i = 0; i < static_cast<std::uint64_t>(mesh->NumberOfElements()); ++i) {
        MMeshElement& e = *mesh->GetElement(i);
        MMeshElement const& before = *original.GetElement(i);
        for (unsigned int k = 0; k < 4; ++k)
            ASSERT_EQ(*e.GetNode(k), *before.GetNode(k)) << "a corner moved";
        bool moved = false;
        for (unsigned int k = 4; k < 10; ++k)
            moved |= *e.GetNode(k) != *before.GetNode(k);
        touched += moved;
        if (Inside(Element(&e, true).JacobianRatio(), corrector))
            continue;
        ++bad;
        Element straight(&e, true);
        straight.ShrinkMidEdges(0.0);
        EXPECT_FALSE(Inside(straight.JacobianRatio(), corrector)) << "could be helped";
    }
    EXPECT_LT(bad, bad_before / 20);
    EXPECT_GT(corrector.GetNbModified(), bad_before / 2) << "some are good once a neighbour is";
    EXPECT_LE(corrector.GetNbModified(), touched) << "neighbours share what was moved";
    EXPECT_LT(touched, mesh->NumberOfElements() / 4);

    MMeshBase const once(*mesh);
    MMeshJacobianCorrectorOperator again(corrector);
    ASSERT_TRUE(again.Operate());
    EXPECT_EQ(again.GetNbModified(), 0);
    EXPECT_EQ(again.GetNbPasses(), 1);
    for (std::uint64_t i = 0; i < static_cast<std::uint64_t>(once.NumberOfPoints()); ++i)
        ASSERT_EQ(*mesh->GetRandomPoint(i), *once.GetRandomPoint(i));
}
