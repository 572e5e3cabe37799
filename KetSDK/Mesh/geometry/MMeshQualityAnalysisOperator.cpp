// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/MMeshQualityAnalysisOperator.h>

#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/Mesh/geometry/MMeshFold.h>
#include <KetSDK/Mesh/geometry/MMeshSolidMeasures.h>
#include <KetSDK/Mesh/geometry/QualityMetric.h>
#include <KetSDK/Mesh/geometry/Tetrahedron10Base.h>
#include <KetSDK/Mesh/geometry/TetrahedronBase.h>
#include <KetSDK/Mesh/geometry/detail/TetrahedronPair.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Mesh/mesh/MMeshElementVolume.h>
#include <KetSDK/Mesh/mesh/detail/AllElements.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <span>
#include <utility>
#include <vector>

namespace {

using Tetrahedron = TetrahedronBase<double>;
using Tetrahedron10 = Tetrahedron10Base<double>;
using Metric = MMeshQualityAnalysisOperator;
using KetSDK::Mesh::QualityMetric;
namespace Detail = KetSDK::Mesh::Detail;

// Elements between two looks at the progress delegate, and at most those of a block.
constexpr std::uint64_t StepSize = 100;
constexpr double Degrees = 57.29577951308232; // in one radian

double MinCornerAngle(Tetrahedron const& t) {
    return t.QualityMinCornerAngle() * Degrees;
}
double MaxCornerAngle(Tetrahedron const& t) {
    return t.QualityMaxCornerAngle() * Degrees;
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

// The nodes of the four corners of an element; one at the origin for what has fewer.
class Corners {
public:
    explicit Corners(MMeshElement const& e)
        : m_nodes(e.GetNodes()) {
        if (e.GetNodeCount() < 4) [[unlikely]] {
            static MMeshPoint const origin;
            std::fill_n(std::copy_n(m_nodes, e.GetNodeCount(), m_with_origin), 4 - e.GetNodeCount(), &origin);
            m_nodes = m_with_origin;
        }
    }
    MMeshPoint const& operator[](unsigned int i) const { return *m_nodes[i]; }

private:
    MMeshPoint const* const* m_nodes;
    MMeshPoint const* m_with_origin[4];
};

// As GetPosition of both.
Detail::VectorPair PositionsOf(MMeshPoint const& a, MMeshPoint const& b) {
    constexpr double units = KetSDK::Common::MInternalUnits::Get();
    auto const both = [](MLong of_a, MLong of_b) {
        return Detail::DoublePair{static_cast<double>(of_a), static_cast<double>(of_b)} / units;
    };
    return {both(a.x, b.x), both(a.y, b.y), both(a.z, b.z)};
}

// Calls visit(pair, i) for elements i and i + 1 of the block. The last of an odd number is a pair by itself;
// there is room for its second value all the same, since a full block has an even number.
template <typename Visit>
void ForEachPair(Block const& block, Visit const& visit) {
    static_assert(StepSize % 2 == 0);
    MMeshElement const* waiting = nullptr;
    auto const take = [&](MMeshElement const& e, std::uint64_t number) {
        if (!waiting) {
            waiting = &e;
            if (number + 1 < block.last)
                return;
        }
        Corners const a(*waiting);
        Corners const b(e);
        visit({{PositionsOf(a[0], b[0]), PositionsOf(a[1], b[1]), PositionsOf(a[2], b[2]),
                PositionsOf(a[3], b[3])}},
              static_cast<std::size_t>((number - block.first) / 2 * 2));
        waiting = nullptr;
    };
    block.mesh.Elements().ForEachWithNodes(block.first, block.last, take);
}

void StorePair(Detail::DoublePair pair, double* values) {
    values[0] = pair[0];
    values[1] = pair[1];
}

void Spheres(Block const& block, double* values) {
    ForEachPair(block, [&](Detail::TetrahedronPair const& pair, std::size_t i) {
        Detail::DoublePair quality;
        if (!Detail::Spheres(pair, quality)) [[unlikely]]
            for (unsigned int lane : {0u, 1u})
                quality[lane] = Tetrahedron(pair.Corner(lane, 0), pair.Corner(lane, 1), pair.Corner(lane, 2),
                                            pair.Corner(lane, 3))
                                    .QualitySpheres();
        StorePair(quality, values + i);
    });
}

// One figure of each element of a block.
using Figures = std::array<double, StepSize>;

// What Finish(a, b) makes of two figures of each element, which a function gives for a pair. The figures of
// all come first. Powers and arc cosines have branches that nobody can foresee: next to them, whatever is
// computed of the next element would be thrown away and begun anew.
template <auto FiguresOfPair, auto Finish>
void InTwoSteps(Block const& block, double* values) {
    Figures a;
    Figures b;
    ForEachPair(block, [&](Detail::TetrahedronPair const& pair, std::size_t i) {
        auto const [first, second] = FiguresOfPair(pair);
        StorePair(first, &a[i]);
        StorePair(second, &b[i]);
    });
    for (std::size_t i = 0; i < block.last - block.first; ++i)
        values[i] = Finish(a[i], b[i]);
}

// The same with the extreme cosines of the corner angles of the faces.
template <auto Finish>
void OfCornerCosines(Block const& block, double* values) {
    Figures smallest;
    Figures largest;
    block.mesh.Elements().ForEachWithNodes(
        block.first, block.last, [&](MMeshElement const& e, std::uint64_t number) {
            std::size_t const i = static_cast<std::size_t>(number - block.first);
            Tetrahedron(&e).GetMinMaxCos(smallest[i], largest[i]);
        });
    for (std::size_t i = 0; i < block.last - block.first; ++i)
        values[i] = Finish(smallest[i], largest[i]);
}

// What becomes of the smallest and the largest cosine.
double LargestCosine(double, double largest) {
    return largest;
}
double SmallestAngle(double, double largest) {
    return std::acos(largest) * Degrees;
}
double LargestAngle(double smallest, double) {
    return std::acos(smallest) * Degrees;
}
double MinFaceAngleRatio(double, double largest) {
    return std::acos(largest) * Degrees / 60.0;
}
double MaxFaceAngleRatio(double smallest, double) {
    return (180.0 - std::acos(smallest) * Degrees) / 120.0;
}
template <auto const& Rule>
double AngleSkew(double smallest, double largest) {
    return Detail::AngleQuality(smallest, largest, Rule);
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

// The cosine between two vectors; 0 where one has no length, so that a face without area counts as the worst.
double Cosine(MMVector<double, 3> const& a, MMVector<double, 3> const& b) {
    double const lengths = a.Length() * b.Length();
    return lengths == 0.0 ? 0.0 : a.Dot(b) / lengths;
}

void OrthogonalQuality(Block const& block, double* values) {
    MMeshBaseNeighborsInfo& neighbors = *block.mesh.GetNeighborsInfo();
    bool const look_across = neighbors.IsEnabled();
    Store(block, values, [&](MMeshElement const& e) {
        Tetrahedron tetrahedron(&e);
        MMVector<double, 3> const centre = tetrahedron.GetCentroid();
        double smallest = 1.0;
        auto const take = [&smallest](double cosine) {
            if (!(cosine >= smallest)) // keeps what is not a number
                smallest = cosine;
        };
        for (unsigned int face = 0; face < Tetrahedron::m_nb_faces; ++face) {
            MTriangle<double, 3> const corners = tetrahedron.GetFaceOriented(face);
            MMVector<double, 3> const normal = (corners[1] - corners[0]).Cross(corners[2] - corners[0]);
            take(Cosine(normal, (corners[0] + corners[1] + corners[2]) * (1.0 / 3.0) - centre));
            if (MMeshElement const* const neighbor =
                    look_across ? neighbors.GetNeighbor(const_cast<MMeshElement*>(&e), face) : nullptr)
                take(Cosine(normal, Tetrahedron(neighbor).GetCentroid() - centre));
        }
        return smallest < 0.0 ? 0.0 : smallest;
    });
}

double FoldOf(MMeshElement const& e) {
    return IsFolded(e) ? 1.0 : 0.0;
}

void Folded(Block const& block, double* values) {
    Store(block, values, FoldOf);
}

void CurvedVolume(Block const& block, double* values) {
    Store(block, values, [](MMeshElement const& e) {
        return e.GetNodeCount() == 10 ? GetCurvedElementVolume(e) : Tetrahedron(&e).Volume();
    });
}

bool IsVolume(Metric::QualityType type) {
    return type == Metric::Volume || type == Metric::VolumeInRange || type == Metric::VolumeInRange2;
}

// Of a metric that does not measure tetrahedra.
void NotMeasured(Block const& block, double* values) {
    std::fill(values, values + (block.last - block.first), std::numeric_limits<double>::quiet_NaN());
}

// Writes the values of a block of elements, in their order.
using Evaluator = void (*)(Block const& block, double* values);

// How each metric of tetrahedra is evaluated.
struct Evaluated {
    Metric::QualityType type;
    Evaluator evaluate;
};
constexpr Evaluated Evaluators[] = {
    {Metric::Spheres, Spheres},
    {Metric::InsphereEdge, Linear<&Tetrahedron::QualityInsphereEdge>},
    {Metric::MeanRatio, InTwoSteps<Detail::Sizes, Detail::MeanRatio>},
    {Metric::Volume, Linear<&Tetrahedron::Volume>},
    {Metric::AspectRatio, Linear<&Tetrahedron::QualityAspectRatio>},
    {Metric::AspectRatioTetgen, Linear<&Tetrahedron::QualityAspectRatioTetgen>},
    {Metric::RadiusEdgeTetgen, Linear<&Tetrahedron::QualityRadiusEdgeTetgen>},
    {Metric::EquiAngleSkew, OfCornerCosines<AngleSkew<Detail::face_angles>>},
    {Metric::EdgeMaxMin, Linear<&Tetrahedron::QualityEdgeMaxMin>},
    {Metric::EdgeMinMax, Linear<&Tetrahedron::QualityEdgeMinMax>},
    {Metric::Jacobian, Linear<&Tetrahedron::QualityJacobian>},
    {Metric::ScaledJacobian, Linear<&Tetrahedron::QualityScaledJacobian>},
    {Metric::JacobianDistortion, Quadratic<&Tetrahedron10::QualityJacobianDistortion>},
    {Metric::MinJacobianDeterminant, Quadratic<&Tetrahedron10::MinJacobianDeterminant>},
    {Metric::JacobianRatio, Quadratic<&Tetrahedron10::JacobianRatio>},
    {Metric::MaxEdgeLength, Linear<&Tetrahedron::GetMaxEdgeLength>},
    {Metric::MinEdgeLength, Linear<&Tetrahedron::GetMinEdgeLength>},
    {Metric::MaxCosDihedralAngle, InTwoSteps<Detail::DihedralCosines, LargestCosine>},
    {Metric::MinDihedralAngle, InTwoSteps<Detail::DihedralCosines, SmallestAngle>},
    {Metric::MaxDihedralAngle, InTwoSteps<Detail::DihedralCosines, LargestAngle>},
    {Metric::MinFaceAngle, OfCornerCosines<SmallestAngle>},
    {Metric::MaxFaceAngle, OfCornerCosines<LargestAngle>},
    {Metric::EquiDihedralAngleSkew, InTwoSteps<Detail::DihedralCosines, AngleSkew<Detail::dihedral_angles>>},
    {Metric::EquiSizeSkew, Linear<&Tetrahedron::QualityEquiSizeSkew>},
    {Metric::AbacusShapeFactor, Linear<&Tetrahedron::QualityAbacusShapeFactor>},
    {Metric::AnsysElementQuality, Linear<&Tetrahedron::QualityAnsysElementQuality>},
    {Metric::FluentOrthogonalQuality, FluentOrthogonalQuality},
    {Metric::MinCornerAngle, Linear<MinCornerAngle>},
    {Metric::MaxCornerAngle, Linear<MaxCornerAngle>},
    {Metric::VolumeInRange, Linear<&Tetrahedron::Volume>},
    {Metric::VolumeInRange2, Linear<&Tetrahedron::Volume>},
    {Metric::MinFaceAngleRatio, OfCornerCosines<MinFaceAngleRatio>},
    {Metric::MaxFaceAngleRatio, OfCornerCosines<MaxFaceAngleRatio>},
    {Metric::OrthogonalQuality, OrthogonalQuality},
    {Metric::Folded, Folded},
    {Metric::CornerVolume, Linear<&Tetrahedron::Volume>},
};

Evaluator EvaluatorOf(Metric::QualityType type) {
    for (Evaluated const& e : Evaluators)
        if (e.type == type)
            return e.evaluate;
    return NotMeasured;
}

using Solid = KetSDK::Mesh::MMeshSolidMeasures;
using SolidMeasure = double (*)(MMeshElement const& e);

template <auto Measure>
double OfSolid(MMeshElement const& e) {
    return std::invoke(Measure, Solid(e));
}

// How hexahedra and wedges are measured.
struct MeasuredOnSolids {
    Metric::QualityType type;
    SolidMeasure measure;
};
constexpr MeasuredOnSolids SolidMeasures[] = {
    {Metric::Volume, GetElementVolume},
    {Metric::VolumeInRange, GetElementVolume},
    {Metric::VolumeInRange2, GetElementVolume},
    {Metric::CornerVolume, GetElementVolume},
    {Metric::EdgeMaxMin, OfSolid<&Solid::GetEdgeMaxMin>},
    {Metric::EdgeMinMax, OfSolid<&Solid::GetEdgeMinMax>},
    {Metric::Jacobian, OfSolid<&Solid::GetJacobian>},
    {Metric::ScaledJacobian, OfSolid<&Solid::GetScaledJacobian>},
    {Metric::MaxEdgeLength, OfSolid<&Solid::GetMaxEdgeLength>},
    {Metric::MinEdgeLength, OfSolid<&Solid::GetMinEdgeLength>},
    {Metric::MinFaceAngle, OfSolid<&Solid::GetMinFaceAngle>},
    {Metric::MaxFaceAngle, OfSolid<&Solid::GetMaxFaceAngle>},
    {Metric::Folded, FoldOf},
    {Metric::Condition, OfSolid<&Solid::GetCondition>},
    {Metric::MeanAspectFrobenius, OfSolid<&Solid::GetMeanAspectFrobenius>},
    {Metric::Shape, OfSolid<&Solid::GetShape>},
    {Metric::MaxEdgeRatio, OfSolid<&Solid::GetMaxEdgeRatio>},
    {Metric::Skew, OfSolid<&Solid::GetSkew>},
    {Metric::Taper, OfSolid<&Solid::GetTaper>},
    {Metric::Stretch, OfSolid<&Solid::GetStretch>},
    {Metric::Diagonal, OfSolid<&Solid::GetDiagonal>},
    {Metric::Oddy, OfSolid<&Solid::GetOddy>},
};

bool IsSolid(MMeshElement const& e) {
    return e.GetNodeCount() == 6 || e.GetNodeCount() == 8;
}

// Gives the hexahedra and wedges of a block their own values.
void MeasureSolids(Block const& block, Metric::QualityType type, double* values) {
    auto const* const found = std::ranges::find(SolidMeasures, type, &MeasuredOnSolids::type);
    block.mesh.Elements().ForEachWithNodes(
        block.first, block.last, [&](MMeshElement const& e, std::uint64_t) {
            if (IsSolid(e))
                *values = found == std::end(SolidMeasures) ? std::numeric_limits<double>::quiet_NaN()
                                                           : found->measure(e);
            ++values;
        });
}

// The values of all elements while they are written, in the histogram and in the mask. In the end both have
// those of the first elements, as many as were kept, and know nothing of the others.
class Results {
public:
    Results(MMeshElementContainer const& elements, QualityHistogram<int, double>& histogram,
            MDataMask<MMeshElement, double>& mask)
        : m_elements(elements)
        , m_histogram(histogram)
        , m_mask(mask)
        , m_values(histogram.AddRoom(RoomFor(elements.GetNumElements()))) {}
    Results(Results const&) = delete;
    Results& operator=(Results const&) = delete;
    ~Results() {
        m_histogram.DropLast(m_values.size() - static_cast<std::size_t>(m_kept));
        for (std::uint64_t i = m_kept; i < m_elements.GetNumElements(); ++i)
            m_mask.SetValue(*m_elements.GetElementPtrAt(i), m_mask.GetDefaultValue());
    }

    // Values for so many elements; an odd last one is measured as one of a pair.
    static std::size_t RoomFor(std::uint64_t elements) noexcept {
        return static_cast<std::size_t>((elements + 1) / 2 * 2);
    }
    // Where the values of element `first` and those behind it are.
    double* From(std::uint64_t first) noexcept { return m_values.data() + first; }
    // Gives elements first to last - 1 their values in the mask.
    void PutIntoMask(std::uint64_t first, std::uint64_t last) {
        auto element = m_elements.begin() + static_cast<std::ptrdiff_t>(first);
        for (std::uint64_t i = first; i < last; ++i, ++element)
            m_mask.SetValue(*element, m_values[static_cast<std::size_t>(i)]);
    }
    // The first elements have values that stay.
    void Keep(std::uint64_t elements) noexcept { m_kept = elements; }

private:
    MMeshElementContainer const& m_elements;
    QualityHistogram<int, double>& m_histogram;
    MDataMask<MMeshElement, double>& m_mask;
    std::span<double> m_values;
    std::uint64_t m_kept = 0;
};

} // namespace

MMeshQualityAnalysisOperator::MMeshQualityAnalysisOperator(MMeshQualityAnalysisOperator const& other)
    : MMeshOperator(other)
    , m_metric(other.m_metric)
    , m_partitions(other.m_partitions)
    , m_partition_width(other.m_partition_width)
    , m_max_bound(other.m_max_bound)
    , m_progress(other.m_progress)
    , m_curved_volumes(other.m_curved_volumes)
    , m_every_kind(other.m_every_kind) {}

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
    m_curved_volumes = other.m_curved_volumes;
    m_every_kind = other.m_every_kind;
    return *this;
}

MMeshQualityAnalysisOperator::~MMeshQualityAnalysisOperator() = default;

void MMeshQualityAnalysisOperator::_DeleteMembers() noexcept {
    m_histogram.reset();
    m_mask.reset();
}

void MMeshQualityAnalysisOperator::CreateMembers(MMeshBase& mesh, bool are_filled) {
    m_histogram = std::make_unique<QualityHistogram<int, double>>();
    m_mask = std::make_unique<MDataMask<MMeshElement, double>>(0.0);
    MMeshElementMaskContainer& masks = *mesh.GetElementMasks();
    std::uint64_t const elements = mesh.Elements().GetNumElements();
    if (are_filled)
        m_histogram->Reserve(Results::RoomFor(elements)); // nothing after it runs out of memory
    if (are_filled && masks.GetNumberOfObjects() == elements)
        masks.AddMaskToFill(*m_mask);
    else
        masks.RegisterMask(m_mask.get());
}

bool MMeshQualityAnalysisOperator::Operate() {
    _DeleteMembers();
    MMeshBase* const mesh = GetMesh();
    if (!mesh)
        return false;
    KetSDK::Common::IncrementalProgressReporter reporter(m_progress, "Mesh analyzer",
                                                         mesh->Elements().GetNumElements() / StepSize, true);
    bool const is_measured = KetSDK::Mesh::FindQualityMetric(m_metric) &&
                             (m_metric != JacobianDistortion || mesh->GetMeshType() == MMeshBase::Quadratic);
    CreateMembers(*mesh, is_measured);
    if (!is_measured) {
        reporter = reporter.GetMaxValue();
        return false;
    }
    if (!Evaluate(*mesh, reporter))
        return false;
    SetHistogramRange();
    FillHistogram();
    reporter = reporter.GetMaxValue();
    return true;
}

bool MMeshQualityAnalysisOperator::Evaluate(MMeshBase& mesh,
                                            KetSDK::Common::IncrementalProgressReporter& reporter) {
    Evaluator const evaluate = m_curved_volumes && IsVolume(m_metric) ? CurvedVolume : EvaluatorOf(m_metric);
    Results results(mesh.Elements(), *m_histogram, *m_mask);
    bool const has_solids =
        m_every_kind && !Detail::AllElements(mesh.Elements(), GetParallel(), std::not_fn(IsSolid));
    auto const compute = [&](std::uint64_t first, std::uint64_t last, std::size_t) {
        Block const block{mesh, first, last};
        evaluate(block, results.From(first));
        if (has_solids)
            MeasureSolids(block, m_metric, results.From(first));
        results.PutIntoMask(first, last);
    };
    auto const commit = [&](std::uint64_t first, std::uint64_t last, std::size_t) {
        results.Keep(last);
        if (last - first < StepSize)
            return true;
        if (reporter.IsCancelled())
            return false;
        ++reporter;
        return true;
    };
    KetSDK::Support::WorkSteps const steps{.items = mesh.Elements().GetNumElements(),
                                           .step = StepSize,
                                           .parallel = GetParallel(),
                                           .grain = 16,
                                           .window = 160};
    return KetSDK::Support::ComputeSteps(steps, compute, commit);
}

void MMeshQualityAnalysisOperator::SetHistogramRange() {
    switch (KetSDK::Mesh::FindQualityMetric(m_metric)->range) {
    case QualityMetric::Range::Unit:
        m_histogram->SetMaxRange(std::min(m_max_bound, 1.0));
        break;
    case QualityMetric::Range::Largest:
        m_histogram->SetMaxRange(std::min(m_histogram->GetMaxValue(GetParallel()), m_max_bound));
        break;
    case QualityMetric::Range::Angle:
        m_histogram->SetMaxRange(std::min(m_max_bound, 180.0));
        break;
    case QualityMetric::Range::Values:
        break; // an empty range becomes that of the values when the histogram is computed
    }
}

void MMeshQualityAnalysisOperator::FillHistogram() {
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
    m_histogram->ComputeHistogram(GetParallel());
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
