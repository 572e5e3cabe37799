// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MExport.h>
#include <KetSDK/Math/MathCore/MMVector.h>
#include <KetSDK/Math/MathCore/boundingbox.h>

#include <cstddef>
#include <cstdint>
#include <vector>

// What a cut leaves of a body: contours in space, open or closed. Positions are in model units.
// Used by one thread at a time when written; concurrent reads are safe.
class KETSDK_API MSection {
public:
    using Point = MMVector<double, 3>;

    // A polyline. A closed one has an edge from its last point back to its first, which is not repeated.
    struct Contour {
        std::vector<Point> points;
        bool closed = false;
    };

    // Appends a contour. False, and nothing is added, with too few points for an edge (two) or, closed,
    // for an area (three).
    bool AddContour(std::vector<Point> points, bool closed);
    void Clear() noexcept { m_contours.clear(); }

    std::uint64_t NumberOfContours() const noexcept { return m_contours.size(); }
    // Contour i, not range-checked.
    Contour const& GetContour(std::uint64_t i) const noexcept {
        return m_contours[static_cast<std::size_t>(i)];
    }
    // The contours in order of addition.
    std::vector<Contour> const& Contours() const noexcept { return m_contours; }

    // The length of all contours, in model units.
    double GetLength() const noexcept;
    // The area within the closed contours of a plane section, in squared model units. A contour that
    // runs the other way round the plane's normal than the others is a hole.
    double GetArea() const noexcept;
    // The box of all points; empty when there is no contour.
    KetSDK::Math::boundingbox<double, 3> GetBoundingBox() const noexcept;

private:
    std::vector<Contour> m_contours;
};
