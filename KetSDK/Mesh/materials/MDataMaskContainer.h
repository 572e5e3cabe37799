// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/IDataMaskOwner.h>
#include <KetSDK/Mesh/materials/MDataMask.h>
#include <KetSDK/Mesh/mesh/MMeshElement.h>
#include <KetSDK/Mesh/mesh/MMeshPoint.h>
#include <KetSDK/Support/MPrefetch.h>
#include <KetSDK/Support/ParallelWork.h>
#include <KetSDK/Triangles/Data/MStlTriangle.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

// Hands out and takes back the mask indices of objects of type T (MMeshElement, MMeshPoint, MStlTriangle) and
// keeps every registered mask sized to them. Indices come in batches of 128, ascending; an index given
// back is the first to be reused, with default values in all masks. The generic container owns no mask.
// Not synchronised: indices and masks are registered from one thread at a time.
template <typename T>
class KETSDK_MESH_API MDataMaskContainer : public IDataMaskOwner {
public:
    MDataMaskContainer() = default;
    MDataMaskContainer(MDataMaskContainer const&) = delete;
    MDataMaskContainer& operator=(MDataMaskContainer const&) = delete;
    // Lets go of the masks; they stay with their owners.
    ~MDataMaskContainer() override;

    // Hook that runs when more indices are free than the optimise threshold; does nothing here.
    virtual void Optimise();

    // Gives the object a fresh index, also when it has one already.
    void RegisterMaskObject(T& object) { Enter(object, _GetNewID()); }
    // The same for an object that has a value in one of the masks.
    template <typename V>
    void RegisterMaskObject(T& object, MDataMask<T, V>& mask, V value) {
        Enter(object, _GetNewID(&mask));
        mask.SetValue(object, std::move(value));
    }
    // The same for many objects at once, in order: next() returns one after the other and throws nothing.
    // Out of memory, both change nothing.
    template <typename Next>
    void RegisterMaskObjects(std::uint64_t count, Next&& next) {
        if (count > m_free_count)
            MakeRoom(CapacityWith(count - m_free_count));
        for (; count > 0 && m_free_count > 0; --count)
            RegisterMaskObject(next());
        for (std::uint64_t index = GetNewIDs(count); count > 0; --count, ++index)
            Enter(next(), index);
    }
    // The indices of many new objects, in order.
    class NewIndices {
    public:
        std::uint64_t operator[](std::uint64_t i) const noexcept {
            return i < m_reused.size() ? m_reused[static_cast<std::size_t>(i)]
                                       : m_first + i - m_reused.size();
        }

    private:
        friend class MDataMaskContainer;
        std::vector<std::uint64_t> m_reused; // handed out before those from m_first on
        std::uint64_t m_first = 0;
    };
    // Hands out indices for so many objects, each of which is to be entered under its own before the
    // container is used again. Out of memory, nothing changes.
    NewIndices HandOut(std::uint64_t count);
    // Gives an object one of them, on any thread.
    void Enter(T& object, std::uint64_t index) noexcept {
        object.SetMaskIndex(index);
        if (m_keep_objects)
            m_objects[index] = &object;
    }
    // Registers many objects on several threads when parallel; at(i) is object i of them, on any thread.
    // Unlike HandOut it needs no memory of its own where the masks have room. With `numbered`, objects that
    // have the numbers from 0 on as indices already, as the first objects of a container get them. They
    // lie one behind the other in memory, in blocks of 1024 or a multiple.
    template <typename At>
    void RegisterMaskObjectsAt(std::uint64_t count, bool parallel, At const& at, bool numbered = false) {
        std::uint64_t const reused = count < m_free_count ? count : m_free_count;
        MakeUnfilledRoom(CapacityWith(count - reused)); // nothing after it runs out of memory
        for (std::uint64_t i = 0; i < reused; ++i)
            RegisterMaskObject(at(i));
        std::uint64_t const first_index = GetNewIDsUnfilled(count - reused);
        constexpr std::uint64_t step = 8192;
        bool const is_short = count < 8 * step; // done before another thread has begun
        KetSDK::Support::ComputeStepsSafely(
            {.items = count - reused, .step = step, .parallel = parallel && !is_short},
            [&](std::uint64_t first, std::uint64_t last) {
                if (numbered && first_index == 0)
                    EnterNumbered(first, last, at);
                else
                    for (std::uint64_t i = first; i < last; ++i)
                        Enter(at(reused + i), first_index + i);
            });
    }
    // Takes the object's index back. Its values stay until the index is handed out again.
    void UnregisterMaskObject(T const& object);
    // Puts the default into the object's slot of every mask.
    void ResetMaskObject(T const& object);
    // Copies the values of `from` to `to` in every mask whose copy flag is set.
    void CopyMaskInfo(T const& from, T const& to);

