// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Support/MPositionTable.h>

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <numeric>
#include <random>
#include <vector>

using KetSDK::Support::MPositionTable;

namespace {

using Position = std::array<std::int32_t, 3>;

// A table with the positions that it has numbers of.
struct Places {
    std::vector<Position> positions;
    MPositionTable table;

    MPositionTable::Slot Find(Position const& p) const {
        return table.Find(p[0], p[1], p[2],
                          [&](MPositionTable::Number number) { return positions[number] == p; });
    }
    MPositionTable::Number NumberAt(Position const& p) const { return table.NumberAt(Find(p)); }
    void Enter(Position const& p) {
        table.Reserve(table.NumberOfObjects() + 1);
        auto const slot = Find(p);
        ASSERT_EQ(table.NumberAt(slot), MPositionTable::None);
        table.Enter(slot, static_cast<MPositionTable::Number>(positions.size()));
        positions.push_back(p);
    }
};

} // namespace

// Among so many positions some share all bits that the table has of their hashes.
TEST(PositionTable, EachPositionIsFoundHoweverTheTableHasGrown) {
    constexpr std::size_t count = 300000;
    for (std::size_t const reserved : {std::size_t{0}, count, count / 3}) {
        Places places;
        places.table.Reserve(reserved);
        std::map<Position, MPositionTable::Number> expected;
        std::mt19937 random(20261124);
        std::uniform_int_distribution<std::int32_t> step(-200, 200);
        while (expected.size() < count) {
            // On a lattice, as in an image: such positions differ in few bits.
            Position const p{step(random) * 65536, step(random) * 65536, step(random) * 131072};
            auto const [known, is_new] =
                expected.try_emplace(p, static_cast<MPositionTable::Number>(expected.size()));
            if (is_new)
                places.Enter(p);
            else
                ASSERT_EQ(places.NumberAt(p), known->second);
        }
        for (auto const& [p, number] : expected)
            ASSERT_EQ(places.NumberAt(p), number);
        ASSERT_EQ(places.NumberAt({1, 2, 3}), MPositionTable::None);

        std::vector<MPositionTable::Number> all(count);
        std::iota(all.begin(), all.end(), 0u);
        EXPECT_EQ(places.table.Numbers(), all);
        EXPECT_EQ(places.table.NumberOfObjects(), count);
    }
}

TEST(PositionTable, ForgetsWhatIsTakenBack) {
    Places places;
    for (std::int32_t i = 0; i < 1000; ++i) {
        places.Enter({i, -i, 7});
        if (i % 3 != 0)
            continue;
        places.table.Leave(places.Find(places.positions.back()));
        ASSERT_EQ(places.NumberAt(places.positions.back()), MPositionTable::None);
        ASSERT_EQ(places.table.Guess(i, -i, 7), MPositionTable::None);
    }
    EXPECT_EQ(places.table.NumberOfObjects(), 666u);
    for (std::size_t i = 0; i < places.positions.size(); ++i)
        EXPECT_EQ(places.NumberAt(places.positions[i]) == i, i % 3 != 0);
}
