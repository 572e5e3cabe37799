#include <KetSDK/Triangles/Data/MStlPointLookup.h>

#include <KetSDK/Common/Shared/MHash.h>

#include <tsl/robin_set.h>

#include <cstdint>
#include <memory>

namespace {

struct Position {
    MLong x;
    MLong y;
    MLong z;
};

Position _PositionOf(Position const& position) noexcept {
    return position;
}
Position _PositionOf(MStlPoint const* p) noexcept {
    return {p->GetX(), p->GetY(), p->GetZ()};
}

struct Hash {
    template <typename K>
    std::size_t operator()(K const& key) const noexcept {
        Position const p = _PositionOf(key);
        return static_cast<std::size_t>(KetSDK::Common::HashOfPosition(p.x, p.y, p.z));
    }
};

struct Equal {
    using is_transparent = void;
    template <typename A, typename B>
    bool operator()(A const& a, B const& b) const noexcept {
        Position const p = _PositionOf(a);
        Position const q = _PositionOf(b);
        return p.x == q.x && p.y == q.y && p.z == q.z;
    }
};

} // namespace

struct MStlPointLookup::Table {
    Table() { points.max_load_factor(0.8F); } // half the default's memory: most of the time goes there

    // Part of the hash is stored with each entry, so that only the points sought are touched.
    tsl::robin_set<MStlPoint*, Hash, Equal, std::allocator<MStlPoint*>, true> points;
};

MStlPointLookup::MStlPointLookup()
    : m_table(std::make_unique<Table>()) {}

MStlPointLookup::~MStlPointLookup() = default;

MStlPoint* MStlPointLookup::Find(MLong x, MLong y, MLong z) const noexcept {
    auto const found = m_table->points.find(Position{x, y, z});
    return found == m_table->points.end() ? nullptr : *found;
}

void MStlPointLookup::_Reserve(std::size_t number_of_points) {
    // In steps of a doubling at least: Update may come with one new point at a time.
    if (number_of_points > 2 * m_table->points.size())
        m_table->points.reserve(number_of_points);
}

void MStlPointLookup::_Enter(MStlPoint& point) {
    // A point that is there already stays: the first one at a position is found.
    m_table->points.insert(&point);
}
