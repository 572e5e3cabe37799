// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshSolver/detail/OpenDeck.h>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace KetSDK::MeshSolver::Detail {

// What some lines of nodes, elements, members of sets or faces hold, up to one that has a fault.
struct DeckRows {
    std::vector<std::int32_t> numbers;
    std::vector<std::array<double, 3>> positions;
    std::vector<std::string> names;
    std::vector<OpenFace> faces;
    std::uint64_t unread_faces = 0;
    std::vector<std::uint32_t> ends; // of the lines in `numbers`
    bool is_text = true;
    std::string fault;

    void Clear() {
        numbers.clear();
        positions.clear();
        names.clear();
        faces.clear();
        unread_faces = 0;
        ends.clear();
        is_text = true;
        fault.clear();
    }
    bool IsGood() const noexcept { return is_text && fault.empty(); }
};

// Each reads a line of a block, on any thread.
void ReadNode(std::string_view line, DeckRows& rows);
void ReadNumbers(std::string_view line, DeckRows& rows); // of an element and its nodes
void ReadMembers(std::string_view line, DeckRows& rows);
void ReadFace(std::string_view line, OpenSets const& element_sets, std::string const& surface,
              DeckRows& rows);

} // namespace KetSDK::MeshSolver::Detail
