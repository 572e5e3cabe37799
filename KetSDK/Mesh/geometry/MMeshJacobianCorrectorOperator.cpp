// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/MMeshJacobianCorrectorOperator.h>

#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/Mesh/geometry/Tetrahedron10Base.h>
#include <KetSDK/Mesh/geometry/detail/MidNodes.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/operators/MMeshOperatorLayers.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

using namespace KetSDK::Mesh::Detail;

namespace {

using Vector = MMVector<double, 3>;

// The largest fraction in [0, 1), to within 1e-6, that is good; 0 is taken to be good and 1 to be bad.
// The result was tried itself, or is 0.
template <typename IsGood>
double LargestGoodFraction(IsGood&& is_good) {
    double low = 0.0;
    double high = 1.0;
    while (high - low >= 1e-6) {
        double const middle = (low + high) / 2.0;
        (is_good(middle) ? low : high) = middle;
    }
    return low;
}

// A mid node between the ends a and b of its edge, in internal units.
class MidNodeOnEdge {
public:
    MidNodeOnEdge(Vector const& mid, Vector const& a, Vector const& b)
        : m_mid(mid)
        , m_a(a)
        , m_b(b)
        , m_middle((a + b) / 2.0) {}

    double Deviation() const { return (m_mid - m_middle).Length(); }
    double EdgeLength() const { return (m_b - m_a).Length(); }
    // Where the node stands when this fraction of its deviation is kept.
    MMVector<MLong, 3> Keeping(double fraction) const {
        Vector const p = m_middle + fraction * (m_mid - m_middle);
        auto const rounded = [&p](std::size_t i) { return static_cast<MLong>(std::lround(p[i])); };
        return {rounded(0), rounded(1), rounded(2)};
    }
    double AlignmentKeeping(double fraction) const { return AlignmentOf(Vector(Keeping(fraction))); }
    double Alignment() const { return AlignmentOf(m_mid); }

private:
    double AlignmentOf(Vector const& mid) const {
        Vector to = mid - m_a;
        Vector from = m_b - mid;
        return to.Normalize() && from.Normalize() ? to.Dot(from) : -1.0;
    }

    Vector m_mid, m_a, m_b, m_middle;
};

// What a step of mid nodes is like before any moves, and what was done.
struct MidNodesFound {
    double largest_deviation = -1.0;
    double largest_relative_deviation = -1.0;
    double smallest_alignment = DBL_MAX;
    int corrections = 0;
    bool anything_moved = false;

    void Add(MidNodeOnEdge const& mid) {
        double const deviation = mid.Deviation();
        largest_deviation = std::max(largest_deviation, deviation / KetSDK::Common::MInternalUnits::Get());
        // No number (0 / 0) is not kept, where the whole edge is one point.
        largest_relative_deviation = std::max(largest_relative_deviation, deviation / mid.EdgeLength());
        smallest_alignment = std::min(smallest_alignment, mid.Alignment());
    }
};

} // namespace

struct MMeshJacobianCorrectorOperator::Run {
    explicit Run(MMeshBase& m)
        : mesh(m)
        , mid_nodes(m)
        , moved_in(static_cast<std::size_t>(m.NumberOfPoints()), 0)
        , ratio(static_cast<std::size_t>(m.NumberOfElements()), 1.0)
        , modified(static_cast<std::size_t>(m.NumberOfElements()), false) {}

    // Whether a mid node of the element moved in this pass or a later one.
    bool HasMovedSince(MMeshElement const& e, int pass) const {
        for (unsigned int m = 0; m < MidNodes::OfElement; ++m)
            if (moved_in[IndexOf(*e.GetNode(4 + m))] >= pass)
                return true;
        return false;
    }

