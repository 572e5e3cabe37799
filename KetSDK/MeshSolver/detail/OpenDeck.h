// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshSolver/Deck.h>
#include <KetSDK/MeshSolver/detail/OpenSets.h>

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace KetSDK::MeshSolver::Detail {

// A face of an element, or of all elements of a set.
struct OpenFace {
    std::int32_t id = 0;         // of an element; 0 for a set
    std::size_t element_set = 0; // index
    std::uint8_t face = 0;
};

struct OpenSurface {
    std::string name;
    std::vector<OpenFace> faces;
};

// A deck while it is read: it refers to nodes and elements by their numbers, and to sets by their names.
struct OpenDeck {
    Deck deck; // without sets, surfaces and sections; its elements have numbers of nodes
    std::vector<std::int32_t> skipped_elements; // of types that are not read
    OpenSets node_sets;
    OpenSets element_sets;
    std::vector<OpenSurface> surfaces;
    std::set<std::size_t> defined_materials;                        // others stand in sections only
    std::vector<std::pair<std::string, std::size_t>> section_names; // key of the set, material
};

} // namespace KetSDK::MeshSolver::Detail
