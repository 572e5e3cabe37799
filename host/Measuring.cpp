#include <host/Measuring.h>

#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <host/FileError.h>
#include <host/terminal/Cancellation.h>

#include <stdexcept>
#include <string>

namespace ketmesh {

void RequireMetric(MMeshBase const& mesh, QualityMetric const& metric, std::string const& file) {
    if (!HasMetric(mesh, metric))
        throw FileError(file, std::string(metric.name) +
                                  " is a measure of quadratic tetrahedra, and the mesh has none");
}

void Measure(MMeshQualityAnalysisOperator& analysis, MMeshBase& mesh, QualityMetric const& metric,
             bool parallel, Progress const& progress) {
    if (metric.type == MMeshQualityAnalysisOperator::FluentOrthogonalQuality)
        mesh.GetNeighborsInfo()->Enable();
    analysis.SetMesh(&mesh);
    analysis.SetCurrentMetric(metric.type);
    analysis.SetParallel(parallel);
    analysis.SetProgressDelegate(progress);
    bool const done = analysis.Operate();
    ThrowIfCancelled();
    if (!done)
        throw std::runtime_error(std::string(metric.name) + " could not be measured");
}

} // namespace ketmesh
