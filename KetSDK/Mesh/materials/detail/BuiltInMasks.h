// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/materials/MMeshElementMaskContainer.h>
#include <KetSDK/Mesh/materials/MMeshPointMaskContainer.h>
#include <KetSDK/Support/ParallelWork.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <tuple>
#include <type_traits>
#include <utility>

// The table of the built-in masks of a mesh. Whatever does the same with all of them walks it. That is
// making, clearing, copying and comparing them, saving and loading them in binary states and as tags, and
// carrying their values to a new mesh. Internal.
namespace KetSDK::Mesh::Detail {

enum BuiltInMaskFlags : unsigned {
    AlwaysTagged = 1, // mesh files have an empty block where there is no mask
    Copied = 2,       // values follow an object that is copied, within the mesh and into another one
    Carried = 4,      // they follow to what conversions make of the object
};

// What is said of a built-in mask besides its member and its default.
struct BuiltInMaskTraits {
    unsigned state_bit;      // in the byte of a binary state that says which masks follow, in this order
    unsigned tag_rank;       // among the blocks of mesh files, from 0 over both tables
    unsigned compared_rank;  // in comparisons of meshes, from 0 over both tables
    wchar_t const* tag;      // of the block
    wchar_t const* types;    // that the block may name, with blanks between; it is written with the first
    char const* compared_as; // what goes before two values that differ
    unsigned flags;
};

template <typename C, typename M, typename V>
struct BuiltInMask : BuiltInMaskTraits {
    using Container = C;
    using Mask = M;

    BuiltInMask(std::unique_ptr<M> C::*the_member, V the_default, BuiltInMaskTraits const& traits)
        : BuiltInMaskTraits(traits)
        , member(the_member)
        , default_value(std::move(the_default)) {}

    // The mask of a container or of a mesh; null when it does not exist.
    M const* Find(C const& masks) const noexcept { return (masks.*member).get(); }
    template <typename Mesh>
    M const* FindIn(Mesh const& mesh) const noexcept {
        return Find(MasksOf(mesh));
    }

    // Makes it unless it exists.
    M* Make(C& masks) const {
        std::unique_ptr<M>& mask = masks.*member;
        if (!mask) {
            mask = New();
            masks.AddMask(mask.get());
        }
        return mask.get();
    }
    template <typename Mesh>
    M* MakeIn(Mesh& mesh) const {
        return Make(MasksOf(mesh));
    }

    // A mask with as many slots, in no container.
    std::unique_ptr<M> MakeAside(C const& masks) const {
        std::unique_ptr<M> mask = New();
        mask->Resize(masks.GetCapacity());
        return mask;
    }
    // The same of numbers, for a caller who fills the first slots.
    std::unique_ptr<M> MakeAsideUnfilled(C const& masks, std::uint64_t slots_to_fill) const {
        std::unique_ptr<M> mask = New();
        mask->ResizeUnfilled(masks.GetCapacity(), slots_to_fill);
        return mask;
    }
    // Takes the values of one that was made aside; null changes nothing. A mask that exists stays the same
    // object.
    void TakeValues(C& masks, std::unique_ptr<M> aside) const {
        if (!aside)
            return;
        std::unique_ptr<M>& mask = masks.*member;
        if (mask) {
            mask->SwapValues(*aside);
            return;
        }
        masks.AddSizedMask(aside.get());
        mask = std::move(aside);
    }

    void Release(C& masks) const noexcept { (masks.*member).reset(); }

    template <typename Mesh>
    static auto& MasksOf(Mesh& mesh) {
        if constexpr (std::is_same_v<C, MMeshElementMaskContainer>)
            return *mesh.GetElementMasks();
        else
            return *mesh.GetPointMasks();
    }

