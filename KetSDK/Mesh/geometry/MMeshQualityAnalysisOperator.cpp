#include <KetSDK/Mesh/geometry/MMeshQualityAnalysisOperator.h>

#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/Mesh/geometry/QualityMetric.h>
#include <KetSDK/Mesh/geometry/Tetrahedron10Base.h>
#include <KetSDK/Mesh/geometry/TetrahedronBase.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>
#include <tbb/task_group.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <utility>
#include <vector>

namespace {

using Tetrahedron = TetrahedronBase<double>;
using Tetrahedron10 = Tetrahedron10Base<double>;
using Metric = MMeshQualityAnalysisOperator;
using KetSDK::Mesh::QualityMetric;

constexpr double Degrees = 57.29577951308232; // in one radian

double MinDihedralAngle(Tetrahedron const& t) {
    return std::acos(t.GetMaxCosDihedralAngle()) * Degrees;
}
double MaxDihedralAngle(Tetrahedron const& t) {
    return std::acos(t.GetMinCosDihedralAngle()) * Degrees;
}
double MinFaceAngle(Tetrahedron const& t) {
    return t.QualityMinFacangle() * Degrees;
}
double MaxFaceAngle(Tetrahedron const& t) {
    return t.QualityMaxFacangle() * Degrees;
}
double MinCornerAngle(Tetrahedron const& t) {
    return t.QualityMinCornerAngle() * Degrees;
}
double MaxCornerAngle(Tetrahedron const& t) {
    return t.QualityMaxCornerAngle() * Degrees;
}
double MinFaceAngleRatio(Tetrahedron const& t) {
    return MinFaceAngle(t) / 60.0;
}
double MaxFaceAngleRatio(Tetrahedron const& t) {
    return (180.0 - MaxFaceAngle(t)) / 120.0;
}

// The elements first to last - 1 of a mesh, of which a metric is to be evaluated.
struct Block {
    MMeshBase& mesh;
    std::uint64_t first;
    std::uint64_t last;
};

// Calls visit(element) for each element of the block and stores what it returns.
template <typename Visit>
void Store(Block const& block, double* values, Visit const& visit) {
    block.mesh.Elements().ForEachWithNodes(
        block.first, block.last, [&](MMeshElement const& e, std::uint64_t) { *values++ = visit(e); });
}

// Measure is a member of the tetrahedron or a function of one.
template <auto Measure>
void Linear(Block const& block, double* values) {
    Store(block, values, [](MMeshElement const& e) {
        Tetrahedron tetrahedron(&e);
        return std::invoke(Measure, tetrahedron);
    });
}

template <auto Measure>
void Quadratic(Block const& block, double* values) {
    Store(block, values, [](MMeshElement const& e) {
        Tetrahedron10 tetrahedron(&e, false);
        return std::invoke(Measure, tetrahedron);
    });
}

void FluentOrthogonalQuality(Block const& block, double* values) {
    MMeshBaseNeighborsInfo& neighbors = *block.mesh.GetNeighborsInfo();
    bool const look_across = neighbors.IsEnabled();
    Store(block, values, [&](MMeshElement const& e) {
        Tetrahedron const tetrahedron(&e);
        double smallest = tetrahedron.QualityFluentOrthogonalQuality();
        for (unsigned int face = 0; look_across && face < Tetrahedron::m_nb_faces; ++face)
            if (MMeshElement const* const neighbor =
                    neighbors.GetNeighbor(const_cast<MMeshElement*>(&e), face))
                smallest =
                    std::min(smallest, tetrahedron.FluentOrthogonalQualityForNeighbor(Tetrahedron(neighbor)));
        return smallest;
    });
}

// Writes the values of a block of elements, in their order.
using Evaluator = void (*)(Block const& block, double* values);

// How each metric is evaluated, by its number.
constexpr std::array<Evaluator, Metric::NumberOfMetrics> Evaluators = {
    Linear<&Tetrahedron::QualitySpheres>,
    Linear<&Tetrahedron::QualityInsphereEdge>,
    Linear<&Tetrahedron::QualityMeanRatio>,
    Linear<&Tetrahedron::Volume>,
    Linear<&Tetrahedron::QualityAspectRatio>,
    Linear<&Tetrahedron::QualityAspectRatioTetgen>,
    Linear<&Tetrahedron::QualityRadiusEdgeTetgen>,
    Linear<&Tetrahedron::QualityEquiAngleSkew>,
    Linear<&Tetrahedron::QualityEdgeMaxMin>,
    Linear<&Tetrahedron::QualityEdgeMinMax>,
    Linear<&Tetrahedron::QualityJacobian>,
    Linear<&Tetrahedron::QualityScaledJacobian>,
    Quadratic<&Tetrahedron10::QualityJacobianDistortion>,
    Quadratic<&Tetrahedron10::MinJacobianDeterminant>,
    Quadratic<&Tetrahedron10::JacobianRatio>,
    Linear<&Tetrahedron::GetMaxEdgeLength>,
    Linear<&Tetrahedron::GetMinEdgeLength>,
    Linear<&Tetrahedron::GetMaxCosDihedralAngle>,
    Linear<MinDihedralAngle>,
    Linear<MaxDihedralAngle>,
    Linear<MinFaceAngle>,
    Linear<MaxFaceAngle>,
    Linear<&Tetrahedron::QualityEquiDihedralAngleSkew>,
    Linear<&Tetrahedron::QualityEquiSizeSkew>,
    Linear<&Tetrahedron::QualityAbacusShapeFactor>,
    Linear<&Tetrahedron::QualityAnsysElementQuality>,
    FluentOrthogonalQuality,
    Linear<MinCornerAngle>,
    Linear<MaxCornerAngle>,
    Linear<&Tetrahedron::Volume>, // VolumeInRange
    Linear<&Tetrahedron::Volume>, // VolumeInRange2
    Linear<MinFaceAngleRatio>,
    Linear<MaxFaceAngleRatio>,
};

// Elements between two looks at the progress delegate.
constexpr std::uint64_t StepSize = 100;
// Steps that are computed before they are committed: enough to keep some threads busy, and few enough
// for their values to stay in the processor's cache.
constexpr std::uint64_t WindowSteps = 160;
// Steps that a thread takes at a time.
constexpr std::uint64_t GrainSteps = 4;

} // namespace