    // Computes the ratios that may differ from those of the pass before, as nodes stand when the pass begins.
    void ComputeRatios(int pass) {
        KetSDK::Support::ComputeSteps({.items = ratio.size(), .step = 1024, .parallel = true},
                                      [&](std::uint64_t first, std::uint64_t last) {
                                          mesh.Elements().ForEachWithNodes(
                                              first, last, [&](MMeshElement const& e, std::uint64_t number) {
                                                  if (IsQuadratic(e) && HasMovedSince(e, pass - 1))
                                                      ratio[static_cast<std::size_t>(number)] = RatioOf(e);
                                              });
                                      });
    }
    static double RatioOf(MMeshElement const& e) {
        return Tetrahedron10Base<MLong>(&e, true).JacobianRatio();
    }

    void WriteMidNodes(MMeshElement const& e, Tetrahedron10Base<MLong> const& t, int pass) {
        for (unsigned int m = 0; m < MidNodes::OfElement; ++m)
            if (MoveTo(*e.GetNode(4 + m), t.GetMidVertex(m)))
                moved_in[IndexOf(*e.GetNode(4 + m))] = pass;
        anything_moved = true;
    }

    MMeshBase& mesh;
    MidNodes mid_nodes;
    std::vector<int> moved_in; // the last pass that moved each node
    std::vector<double> ratio; // of each element when it was last computed
    std::vector<bool> modified;
    bool anything_moved = false;
};

MMeshJacobianCorrectorOperator::~MMeshJacobianCorrectorOperator() = default;

bool MMeshJacobianCorrectorOperator::Operate() {
    ClearResults();
    MMeshBase* const mesh = GetMesh();
    if (!mesh)
        return false;
    Run run(*mesh);
    CorrectMidNodes(run);
    CountOuterElements(run);
    do
        PassOverRatios(run);
    while (m_modified_in_pass > 0);
    m_nb_modified = static_cast<int>(std::ranges::count(run.modified, true));
    if (run.anything_moved)
        mesh->NodesMoved();
    CloseStatistics(run);
    return true;
}

void MMeshJacobianCorrectorOperator::ClearResults() noexcept {
    m_modified_in_pass = m_nb_modified = m_nb_corrections = m_nb_straightened = 0;
    m_nb_passes = m_nb_outer = 0;
    m_largest_deviation = m_largest_relative_deviation = -1.0;
    m_smallest_alignment = m_smallest_jacobian = DBL_MAX;
    m_smallest_ratio = m_largest_ratio = 0.0;
}

// A mid node is moved by no other step, and the ends of its edge, which are corners, never move.
void MMeshJacobianCorrectorOperator::CorrectMidNodes(Run& run) {
    auto const correct = [this, &run](std::uint64_t first, std::uint64_t last, MidNodesFound& found) {
        found = {};
        auto const aligned = [this](double cosine) { return !(cosine < m_min_alignment); };
        run.mid_nodes.ForEach(
            run.mesh, first, last, [&](MMeshPoint& p, MMeshPoint const& a, MMeshPoint const& b) {
                MidNodeOnEdge const mid(Vector(PositionOf(p)), Vector(PositionOf(a)), Vector(PositionOf(b)));
                found.Add(mid);
                if (aligned(mid.Alignment()) || !aligned(mid.AlignmentKeeping(0.0)))
                    return;
                double const kept = LargestGoodFraction(
                    [&](double fraction) { return aligned(mid.AlignmentKeeping(fraction)); });
                found.anything_moved |= MoveTo(p, mid.Keeping(kept));
                ++found.corrections;
            });
    };
    auto const take = [this, &run](std::uint64_t, std::uint64_t, MidNodesFound const& found) {
        m_largest_deviation = std::max(m_largest_deviation, found.largest_deviation);
        m_largest_relative_deviation =
            std::max(m_largest_relative_deviation, found.largest_relative_deviation);
        m_smallest_alignment = std::min(m_smallest_alignment, found.smallest_alignment);
        m_nb_corrections += found.corrections;
        run.anything_moved |= found.anything_moved;
        return true;
    };
    KetSDK::Support::ComputeSteps<MidNodesFound>(
        {.items = static_cast<std::uint64_t>(run.mesh.NumberOfPoints()),
         .step = 4096,
         .parallel = GetParallel()},
        correct, take);
}

