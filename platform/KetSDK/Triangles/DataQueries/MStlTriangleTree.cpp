// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Triangles/DataQueries/MStlTriangleTree.h>

#include <KetSDK/Support/ParallelWork.h>
#include <KetSDK/Support/RecordBins.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <compare>
#include <new>
#include <utility>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

using KetSDK::Support::ComputeSteps;
using KetSDK::Support::Values;

namespace {

using Point = MStlTriangleTree::Point;
using Triangle = MTriangle<double, 3>;

constexpr float Infinity = std::numeric_limits<float>::infinity();

// The nearest numbers of lower precision that are not greater and not less. Finite ones stay in their range.
float RoundedDown(double x) noexcept {
    constexpr double largest = std::numeric_limits<float>::max();
    if (x < -largest)
        return -Infinity;
    auto const near = static_cast<float>(std::min(x, largest));
    return near > x ? std::nextafter(near, -Infinity) : near;
}
float RoundedUp(double x) noexcept {
    return -RoundedDown(-x);
}

// A box that holds what it is made of, and hardly more.
struct Box {
    float low[3];
    float high[3];

    static Box Of(Triangle const& t) noexcept {
        Box box;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            auto const [low, high] = std::minmax({t[0][axis], t[1][axis], t[2][axis]});
            box.low[axis] = RoundedDown(low);
            box.high[axis] = RoundedUp(high);
        }
        return box;
    }
    static Box Around(Point const& p, double distance) noexcept {
        // A little wider, so that rounding leaves out no triangle at just this distance.
        double const size = std::max({std::abs(p[0]), std::abs(p[1]), std::abs(p[2]), distance});
        double const half = distance + 1e-14 * size;
        Box box;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            box.low[axis] = RoundedDown(p[axis] - half);
            box.high[axis] = RoundedUp(p[axis] + half);
        }
        return box;
    }
};

bool IsFinite(Point const& p) {
    return std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]);
}

Point ClosestPointOnSegment(Point const& a, Point const& b, Point const& p) {
    Point const along = b - a;
    double const length = along.Dot(along);
    double const t = length > 0.0 ? (p - a).Dot(along) / length : 0.0;
    // The ends themselves, without rounding.
    return t <= 0.0 ? a : t >= 1.0 ? b : a + t * along;
}

// Eight boxes side by side, to be looked at together.
struct Boxes {
    static constexpr std::size_t Count = 8;

    float low[3][Count];
    float high[3][Count];

    // One that no box meets and that is nearest to nothing.
    void SetNone(std::size_t i) noexcept {
        for (std::size_t axis = 0; axis < 3; ++axis)
            low[axis][i] = high[axis][i] = std::numeric_limits<float>::quiet_NaN();
    }
    void Set(std::size_t i, Box const& box) noexcept {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            low[axis][i] = box.low[axis];
            high[axis][i] = box.high[axis];
        }
    }
    // Around the first so many.
    Box Hull(std::size_t count) const noexcept {
        Box hull;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            hull.low[axis] = *std::min_element(low[axis], low[axis] + count);
            hull.high[axis] = *std::max_element(high[axis], high[axis] + count);
        }
        return hull;
    }

    // A bit for each that meets a box.
    unsigned int Meeting(Box const& box) const noexcept {
#ifdef __SSE2__
        auto const four = [&](std::size_t first) {
            __m128 meets = _mm_castsi128_ps(_mm_set1_epi32(-1));
            for (std::size_t axis = 0; axis < 3; ++axis) {
                __m128 const begins =
                    _mm_cmple_ps(_mm_loadu_ps(&low[axis][first]), _mm_set1_ps(box.high[axis]));
                __m128 const ends =
                    _mm_cmpge_ps(_mm_loadu_ps(&high[axis][first]), _mm_set1_ps(box.low[axis]));
                meets = _mm_and_ps(meets, _mm_and_ps(begins, ends));
            }
            return static_cast<unsigned int>(_mm_movemask_ps(meets));
        };
        return four(0) | four(4) << 4;
#else
        unsigned int meeting = 0;
        for (std::size_t i = 0; i < Count; ++i) {
            bool meets = true;
            for (std::size_t axis = 0; axis < 3; ++axis)
                meets = meets && low[axis][i] <= box.high[axis] && high[axis][i] >= box.low[axis];
            meeting |= static_cast<unsigned int>(meets) << i;
        }
        return meeting;
#endif
    }

    // The one nearest to a point, as far as low precision tells.
    std::size_t Nearest(float const (&p)[3]) const noexcept {
        float square[Count] = {};
        for (std::size_t axis = 0; axis < 3; ++axis)
            for (std::size_t i = 0; i < Count; ++i) {
                float const away = std::max(std::max(low[axis][i] - p[axis], p[axis] - high[axis][i]), 0.0F);
                square[i] += away * away;
            }
        return static_cast<std::size_t>(std::min_element(square, square + Count) - square);
    }
};

