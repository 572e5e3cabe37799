// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Support/MBlockStorage.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <numeric>
#include <vector>

namespace {

using Storage = KetSDK::Support::MBlockStorage<std::shared_ptr<int>, 8>;

std::vector<int> ValuesOf(Storage const& storage) {
    std::vector<int> values;
    for (std::shared_ptr<int> const& value : storage)
        values.push_back(*value);
    return values;
}

std::vector<int> UpTo(int count) {
    std::vector<int> values(static_cast<std::size_t>(count));
    std::iota(values.begin(), values.end(), 0);
    return values;
}

TEST(BlockStorage, KeepsAddressesAndDestroysWhatItTakesAway) {
    Storage storage;
    auto const counted = std::make_shared<int>(0);
    std::vector<std::shared_ptr<int>*> places{&storage.emplace_back(counted)};
    for (int i = 1; i < 100; ++i)
        places.push_back(&storage.emplace_back(std::make_shared<int>(i)));
    storage.emplace_back(counted);
    for (std::size_t i = 0; i < places.size(); ++i)
        ASSERT_EQ(&storage[i], places[i]);
    EXPECT_EQ(counted.use_count(), 3);
    storage.ShrinkTo(100);
    EXPECT_EQ(counted.use_count(), 2);
    EXPECT_EQ(ValuesOf(storage), UpTo(100));
    EXPECT_EQ(std::ranges::distance(storage), 100);
    EXPECT_EQ(**(storage.end() - 1), 99);

    Storage other;
    other.swap(storage);
    EXPECT_TRUE(storage.empty());
    EXPECT_EQ(&other[42], places[42]);
    other.Clear();
    EXPECT_EQ(counted.use_count(), 1);
}

// Memory that was claimed holds nothing: giving it up must not destroy it, and whoever comes next gets it.
TEST(BlockStorage, ClaimsBelongToItOnceSettled) {
    Storage storage;
    for (int i = 0; i < 5; ++i)
        storage.emplace_back(std::make_shared<int>(i));
    EXPECT_EQ(storage.Claim(20), 5U);
    EXPECT_EQ(storage.Claim(3), 25U);
    EXPECT_EQ(storage.size(), 5U);
    storage.Settle(false);

    std::size_t const first = storage.Claim(30);
    ASSERT_EQ(first, 5U);
    for (std::size_t i = 30; i-- > 0;)
        ::new (static_cast<void*>(&storage[first + i]))
            std::shared_ptr<int>(new int(static_cast<int>(first + i)));
    storage.Settle(true);
    storage.emplace_back(std::make_shared<int>(35));
    EXPECT_EQ(ValuesOf(storage), UpTo(36));
}

} // namespace