// One run over the elements of a mesh. Values are computed step by step into a window and committed to
// histogram and mask in order, on the thread that runs the operator. In parallel, the threads fill the
// next window while this one is committed.
struct MMeshQualityAnalysisOperator::Evaluation {
    // The values of some steps, and where in the mask they belong.
    struct Window {
        std::uint64_t first = 0;
        std::uint64_t last = 0;
        std::array<double, WindowSteps * StepSize> values;
        std::uint64_t Size() const noexcept { return last - first; }
    };

    Evaluation(MMeshQualityAnalysisOperator& owner, MMeshBase& mesh_to_use,
               KetSDK::Common::IncrementalProgressReporter& progress_reporter)
        : mesh(mesh_to_use)
        , evaluate(Evaluators[static_cast<std::size_t>(owner.m_metric)])
        , histogram(*owner.m_histogram)
        , mask(*owner.m_mask)
        , reporter(progress_reporter)
        , count(mesh_to_use.Elements().GetNumElements()) {}

    // False when the user cancelled.
    bool RunSequentially() {
        for (std::uint64_t first = 0; first < count; first += StepSize) {
            std::uint64_t const last = std::min(first + StepSize, count);
            evaluate({mesh, first, last}, windows[0].values.data());
            if (!_CommitStep(first, last, windows[0].values.data()))
                return false;
        }
        return true;
    }

    // The same on several threads. Kept apart from the parallel work that the caller may be part of: while
    // this thread waits it takes up nothing else, which could use this operator or want a lock that the
    // caller holds; and a cancellation out there leaves no element out here.
    bool RunInParallel() {
        return tbb::this_task_arena::isolate([this] { return _RunWindows(); });
    }

private:
    bool _RunWindows() {
        tbb::task_group_context context(tbb::task_group_context::isolated);
        tbb::task_group group(context);
        _SetRange(windows[0], 0);
        _Fill(windows[0], context);
        bool go_on = true;
        for (unsigned int current = 0; go_on && windows[current].Size() != 0; current ^= 1) {
            Window& next = windows[current ^ 1];
            _SetRange(next, windows[current].last);
            group.run([this, &next, &context] { _Fill(next, context); });
            go_on = _Commit(windows[current]);
            if (!go_on)
                context.cancel_group_execution();
            group.wait();
        }
        return go_on;
    }

    void _SetRange(Window& window, std::uint64_t first) const noexcept {
        window.first = first;
        window.last = std::min(first + window.values.size(), count);
    }

    void _Fill(Window& window, tbb::task_group_context& context) const {
        std::uint64_t const steps = (window.Size() + StepSize - 1) / StepSize;
        tbb::parallel_for(
            tbb::blocked_range<std::uint64_t>(0, steps, GrainSteps),
            [&](tbb::blocked_range<std::uint64_t> const& range) {
                std::uint64_t const begin = range.begin() * StepSize;
                std::uint64_t const end = std::min(range.end() * StepSize, window.Size());
                evaluate({mesh, window.first + begin, window.first + end}, window.values.data() + begin);
            },
            tbb::simple_partitioner(), context);
    }

    bool _Commit(Window const& window) {
        for (std::uint64_t first = window.first; first < window.last; first += StepSize)
            if (!_CommitStep(first, std::min(first + StepSize, window.last),
                             window.values.data() + (first - window.first)))
                return false;
        return true;
    }

    // Hands out the values of the elements first to last - 1. False when the user cancelled.
    bool _CommitStep(std::uint64_t first, std::uint64_t last, double const* values) {
        std::size_t const size = static_cast<std::size_t>(last - first);
        histogram.AddValues({values, size});
        auto element = std::as_const(mesh.Elements()).begin() + static_cast<std::ptrdiff_t>(first);
        for (std::size_t i = 0; i < size; ++i, ++element)
            mask.SetValue(*element, values[i]);
        if (size < StepSize)
            return true;
        if (reporter.IsCancelled())
            return false;
        ++reporter;
        return true;
    }

