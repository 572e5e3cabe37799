// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/geometry/QualityHistogram.h>
#include <KetSDK/Mesh/materials/MDataMask.h>
#include <KetSDK/Mesh/mesh/MMeshElement.h>
#include <KetSDK/Mesh/mesh/MMeshOperator.h>

#include <cfloat>
#include <memory>

namespace KetSDK::Common {
class IncrementalProgressReporter;
}

// Evaluates one quality measure on every element of a mesh, and gives the values as a mask of the
// elements and as a histogram. QualityMetric.h says of each measure what it means, what range its
// histogram has and which values are good.
//
// The measures are those of tetrahedra: of an element of another kind they see the first four nodes, unless
// SetEveryKind(true) has hexahedra and wedges measured as what they are.
// Metrics 12 to 14 and 101 see all ten nodes of a quadratic element, and with SetCurvedVolumes(true) the
// volumes 3, 29 and 30 do.
// One thread at a time uses operator and mesh. With SetParallel(true) the values are computed on several
// threads; whatever comes out, and what is left after cancelling, is the same bit for bit.
class KETSDK_MESH_API MMeshQualityAnalysisOperator : public MMeshOperator {
public:
    // The measure to evaluate. Any other number makes Operate() return false.
    enum QualityType : int {
        Spheres = 0,
        InsphereEdge = 1,
        MeanRatio = 2,
        Volume = 3,
        AspectRatio = 4,
        AspectRatioTetgen = 5,
        RadiusEdgeTetgen = 6,
        EquiAngleSkew = 7,
        EdgeMaxMin = 8,
        EdgeMinMax = 9,
        Jacobian = 10,
        ScaledJacobian = 11,
        JacobianDistortion = 12,
        MinJacobianDeterminant = 13,
        JacobianRatio = 14,
        MaxEdgeLength = 15,
        MinEdgeLength = 16,
        MaxCosDihedralAngle = 17,
        MinDihedralAngle = 18,
        MaxDihedralAngle = 19,
        MinFaceAngle = 20,
        MaxFaceAngle = 21,
        EquiDihedralAngleSkew = 22,
        EquiSizeSkew = 23,
        AbacusShapeFactor = 24,
        AnsysElementQuality = 25,
        FluentOrthogonalQuality = 26,
        MinCornerAngle = 27,
        MaxCornerAngle = 28,
        VolumeInRange = 29,
        VolumeInRange2 = 30,
        MinFaceAngleRatio = 31,
        MaxFaceAngleRatio = 32,
        // Numbers below 100 are left to the list above, which hosts store.
        OrthogonalQuality = 100,
        Folded = 101,
        CornerVolume = 102,
        // Of hexahedra, the first three of wedges as well.
        Condition = 110,
        MeanAspectFrobenius = 111,
        Shape = 112,
        MaxEdgeRatio = 113,
        Skew = 114,
        Taper = 115,
        Stretch = 116,
        Diagonal = 117,
        Oddy = 118,
    };
    static constexpr int NumberOfMetrics = 33; // numbered from 0 on; QualityMetrics() has the others too

    MMeshQualityAnalysisOperator() = default;
    // Copies take over the settings and share the progress delegate; they have no results.
    MMeshQualityAnalysisOperator(MMeshQualityAnalysisOperator const& other);
    MMeshQualityAnalysisOperator& operator=(MMeshQualityAnalysisOperator const& other);
    ~MMeshQualityAnalysisOperator() override;

    // Spheres unless set.
    void SetCurrentMetric(QualityType metric) noexcept { m_metric = metric; }
    QualityType GetCurrentMetric() const noexcept { return m_metric; }
    // Number of bins of the histogram while there is no positive bin width; 10 unless set. A negative
    // number acts as 0.
    void SetNbPartitions(int partitions) noexcept { m_partitions = partitions; }
    // A positive width fixes the width of the bins in place of their number, and extends the range to a whole
    // number of them. It gives no bins where the range is that of the values. 0 unless set.
    void SetPartitionWidth(double width) noexcept { m_partition_width = width; }
    // Caps the upper end of the histogram's range, except where that is the range of the values. DBL_MAX
    // unless set.
    void SetMaxBound(double bound) noexcept { m_max_bound = bound; }
    // Where progress is reported and cancelling is asked for, after every 100 elements; may be null.
    void SetProgressDelegate(std::shared_ptr<KetSDK::Common::IProgressDelegate> delegate) noexcept {
        m_progress = std::move(delegate);
    }
    // Whether hexahedra and wedges are measured by MMeshSolidMeasures; their values are NaN for a metric that
    // does not measure them (QualityMetric::kinds). False unless set.
    void SetEveryKind(bool every_kind) noexcept { m_every_kind = every_kind; }
    // Whether Volume, VolumeInRange and VolumeInRange2 of a quadratic element are exact ones of the curved
    // element; false, those of its corners, unless set. CornerVolume is that of the corners either way.
    void SetCurvedVolumes(bool curved) noexcept { m_curved_volumes = curved; }

    // Evaluates the metric on all elements in their order. False without a mesh, for an unknown metric, for
    // JacobianDistortion on a mesh that is not quadratic (the results are then empty), and when the user
    // cancelled. The histogram then holds the values so far, in no bin, and the mask too.
    // FluentOrthogonalQuality and OrthogonalQuality look across faces when the mesh's neighbour information
    // is enabled.
    bool Operate() override;

    // The results of the last run, null before the first. They belong to the operator, until its next
    // run or its end. The mask is registered with the element masks of the mesh.
    QualityHistogram<int, double>* GetQualityHistogram() const noexcept { return m_histogram.get(); }
    MDataMask<MMeshElement, double>* GetQualityMask() const noexcept { return m_mask.get(); }

    // Whether value a of the current metric is strictly better than b; false both ways for the metrics
    // that have no sense of better.
    bool IsBetterThan(double a, double b) const noexcept;

private:
    void _DeleteMembers() noexcept;
    void CreateMembers(MMeshBase& mesh, bool are_filled);
    // False when the user cancelled.
    bool Evaluate(MMeshBase& mesh, KetSDK::Common::IncrementalProgressReporter& reporter);
    void SetHistogramRange();
    void FillHistogram();

    QualityType m_metric = Spheres;
    std::unique_ptr<QualityHistogram<int, double>> m_histogram;
    std::unique_ptr<MDataMask<MMeshElement, double>> m_mask;
    int m_partitions = 10;
    double m_partition_width = 0.0;
    double m_max_bound = DBL_MAX;
    std::shared_ptr<KetSDK::Common::IProgressDelegate> m_progress;
    bool m_curved_volumes = false;
    bool m_every_kind = false;
};
