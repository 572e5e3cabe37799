// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Triangles/Data/MSection.h>

#include <utility>

bool MSection::AddContour(std::vector<Point> points, bool closed) {
    if (points.size() < (closed ? 3U : 2U))
        return false;
    m_contours.push_back({std::move(points), closed});
    return true;
}

double MSection::GetLength() const noexcept {
    double length = 0.0;
    for (Contour const& contour : m_contours) {
        std::vector<Point> const& points = contour.points;
        for (std::size_t i = 1; i < points.size(); ++i)
            length += (points[i] - points[i - 1]).Length();
        if (contour.closed)
            length += (points.front() - points.back()).Length();
    }
    return length;
}

double MSection::GetArea() const noexcept {
    // The sum of the fans' vector areas, taken from a corner so that distance from the origin costs
    // no accuracy. What lies on the two sides of a fan's edge cancels.
    Point doubled;
    for (Contour const& contour : m_contours) {
        if (!contour.closed)
            continue;
        std::vector<Point> const& points = contour.points;
        for (std::size_t i = 2; i < points.size(); ++i)
            doubled += (points[i - 1] - points[0]).Cross(points[i] - points[0]);
    }
    return 0.5 * doubled.Length();
}

KetSDK::Math::boundingbox<double, 3> MSection::GetBoundingBox() const noexcept {
    KetSDK::Math::boundingbox<double, 3> box;
    for (Contour const& contour : m_contours)
        for (Point const& point : contour.points)
            box.Widen(point);
    return box;
}