    // Adds a mask for objects of type T and sizes it; every value is its default. False for null, for a mask
    // of another kind of object and for one that is registered already.
    bool AddMask(IDataMask* mask);
    // The same for a new mask of numbers whose caller gives every object its value next, on any thread: until
    // then the values of objects are anything.
    template <typename V>
    void AddMaskToFill(MDataMask<T, V>& mask) {
        mask.ResizeUnfilled(m_capacity, m_capacity);
        for (std::uint64_t i = 0; i < m_free_count; ++i)
            mask.ResetValueAt(m_free[i]);
        AddSizedMask(&mask);
    }
    // As AddMask, for a user mask that stays the caller's; with a name it can be found again, and a name
    // that is taken passes to the new mask.
    bool RegisterMask(IDataMask* mask) { return AddMask(mask); }
    bool RegisterMask(IDataMask* mask, std::string const& name);
    // The mask registered under a name; null when there is none.
    IDataMask* FindMask(std::string const& name) const;
    // Takes a mask, and its name, out of the container. False when it is not in it.
    bool RemoveMask(IDataMask const* mask) override;
    bool UnregisterMask(IDataMask const* mask) { return RemoveMask(mask); }
    std::uint64_t GetNumberOfMasks() const noexcept { return m_masks.size(); }
    // The registered masks in order of registration.
    std::vector<MDataMaskBase<T>*> const& Masks() const noexcept { return m_masks; }

    // How many indices are in use.
    std::uint64_t GetNumberOfObjects() const noexcept { return m_capacity - m_free_count; }
    // Number of slots that every mask has.
    std::uint64_t GetCapacity() const noexcept { return m_capacity; }
    // The object that uses an index; null for a free index and while no object table is kept.
    T* GetObjectAt(std::uint64_t index) const noexcept {
        return index < m_objects.Capacity() ? m_objects[index] : nullptr;
    }

    // For a mesh whose objects go for a while and come back, with their indices, at other addresses. Gives
    // the memory of the object table back; indices stay taken and masks keep their values.
    void ForgetObjects() noexcept { m_objects.Clear(); }
    // Enters an object under the index that it has. Throws std::runtime_error("invalid state") when that
    // index was never handed out or is another object's.
    void ReenterObject(T& object);
    // Bytes held by masks, free indices and object table.
    std::size_t MemoryUsed() const;

protected:
    // From now on records which object uses which index. Called before the first registration.
    void KeepObjectTable() noexcept { m_keep_objects = true; }
    // Adds a new mask that has been sized to the capacity and filled, with its values.
    void AddSizedMask(MDataMaskBase<T>* mask);
    // Takes every index back at once; masks stay registered.
    void ReleaseAllIDs();
    // What ReleaseAllIDs, and registering so many objects after it, will need: then neither runs out of
    // memory. Masks get room only where they stay; where they go, objects must be registered before anything
    // else asks for them.
    void MakeRoomToReplaceAll(std::uint64_t count, bool masks_stay);
    // Lets go of every mask and name.
    void DropMasks() noexcept;

private:
    // With its default in every mask but one, null for none.
    std::uint64_t _GetNewID(MDataMaskBase<T> const* but = nullptr) {
        if (m_free_count == 0)
            FreeFrom(GrowBy(1));
        std::uint64_t const index = m_free[m_free_count - 1];
        if (m_keep_objects && index >= m_objects.Capacity())
            m_objects.Grow(index + 1, nullptr); // objects have been forgotten
        for (MDataMaskBase<T>* const mask : m_masks)
            if (mask != but)
                mask->ResetValueAt(index);
        --m_free_count;
        return index;
    }
    // Enters objects that have their numbers as indices, of which it need not read or write any.
    template <typename At>
    void EnterNumbered(std::uint64_t first, std::uint64_t last, At const& at) noexcept {
        constexpr std::uint64_t run = KetSDK::Mesh::Detail::MPagedArray<T*>::PageSize;
        if (!m_keep_objects)
            return;
        for (std::uint64_t end = first; first < last; first = end) {
            end = std::min(last, (first / run + 1) * run);
            T* object = &at(first);
            T** const entries = &m_objects[first];
            for (T** entry = entries; entry != entries + (end - first); ++entry) {
                KetSDK::Support::PrefetchAheadToWrite(entry);
                *entry = object++;
            }
        }
    }
    // So many indices that follow each other; returns the first. None may be free.
    std::uint64_t GetNewIDs(std::uint64_t count);
    // The same where MakeUnfilledRoom has made room; their objects are entered next.
    std::uint64_t GetNewIDsUnfilled(std::uint64_t count);
    // Makes room for so many more indices, in whole batches; returns the first of them.
    std::uint64_t GrowBy(std::uint64_t count);
    // The capacity with so many more indices, in whole batches.
    std::uint64_t CapacityWith(std::uint64_t count) const noexcept {
        return m_capacity + (count + Batch - 1) / Batch * Batch;
    }
    // Room everywhere, before anything is handed out.
    void MakeRoom(std::uint64_t capacity);
    // The same, but for what the table of objects holds behind the capacity that there is: where objects will
    // be entered, many threads write it first.
    void MakeUnfilledRoom(std::uint64_t capacity);
    // Frees the indices from this one to the capacity.
    void FreeFrom(std::uint64_t index);
    void _ReleaseID(std::uint64_t index);
    void Push(std::uint64_t index);
    void _ReallocateMasks(std::uint64_t capacity);

    static constexpr std::uint64_t Batch = 128;

    std::vector<MDataMaskBase<T>*> m_masks;
    std::map<std::string, IDataMask*> m_names;
    std::uint64_t m_capacity = 0;
    std::uint64_t m_optimise_threshold = 0xFFFFFFFF;
    KetSDK::Mesh::Detail::MPagedArray<std::uint64_t> m_free;
    std::uint64_t m_free_count = 0;
    KetSDK::Mesh::Detail::MPagedArray<T*> m_objects;
    bool m_keep_objects = false;
};

extern template class MDataMaskContainer<MMeshElement>;
extern template class MDataMaskContainer<MMeshPoint>;
extern template class MDataMaskContainer<MStlTriangle>;