// Along a curve that fills space, points that lie near each other mostly come soon after one another. Bits of
// the coordinates in turn, 21 of each, counted from a corner in steps.
struct Curve {
    Point corner;
    double step;

    std::uint64_t PlaceOf(Point const& p) const noexcept {
        std::uint64_t place = 0;
        for (std::size_t axis = 0; axis < 3; ++axis)
            place |= Spread(static_cast<std::uint64_t>((p[axis] - corner[axis]) / step)) << axis;
        return place;
    }
    static constexpr unsigned int Bits = 21;

private:
    // Two free bits between any two.
    static std::uint64_t Spread(std::uint64_t bits) noexcept {
        bits = (bits | bits << 32) & 0x001F00000000FFFFU;
        bits = (bits | bits << 16) & 0x001F0000FF0000FFU;
        bits = (bits | bits << 8) & 0x100F00F00F00F00FU;
        bits = (bits | bits << 4) & 0x10C30C30C30C30C3U;
        return (bits | bits << 2) & 0x1249249249249249U;
    }
};

// Three times the centroid.
Point Middle(Triangle const& t) {
    return t[0] + t[1] + t[2];
}

} // namespace

// Boxes of eight triangles that follow one another along a curve, boxes of eight of those, and so on.
class MStlTriangleTree::Tree {
public:
    // Of the triangles with some numbers.
    template <typename Positions, typename NumberAt>
    Tree(Positions const& positions, std::size_t count, NumberAt const& number_at, bool parallel)
        : m_numbers(count)
        , m_parallel(parallel) {
        if (count == 0)
            return;
        SortAlongCurve(positions, number_at);
        AddLevel(count, [&](std::size_t i) { return Box::Of(positions[m_numbers[i]]); });
        while (m_levels.back().size() > 1) {
            std::size_t const below = m_levels.size() - 1;
            std::size_t const boxes = m_levels[below].size();
            std::size_t const last = below == 0 ? count : m_levels[below - 1].size();
            AddLevel(boxes, [&, below, last](std::size_t i) {
                return m_levels[below][i].Hull(std::min(Boxes::Count, last - i * Boxes::Count));
            });
        }
    }

    bool IsEmpty() const noexcept { return m_numbers.empty(); }

    // A triangle whose box is near to a point.
    std::uint32_t NumberNear(Point const& p) const noexcept {
        float const at[3] = {RoundedDown(p[0]), RoundedDown(p[1]), RoundedDown(p[2])};
        std::size_t box = 0;
        for (std::size_t level = m_levels.size(); level-- > 0;)
            box = box * Boxes::Count + m_levels[level][box].Nearest(at);
        return m_numbers[box];
    }

    // Calls visit(number) for the triangles whose boxes meet one, which may become smaller meanwhile.
    template <typename Visit>
    void ForEachMeeting(Box const& box, Visit const& visit) const {
        if (!IsEmpty())
            VisitFrom(m_levels.size() - 1, 0, box, visit);
    }

private:
    // From some boxes of a level downwards.
    template <typename Visit>
    void VisitFrom(std::size_t level, std::size_t boxes, Box const& box, Visit const& visit) const {
        for (unsigned int meeting = m_levels[level][boxes].Meeting(box); meeting != 0;
             meeting &= meeting - 1) {
            std::size_t const child =
                boxes * Boxes::Count + static_cast<std::size_t>(std::countr_zero(meeting));
            if (level > 0)
                VisitFrom(level - 1, child, box, visit);
            else
                visit(m_numbers[child]);
        }
    }

