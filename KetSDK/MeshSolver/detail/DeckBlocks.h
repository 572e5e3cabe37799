// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshSolver/detail/DeckMaterials.h>
#include <KetSDK/MeshSolver/detail/DeckPlace.h>
#include <KetSDK/MeshSolver/detail/DeckRows.h>
#include <KetSDK/MeshSolver/detail/DeckWords.h>
#include <KetSDK/MeshSolver/detail/OpenDeck.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace KetSDK::MeshSolver::Detail {

// Reads the blocks of a deck, each of which is a keyword and the lines behind it. Both arguments are
// borrowed.
class DeckBlocks {
public:
    DeckBlocks(OpenDeck& open, DeckPlace const& place)
        : m_open(open)
        , m_place(place)
        , m_materials(open, place) {}

    void Begin(DeckKeyword const& keyword);
    // Of the last block. What a block leaves open ends with it.
    void End();
    // Whether all is left out that comes before the end of a step.
    bool IsInStep() const noexcept { return m_is_in_step; }

    void ReadComment(std::string_view comment);
    void ReadLine(std::string_view line);

    // Whether the present block may be large. Then its lines are read many at a time, on any thread, and what
    // they hold is taken in their order. There are `before` lines in the file before them.
    bool TakesRows() const noexcept { return m_row_kind.take != nullptr; }
    void ReadRows(std::string_view lines, DeckRows& rows) const;
    void TakeRows(DeckRows const& rows, std::uint64_t before);

private:
    struct RowKind {
        void (*read)(std::string_view line, DeckRows& rows) = nullptr; // none for faces
        void (DeckBlocks::*take)(DeckRows const& rows, std::uint64_t before) = nullptr;
    };

    void Skip(DeckKeyword const&) {}
    void BeginStep(DeckKeyword const&);
    void RefuseParts(DeckKeyword const& keyword);
    void RefuseSystem(DeckKeyword const&);
    void RefuseGenerated(DeckKeyword const& keyword);
    void RefuseOtherFile(DeckKeyword const& keyword);

    void ReadRow(std::string_view line, DeckRows& rows) const;

    void BeginNodes(DeckKeyword const& keyword);
    void TakeNodes(DeckRows const& rows, std::uint64_t);

    void BeginElements(DeckKeyword const& keyword);
    void TakeElements(DeckRows const& rows, std::uint64_t before);
    // Whether each line is an element, as in most decks.
    bool AreOneALine(DeckRows const& rows) const;
    void AddElements(DeckRows const& rows);
    void AddElement(std::span<std::int32_t const> numbers);
    void SkipElement(std::string_view line);

    void BeginSet(DeckKeyword const& keyword, OpenSets& sets, std::string const& parameter);
    void BeginNodeSet(DeckKeyword const& keyword);
    void BeginElementSet(DeckKeyword const& keyword);
    void TakeMembers(DeckRows const& rows, std::uint64_t);
    void ReadRange(std::string_view line);

    void BeginSurface(DeckKeyword const& keyword);
    void TakeFaces(DeckRows const& rows, std::uint64_t);

    void BeginMaterial(DeckKeyword const& keyword) { m_materials.Begin(keyword); }
    void BeginElastic(DeckKeyword const& keyword);
    void ReadElastic(std::string_view line) { m_materials.ReadElastic(line); }
    void BeginDensity(DeckKeyword const&);
    void ReadDensity(std::string_view line) { m_materials.ReadDensity(line); }
    void ReadSection(DeckKeyword const& keyword) { m_materials.ReadSection(keyword); }

    OpenDeck& m_open;
    DeckPlace const& m_place;
    DeckMaterials m_materials;

    // Of the lines behind the present keyword; they are skipped where there is neither.
    void (DeckBlocks::*m_read_line)(std::string_view line) = nullptr;
    RowKind m_row_kind;
    bool m_is_in_step = false;
    OpenSet* m_set = nullptr;
    std::uint8_t m_kind = 0;             // of elements
    std::vector<std::int32_t> m_numbers; // of an element, which may take several lines
    std::string m_unread_type;
    bool m_is_continued = false;
    std::map<std::string, std::size_t> m_surface_of;
    std::size_t m_surface = 0;
};

} // namespace KetSDK::MeshSolver::Detail
