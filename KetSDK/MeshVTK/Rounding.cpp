// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/Rounding.h>

#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/MeshVTK/Error.h>

#include <vtkPoints.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numeric>
#include <sstream>
#include <string>

namespace KetSDK::MeshVTK {

namespace {

constexpr double InternalUnit = Common::MInternalUnits::Get();
constexpr double Smallest = std::numeric_limits<MLong>::min();
constexpr double Largest = std::numeric_limits<MLong>::max();

std::array<double, 3> Position(vtkPoints& points, std::size_t i) {
    std::array<double, 3> position;
    points.GetPoint(static_cast<vtkIdType>(i), position.data());
    return position;
}

void CheckFinite(vtkPoints& points) {
    for (vtkIdType i = 0; i < points.GetNumberOfPoints(); ++i)
        for (double const coordinate : Position(points, static_cast<std::size_t>(i)))
            if (!std::isfinite(coordinate))
                throw Error("point " + std::to_string(i) + " has the coordinate " +
                            std::to_string(coordinate) + "; coordinates must be finite numbers");
}

// Points that share their integer coordinates with an earlier point, but not their exact ones.
std::uint64_t CountMerged(vtkPoints& exact, std::vector<std::array<MLong, 3>> const& rounded) {
    std::vector<std::uint32_t> order(rounded.size());
    std::iota(order.begin(), order.end(), 0u);
    std::ranges::sort(order, [&rounded](std::uint32_t a, std::uint32_t b) {
        return rounded[a] != rounded[b] ? rounded[a] < rounded[b] : a < b;
    });
    std::uint64_t merged = 0;
    std::size_t first = 0; // of the points at one place
    for (std::size_t i = 1; i < order.size(); ++i) {
        if (rounded[order[i]] != rounded[order[first]])
            first = i;
        else if (Position(exact, order[i]) != Position(exact, order[first]))
            ++merged;
    }
    return merged;
}

void CheckLimits(RoundingReport const& report, std::size_t count, RoundingLimits const& limits) {
    std::ostringstream message;
    if (report.out_of_range > 0 && !limits.allow_out_of_range)
        message << report.out_of_range << " of " << count
                << " points lie beyond +-32768 mm, which no mesh can hold";
    else if (report.merged > 0 && !limits.allow_merged)
        message << report.merged << " of " << count
                << " points fall together with others when rounded to 1/65536 mm (largest rounding error "
                << report.largest_error << " mm)";
    else
        return;
    message << "; is the unit of length right?";
    throw Error(message.str());
}

} // namespace

RoundedPoints RoundPoints(vtkPoints& points, LengthUnit unit, RoundingLimits const& limits) {
    if (points.GetNumberOfPoints() > std::numeric_limits<MLong>::max())
        throw Error("more than 2147483647 points");
    CheckFinite(points);
    RoundedPoints result;
    std::size_t const count = static_cast<std::size_t>(points.GetNumberOfPoints());
    result.points.resize(count);
    double largest_squared = 0.0;
    for (std::size_t i = 0; i < count; ++i) {
        std::array<double, 3> const position = Position(points, i);
        bool in_range = true;
        double squared = 0.0;
        for (std::size_t c = 0; c < 3; ++c) {
            double const millimetres = position[c] * unit.millimetres;
            double const exact = millimetres * InternalUnit;
            double const integer = std::clamp(std::round(exact), Smallest, Largest);
            in_range = in_range && std::fabs(exact - integer) <= 0.5;
            result.points[i][c] = static_cast<MLong>(integer);
            double const error = integer / InternalUnit - millimetres;
            squared += error * error;
        }
        if (in_range)
            largest_squared = std::max(largest_squared, squared);
        else
            ++result.report.out_of_range;
    }
    result.report.largest_error = std::sqrt(largest_squared);
    result.report.merged = CountMerged(points, result.points);
    CheckLimits(result.report, count, limits);
    return result;
}

} // namespace KetSDK::MeshVTK
