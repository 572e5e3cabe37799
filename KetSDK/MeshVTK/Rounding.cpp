// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/Rounding.h>

#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/Support/MHash.h>
#include <KetSDK/Support/MPrefetch.h>
#include <KetSDK/Support/ParallelWork.h>

#include <vtkPoints.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>
#include <sstream>
#include <string>
#include <utility>

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

// Where points lie by their integer coordinates: a hash table of their numbers.
class PointTable {
public:
    using Points = std::vector<std::array<MLong, 3>>;

    explicit PointTable(Points const& points)
        : m_points(points)
        , m_entries(std::bit_ceil(2 * points.size() + 1), None) {}

    void Prefetch(std::size_t i) const noexcept { Support::Prefetch(&m_entries[EntryOf(i)]); }
    // The first point at the position of point i, which is entered when there is none.
    std::size_t FirstAt(std::size_t i) noexcept {
        std::size_t entry = EntryOf(i);
        while (m_entries[entry] != None && m_points[m_entries[entry]] != m_points[i])
            entry = (entry + 1) & (m_entries.size() - 1);
        if (m_entries[entry] == None)
            m_entries[entry] = static_cast<std::uint32_t>(i);
        return m_entries[entry];
    }

private:
    static constexpr std::uint32_t None = std::numeric_limits<std::uint32_t>::max();

    std::size_t EntryOf(std::size_t i) const noexcept {
        auto const& p = m_points[i];
        return static_cast<std::size_t>(Support::HashOfPosition(p[0], p[1], p[2])) & (m_entries.size() - 1);
    }

    Points const& m_points;
    std::vector<std::uint32_t> m_entries;
};

// Points that share their integer coordinates with an earlier point, but not their exact ones.
std::uint64_t CountMerged(vtkPoints& exact, std::vector<std::array<MLong, 3>> const& rounded) {
    constexpr std::size_t ahead = 16;
    PointTable table(rounded);
    std::uint64_t merged = 0;
    for (std::size_t i = 0; i < rounded.size(); ++i) {
        if (i + ahead < rounded.size())
            table.Prefetch(i + ahead);
        std::size_t const first = table.FirstAt(i);
        merged += first != i && Position(exact, i) != Position(exact, first);
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
    message << "; is their unit of length right (--unit m, mm or um)?";
    throw Error(message.str());
}

} // namespace

RoundedPoints RoundPoints(vtkPoints& points, LengthUnit unit, RoundingLimits const& limits, bool parallel) {
    if (points.GetNumberOfPoints() > std::numeric_limits<MLong>::max())
        throw Error("more than 2147483647 points");
    // Of the points of a step.
    struct Found {
        std::optional<std::pair<std::uint64_t, double>> not_finite;
        double largest_squared;
        std::uint64_t out_of_range;
    };
    RoundedPoints result;
    auto const count = static_cast<std::size_t>(points.GetNumberOfPoints());
    result.points.resize(count);
    auto const round = [&](std::uint64_t first, std::uint64_t last, Found& found) {
        found = {};
        for (auto i = static_cast<std::size_t>(first); i < last && !found.not_finite; ++i) {
            std::array<double, 3> const position = Position(points, i);
            bool in_range = true;
            double squared = 0.0;
            for (std::size_t c = 0; c < 3; ++c) {
                if (!std::isfinite(position[c])) {
                    found.not_finite = {i, position[c]};
                    break;
                }
                double const millimetres = position[c] * unit.millimetres;
                double const exact = millimetres * InternalUnit;
                double const integer = std::clamp(std::round(exact), Smallest, Largest);
                in_range = in_range && std::fabs(exact - integer) <= 0.5;
                result.points[i][c] = static_cast<MLong>(integer);
                double const error = integer / InternalUnit - millimetres;
                squared += error * error;
            }
            if (in_range)
                found.largest_squared = std::max(found.largest_squared, squared);
            else
                ++found.out_of_range;
        }
    };
    double largest_squared = 0.0;
    auto const take = [&](std::uint64_t, std::uint64_t, Found const& found) {
        if (found.not_finite)
            throw Error("point " + std::to_string(found.not_finite->first) + " has the coordinate " +
                        std::to_string(found.not_finite->second) + "; coordinates must be finite numbers");
        largest_squared = std::max(largest_squared, found.largest_squared);
        result.report.out_of_range += found.out_of_range;
        return true;
    };
    Support::ComputeSteps<Found>({.items = count, .step = 4096, .parallel = parallel}, round, take);
    result.report.largest_error = std::sqrt(largest_squared);
    result.report.merged = CountMerged(points, result.points);
    CheckLimits(result.report, count, limits);
    return result;
}

} // namespace KetSDK::MeshVTK
