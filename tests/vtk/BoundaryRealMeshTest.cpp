// SPDX-License-Identifier: BSD-3-Clause
// Exploded views and graphs of the real meshes, beside their elements and VTK's edges.
#include "RealMeshes.h"

#include <KetSDK/Mesh/geometry/TetrahedronBase.h>
#include <KetSDK/Mesh/operators/MMeshConvertTetToGraphOperator.h>
#include <KetSDK/MeshVTK/PolyDataFromGraphs.h>
#include <KetSDK/Triangles/Data/MStlFeature.h>

#include <vtkExtractEdges.h>
#include <vtkNew.h>
#include <vtkThreshold.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

TEST(BoundaryRealMesh, GraphsHaveTheEdgesThatVtkExtracts) {
    auto const grid = ReadGrid("head_small_tet4.vtu");
    auto const mesh = KetSDK::MeshVTK::MeshFromGrid(*grid, {}, nullptr);
    MStlFeature all, interior;
    MMeshConvertTetToGraphOperator convert(*mesh, all);
    convert.SetOnlyInteriorEdges(false);
    ASSERT_TRUE(convert.Operate());
    ASSERT_TRUE(MMeshConvertTetToGraphOperator(*mesh, interior).Operate());
    ASSERT_EQ(all.NumberOfGraphs(), mesh->NumberOfSubVolumes());
    vtkIdType lines = 0;
    for (std::uint64_t i = 0; i < all.NumberOfGraphs(); ++i) {
        SCOPED_TRACE(i);
        MMeshSubVolume const& part = **(mesh->BeginSubVolume() + static_cast<std::ptrdiff_t>(i));
        MStlGraph const& graph = *all.GetGraph(i);
        EXPECT_EQ(graph.GetName(), part.GetName());
        EXPECT_EQ(graph.NumberOfVertices(), part.GetNbPoints());
        vtkNew<vtkThreshold> cells; // label i + 1
        cells->SetInputData(grid);
        cells->SetInputArrayToProcess(0, 0, 0, vtkDataObject::FIELD_ASSOCIATION_CELLS, "label");
        cells->SetThresholdFunction(vtkThreshold::THRESHOLD_BETWEEN);
        cells->SetLowerThreshold(static_cast<double>(i) + 0.5);
        cells->SetUpperThreshold(static_cast<double>(i) + 1.5);
        vtkNew<vtkExtractEdges> edges;
        edges->SetInputConnection(cells->GetOutputPort());
        edges->Update();
        EXPECT_EQ(graph.NumberOfEdges(), static_cast<std::uint64_t>(edges->GetOutput()->GetNumberOfCells()));
        EXPECT_LT(interior.GetGraph(i)->NumberOfEdges(), graph.NumberOfEdges());
        lines += static_cast<vtkIdType>(graph.NumberOfEdges());
    }
    EXPECT_EQ(KetSDK::MeshVTK::PolyDataFromGraphs(all, {})->GetNumberOfLines(), lines);
}