    KetSDK::Support::WorkSteps Steps(std::size_t items, std::size_t step) const noexcept {
        return {.items = items, .step = step, .parallel = m_parallel};
    }

    template <typename Positions, typename NumberAt>
    void SortAlongCurve(Positions const& positions, NumberAt const& number_at) {
        struct Record {
            std::uint64_t place;
            std::uint32_t number;
            auto operator<=>(Record const&) const = default;
        };
        Curve const curve = CurveAround(positions, number_at);
        constexpr std::size_t records_per_bin = 256, most_bins = 4096;
        auto const bits = static_cast<unsigned int>(
            std::bit_width(std::clamp<std::size_t>(m_numbers.size() / records_per_bin, 1, most_bins)) - 1);
        KetSDK::Support::RecordBins<Record> bins(
            m_numbers.size(), std::size_t{1} << bits,
            [&](std::size_t i) {
                std::uint32_t const number = number_at(i);
                return Record{curve.PlaceOf(Middle(positions[number])), number};
            },
            [bits](Record const& r) { return static_cast<std::size_t>(r.place >> (3 * Curve::Bits - bits)); },
            [this](std::size_t items, std::size_t step, auto const& work) {
                ComputeSteps(Steps(items, step), [&work](std::uint64_t first, std::uint64_t last) {
                    work(static_cast<std::size_t>(first), static_cast<std::size_t>(last));
                });
            });
        ComputeSteps(Steps(bins.NumberOfBins(), 16), [&](std::uint64_t first, std::uint64_t last) {
            for (auto bin = static_cast<std::size_t>(first); bin < last; ++bin) {
                std::ranges::sort(bins[bin]);
                std::ranges::transform(bins[bin], m_numbers.data() + bins.FirstOf(bin), &Record::number);
            }
        });
    }

    template <typename Positions, typename NumberAt>
    Curve CurveAround(Positions const& positions, NumberAt const& number_at) const {
        Point low = Middle(positions[number_at(0)]);
        Point high = low;
        auto const add = [](Point const& p, Point& lowest, Point& highest) {
            for (std::size_t axis = 0; axis < 3; ++axis) {
                lowest[axis] = std::min(lowest[axis], p[axis]);
                highest[axis] = std::max(highest[axis], p[axis]);
            }
        };
        ComputeSteps<std::pair<Point, Point>>(
            Steps(m_numbers.size(), 4096),
            [&](std::uint64_t first, std::uint64_t last, std::pair<Point, Point>& some) {
                some.first = some.second = Middle(positions[number_at(static_cast<std::size_t>(first))]);
                for (std::uint64_t i = first; i < last; ++i)
                    add(Middle(positions[number_at(static_cast<std::size_t>(i))]), some.first, some.second);
            },
            [&](std::uint64_t, std::uint64_t, std::pair<Point, Point> const& some) {
                add(some.first, low, high);
                add(some.second, low, high);
                return true;
            });
        double const width = std::max({high[0] - low[0], high[1] - low[1], high[2] - low[2]});
        double const steps = std::ldexp(1.0, Curve::Bits) - 1.0;
        return {low, width > 0.0 ? width / steps : 1.0};
    }

    // Adds the boxes of so many things, eight by eight.
    template <typename BoxOf>
    void AddLevel(std::size_t count, BoxOf const& box_of) {
        Values<Boxes> level((count + Boxes::Count - 1) / Boxes::Count);
        ComputeSteps(Steps(level.size(), 512), [&](std::uint64_t first, std::uint64_t last) {
            for (auto i = static_cast<std::size_t>(first); i < last; ++i)
                for (std::size_t k = 0; k < Boxes::Count; ++k)
                    if (std::size_t const child = i * Boxes::Count + k; child < count)
                        level[i].Set(k, box_of(child));
                    else
                        level[i].SetNone(k);
        });
        m_levels.push_back(std::move(level));
    }

    Values<std::uint32_t> m_numbers; // of the triangles, along the curve
    std::vector<Values<Boxes>> m_levels;
    bool m_parallel;
};