void MMeshJacobianCorrectorOperator::CountOuterElements(Run& run) {
    MMeshOperatorLayers layers;
    layers.SetMesh(&run.mesh);
    layers.SetNbLayers(1);
    layers.SetParallel(GetParallel());
    layers.Operate();
    m_nb_outer = layers.GetNbLayersElements();
}

void MMeshJacobianCorrectorOperator::PassOverRatios(Run& run) {
    int const pass = ++m_nb_passes;
    m_modified_in_pass = 0;
    m_smallest_ratio = DBL_MAX;
    m_largest_ratio = -DBL_MAX;
    // The first pass computes every ratio; later on one stands until a mid node moves. Threads compute all
    // ratios before the first node moves, which leaves those of elements whose nodes move before they are
    // looked at.
    if (GetParallel())
        run.ComputeRatios(pass);
    int const computed_in = GetParallel() ? pass : pass - 1;
    run.mesh.Elements().ForEachWithNodes([&](MMeshElement const& e, std::uint64_t number) {
        auto const n = static_cast<std::size_t>(number);
        double& ratio = run.ratio[n];
        if (IsQuadratic(e) && run.HasMovedSince(e, computed_in))
            ratio = Run::RatioOf(e);
        if (IsBad(ratio) && IsQuadratic(e) && run.HasMovedSince(e, pass - 1) &&
            run.mid_nodes.HasProperIn(e)) {
            Tetrahedron10Base<MLong> t(&e, true);
            if (Straighten(t, run, e)) {
                run.WriteMidNodes(e, t, pass);
                run.modified[n] = true;
                ++m_modified_in_pass;
            }
        }
        // A ratio that is no number is not bad and counts for neither.
        if (ratio < m_smallest_ratio)
            m_smallest_ratio = ratio;
        if (ratio > m_largest_ratio)
            m_largest_ratio = ratio;
    });
}

// Pulls the proper mid nodes of a bad element back until it is good; false when even its straight form is not
// well inside the thresholds. Every shape is judged after rounding, so that what is written is good.
template <typename Tetrahedron>
bool MMeshJacobianCorrectorOperator::Straighten(Tetrahedron& t, Run const& run, MMeshElement const& e) {
    auto const keeping = [&](double fraction) {
        Tetrahedron shrunk(t);
        shrunk.ShrinkMidEdges(fraction);
        for (unsigned int m = 0; m < MidNodes::OfElement; ++m)
            if (!run.mid_nodes.IsProper(*e.GetNode(4 + m)))
                shrunk.SetMidVertex(m, t.GetMidVertex(m));
        return shrunk;
    };
    double const straight = keeping(0.0).JacobianRatio();
    if (!(straight > m_min_ratio && straight < m_max_ratio))
        return false;
    double const kept = LargestGoodFraction(
        [this, &keeping](double fraction) { return !IsBad(keeping(fraction).JacobianRatio()); });
    if (kept == 0.0)
        ++m_nb_straightened;
    t = keeping(kept);
    return true;
}

void MMeshJacobianCorrectorOperator::CloseStatistics(Run const& run) {
    auto const find_smallest = [&run](std::uint64_t first, std::uint64_t last, double& smallest) {
        smallest = DBL_MAX;
        run.mesh.Elements().ForEachWithNodes(first, last, [&](MMeshElement const& e, std::uint64_t) {
            if (IsQuadratic(e))
                smallest =
                    std::min(smallest, Tetrahedron10Base<double>(&e, false).QualityJacobianDistortion());
        });
    };
    auto const take = [this](std::uint64_t, std::uint64_t, double smallest) {
        m_smallest_jacobian = std::min(m_smallest_jacobian, smallest);
        return true;
    };
    KetSDK::Support::ComputeSteps<double>(
        {.items = run.mesh.Elements().GetNumElements(), .step = 1024, .parallel = GetParallel()},
        find_smallest, take);
}
