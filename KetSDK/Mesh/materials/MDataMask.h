// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/IDataMask.h>
#include <KetSDK/Common/Shared/IDataMaskOwner.h>
#include <KetSDK/Common/Shared/MDataMaskIndex.h>
#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/materials/MPagedArray.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

template <typename T>
class MDataMaskContainer;

// What a mask container needs of a mask of values for objects of type T: a slot per mask index, a
// default value, and copying between slots. A mask takes itself out of its container when it dies.
template <typename T>
class KETSDK_MESH_API MDataMaskBase : public IDataMask {
public:
    MDataMaskBase(MDataMaskBase const&) = delete;
    MDataMaskBase& operator=(MDataMaskBase const&) = delete;
    ~MDataMaskBase() override {
        if (m_owner)
            m_owner->RemoveMask(this);
    }

    // Copies the value of one object to another.
    virtual void CopyValue(T const& from, T const& to) = 0;
    // Makes room for mask indices below `capacity`; new slots hold the default.
    virtual void Resize(std::uint64_t capacity) = 0;
    // Puts the default into a slot.
    virtual void ResetValueAt(std::uint64_t index) = 0;
    // Bytes held by the values.
    virtual std::size_t MemoryUsed() const = 0;

    // Number of slots.
    std::uint64_t GetSize() const noexcept { return m_size; }

    // Whether CopyMaskInfo of the container copies this mask's values; false unless set.
    bool GetCopyFlag() const noexcept { return m_copy; }
    void SetCopyFlag(bool copy) noexcept { m_copy = copy; }

    // The container that the mask is registered with; null for none.
    IDataMaskOwner* GetOwner() const noexcept { return m_owner; }

protected:
    MDataMaskBase() = default;
    std::uint64_t m_size = 0;

private:
    friend class MDataMaskContainer<T>;
    IDataMaskOwner* m_owner = nullptr;
    bool m_copy = false;
};

// One value of type V for every object of type T, kept in pages of 1024. Built with its default value,
// then registered with a container, which sizes it. Not synchronised: concurrent reads are safe.
template <typename T, typename V>
class KETSDK_MESH_API MDataMask : public MDataMaskBase<T> {
public:
    explicit MDataMask(V default_value = V())
        : m_default(std::move(default_value)) {}

    // The object's value; the default for an object without a slot here.
    V const& GetValue(T const& object) const noexcept { return GetValueAt(object.GetMaskIndex()); }
    // Stores the object's value; an object without a slot here is left out.
    void SetValue(T const& object, V value) { SetValueAt(object.GetMaskIndex(), std::move(value)); }

    // The same by mask index.
    V const& GetValueAt(std::uint64_t index) const noexcept {
        return index < this->m_size ? m_values[index] : m_default;
    }
    void SetValueAt(std::uint64_t index, V value) {
        if (index < this->m_size)
            m_values[index] = std::move(value);
    }

    // The slot itself, for values that are built up in place. The index is not range-checked.
    V& GetSlot(std::uint64_t index) noexcept { return m_values[index]; }

    // The 1024 values of mask indices page * 1024 and following, for loops that read page by page.
    V* GetPage(std::size_t page) noexcept { return m_values.GetPage(page); }
    V const* GetPage(std::size_t page) const noexcept { return m_values.GetPage(page); }

    V const& GetDefaultValue() const noexcept { return m_default; }

    // Exchanges the values with those of a mask that has as many slots.
    void SwapValues(MDataMask& other) noexcept { m_values.Swap(other.m_values); }

    void CopyValue(T const& from, T const& to) override { SetValue(to, GetValue(from)); }
    void Resize(std::uint64_t capacity) override {
        std::uint64_t const left_over = std::min(m_values.Capacity(), capacity);
        m_values.Grow(capacity, m_default);
        // An earlier owner may have left something here.
        m_values.Fill(std::exchange(this->m_size, capacity), left_over, m_default);
    }
    // The same for a new mask of numbers whose caller fills the first slots, which hold anything until then.
    void ResizeUnfilled(std::uint64_t capacity, std::uint64_t slots_to_fill) {
        m_values.GrowUnfilled(capacity);
        m_values.Fill(slots_to_fill, capacity, m_default);
        this->m_size = capacity;
    }
    void ResetValueAt(std::uint64_t index) override { SetValueAt(index, m_default); }
    std::size_t MemoryUsed() const override {
        std::size_t bytes = m_values.MemoryUsed();
        if constexpr (requires(V const& v) { v.capacity() * sizeof(*v.data()); })
            for (std::uint64_t i = 0; i < this->m_size; ++i)
                bytes += m_values[i].capacity() * sizeof(*m_values[i].data());
        return bytes;
    }

private:
    KetSDK::Mesh::Detail::MPagedArray<V> m_values;
    V m_default;
};

// One bit for every object of type T; otherwise as MDataMask.
template <typename T>
class KETSDK_MESH_API MDataMaskBits : public MDataMaskBase<T> {
public:
    explicit MDataMaskBits(bool default_value = false)
        : m_default(default_value) {}

    bool GetValue(T const& object) const noexcept { return GetValueAt(object.GetMaskIndex()); }
    void SetValue(T const& object, bool value) { SetValueAt(object.GetMaskIndex(), value); }

    bool GetValueAt(std::uint64_t index) const noexcept {
        return index < this->m_size ? ((m_words[index >> 6] >> (index & 63)) & 1) != 0 : m_default;
    }
    void SetValueAt(std::uint64_t index, bool value) {
        if (index >= this->m_size)
            return;
        std::uint64_t const bit = std::uint64_t{1} << (index & 63);
        std::uint64_t& word = m_words[index >> 6];
        word = value ? word | bit : word & ~bit;
    }

    // The values at 64 mask indices that the mask has, the first of which is a multiple of 64; the lowest bit
    // is that of the first.
    void SetWordAt(std::uint64_t first_index, std::uint64_t word) noexcept {
        m_words[first_index >> 6] = word;
    }

    bool GetDefaultValue() const noexcept { return m_default; }

    // Exchanges the values with those of a mask that has as many slots.
    void SwapValues(MDataMaskBits& other) noexcept { m_words.Swap(other.m_words); }

    void CopyValue(T const& from, T const& to) override { SetValue(to, GetValue(from)); }
    void Resize(std::uint64_t capacity) override {
        m_words.Grow((capacity + 63) / 64, 0);
        for (std::uint64_t i = std::exchange(this->m_size, capacity); i < capacity; ++i)
            SetValueAt(i, m_default);
    }
    void ResetValueAt(std::uint64_t index) override { SetValueAt(index, m_default); }
    std::size_t MemoryUsed() const override { return m_words.MemoryUsed(); }

private:
    KetSDK::Mesh::Detail::MPagedArray<std::uint64_t> m_words;
    bool m_default;
};
