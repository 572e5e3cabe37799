// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshSolver/detail/DeckPlace.h>
#include <KetSDK/MeshSolver/detail/DeckWords.h>
#include <KetSDK/MeshSolver/detail/OpenDeck.h>

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace KetSDK::MeshSolver::Detail {

// Reads materials and sections into a deck. Both arguments are borrowed.
class DeckMaterials {
public:
    DeckMaterials(OpenDeck& open, DeckPlace const& place)
        : m_open(open)
        , m_place(place) {}

    // *MATERIAL, to which the properties belong that follow.
    void Begin(DeckKeyword const& keyword);
    bool HasBegun() const noexcept { return m_material.has_value(); }
    // Whether the lines behind an *ELASTIC are read; it is entered among what is not otherwise.
    bool TakesElastic(DeckKeyword const& keyword);
    void ReadElastic(std::string_view line);
    void ReadDensity(std::string_view line);
    void ReadSection(DeckKeyword const& keyword);

private:
    std::size_t IndexOf(std::string const& name);
    double ReadProperty(std::string_view word, char const* keyword) const;

    OpenDeck& m_open;
    DeckPlace const& m_place;
    std::optional<std::size_t> m_material;
    std::map<std::string, std::size_t> m_index_of; // by key
};

} // namespace KetSDK::MeshSolver::Detail
