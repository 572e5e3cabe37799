// SPDX-License-Identifier: BSD-3-Clause
// Measures every element of a mesh and names the worst one: measure_quality MESH
//
// 1. Read the mesh with its sub-volumes.
// 2. Choose a metric from the table, which knows its range, its sense and its source.
// 3. Run the operator; on all cores the values are the same bit for bit.
// 4. Read the histogram, and the value of each element from the mask.
#include <KetSDK/Mesh/geometry/MMeshQualityAnalysisOperator.h>
#include <KetSDK/Mesh/geometry/QualityMetric.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/ModelFile.h>

#include <iostream>

int main(int argc, char** argv) try {
    // 1.
    auto const model = KetSDK::MeshJobs::ReadModel(argc > 1 ? argv[1] : "", {}, {});

    // 2.
    KetSDK::Mesh::QualityMetric const* const metric = KetSDK::Mesh::FindQualityMetric("ScaledJacobian");
    std::cout << metric->name << ": " << metric->definition << " (" << metric->source << ")\n";

    // 3.
    MMeshQualityAnalysisOperator analysis;
    analysis.SetMesh(model.mesh.get());
    analysis.SetCurrentMetric(metric->type);
    analysis.SetParallel(true);
    if (!analysis.Operate())
        return 1;

    // 4.
    auto const& histogram = *analysis.GetQualityHistogram();
    for (unsigned int i = 0; i < histogram.GetNbPartitions(); ++i)
        std::cout << histogram.GetPartitionMin(i) << " to " << histogram.GetPartitionMax(i) << ": "
                  << histogram.GetPartitionCount(i) << " elements\n";
    MMeshElement const* worst = nullptr;
    for (MMeshElement const& element : model.mesh->Elements())
        if (!worst || analysis.IsBetterThan(analysis.GetQualityMask()->GetValue(*worst),
                                            analysis.GetQualityMask()->GetValue(element)))
            worst = &element;
    if (worst)
        std::cout << "the worst: " << analysis.GetQualityMask()->GetValue(*worst)
                  << " near x = " << worst->GetNode(0)->GetPosition()[0] << " mm\n";
} catch (KetSDK::MeshJobs::Error const& error) {
    std::cerr << "measure_quality: " << error.what() << "\n";
    return 1;
}
