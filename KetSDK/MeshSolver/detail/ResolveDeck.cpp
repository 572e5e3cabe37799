// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/detail/ResolveDeck.h>

#include <KetSDK/Mesh/mesh/MMeshSolverFaces.h>
#include <KetSDK/MeshSolver/Error.h>
#include <KetSDK/MeshSolver/detail/IdIndex.h>
#include <KetSDK/MeshSolver/detail/ResolveSets.h>
#include <KetSDK/MeshSolver/detail/SortOnce.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace KetSDK::MeshSolver::Detail {

namespace {

// Puts indices in place of the numbers of nodes, up to the first number that is not there, and returns
// where it is; the size when all are.
std::size_t FindInPlace(IdIndex const& index, std::vector<std::uint32_t>& ids, bool parallel) {
    std::size_t first_unknown = ids.size();
    Support::ComputeSteps<std::size_t>(
        {.items = ids.size(), .step = 1 << 14, .parallel = parallel},
        [&](std::uint64_t first, std::uint64_t last, std::size_t& unknown) {
            for (unknown = static_cast<std::size_t>(first); unknown < last; ++unknown) {
                std::uint32_t const at = index.Find(static_cast<std::int32_t>(ids[unknown]));
                if (at == IdIndex::None)
                    break;
                ids[unknown] = at;
            }
        },
        [&](std::uint64_t, std::uint64_t last, std::size_t unknown) {
            if (unknown < last)
                first_unknown = unknown;
            return unknown == last;
        });
    return first_unknown;
}

void ResolveElements(IdIndex const& nodes, Deck& deck, bool parallel) {
    // In place: what is not found stays as it is, for the error.
    std::size_t const unknown = FindInPlace(nodes, deck.nodes, parallel);
    if (unknown == deck.nodes.size())
        return;
    std::size_t element = 0;
    for (std::size_t end = deck.kinds[0]; end <= unknown; end += deck.kinds[element])
        ++element;
    throw Error("element " + std::to_string(deck.element_ids[element]) + " has node " +
                std::to_string(deck.nodes[unknown]) + ", which is not defined");
}

// Returns what is wrong with it; nothing for most.
std::string ResolveSurface(OpenSurface const& open, IdIndex const& elements,
                           std::span<std::int32_t const> skipped, Deck const& deck, Deck::Surface& surface) {
    surface.name = open.name;
    std::string fault;
    auto const add = [&](std::uint32_t element, std::uint8_t face) {
        std::size_t const faces = MMeshSolverFacesOf(deck.kinds[element]).size();
        if (face > faces)
            fault = "the surface " + open.name + " has face S" + std::to_string(face) + " of element " +
                    std::to_string(deck.element_ids[element]) + ", which has " + std::to_string(faces) +
                    " faces";
        surface.faces.push_back({element, face});
        return fault.empty();
    };
    std::set<std::pair<std::size_t, std::uint8_t>> seen; // sets and faces
    std::size_t limit = 2 * deck.element_ids.size();
    for (OpenFace const& face : open.faces) {
        if (face.id == 0) {
            if (!seen.emplace(face.element_set, face.face).second)
                continue;
            for (std::uint32_t const element : deck.element_sets[face.element_set].members)
                if (!add(element, face.face))
                    return fault;
            SortOnceBeyond(limit, surface.faces);
            continue;
        }
        std::uint32_t const element = elements.Find(face.id);
        if (element != IdIndex::None) {
            if (!add(element, face.face))
                return fault;
        } else if (!std::ranges::binary_search(skipped, face.id)) {
            return "the surface " + open.name + " has element " + std::to_string(face.id) +
                   ", which is not defined";
        }
    }
    SortOnce(surface.faces);
    return fault;
}

void ResolveSurfaces(OpenDeck& open, IdIndex const& elements, bool parallel) {
    open.deck.surfaces.resize(open.surfaces.size());
    Support::ComputeSteps<std::string>(
        {.items = open.surfaces.size(), .parallel = parallel},
        [&](std::uint64_t i, std::uint64_t, std::string& fault) {
            auto const surface = static_cast<std::size_t>(i);
            fault = ResolveSurface(open.surfaces[surface], elements, open.skipped_elements, open.deck,
                                   open.deck.surfaces[surface]);
        },
        [](std::uint64_t, std::uint64_t, std::string const& fault) {
            return fault.empty() ? true : throw Error(fault);
        });
}

void ResolveSections(OpenDeck& open) {
    for (auto const& [set, material] : open.section_names) {
        auto const found = open.element_sets.Find(set);
        if (!found)
            throw Error("a section is for the element set " + set + ", which is not defined");
        if (!open.defined_materials.contains(material))
            ++open.deck.unread["material " + open.deck.materials[material].name + ", which is not defined"];
        open.deck.sections.push_back({*found, material});
    }
}

} // namespace

Deck ResolveDeck(OpenDeck open, bool parallel) {
    Deck& deck = open.deck;
    IdIndex const nodes(deck.node_ids, "node");
    ResolveElements(nodes, deck, parallel);
    IdIndex const elements(deck.element_ids, "element");
    auto& skipped = open.skipped_elements;
    std::ranges::sort(skipped);
    for (std::int32_t const id : skipped)
        if (elements.Find(id) != IdIndex::None)
            throw Error("element " + std::to_string(id) + " is defined twice");
    deck.node_sets = ResolveSets(open.node_sets, nodes, deck.node_ids, "node", {}, parallel);
    deck.element_sets =
        ResolveSets(open.element_sets, elements, deck.element_ids, "element", skipped, parallel);
    ResolveSurfaces(open, elements, parallel);
    ResolveSections(open);
    return std::move(deck);
}

} // namespace KetSDK::MeshSolver::Detail
