// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/Mesh/materials/MDataMask.h>
#include <KetSDK/Mesh/materials/detail/BuiltInMasks.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <tuple>
#include <utility>
#include <vector>

// How the values of the masks of a mesh stand in a file: those of a mask follow each other in the order of
// the objects. Shared by the element and the node masks. Internal.
namespace KetSDK::Mesh::Detail {

// The mask indices of a mesh's nodes or elements, in their order.
class MaskOrder {
public:
    // That of objects which have their own numbers as mask indices.
    explicit MaskOrder(std::uint64_t count)
        : m_count(count) {}
    // index_of(i) is the mask index of object i.
    template <typename IndexOf>
    MaskOrder(std::uint64_t count, IndexOf&& index_of)
        : m_count(count) {
        std::uint64_t i = 0;
        while (i < count && index_of(i) == i)
            ++i;
        if (i < count) {
            m_indices.resize(static_cast<std::size_t>(count));
            for (i = 0; i < count; ++i)
                m_indices[static_cast<std::size_t>(i)] = index_of(i);
        }
    }

    std::uint64_t GetCount() const noexcept { return m_count; }
    // Whether every object has its own number as mask index, as in a mesh that was filled in one go.
    bool IsPlain() const noexcept { return m_indices.empty(); }
    std::uint64_t operator[](std::uint64_t i) const noexcept {
        return m_indices.empty() ? i : m_indices[static_cast<std::size_t>(i)];
    }

private:
    std::uint64_t m_count;
    std::vector<std::uint64_t> m_indices; // empty when plain
};

// Calls visit(first, values) for all objects in runs of up to 1024, `values` being the mask's values of the
// objects from `first` on.
template <typename T, typename V, typename Visit>
void ForEachRun(MDataMask<T, V> const& mask, MaskOrder const& order, Visit&& visit) {
    constexpr std::uint64_t run = MPagedArray<V>::PageSize;
    bool const plain = order.IsPlain() && mask.GetSize() >= order.GetCount();
    std::vector<V> gathered;
    for (std::uint64_t first = 0; first < order.GetCount(); first += run) {
        auto const size = static_cast<std::size_t>(std::min(run, order.GetCount() - first));
        if (plain) {
            visit(first, std::span<V const>(mask.GetPage(static_cast<std::size_t>(first / run)), size));
            continue;
        }
        gathered.clear();
        for (std::size_t i = 0; i < size; ++i)
            gathered.push_back(mask.GetValueAt(order[first + i]));
        visit(first, std::span<V const>(gathered));
    }
}

// The values of objects `first` to `count` - 1 of a plain order, as far as they lie one behind the other in
// memory; `first` is the first one of a page.
template <typename T, typename V>
std::span<V> PagesFrom(MDataMask<T, V>& mask, std::uint64_t first, std::uint64_t count) {
    constexpr std::uint64_t run = MPagedArray<V>::PageSize;
    constexpr std::uint64_t most = 64 * run;
    V* const page = mask.GetPage(static_cast<std::size_t>(first / run));
    std::uint64_t size = run;
    while (size < std::min(most, count - first) &&
           mask.GetPage(static_cast<std::size_t>((first + size) / run)) == page + size)
        size += run;
    return {page, static_cast<std::size_t>(std::min(size, count - first))};
}

// Fills the values of all objects in runs of up to 65536: fill(first, values) stores those of the objects
// from `first` on.
template <typename T, typename V, typename Fill>
void FillRuns(MDataMask<T, V>& mask, MaskOrder const& order, Fill&& fill) {
    constexpr std::uint64_t run = MPagedArray<V>::PageSize;
    std::uint64_t const count = order.GetCount();
    std::uint64_t first = 0;
    if (order.IsPlain() && mask.GetSize() >= count)
        while (first < count) {
            std::span<V> const values = PagesFrom(mask, first, count);
            fill(first, values);
            first += values.size();
        }
    std::vector<V> values(static_cast<std::size_t>(std::min(run, count - first)));
    for (; first < count; first += run) {
        auto const size = static_cast<std::size_t>(std::min(run, count - first));
        fill(first, std::span<V>(values.data(), size));
        for (std::size_t i = 0; i < size; ++i)
            mask.SetValueAt(order[first + i], std::move(values[i]));
    }
}

inline void ThrowUnless(bool condition) {
    if (!condition)
        throw std::runtime_error("invalid state");
}

// Numbers one after the other, as they stand in memory.
template <typename T, typename V>
void WriteNumbers(MFile& file, MDataMask<T, V> const& mask, MaskOrder const& order) {
    ForEachRun(mask, order, [&file](std::uint64_t, std::span<V const> values) { file.WriteArray(values); });
}

// Reads them into a mask that is sized already; throws "invalid state" when the file has fewer.
template <typename T, typename V>
void ReadNumbers(MFile& file, MDataMask<T, V>& mask, MaskOrder const& order) {
    FillRuns(mask, order,
             [&file](std::uint64_t, std::span<V> values) { ThrowUnless(file.ReadArray(values)); });
}

// A binary state of the built-in masks: number of objects (32 bits), a byte whose bits say which masks
// follow, then the values of each. The functions write(mask) and read(mask) know how to handle those.

template <typename C, typename Write>
void SaveBuiltInMasks(C const& masks, std::uint64_t objects, MFile& file, Write&& write) {
    unsigned present = 0;
    ForEachBuiltInMask<C>([&](auto const& row) { present |= (row.Find(masks) ? 1u : 0u) << row.state_bit; });
    file.WRITE(static_cast<std::uint32_t>(objects));
    file.WRITE(static_cast<std::uint8_t>(present));
    ForEachBuiltInMask<C>([&](auto const& row) {
        if (auto const* const mask = row.Find(masks))
            write(*mask);
    });
}

template <typename C, typename Read>
void LoadBuiltInMasks(C& masks, std::uint64_t objects, MFile& file, Read&& read) {
    auto const count = file.READ<std::uint32_t>();
    unsigned const present = file.READ<std::uint8_t>();
    unsigned known = 0;
    ForEachBuiltInMask<C>([&](auto const& row) { known |= 1u << row.state_bit; });
    ThrowUnless(file.IsGood() && count == static_cast<std::uint32_t>(objects) && (present & ~known) == 0);

    auto const values_of = [&](auto const& row) {
        auto values = (present >> row.state_bit & 1u) != 0 ? row.MakeAside(masks) : nullptr;
        if (values)
            read(*values);
        return values;
    };
    // All are read before the first is changed.
    auto const& table = BuiltInMasks<C>::Table();
    auto values = std::apply([&](auto const&... row) { return std::tuple{values_of(row)...}; }, table);
    auto const take = [&]<std::size_t... Row>(std::index_sequence<Row...>) {
        (std::get<Row>(table).TakeValues(masks, std::move(std::get<Row>(values))), ...);
    };
    take(BuiltInMaskRows<C>());
}

} // namespace KetSDK::Mesh::Detail