    std::unique_ptr<M> C::*member;
    V default_value;

private:
    std::unique_ptr<M> New() const {
        auto mask = std::make_unique<M>(default_value);
        mask->SetCopyFlag((flags & Copied) != 0);
        return mask;
    }
};

// The tables: one for the masks of elements, one for those of nodes, each in the order of the bits.
template <typename C>
struct BuiltInMasks;

template <>
struct BuiltInMasks<MMeshElementMaskContainer> {
    static auto const& Table() {
        using C = MMeshElementMaskContainer;
        using Volumes = C::VolumeList;
        using Faces = MMeshSurfaceTriangleList;
        static std::tuple const table{
            // clang-format off
            // member and default, bit, ranks in files and in comparisons, block, words, flags
            BuiltInMask(&C::m_grey_values, 0.0, {0, 0, 1, L"GreyValues", L"double", "grey value is", AlwaysTagged | Copied | Carried}),
            BuiltInMask(&C::m_materials, -1, {1, 1, 2, L"Materials", L"long int", "material is", AlwaysTagged | Copied | Carried}),
            BuiltInMask(&C::m_subvolumes, -1, {2, 4, 0, L"SubVolumes", L"int long", "sub-volume is", AlwaysTagged}),
            BuiltInMask(&C::m_volume_lists, Volumes(), {3, 5, 3, L"VolumeLists", L"long", "volume list is", Copied}),
            BuiltInMask(&C::m_original_ids, -1, {4, 3, 4, L"OriginalElementIDs", L"long int", "original identifier is", Copied | Carried}),
            BuiltInMask(&C::m_visible, true, {5, 7, 6, L"Visibility", L"long", "visibility is", Copied}),
            BuiltInMask(&C::m_surface_triangles, Faces(), {6, 6, 5, L"SurfaceTriangles", L"long", "surface triangles are", Copied}),
            // clang-format on
        };
        return table;
    }
};

template <>
struct BuiltInMasks<MMeshPointMaskContainer> {
    static auto const& Table() {
        using C = MMeshPointMaskContainer;
        static std::tuple const table{
            // clang-format off
            BuiltInMask(&C::m_original_ids, -1, {0, 2, 7, L"OriginalPointIDs", L"long int", "original identifier is", AlwaysTagged | Copied | Carried}),
            // clang-format on
        };
        return table;
    }
};

// The indices of the rows of a table.
template <typename C>
using BuiltInMaskRows =
    std::make_index_sequence<std::tuple_size_v<std::decay_t<decltype(BuiltInMasks<C>::Table())>>>;

// Calls visit(row) for each built-in mask of a kind of container, in the order of the table.
template <typename C, typename Visit>
void ForEachBuiltInMask(Visit&& visit) {
    std::apply([&visit](auto const&... row) { (visit(row), ...); }, BuiltInMasks<C>::Table());
}

// The same for those of elements and nodes together.
template <typename Visit>
void ForEachBuiltInMask(Visit&& visit) {
    ForEachBuiltInMask<MMeshElementMaskContainer>(visit);
    ForEachBuiltInMask<MMeshPointMaskContainer>(visit);
}

// The same, in the order of their ranks in files or in comparisons.
template <typename Visit>
void ForEachBuiltInMaskBy(unsigned BuiltInMaskTraits::*rank, Visit&& visit) {
    unsigned count = 0;
    ForEachBuiltInMask([&count](auto const&) { ++count; });
    for (unsigned next = 0; next < count; ++next)
        ForEachBuiltInMask([&](auto const& row) {
            if (row.*rank == next)
                visit(row);
        });
}

// Makes the mask that is this member of the container, unless it exists.
template <typename C, typename M>
M* MakeBuiltInMask(C& masks, std::unique_ptr<M> const& mask) {
    ForEachBuiltInMask<C>([&](auto const& row) {
        if constexpr (std::is_same_v<typename std::decay_t<decltype(row)>::Mask, M>)
            if (&(masks.*row.member) == &mask)
                row.Make(masks);
    });
    return mask.get();
}

template <typename C>
void ReleaseBuiltInMasks(C& masks) noexcept {
    ForEachBuiltInMask<C>([&masks](auto const& row) { row.Release(masks); });
}

// Copies what the masks hold of source_at(i), of so many objects, to copy_at(i) of another mesh, on several
// threads when parallel.
template <typename C, typename SourceAt, typename CopyAt>
void CopyBuiltInValues(C const& from, C& to, std::uint64_t count, bool parallel, SourceAt const& source_at,
                       CopyAt const& copy_at) {
    ForEachBuiltInMask<C>([&](auto const& row) {
        auto const* const values = row.Find(from);
        if (!values || (row.flags & Copied) == 0)
            return;
        auto& copies = *row.Make(to);
        // Bits share words.
        constexpr bool has_bits = requires {
            copies.SetWordAt(0, 0);
        };
        Support::ComputeSteps({.items = count, .step = 4096, .parallel = parallel && !has_bits},
                              [&](std::uint64_t first, std::uint64_t last) {
                                  for (std::uint64_t i = first; i < last; ++i)
                                      copies.SetValue(copy_at(i), values->GetValue(source_at(i)));
                              });
    });
}

} // namespace KetSDK::Mesh::Detail
