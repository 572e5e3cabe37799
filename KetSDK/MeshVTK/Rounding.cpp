// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/Rounding.h>

#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/Support/MHash.h>
#include <KetSDK/Support/MPrefetch.h>
#include <KetSDK/Support/ParallelWork.h>

#include <vtkDataArray.h>
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

// The exact positions of points. VTK's own way to a single one takes a call of two virtual functions.
class ExactPoints {
public:
    explicit ExactPoints(vtkPoints& points)
        : m_points(points)
        , m_values(points.GetDataType() == VTK_DOUBLE && points.GetData()->HasStandardMemoryLayout()
                       ? static_cast<double const*>(points.GetVoidPointer(0))
                       : nullptr) {}

    std::array<double, 3> operator[](std::size_t i) const {
        if (m_values)
            return {m_values[3 * i], m_values[3 * i + 1], m_values[3 * i + 2]};
        std::array<double, 3> position;
        m_points.GetPoint(static_cast<vtkIdType>(i), position.data());
        return position;
    }

private:
    vtkPoints& m_points;
    double const* m_values; // null where they lie in another way
};

using Points = std::vector<std::array<MLong, 3>>;

// Where some points lie by their integer coordinates: a hash table of their numbers.
class PointTable {
public:
    PointTable(Points const& points, std::size_t most)
        : m_points(points)
        , m_entries(std::bit_ceil(2 * most + 1), None) {}

    void Prefetch(std::size_t i) const noexcept { Support::Prefetch(&m_entries[EntryOf(i)]); }
    // The first point at the position of point i, which is entered when there is none.
    std::size_t FirstAt(std::size_t i) noexcept {
        std::size_t entry = EntryOf(i);
        while (m_entries[entry] != None && !IsSame(m_points[m_entries[entry]], m_points[i]))
            entry = (entry + 1) & (m_entries.size() - 1);
        if (m_entries[entry] == None)
            m_entries[entry] = static_cast<std::uint32_t>(i);
        return m_entries[entry];
    }

private:
    static constexpr std::uint32_t None = std::numeric_limits<std::uint32_t>::max();

    // Comparing the arrays would call a function.
    static bool IsSame(std::array<MLong, 3> const& p, std::array<MLong, 3> const& q) noexcept {
        return p[0] == q[0] && p[1] == q[1] && p[2] == q[2];
    }
    std::size_t EntryOf(std::size_t i) const noexcept {
        auto const& p = m_points[i];
        return static_cast<std::size_t>(Support::HashOfPosition(p[0], p[1], p[2])) & (m_entries.size() - 1);
    }

    Points const& m_points;
    std::vector<std::uint32_t> m_entries;
};

// Of the given points, in their order, those that share their integer coordinates with an earlier one, but
// not their exact ones.
std::uint64_t CountMerged(ExactPoints const& exact, Points const& rounded,
                          std::vector<std::uint32_t> const& numbers) {
    constexpr std::size_t ahead = 16;
    PointTable table(rounded, numbers.size());
    std::uint64_t merged = 0;
    for (std::size_t k = 0; k < numbers.size(); ++k) {
        if (k + ahead < numbers.size())
            table.Prefetch(numbers[k + ahead]);
        std::size_t const i = numbers[k];
        std::size_t const first = table.FirstAt(i);
        merged += first != i && exact[i] != exact[first];
    }
    return merged;
}

// Of all points. Each thread looks at those of a part of space, since points of different parts share
// nothing.
std::uint64_t CountMerged(ExactPoints const& exact, Points const& rounded, bool parallel) {
    constexpr std::size_t least = 1 << 16; // fewer are counted before another thread has begun
    std::uint64_t const parts =
        parallel && rounded.size() >= least ? std::min<std::size_t>(Support::NumberOfThreads(), 16) : 1;
    std::uint64_t merged = 0;
    Support::ComputeSteps<std::uint64_t>(
        {.items = parts, .parallel = parallel},
        [&](std::uint64_t part, std::uint64_t, std::uint64_t& of_part) {
            std::vector<std::uint32_t> numbers;
            numbers.reserve(rounded.size() / parts + 1);
            for (std::size_t i = 0; i < rounded.size(); ++i)
                if (auto const& p = rounded[i];
                    parts == 1 || (Support::HashOfPosition(p[0], p[1], p[2]) >> 32) % parts == part)
                    numbers.push_back(static_cast<std::uint32_t>(i));
            of_part = CountMerged(exact, rounded, numbers);
        },
        [&merged](std::uint64_t, std::uint64_t, std::uint64_t of_part) {
            merged += of_part;
            return true;
        });
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
        bool moved; // any of them by rounding
    };
    RoundedPoints result;
    ExactPoints const exact_points(points);
    auto const count = static_cast<std::size_t>(points.GetNumberOfPoints());
    result.points.resize(count);
    auto const round = [&](std::uint64_t first, std::uint64_t last, Found& found) {
        found = {};
        bool moved = false;
        for (auto i = static_cast<std::size_t>(first); i < last && !found.not_finite; ++i) {
            std::array<double, 3> const position = exact_points[i];
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
                moved |= error != 0.0; // also where its square is 0
            }
            if (in_range)
                found.largest_squared = std::max(found.largest_squared, squared);
            else
                ++found.out_of_range;
        }
        found.moved = moved;
    };
    double largest_squared = 0.0;
    bool moved = false;
    auto const take = [&](std::uint64_t, std::uint64_t, Found const& found) {
        if (found.not_finite)
            throw Error("point " + std::to_string(found.not_finite->first) + " has the coordinate " +
                        std::to_string(found.not_finite->second) + "; coordinates must be finite numbers");
        largest_squared = std::max(largest_squared, found.largest_squared);
        result.report.out_of_range += found.out_of_range;
        moved = moved || found.moved;
        return true;
    };
    Support::ComputeSteps<Found>({.items = count, .step = 4096, .parallel = parallel}, round, take);
    result.report.largest_error = std::sqrt(largest_squared);
    // Points that rounding has not moved share their coordinates exactly or not at all.
    if (moved || unit.millimetres != 1.0)
        result.report.merged = CountMerged(exact_points, result.points, parallel);
    CheckLimits(result.report, count, limits);
    return result;
}

} // namespace KetSDK::MeshVTK