    MMeshBase& mesh;
    Evaluator const evaluate;
    QualityHistogram<int, double>& histogram;
    MDataMask<MMeshElement, double>& mask;
    KetSDK::Common::IncrementalProgressReporter& reporter;
    std::uint64_t const count;
    std::array<Window, 2> windows;
};

MMeshQualityAnalysisOperator::MMeshQualityAnalysisOperator(MMeshQualityAnalysisOperator const& other)
    : MMeshOperator(other)
    , m_metric(other.m_metric)
    , m_partitions(other.m_partitions)
    , m_partition_width(other.m_partition_width)
    , m_max_bound(other.m_max_bound)
    , m_progress(other.m_progress)
    , m_parallel(other.m_parallel) {}

MMeshQualityAnalysisOperator&
MMeshQualityAnalysisOperator::operator=(MMeshQualityAnalysisOperator const& other) {
    if (this == &other)
        return *this;
    _DeleteMembers();
    MMeshOperator::operator=(other);
    m_metric = other.m_metric;
    m_partitions = other.m_partitions;
    m_partition_width = other.m_partition_width;
    m_max_bound = other.m_max_bound;
    m_progress = other.m_progress;
    m_parallel = other.m_parallel;
    return *this;
}

MMeshQualityAnalysisOperator::~MMeshQualityAnalysisOperator() = default;

void MMeshQualityAnalysisOperator::_DeleteMembers() noexcept {
    m_histogram.reset();
    m_mask.reset();
}

void MMeshQualityAnalysisOperator::_CreateMembers(MMeshBase& mesh) {
    m_mask = std::make_unique<MDataMask<MMeshElement, double>>(0.0);
    mesh.GetElementMasks()->RegisterMask(m_mask.get());
    m_histogram = std::make_unique<QualityHistogram<int, double>>();
}

bool MMeshQualityAnalysisOperator::Operate() {
    _DeleteMembers();
    MMeshBase* const mesh = GetMesh();
    if (!mesh)
        return false;
    KetSDK::Common::IncrementalProgressReporter reporter(m_progress, "Mesh analyzer",
                                                         mesh->Elements().GetNumElements() / StepSize, true);
    _CreateMembers(*mesh);
    if (!KetSDK::Mesh::FindQualityMetric(m_metric) ||
        (m_metric == JacobianDistortion && mesh->GetMeshType() != MMeshBase::Quadratic)) {
        reporter = reporter.GetMaxValue();
        return false;
    }
    m_histogram->Reserve(mesh->Elements().GetNumElements());
    auto const evaluation = std::make_unique<Evaluation>(*this, *mesh, reporter); // large for a stack
    if (!(m_parallel ? evaluation->RunInParallel() : evaluation->RunSequentially()))
        return false;
    _SetHistogramRange();
    _ComputeHistogram();
    reporter = reporter.GetMaxValue();
    return true;
}

void MMeshQualityAnalysisOperator::_SetHistogramRange() {
    switch (KetSDK::Mesh::FindQualityMetric(m_metric)->range) {
    case QualityMetric::Range::Unit:
        m_histogram->SetMaxRange(std::min(m_max_bound, 1.0));
        break;
    case QualityMetric::Range::Largest:
        m_histogram->SetMaxRange(std::min(m_histogram->GetMaxValue(), m_max_bound));
        break;
    case QualityMetric::Range::Angle:
        m_histogram->SetMaxRange(std::min(m_max_bound, 180.0));
        break;
    case QualityMetric::Range::Values:
        break; // an empty range becomes that of the values when the histogram is computed
    }
}

void MMeshQualityAnalysisOperator::_ComputeHistogram() {
    int partitions = m_partitions;
    if (m_partition_width > 0.0) {
        double const min_range = m_histogram->GetMinRange();
        double const count = std::ceil((m_histogram->GetMaxRange() - min_range) / m_partition_width);
        // What no integer can hold counts as none.
        constexpr double limit = std::numeric_limits<int>::max();
        partitions = std::abs(count) <= limit ? static_cast<int>(count) : 0;
        m_histogram->SetMaxRange(min_range + partitions * m_partition_width);
    }
    m_histogram->SetNbPartitions(static_cast<unsigned int>(std::max(partitions, 0)));
    m_histogram->ComputeHistogram(m_parallel);
}

bool MMeshQualityAnalysisOperator::IsBetterThan(double a, double b) const noexcept {
    QualityMetric const* const metric = KetSDK::Mesh::FindQualityMetric(m_metric);
    if (!metric)
        return false;
    switch (metric->sense) {
    case QualityMetric::Sense::Higher:
        return a > b;
    case QualityMetric::Sense::Lower:
        return b > a;
    case QualityMetric::Sense::None:
        break;
    }
    return false;
}