MStlTriangleTree::MStlTriangleTree(MStlBase const& stl, bool parallel)
    : m_stl(stl) {
    TakePositions(parallel);
    m_tree = std::make_unique<Tree>(
        m_positions, m_positions.size(), [](std::size_t i) { return static_cast<std::uint32_t>(i); },
        parallel);
}

MStlTriangleTree::MStlTriangleTree(MStlBase const& stl, std::vector<bool> const& left_out, bool parallel)
    : m_stl(stl) {
    TakePositions(parallel);
    std::vector<std::uint32_t> numbers;
    for (std::size_t i = 0; i < m_positions.size(); ++i)
        if (!left_out[i])
            numbers.push_back(static_cast<std::uint32_t>(i));
    m_tree = std::make_unique<Tree>(
        m_positions, numbers.size(), [&numbers](std::size_t i) { return numbers[i]; }, parallel);
}

MStlTriangleTree::~MStlTriangleTree() = default;

void MStlTriangleTree::TakePositions(bool parallel) {
    std::uint64_t const count = m_stl.NumberOfTriangles();
    m_positions.Claim(static_cast<std::size_t>(count));
    ComputeSteps({.items = count, .step = 4096, .parallel = parallel},
                 [this](std::uint64_t first, std::uint64_t last) {
                     for (std::uint64_t i = first; i < last; ++i)
                         ::new (static_cast<void*>(&m_positions[static_cast<std::size_t>(i)]))
                             Triangle(m_stl.GetTriangle(i)->GetPositions());
                 });
    m_positions.Settle(true);
}

MStlTriangleTree::Hit MStlTriangleTree::FindNearest(Point const& p, double max_distance) const {
    Hit nearest;
    if (!IsFinite(p) || m_tree->IsEmpty())
        return nearest;
    // One that is near bounds the distance from the beginning.
    max_distance = std::min(max_distance, HitOf(m_tree->NumberNear(p), p).distance);
    ForEachWithin(p, max_distance, [&](Hit const& hit) {
        if (std::pair(hit.distance, hit.number) < std::pair(nearest.distance, nearest.number)) {
            nearest = hit;
            max_distance = std::min(max_distance, hit.distance);
        }
    });
    return nearest;
}

void MStlTriangleTree::FindWithin(Point const& p, double distance, std::vector<Hit>& hits) const {
    hits.clear();
    if (!IsFinite(p))
        return;
    ForEachWithin(p, distance, [&hits](Hit const& hit) { hits.push_back(hit); });
    std::ranges::sort(hits, {}, &Hit::number);
}

template <typename Visit>
void MStlTriangleTree::ForEachWithin(Point const& p, double const& distance, Visit const& visit) const {
    Box box = Box::Around(p, distance);
    m_tree->ForEachMeeting(box, [&](std::uint32_t number) {
        Hit const hit = HitOf(number, p);
        if (!(hit.distance <= distance))
            return;
        double const before = distance;
        visit(hit);
        if (distance < before)
            box = Box::Around(p, distance);
    });
}

MStlTriangleTree::Hit MStlTriangleTree::HitOf(std::uint32_t number, Point const& p) const noexcept {
    Hit hit;
    hit.triangle = m_stl.GetTriangle(number);
    hit.number = number;
    hit.point = ClosestPoint(m_positions[number], p);
    hit.distance = (hit.point - p).Length();
    return hit;
}

Point MStlTriangleTree::ClosestPoint(MTriangle<double, 3> const& t, Point const& p) noexcept {
    Point const normal = (t[1] - t[0]).Cross(t[2] - t[0]);
    double const square = normal.Dot(normal);
    bool above = square > 0.0; // whether p lies above the triangle, seen along its normal
    for (std::size_t i = 0; above && i < 3; ++i)
        above = (t[(i + 1) % 3] - t[i]).Cross(p - t[i]).Dot(normal) >= 0.0;
    if (above)
        return p - (normal.Dot(p - t[0]) / square) * normal;
    Point closest = ClosestPointOnSegment(t[0], t[1], p);
    for (std::size_t i = 1; i < 3; ++i) {
        Point const other = ClosestPointOnSegment(t[i], t[(i + 1) % 3], p);
        if ((other - p).SquaredLength() < (closest - p).SquaredLength())
            closest = other;
    }
    return closest;
}
