// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshOperator.h>

#include <cfloat>

class MMeshElement;

// Repairs a mesh of ten-node tetrahedra in place. Where the curved shape of an element is bad, its mid-edge
// nodes are pulled back towards the middles of their straight edges, as little as needed. First every mid
// node that stands too far across its edge, then, in passes until one finds nothing to do, every element
// whose Jacobian ratio lies outside the thresholds. Pulling back for one element can spoil its neighbours;
// the next pass sees to them.
//
// Corners never move. Elements of other kinds are left alone. So are elements that are bad even when
// straight. A node that is no proper mid node, being a corner too or lying on different edges, never moves.
// An element that has such nodes is straightened by its other ones. Whatever moves comes closer to its
// straight position on a grid of integers, so the passes end, and a second run finds nothing to do. Box and
// coordinate index of the mesh follow. Reads no settings, reports no progress. Copies take all settings and
// results along. One thread at a time uses the operator and its mesh.
class KETSDK_MESH_API MMeshJacobianCorrectorOperator : public MMeshOperator {
public:
    MMeshJacobianCorrectorOperator() = default;
    MMeshJacobianCorrectorOperator(MMeshJacobianCorrectorOperator const&) = default;
    MMeshJacobianCorrectorOperator(MMeshJacobianCorrectorOperator&&) = default;
    MMeshJacobianCorrectorOperator& operator=(MMeshJacobianCorrectorOperator const&) = default;
    MMeshJacobianCorrectorOperator& operator=(MMeshJacobianCorrectorOperator&&) = default;
    ~MMeshJacobianCorrectorOperator() override;

    // An element is bad when its Jacobian ratio lies below the one or above the other; 0 and 30 unless
    // set.
    void SetMinRatioThreshold(double ratio) noexcept { m_min_ratio = ratio; }
    double GetMinRatioThreshold() const noexcept { return m_min_ratio; }
    void SetMaxRatioThreshold(double ratio) noexcept { m_max_ratio = ratio; }
    double GetMaxRatioThreshold() const noexcept { return m_max_ratio; }

    // A mid node M on the edge from A to B is pulled back when its alignment lies below this. That is the
    // cosine of the angle between M - A and B - M. 0.333333 unless set. It is 1 on the straight edge, and -1
    // is taken for a node at a corner.
    void SetMinAlignmentThreshold(double cosine) noexcept { m_min_alignment = cosine; }
    double GetAlignmentThreshold() const noexcept { return m_min_alignment; }

    // Kept for the caller; they decide nothing. 0.0 and 0.333333 unless set.
    void SetMinJacobianThreshold(double distortion) noexcept { m_min_jacobian = distortion; }
    double GetJacobianDistortionThreshold() const noexcept { return m_min_jacobian; }
    void SetMaxDeviationThreshold(double deviation) noexcept { m_max_deviation = deviation; }
    double GetDeviationThreshold() const noexcept { return m_max_deviation; }

    // Repairs the mesh. False without a mesh, otherwise true.
    bool Operate() override;

    // What the last run did.
    // Elements whose mid nodes were written in some pass over the Jacobian ratios, each counted once.
    int GetNbModified() const noexcept { return m_nb_modified; }
    // Mid nodes that were pulled back for their alignment.
    int GetNbMidNodeCorrections() const noexcept { return m_nb_corrections; }
    // How often an element was straightened fully because nothing short of that made it good.
    int GetNbStraightened() const noexcept { return m_nb_straightened; }
    // Passes over the Jacobian ratios; the last one modified nothing.
    int GetNbPasses() const noexcept { return m_nb_passes; }
    // Elements with a corner on the boundary of the mesh.
    int GetNbOuterElements() const noexcept { return m_nb_outer; }

    // What the last run found before it moved anything. The largest deviation of a mid node from the middle
    // of its edge stands in model units, and relative to the edge's length (infinite beside an edge of no
    // length). Beside it stands the smallest alignment. -1, -1 and DBL_MAX when there is no mid node.
    double GetLargestDeviation() const noexcept { return m_largest_deviation; }
    double GetLargestRelativeDeviation() const noexcept { return m_largest_relative_deviation; }
    double GetSmallestAlignment() const noexcept { return m_smallest_alignment; }
    // What it left behind: the extreme Jacobian ratios of all elements (1 for one of another kind), and the
    // smallest distortion of a ten-node element. QualityJacobianDistortion gives that; it is DBL_MAX when
    // there is none. For a mesh without elements the ratios stay DBL_MAX and -DBL_MAX.
    double GetSmallestRatio() const noexcept { return m_smallest_ratio; }
    double GetLargestRatio() const noexcept { return m_largest_ratio; }
    double GetSmallestJacobianDistortion() const noexcept { return m_smallest_jacobian; }

private:
    struct Run;

    void ClearResults() noexcept;
    void CorrectMidNodes(Run& run);
    void CountOuterElements(Run& run);
    void PassOverRatios(Run& run);
    template <typename Tetrahedron>
    bool Straighten(Tetrahedron& t, Run const& run, MMeshElement const& e);
    void CloseStatistics(Run const& run);
    bool IsBad(double ratio) const noexcept { return ratio < m_min_ratio || ratio > m_max_ratio; }

    int m_modified_in_pass = 0;
    double m_min_jacobian = 0.0;
    double m_min_alignment = 0.333333; // the decimal and not a third: results depend on it
    double m_max_deviation = 0.333333;
    double m_largest_deviation = -1.0;
    double m_largest_relative_deviation = -1.0;
    double m_smallest_alignment = DBL_MAX;
    double m_smallest_jacobian = DBL_MAX;
    int m_nb_corrections = 0;
    int m_nb_straightened = 0;
    double m_max_ratio = 30.0;
    double m_min_ratio = 0.0;
    double m_largest_ratio = 0.0;
    double m_smallest_ratio = 0.0;
    int m_nb_modified = 0;
    int m_nb_outer = 0;
    int m_nb_passes = 0;
};
